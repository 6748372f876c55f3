// SPDX-License-Identifier: Apache-2.0
// ddspart doctor: what keeps a participant from finding others.
#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "doctor/checks.h"
#include "doctor/facts.h"
#include "doctor/two_ends.h"
#include "doctor/wishes.h"
#include "listening.h"
#include "log.h"
#include "output.h"
#include "participant.h"
#include "ports.h"
#include "signals.h"
#include "streams.h"
#include "table.h"

namespace {

constexpr const char *TOOL = "ddspart doctor";
constexpr std::chrono::milliseconds USUAL_TIME(2500);
constexpr std::chrono::milliseconds MOST_TIME_TO_ASK(2800);

/** What a participant with the options would ask for; throws when no participant can. */
doctor::Wishes wishes_of(const DoctorOptions &options) {
    const Factory factory;
    const Qos qos(factory, options);

    if (DDS_DomainParticipantQos_is_consistent(qos.get()) == DDS_BOOLEAN_FALSE) {
        throw LoggedFailure();
    }
    if (!highest_usable_index(options)) {
        throw std::runtime_error("domain " + std::to_string(options.domain) +
                                 " has no valid ports for any participant index");
    }
    return doctor::wishes_of(*qos.get(), options.domain);
}

/** Those that hold ports, were not seen to be participants, and say so when they are asked. */
std::vector<Sighting> ask_holders(const DoctorOptions &options, const doctor::Facts &facts) {
    const std::vector<std::string> places = places_to_ask(facts.held);
    ParticipantOptions own = options;

    own.tool = TOOL;
    try {
        return places.empty() ? std::vector<Sighting>() : ask(Factory(), std::move(own), places);
    } catch (const LoggedFailure &) {
        return {}; // nobody can be asked, which is said of listening
    }
}

/** Who is there, is gone, and is there again. */
class Attendance {
public:
    void take(const std::vector<Sighting> &others) {
        std::set<std::string> now;

        for (const Sighting &other : others) {
            now.insert(other.guid);
            if (gone_.erase(other.guid) > 0) {
                returned_.try_emplace(other.guid, other);
            }
        }
        std::ranges::set_difference(there_, now, std::inserter(gone_, gone_.end()));
        there_ = std::move(now);
    }

    std::vector<Sighting> returned() const {
        std::vector<Sighting> all;

        for (const auto &[guid, other] : returned_) {
            all.push_back(other);
        }
        return all;
    }

private:
    std::set<std::string> there_;
    std::set<std::string> gone_;
    std::map<std::string, Sighting> returned_;
};

/**
 * Listens to the domain, and announces itself to peers if some were named, so that they answer.
 * None if no participant can be had, or nobody is to listen.
 */
std::optional<doctor::Heard> hear(const DoctorOptions &options, Moment end) {
    const Moment start = Moment::clock::now();

    if (end <= start) {
        return std::nullopt;
    }
    const Factory factory;
    ParticipantOptions own = options;
    doctor::Heard heard;

    own.tool = TOOL;
    heard.is_announced = !options.peers.empty();
    const std::unique_ptr<Participant> participant =
        heard.is_announced ? join_at_highest_index(factory, own)
                           : std::make_unique<Participant>(factory, listening_only(std::move(own)));

    Attendance attendance;

    while (wait_for_poll(end) == Event::NEWS) {
        attendance.take(participant->others());
    }
    heard.others = participant->others();
    heard.returned = attendance.returned();
    heard.statistics = participant->statistics();
    heard.duration = Moment::clock::now() - start;
    return heard;
}

void print(const doctor::Diagnosis &diagnosis, const DoctorOptions &options) {
    const std::optional<std::size_t> width = options.json ? std::nullopt : terminal_columns();

    if (width) {
        write_data(wrapped(as_text(diagnosis), *width));
    } else {
        show(diagnosis, options.json);
    }
}

/** Looks at this host, then lets the other one ask. */
int serve(const DoctorOptions &options, const doctor::Wishes &wishes) {
    constexpr std::chrono::seconds USUAL_TIME_TO_SERVE(60);
    doctor::Server server(options, wishes);
    doctor::Facts facts = doctor::gather(wishes);

    doctor::look_again(facts, wishes, ask_holders(options, facts));
    const doctor::Diagnosis diagnosis = doctor::diagnose(facts, wishes);
    const std::chrono::nanoseconds duration = options.duration.value_or(USUAL_TIME_TO_SERVE);

    print(diagnosis, options);
    show(doctor::Serving{wishes.domain, options.serve, options.control_port, duration},
         options.json);
    server.serve(facts, Moment::clock::now() + duration);
    return diagnosis.findings.empty() ? 0 : FINDINGS;
}

/**
 * Looks at the domain from this host, and from the other one where that was asked for. Returns why
 * that one could not be asked; what this one tells may be the cause.
 */
std::string look_around(const DoctorOptions &options, const doctor::Wishes &wishes,
                        doctor::Facts &facts, Moment start) {
    std::vector<Sighting> heard = ask_holders(options, facts);
    std::string failure;

    try {
        if (!options.with.empty()) {
            try {
                facts.ends = doctor::ask_other_end(options, wishes, facts, start + MOST_TIME_TO_ASK,
                                                   facts.unseen);
            } catch (const doctor::NoTalk &error) {
                failure = error.what();
            }
        }
        facts.heard = hear(options, options.duration ? Moment::clock::now() + *options.duration
                                                     : start + USUAL_TIME);
    } catch (const LoggedFailure &) {
        facts.unseen.emplace_back("who is in the domain: no participant can be created here");
    }
    if (facts.heard) {
        heard.insert(heard.end(), facts.heard->others.begin(), facts.heard->others.end());
    }
    doctor::look_again(facts, wishes, heard);
    return failure;
}

} // namespace

int execute(const DoctorOptions &options) {
    const Moment start = Moment::clock::now();
    const doctor::Wishes wishes = wishes_of(options);

    if (!options.serve.empty()) {
        return serve(options, wishes);
    }
    doctor::Facts facts = doctor::gather(wishes);
    const std::string failure = look_around(options, wishes, facts, start);
    const doctor::Diagnosis diagnosis = doctor::diagnose(facts, wishes);

    print(diagnosis, options);
    if (!failure.empty()) {
        throw std::runtime_error(failure);
    }
    return diagnosis.findings.empty() ? 0 : FINDINGS;
}
