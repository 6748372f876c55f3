// SPDX-License-Identifier: Apache-2.0
// Looks for the participants, and asks them.
#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "doctor/firewall.h"
#include "doctor/socket.h"
#include "host/interface_addresses.h"
#include "listening.h"
#include "log.h"
#include "numbers.h"
#include "participant.h"
#include "properties.h"
#include "taken_ports.h"
#include "why/facts.h"
#include "words.h"

namespace why {

namespace {

constexpr const char *TOOL = "ddspart why";
constexpr std::chrono::seconds TIME_TO_LISTEN(2);
/** For those to be heard who know somebody that there is not. */
constexpr std::chrono::milliseconds TIME_FOR_WITNESSES(500);
constexpr std::chrono::milliseconds TIME_TO_ANSWER(500);
/** Between looks at whom the tool's participants know. */
constexpr std::chrono::milliseconds PERIOD(10);
/** As many as a participant may have peers, and some room. */
constexpr std::size_t PLACES_MOST = 32;

std::string own_host() {
    std::array<char, 256> name = {};

    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

/** Waits for news of the tool's participants until then; false when the time is up. */
bool wait(Moment end) {
    const Event event = wait_for_poll(end, PERIOD);

    if (event == Event::SIGINT_CAME || event == Event::SIGTERM_CAME) {
        throw std::runtime_error("interrupted before it could tell");
    }
    return event == Event::NEWS;
}

/** The tool's participants: one in each domain that can be looked at. */
class Lookouts {
public:
    Lookouts(const Factory &factory, const ParticipantOptions &options,
             const std::set<DDS_DomainId_t> &domains, std::vector<std::string> &unseen) {
        for (const DDS_DomainId_t domain : domains) {
            ParticipantOptions own = options;

            own.domain = domain;
            own.tool = TOOL;
            own.properties.emplace_back(ACCEPT_MISMATCH, "true");
            if (std::unique_ptr<Participant> participant = join(factory, std::move(own), unseen)) {
                all_.emplace_back(domain, std::move(participant));
            }
        }
    }

    std::vector<DDS_DomainId_t> domains() const {
        std::vector<DDS_DomainId_t> domains;

        for (const auto &[domain, participant] : all_) {
            domains.push_back(domain);
        }
        return domains;
    }

    /** Each once, without those of the tool itself. */
    std::vector<Sighting> others() const {
        std::vector<Sighting> others;
        const std::string host = own_host();

        for (const auto &[domain, participant] : all_) {
            for (Sighting &other : participant->others()) {
                const auto same = std::ranges::find(others, other.guid, &Sighting::guid);

                if (other.pid == getpid() && other.host == host) {
                    continue;
                }
                if (same == others.end()) {
                    others.push_back(std::move(other));
                } else if (other.has_addressed) {
                    *same = std::move(other);
                }
            }
        }
        return others;
    }

private:
    /** Where no index is to be had it listens only; where not even that can be done, there is none.
     */
    static std::unique_ptr<Participant> join(const Factory &factory, ParticipantOptions options,
                                             std::vector<std::string> &unseen) {
        const Silence silence;

        try {
            return join_at_highest_index(factory, options);
        } catch (const LoggedFailure &) {
            options.further_peers.clear();
        }
        try {
            unseen.push_back("who answers in domain " + std::to_string(options.domain) +
                             ": no participant index is to be had there");
            return std::make_unique<Participant>(factory, listening_only(options));
        } catch (const LoggedFailure &) {
            unseen.back() = "domain " + std::to_string(options.domain) +
                            ": no participant can be created there";
            return nullptr;
        }
    }

    std::vector<std::pair<DDS_DomainId_t, std::unique_ptr<Participant>>> all_;
};

/** What others are asked about somebody. */
std::string question_about(const Subject &subject) {
    switch (subject.kind) {
    case Subject::Kind::PROCESS:
        return "process:" + subject.text + "@" + own_host();
    case Subject::Kind::GUID:
        return "guid:" + subject.text;
    default:
        return "name:" + subject.text;
    }
}

/** The GUID's prefix. */
std::string question_about(const Sighting &other) {
    constexpr std::size_t PREFIX_LENGTH = 26;

    return "guid:" + other.guid.substr(0, PREFIX_LENGTH);
}

bool is_held_by(const HeldPorts &held, const Subject &subject) {
    return held.index && std::ranges::any_of(held.holders, [&](const Holder &holder) {
               return holder.process && (subject.kind == Subject::Kind::PROCESS
                                             ? holder.process->id == subject.process
                                             : subject.kind == Subject::Kind::NAME &&
                                                   holder.process->name == subject.text);
           });
}

/** Looks at everything for one call. */
class Search {
public:
    explicit Search(const WhyOptions &options)
        : options_(options), map_(port_map(options.well_known_ports)),
          holdings_(holdings(map_, true, getpid())), host_(own_host()) {
        facts_.settings = options;
        facts_.first.subject = to_subject(options.first);
        if (options.second) {
            facts_.second.emplace().subject = to_subject(*options.second);
        }
        for (Party *const party : parties()) {
            if (party->subject.kind == Subject::Kind::PROCESS) {
                party->process = host::process_of(party->subject.process);
            }
        }
    }

    Facts run() {
        const Factory factory;
        const Moment start = Moment::clock::now();

        find_holdings({});
        {
            const Lookouts lookouts(factory, options_that_ask(), domains(), facts_.unseen);
            std::vector<Sighting> others;
            const Moment end = start + options_.duration.value_or(TIME_TO_LISTEN);

            do {
                note(others, lookouts.others());
            } while (!is_enough(others, Moment::clock::now() - start) && wait(end));
            choose(others);
            facts_.domains = lookouts.domains();
            facts_.duration = Moment::clock::now() - start;
            find_holdings(others);
            find_witnesses(others);
            find_gone(lookouts.others());
        }
        ask_each_other(factory); // an address is answered so often and no more
        look_for_obstacles();
        return std::move(facts_);
    }

private:
    std::vector<Party *> parties() {
        std::vector<Party *> all = {&facts_.first};

        if (facts_.second) {
            all.push_back(&*facts_.second);
        }
        return all;
    }

    /** The ports that whoever is named holds; those of another participant of a process as well. */
    void find_holdings(const std::vector<Sighting> &heard) {
        std::vector<HeldPorts> all =
            held_ports(holdings_, map_, heard, host::interface_addresses());

        keep_telling(all, host::ephemeral_ports());
        for (Party *const party : parties()) {
            const auto is_its = [&](const HeldPorts &held) {
                return party->heard ? held.announced && held.announced->guid == party->heard->guid
                                    : is_held_by(held, party->subject);
            };

            party->held.clear();
            std::ranges::copy_if(all, std::back_inserter(party->held), is_its);
        }
        all_held_ = std::move(all);
    }

    /** Those of participants of this host, and the one that the options are for. */
    std::set<DDS_DomainId_t> domains() const {
        std::set<DDS_DomainId_t> domains = {options_.domain};

        for (const HeldPorts &held : all_held_) {
            if (held.index && held.network.is_own) {
                domains.insert(held.domain);
            }
        }
        return domains;
    }

    /**
     * A participant that is to be found as any other one is not sent anything that others are not;
     * two that are to find each other may be heard in whatever way.
     */
    ParticipantOptions options_that_ask() {
        ParticipantOptions options = options_;
        char word = 'a';

        for (const Party *const party : parties()) {
            if (party->subject.kind != Subject::Kind::ADDRESS) {
                options.announced_properties.emplace_back(std::string(QUESTION) + word,
                                                          question_about(party->subject));
            }
            ++word;
            if (facts_.second) {
                add_places(options.further_peers, *party);
            }
        }
        return options;
    }

    static void add_places(std::vector<std::string> &peers, const Party &party) {
        if (party.subject.kind == Subject::Kind::ADDRESS) {
            peers.push_back(party.subject.text);
        }
        for (const HeldPorts &held : party.held) {
            if (held.network.is_own) {
                std::ranges::move(places_of(held), std::back_inserter(peers));
            }
        }
        peers.resize(std::min(peers.size(), PLACES_MOST));
    }

    /** Whoever was heard stays, also when he goes. */
    static void note(std::vector<Sighting> &others, std::vector<Sighting> now) {
        for (Sighting &other : now) {
            const auto same = std::ranges::find(others, other.guid, &Sighting::guid);

            if (same == others.end()) {
                others.push_back(std::move(other));
            } else {
                *same = std::move(other);
            }
        }
    }

    /** Whoever may be the one that is named. */
    std::vector<Sighting> candidates(const Party &party,
                                     const std::vector<Sighting> &others) const {
        const Subject &subject = party.subject;
        const auto those = [&](const auto &predicate) {
            std::vector<Sighting> found;

            std::ranges::copy_if(others, std::back_inserter(found), predicate);
            return found;
        };
        std::vector<Sighting> found =
            those([&](const Sighting &other) { return is_named(subject, other, host_); });

        if (found.empty() && subject.kind == Subject::Kind::NAME) {
            found = those([&](const Sighting &other) { return other.process == subject.text; });
        }
        if (found.empty() && subject.kind == Subject::Kind::NAME) {
            found = those([&](const Sighting &other) { return other.host == subject.text; });
        }
        if (found.empty() && subject.kind == Subject::Kind::PROCESS && party.process) {
            for (const HeldPorts &held :
                 held_ports(holdings_, map_, others, host::interface_addresses())) {
                if (held.announced && is_held_by(held, subject)) {
                    found.push_back(*held.announced);
                }
            }
        } else if (found.empty() && subject.kind == Subject::Kind::PROCESS) {
            found = those([&](const Sighting &other) { return other.pid == subject.process; });
        }
        return found;
    }

    /** Whether nothing is to be expected but the word of others, as there is no participant. */
    static bool is_nobody(const Party &party) {
        return party.subject.kind == Subject::Kind::PROCESS && party.held.empty();
    }

    bool is_enough(const std::vector<Sighting> &others, std::chrono::nanoseconds passed) {
        const auto all = parties();

        return std::ranges::all_of(all, [&](const Party *party) {
            const std::vector<Sighting> found = candidates(*party, others);

            return found.empty() ? is_nobody(*party) && passed >= TIME_FOR_WITNESSES
                                 : std::ranges::all_of(found, &Sighting::has_addressed);
        });
    }

    /** The one of several that is most likely meant; throws when that is not clear. */
    void choose(const std::vector<Sighting> &others) {
        std::vector<std::vector<Sighting>> found;

        for (const Party *const party : parties()) {
            found.push_back(candidates(*party, others));
        }
        if (found.size() == 2) {
            prefer_domains_of(found[0], found[1]);
            prefer_domains_of(found[1], found[0]);
        }
        std::size_t i = 0;

        for (Party *const party : parties()) {
            if (found[i].size() > 1) {
                throw std::runtime_error(ambiguity(party->subject, found[i]));
            }
            if (!found[i].empty()) {
                party->heard = std::move(found[i].front());
            }
            ++i;
        }
    }

    static void prefer_domains_of(std::vector<Sighting> &left, const std::vector<Sighting> &right) {
        std::vector<Sighting> preferred;

        std::ranges::copy_if(left, std::back_inserter(preferred), [&](const Sighting &one) {
            return std::ranges::any_of(right, [&](const Sighting &other) {
                return other.domain == one.domain && other.guid != one.guid;
            });
        });
        if (left.size() > 1 && !preferred.empty()) {
            left = std::move(preferred);
        }
    }

    static std::string ambiguity(const Subject &subject, const std::vector<Sighting> &found) {
        std::vector<std::string> guids;

        guids.reserve(found.size());
        for (const Sighting &one : found) {
            guids.push_back(one.guid + " in domain " + std::to_string(one.domain));
        }
        return "'" + subject.text + "' is the name of " + std::to_string(found.size()) +
               " participants: " + join(guids, ", ") + "; allowed is one of these GUIDs";
    }

    void find_witnesses(const std::vector<Sighting> &others) {
        std::string word = "a";

        for (Party *const party : parties()) {
            for (const Sighting &other : others) {
                const auto answer = party->heard ? std::nullopt : answer_of(other, word);

                if (answer && answer->state == Reply::State::KNOWN) {
                    party->witnesses.push_back({other, *answer});
                }
            }
            ++word.front();
        }
        if (facts_.second && facts_.first.heard && !facts_.second->heard) {
            facts_.first.says = answer_of(*facts_.first.heard, "b");
        }
        if (facts_.second && facts_.second->heard && !facts_.first.heard) {
            facts_.second->says = answer_of(*facts_.second->heard, "a");
        }
    }

    /** By other words, since their answers to the first questions are known already. */
    void ask_each_other(const Factory &factory) {
        if (!facts_.second || !facts_.first.heard || !facts_.second->heard ||
            facts_.first.heard->domain != facts_.second->heard->domain) {
            return;
        }
        Party &first = facts_.first;
        Party &second = *facts_.second;
        ParticipantOptions options = options_;

        for (const Party *const party : parties()) {
            add_places(options.further_peers, *party);
        }
        options.announced_properties = {
            {std::string(QUESTION) + "c", question_about(*first.heard)},
            {std::string(QUESTION) + "d", question_about(*second.heard)}};
        const Lookouts lookouts(factory, options, {first.heard->domain}, facts_.unseen);
        const Moment end = Moment::clock::now() + TIME_TO_ANSWER;

        do {
            for (const Sighting &other : lookouts.others()) {
                if (other.guid == first.heard->guid) {
                    first.says = answer_of(other, "d");
                    first.heard->has_addressed |= other.has_addressed;
                } else if (other.guid == second.heard->guid) {
                    second.says = answer_of(other, "c");
                    second.heard->has_addressed |= other.has_addressed;
                }
            }
        } while (!(first.says && second.says) && wait(end));
    }

    void find_gone(const std::vector<Sighting> &others) {
        for (Party *const party : parties()) {
            party->is_gone = party->heard && std::ranges::find(others, party->heard->guid,
                                                               &Sighting::guid) == others.end();
        }
    }

    /** Of whoever is not heard, or does not answer. */
    void look_for_obstacles() {
        for (Party *const party : parties()) {
            std::vector<std::string> locators;

            if (party->heard && !party->heard->has_addressed) {
                locators = party->heard->metatraffic_unicast_locators;
            }
            for (const Witness &witness : party->witnesses) {
                if (!witness.answer.place.empty()) {
                    locators.push_back(witness.answer.place);
                }
            }
            party->knocks = knock(locators);
            if (party->process && !party->heard && party->held.empty() && facts_.taken.empty()) {
                facts_.taken = taken_ports(options_, holdings(ports_to_look_at(options_), false));
            }
            if (!party->heard && party->held.empty() &&
                party->subject.kind != Subject::Kind::PROCESS) {
                read_firewall();
            }
        }
    }

    void read_firewall() {
        std::set<unsigned> ports;
        PortMap map;

        add_ports(map, options_, {0, doctor::HIGHEST_PEER_INDEX});
        for (const auto &[port, use] : map) {
            ports.insert(port);
        }
        if (const doctor::Ruleset ruleset = doctor::read_ruleset(); ruleset.text) {
            facts_.rules = doctor::dropping_rules(*ruleset.text, ports);
        }
    }

    const WhyOptions &options_;
    const PortMap map_;
    const Holdings holdings_;
    const std::string host_;
    std::vector<HeldPorts> all_held_;
    Facts facts_;
};

/** "192.0.2.2" and 7410 of "udpv4://192.0.2.2:7410"; none of what cannot be read. */
std::optional<std::pair<std::string, unsigned>> parts_of(const std::string &locator) {
    const std::size_t slashes = locator.find("//");
    const std::size_t colon = locator.rfind(':');

    if (slashes == locator.npos || colon == locator.npos || colon < slashes + 2) {
        return std::nullopt;
    }
    std::string host = locator.substr(slashes + 2, colon - slashes - 2);
    const auto port = to_number<unsigned>(locator.substr(colon + 1));

    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    return port && *port > 0 && *port <= DDS_RTPS_PORT_MAX && doctor::family_of(host)
               ? std::optional(std::pair(host, *port))
               : std::nullopt;
}

} // namespace

std::vector<Knock> knock(const std::vector<std::string> &locators) {
    constexpr std::chrono::milliseconds TIME_FOR_ERRORS(100);
    constexpr char NOTHING = 0;
    std::vector<Knock> knocks;
    std::vector<doctor::Socket> sockets;
    std::vector<pollfd> waiting;
    std::vector<std::size_t> which; // of the knocks a socket is for

    for (const std::string &locator : locators) {
        const auto parts = parts_of(locator);

        if (!parts || std::ranges::find(knocks, locator, &Knock::locator) != knocks.end()) {
            continue;
        }
        const doctor::Family family = *doctor::family_of(parts->first);
        const doctor::SocketName name(family, parts->first, parts->second);
        doctor::Socket socket(family);

        knocks.push_back({locator});
        if (connect(socket.get(), name.get(), name.length()) != 0 ||
            send(socket.get(), &NOTHING, sizeof NOTHING, 0) < 0) {
            knocks.back().outcome = Knock::Outcome::NOT_SENT;
            knocks.back().error = errno;
        } else {
            waiting.push_back({socket.get(), 0, 0});
            which.push_back(knocks.size() - 1);
            sockets.push_back(std::move(socket));
        }
    }
    const Moment end = Moment::clock::now() + TIME_FOR_ERRORS;

    while (!waiting.empty() && Moment::clock::now() < end &&
           poll(waiting.data(), waiting.size(), static_cast<int>(PERIOD.count())) >= 0) {
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            int error = 0;
            socklen_t length = sizeof error;

            if ((waiting[i].revents & POLLERR) != 0 &&
                getsockopt(waiting[i].fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 &&
                error == ECONNREFUSED) {
                knocks[which[i]].outcome = Knock::Outcome::REFUSED;
            }
        }
    }
    return knocks;
}

Facts gather(const WhyOptions &options) {
    return Search(options).run();
}

} // namespace why
