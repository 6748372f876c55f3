// SPDX-License-Identifier: Apache-2.0
#include "settings.h"

#include <algorithm>
#include <array>
#include <functional>

#include "refusal.h"
#include "words.h"

namespace ddssim {

namespace {

using simnet::MICROSECOND;
using simnet::MILLISECOND;
using simnet::SECOND;

/**
 * @param member a function that gives a scenario's member, of one that may be changed or not
 * @param parse gives its value from text, or throws a Refusal; @p print gives the text
 */
template <class Member, class Parse, class Print>
Setting setting(const SettingRow &row, Member member, Parse parse, Print print) {
    return {
        row,
        [member, parse](Scenario &all, const std::string &value) { member(all) = parse(value); },
        [member, print](const Scenario &all) -> std::string { return print(member(all)); }};
}

template <class Member>
Setting text(const SettingRow &row, Member member) {
    return setting(row, member, std::identity(), std::identity());
}

template <class Member>
Setting count(const SettingRow &row, Member member, Range<std::int64_t> range) {
    return setting(
        row, member, [range](const std::string &value) { return to_count(value, range); },
        [](std::int64_t number) { return std::to_string(number); });
}

template <class Member>
Setting time(const SettingRow &row, Member member, Range<simnet::Time> range) {
    return setting(
        row, member, [range](const std::string &value) { return to_time(value, range); },
        text_of_time);
}

template <class Member>
Setting share(const SettingRow &row, Member member) {
    return setting(row, member, to_share, text_of_share);
}

constexpr std::array MULTICAST_WORDS = {
    std::pair{"flooded", simnet::Multicast::FLOODS},
    std::pair{"snooped", simnet::Multicast::SNOOPS},
    std::pair{"none", simnet::Multicast::NONE},
};

simnet::Multicast to_multicast(const std::string &value) {
    for (const auto &[word, multicast] : MULTICAST_WORDS) {
        if (value == word) {
            return multicast;
        }
    }
    throw Refusal(value, "one of flooded, snooped, none");
}

std::string text_of_multicast(simnet::Multicast value) {
    for (const auto &[word, multicast] : MULTICAST_WORDS) {
        if (value == multicast) {
            return word;
        }
    }
    return "";
}

std::vector<std::string> to_peers(const std::string &value) {
    return value.empty() ? std::vector<std::string>() : split(value, ',');
}

std::vector<Setting> all_settings() {
    return {
        text(
            {"title", "TEXT", "what the report is headed with", "a robot"},
            [](auto &all) -> auto & { return all.title; }),
        text(
            {"description", "TEXT", "what the scenario shows", "What it takes to start at once."},
            [](auto &all) -> auto & { return all.description; }),
        count(
            {"hosts", "N", "how many hosts are on the switch", "250"},
            [](auto &all) -> auto & { return all.hosts; }, HOSTS),
        count(
            {"participants", "N", "how many participants each host has", "4"},
            [](auto &all) -> auto & { return all.participants; }, PARTICIPANTS),
        count(
            {"participants_per_process", "N", "how many of a host's participants share a process",
             "4", false, "--participants 20"},
            [](auto &all) -> auto & { return all.participants_per_process; }, PARTICIPANTS),
        time({"start_spread", "TIME", "the time within which participants start, at random", "2s"},
             [](auto &all) -> auto & { return all.start_spread; }, {0, DAY}),
        time({"for", "TIME",
              "how long it goes on; 0 is until all know all after the last event, a minute at most",
              "60"},
             [](auto &all) -> auto & { return all.duration; }, {0, DAY}),
        count(
            {"seed", "N", "what all luck is drawn from", "7"},
            [](auto &all) -> auto & { return all.seed; }, SEEDS),
        time({"delay", "TIME", "what a datagram takes from one host to another", "1ms", true},
             [](auto &all) -> auto & { return all.link.delay; }, {0, 10 * SECOND}),
        time({"jitter", "TIME", "what it may take beside that, at random", "500us", true},
             [](auto &all) -> auto & { return all.link.jitter; }, {0, 10 * SECOND}),
        share(
            {"loss", "SHARE", "the share of datagrams that is lost from one host to another", "10%",
             true},
            [](auto &all) -> auto & { return all.link.loss; }),
        setting(
            {"burst", "N", "how many are lost in a row, on average; 1: each for itself", "8", true,
             "--loss 10%"},
            [](auto &all) -> auto & { return all.link.burst; },
            [](const std::string &value) {
                return to_factor(value, {1, 10'000});
            },
            text_of_factor),
        share(
            {"duplication", "SHARE", "the share that arrives more than once", "1%", true},
            [](auto &all) -> auto & { return all.link.duplication; }),
        share(
            {"reordering", "SHARE", "the share that may be overtaken, within a millisecond", "1%",
             true},
            [](auto &all) -> auto & { return all.link.reordering; }),
        setting(
            {"bandwidth", "RATE", "of the wire of a host, in each direction", "100Mbit/s", true},
            [](auto &all) -> auto & { return all.link.bandwidth; }, to_rate, text_of_rate),
        setting(
            {"multicast", "WORD",
             "what the switch does with multicast: flooded to all, snooped and passed to "
             "members, none",
             "none"},
            [](auto &all) -> auto & { return all.multicast; }, to_multicast, text_of_multicast),
        setting(
            {"querier", "yes|no",
             "whether somebody asks for members; else a snooping switch forgets each after "
             "260 s",
             "no", false, "--multicast snooped"},
            [](auto &all) -> auto & { return all.querier; }, to_choice,
            [](bool is_there) { return is_there ? "yes" : "no"; }),
        setting(
            {"peers", "PEER,...",
             "whom participants announce themselves to: addresses, host1 and so on for hosts, "
             "all for each of these; 239.255.0.1 and 127.0.0.1 where there is none",
             "host1,host2", false, "--multicast none"},
            [](auto &all) -> auto & { return all.peers; }, to_peers,
            [](const auto &peers) { return join(peers, ","); }),
        time({"lease", "TIME", "how long one is known that is not heard any more", "30s"},
             [](auto &all) -> auto & { return all.lease; }, {4 * MILLISECOND, DAY}),
        time({"period", "TIME", "how often each announces itself, a quarter of the lease at most",
              "2s"},
             [](auto &all) -> auto & { return all.period; }, {MILLISECOND, DAY}),
        count({"initial_announcements", "N", "how many announcements follow the first one at once",
               "3"},
              [](auto &all) -> auto & { return all.initial_announcements; }, {0, 100}),
        time({"initial_period", "TIME", "the time between these", "50ms"},
             [](auto &all) -> auto & { return all.initial_period; }, {MILLISECOND, DAY}),
        time({"reaction", "TIME", "what a process takes until it acts on what arrives", "200us"},
             [](auto &all) -> auto & { return all.reaction; }, {MICROSECOND, SECOND}),
        time({"receive_time", "TIME", "what a datagram that arrives takes of a process", "10us",
              false, "--hosts 50"},
             [](auto &all) -> auto & { return all.receive_time; }, {0, SECOND}),
        count({"receive_buffer", "OCTETS", "what waits in a socket until there is no room", "65536",
               false, "--hosts 100"},
              [](auto &all) -> auto & { return all.receive_buffer; }, {2'048, 1 << 30}),
    };
}

} // namespace

std::string Setting::option() const {
    std::string name = std::string("--") + key;

    std::replace(name.begin(), name.end(), '_', '-');
    return name;
}

const std::vector<Setting> &settings() {
    static const std::vector<Setting> all = all_settings();

    return all;
}

const Setting *find_setting(const std::string &key) {
    const auto found = std::find_if(settings().begin(), settings().end(),
                                    [&key](const Setting &one) { return key == one.key; });

    return found != settings().end() ? &*found : nullptr;
}

std::string setting_keys() {
    std::vector<std::string> keys;

    for (const Setting &one : settings()) {
        keys.emplace_back(one.key);
    }
    return join(keys, ", ");
}

} // namespace ddssim
