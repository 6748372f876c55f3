// SPDX-License-Identifier: Apache-2.0
// The end that asks.
#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "doctor/control.h"
#include "doctor/end.h"
#include "doctor/greeting.h"
#include "doctor/texts.h"
#include "doctor/two_ends.h"
#include "listening.h"
#include "numbers.h"
#include "words.h"

namespace doctor {

namespace {

constexpr std::chrono::milliseconds TIME_TO_ANSWER(100); // then it is asked again
constexpr std::chrono::milliseconds TIME_TO_GREET(1000);
constexpr std::chrono::milliseconds TIME_TO_MEET(400);
/** Access points keep what is for groups until all who sleep listen. */
constexpr std::chrono::milliseconds TIME_FOR_GROUPS(300);
constexpr std::chrono::milliseconds SHORTLY(20);
constexpr std::size_t PLACES_HIGHEST = 24;

bool is_interrupted() {
    const Event event = wait_for_event(Moment::min());

    return event == Event::SIGINT_CAME || event == Event::SIGTERM_CAME;
}

bool is_over(Moment end) {
    return Moment::clock::now() >= end || is_interrupted();
}

/** By the control port, so that whoever has let it through for one way has for the other. */
Control open_control(Family family, unsigned port) {
    try {
        return {family, port};
    } catch (const std::system_error &) {
        return {family, 0}; // both ends are on one host
    }
}

class Asker {
public:
    Asker(OwnEnd &own, std::string address, Moment end)
        : own_(own), address_(std::move(address)), end_(end), family_(*family_of(address_)),
          control_(open_control(family_, own.options().control_port)),
          number_(std::random_device()()) {}

    /** Whether there is an answer within that time. Throws NoTalk when it is no use. */
    bool greet(std::chrono::milliseconds most_time) {
        const Record settings = settings_of(own_.wishes());
        const auto answer =
            try_to_ask("hello", {settings}, std::min(end_, Moment::clock::now() + most_time));

        if (!answer) {
            return false;
        }
        const auto its = answer->find(settings.front());

        session_ = answer->session;
        if (!its || *its != Record(settings.begin() + 1, settings.end())) {
            throw NoTalk(name() + " looks at " + text_of_settings(its.value_or(Record())) +
                         ", this end at " +
                         text_of_settings({settings.begin() + 1, settings.end()}) +
                         "; give both ends the same --domain and the same settings of ports");
        }
        return true;
    }

    /** Once it has been greeted. */
    Ends talk(std::vector<std::string> &unseen) {
        Ends ends;

        ends.name = own_.options().with;
        try {
            try_traffic(ends);
            name_untried(ends, unseen);
            look(ends);
            Ends met = ends; // half a meeting would tell of participants that do not hear others

            meet(met, unseen);
            ends = std::move(met);
        } catch (const NoTalk &error) {
            unseen.push_back("the rest of the way to " + name() + " and back: " + error.what());
        }
        return ends;
    }

private:
    /**
     * The answer; asks once, and again until @p end as long as there is none. Throws NoTalk when
     * nobody is to be talked with there.
     */
    std::optional<Message> try_to_ask(const std::string &kind, const std::vector<Record> &records,
                                      Moment end) {
        const Message question = {kind, session_, ++number_, records};
        const std::string text = kind == "hello" ? to_greeting(question) : to_text(question);
        const unsigned port = own_.options().control_port;

        do {
            const Moment again = Moment::clock::now() + TIME_TO_ANSWER;

            control_.say(text, address_, port);
            while (Moment::clock::now() < again && !is_interrupted()) {
                control_.wait(SHORTLY);
                if (auto answer = hear_answer(question, port)) {
                    return std::move(*answer);
                }
            }
        } while (!is_over(end));
        if (is_interrupted()) {
            throw NoTalk(name() + " was not asked to the end: interrupted");
        }
        return std::nullopt;
    }

    /** The same of somebody who has answered before; throws NoTalk when there is no answer. */
    Message ask(const std::string &kind, const std::vector<Record> &records) {
        std::optional<Message> answer = try_to_ask(kind, records, end_);

        if (!answer) {
            throw NoTalk(name() + " does not answer at UDP port " +
                         std::to_string(own_.options().control_port) + " any more");
        }
        return std::move(*answer);
    }

    /** The answer, if it is among what waits; others may send more than anybody can read. */
    std::optional<Message> hear_answer(const Message &question, unsigned port) const {
        constexpr int MOST_IN_A_TURN = 64;

        for (int i = 0; i < MOST_IN_A_TURN; ++i) {
            const auto said = control_.hear();

            if (!said) {
                break;
            }
            if (said->address == address_ && said->port == port) {
                if (auto answer = answer_in(said->text, question)) {
                    return answer;
                }
            }
        }
        return std::nullopt;
    }

    std::optional<Message> answer_in(const std::string &text, const Message &question) const {
        Reading reading = read_message(text);

        if (reading.version && reading.version != MESSAGE_VERSION) {
            throw NoTalk(name() + " speaks version " + std::to_string(*reading.version) +
                         " of the language of ddspart doctor, this end version " +
                         std::to_string(MESSAGE_VERSION) +
                         "; allowed is the same ddspart at both ends");
        }
        return reading.message && reading.message->kind == question.kind &&
                       reading.message->number == question.number
                   ? std::move(reading.message)
                   : std::nullopt;
    }

    End ask_for_end() {
        std::vector<Record> records;
        constexpr unsigned MOST_PAGES = 32;

        for (unsigned page = 0; page < MOST_PAGES; ++page) {
            const Message answer = ask("end", {{"page", std::to_string(page)}});

            records.insert(records.end(), answer.records.begin(), answer.records.end());
            if (!answer.find("more")) {
                break;
            }
        }
        return to_end(records);
    }

    void try_traffic(Ends &ends) {
        constexpr int TRIES = 3;
        const std::uint64_t token = ask_for_token();
        std::set<unsigned> ports;

        for (const auto &each : unicast_ports(own_.wishes())) {
            ports.insert(each.begin(), each.end());
        }
        Ear ear(own_.volley_plan(family_, way_back(token)), ports);

        for (int i = 0; i < TRIES && (i == 0 || is_any_missing(ends)); ++i) {
            send_there(own_.volley_plan(family_, token), ends.out);
            have_sent_here(ear, ends.in);
        }
        if (own_.needs_multicast() && is_for_groups_only(ends)) {
            wait_until(TIME_FOR_GROUPS, [&] {
                ask_what_arrived(ends.out);
                listen(ear, ends.in);
                return !is_for_groups_only(ends);
            });
        }
    }

    std::uint64_t ask_for_token() {
        const auto fields = ask("receive", {}).find("token");
        const auto token =
            fields && !fields->empty() ? to_number<std::uint64_t>(fields->front()) : std::nullopt;

        if (!token) {
            throw NoTalk(name() + " does not say by what its datagrams are known");
        }
        return *token;
    }

    static bool is_any_missing(const Ends &ends) {
        return std::ranges::any_of(std::array{&ends.out, &ends.in}, [](const Direction *direction) {
            return is_missing(*direction, {Shot::Kind::PORT, Shot::Kind::LARGE}) ||
                   (direction->has_group && is_missing(*direction, {Shot::Kind::GROUP}));
        });
    }

    /**
     * Whether all has arrived but what was for a group, of which nothing has, one way at least.
     * What is kept comes in the order in which it was sent: what is missing when some of it is
     * there does not come any more.
     */
    static bool is_for_groups_only(const Ends &ends) {
        const auto is_lost = [](const Direction &direction) {
            return direction.has_group && is_missing(direction, {Shot::Kind::GROUP}) &&
                   std::ranges::none_of(direction.arrived, [](const Shot &shot) {
                       return shot.kind == Shot::Kind::GROUP;
                   });
        };
        const auto is_rest_missing = [](const Direction &direction) {
            return is_missing(direction, {Shot::Kind::PORT, Shot::Kind::LARGE});
        };

        return (is_lost(ends.out) || is_lost(ends.in)) && !is_rest_missing(ends.out) &&
               !is_rest_missing(ends.in);
    }

    /** Whether anything of these kinds was sent and has not arrived. */
    static bool is_missing(const Direction &direction, const std::set<Shot::Kind> &kinds) {
        return std::ranges::any_of(direction.sent, [&](const Shot &shot) {
            return kinds.contains(shot.kind) && !direction.arrived.contains(shot);
        });
    }

    /** Notes nothing before all is known: what was sent and not asked for would be lost. */
    void send_there(const VolleyPlan &plan, Direction &known) {
        const Message ready = ask("receive", {});
        Direction out = known;

        for (const Record &record : ready.records) {
            if (const auto shot = to_shot(record)) {
                out.ports.insert(shot->value);
            }
        }
        out.has_group = ready.find("group").has_value();
        const Volley volley = fire(plan, address_, out.ports);

        out.sent.insert(volley.shots.begin(), volley.shots.end());
        out.source = volley.source;
        ask_what_arrived(out);
        known = std::move(out);
    }

    void ask_what_arrived(Direction &out) {
        const Message received = ask("received", {});

        for (const Record &record : received.records) {
            if (const auto shot = to_shot(record)) {
                out.arrived.insert(*shot);
            }
        }
        if (const auto source = received.find("source"); source && !source->empty()) {
            out.seen_source = source->front();
        }
    }

    void have_sent_here(Ear &ear, Direction &in) {
        std::vector<Record> records;

        for (const unsigned port : ear.ports()) {
            records.push_back(to_record({Shot::Kind::PORT, port}));
        }
        const Message sent = ask("send", records);

        for (const Record &record : sent.records) {
            if (const auto shot = to_shot(record)) {
                in.sent.insert(*shot);
            }
        }
        if (const auto source = sent.find("source"); source && !source->empty()) {
            in.source = source->front();
        }
        control_.wait(SHORTLY); // they were sent before the answer, and are there or on the way
        in.ports = ear.ports();
        in.has_group = ear.has_group();
        listen(ear, in);
    }

    static void listen(Ear &ear, Direction &in) {
        ear.listen();
        in.arrived = ear.shots();
        in.seen_source = ear.source();
    }

    /** Takes what both ends know now. */
    void look(Ends &ends) {
        End there = ask_for_end();

        ends.here = own_.look();
        ends.there = std::move(there);
    }

    /** Has both ends announce themselves where the other one has participants. */
    void meet(Ends &ends, std::vector<std::string> &unseen) {
        std::vector<std::string> places;
        std::vector<Record> ports;

        for (const unsigned port : ends.there.discovery_ports) {
            places.push_back(place_at(address_, port));
        }
        for (const unsigned port : ends.here.discovery_ports) {
            ports.push_back({"port", std::to_string(port)});
        }
        announce(places, ports, ends);
        wait_until(TIME_TO_MEET, [&] {
            return own_.number_heard() + number_of_lonely(ends.here) +
                       number_of_lonely(ends.there) >=
                   ends.here.discovery_ports.size() + ends.there.discovery_ports.size();
        });
        look(ends);
        const std::vector<std::string> missed_here = missed(ends.there, ends.here);
        const std::vector<std::string> missed_there = missed(ends.here, ends.there);

        if (!missed_here.empty() || !missed_there.empty()) {
            std::vector<Record> records;

            records.reserve(missed_there.size());
            for (const std::string &place : missed_there) {
                records.push_back({"place", place});
            }
            announce(missed_here, records, ends);
            wait_until(TIME_TO_MEET, [&] {
                look(ends);
                return missed(ends.there, ends.here).empty() &&
                       missed(ends.here, ends.there).empty();
            });
        }
        own_.stop_announcing();
        if (!ends.here.is_whole || !ends.there.is_whole) {
            unseen.emplace_back("which participants each end has heard: there are too many");
        }
    }

    /** Those that are on loopback alone, whom nobody hears who announces himself elsewhere. */
    static std::size_t number_of_lonely(const End &end) {
        return static_cast<std::size_t>(
            std::ranges::count_if(end.residents, [](const End::Resident &resident) {
                return std::ranges::all_of(resident.locators, is_loopback_locator);
            }));
    }

    /** The directions in which nothing was sent. */
    static void name_untried(const Ends &ends, std::vector<std::string> &unseen) {
        const auto name_it = [&](const Direction &direction, const std::string &host) {
            if (direction.ports.empty()) {
                unseen.push_back("whether ports of " + host +
                                 " are reached: none of the first participant indices is free "
                                 "there");
            }
        };

        name_it(ends.out, ends.name);
        name_it(ends.in, "this host");
    }

    void announce(std::vector<std::string> places, std::vector<Record> records, Ends &ends) {
        places.resize(std::min(places.size(), PLACES_HIGHEST));
        records.resize(std::min(records.size(), PLACES_HIGHEST));
        const Message answer = ask("announce", records);
        const bool is_announcing = own_.announce(places);

        if (is_announcing) {
            ends.asked_here.insert(places.begin(), places.end());
        }
        for (const Record &record : records) {
            if (answer.find("done") && record.front() == "place") {
                ends.asked_there.insert(record.back());
            }
        }
    }

    /** The locators of the residents of an end that the other one has not heard. */
    static std::vector<std::string> missed(const End &of, const End &by) {
        std::vector<std::string> places;

        for (const End::Resident &resident : of.residents) {
            if (!by.heard.contains(resident.guid)) {
                std::ranges::copy_if(
                    resident.locators, std::back_inserter(places),
                    [](const std::string &locator) { return !is_loopback_locator(locator); });
            }
        }
        return places;
    }

    template <class Condition>
    void wait_until(std::chrono::milliseconds most_time, Condition condition) const {
        const Moment end = std::min(end_, Moment::clock::now() + most_time);

        while (!is_over(end) && !condition()) {
            control_.wait(SHORTLY);
        }
    }

    const std::string &name() const {
        return own_.options().with;
    }

    OwnEnd &own_;
    const std::string address_;
    const Moment end_;
    const Family family_;
    const Control control_;
    unsigned number_;
    std::uint64_t session_ = 0;
};

/** The addresses of a host by which it was not looked at. */
void name_others(std::vector<std::string> addresses, const std::string &taken,
                 const std::string &host, std::vector<std::string> &unseen) {
    std::erase(addresses, taken);
    if (!addresses.empty()) {
        unseen.push_back("the way to " + host + " by " + ::join(addresses, ", ") + ": " + taken +
                         " was taken, which has answered");
    }
}

/** Why none of the addresses of a host may have answered, in a sentence. */
std::string silence_of(const std::vector<std::string> &addresses, const DoctorOptions &options) {
    const bool is_address = addresses == std::vector{options.with};
    std::set<std::string> sources;

    for (const std::string &address : addresses) {
        sources.insert(source_towards(*family_of(address), address));
    }
    sources.erase("");
    return options.with + " does not answer at UDP port " + std::to_string(options.control_port) +
           (is_address ? "" : " of " + ::join(addresses, ", ")) +
           "; run \"ddspart doctor --serve\" there with the address " +
           ::join({sources.begin(), sources.end()}, " or ") +
           " of this host, and let that port through both ways";
}

} // namespace

Ends ask_other_end(const DoctorOptions &options, const Wishes &wishes, const Facts &facts,
                   Moment end, std::vector<std::string> &unseen) {
    const std::vector<std::string> addresses = addresses_of_host(options.with, wishes);
    const std::chrono::milliseconds time_for_each =
        std::max(TIME_TO_ANSWER, TIME_TO_GREET / static_cast<int>(addresses.size()));
    OwnEnd own(options, wishes, facts);

    own.listen();
    for (const std::string &address : addresses) {
        Asker asker(own, address, end);

        if (asker.greet(time_for_each)) {
            name_others(addresses, address, options.with, unseen);
            return asker.talk(unseen);
        }
        if (Moment::clock::now() >= end) {
            break;
        }
    }
    throw NoTalk(silence_of(addresses, options));
}

} // namespace doctor
