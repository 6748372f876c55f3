// SPDX-License-Identifier: Apache-2.0
// ddspart doctor: what keeps a participant from finding others.
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "commands.h"
#include "doctor/checks.h"
#include "doctor/facts.h"
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

constexpr int FINDINGS = 3;
constexpr const char *TOOL = "ddspart doctor";
constexpr std::chrono::milliseconds USUAL_TIME(2500);

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
    return places.empty() ? std::vector<Sighting>() : ask(Factory(), std::move(own), places);
}

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

    while (wait_for_poll(end) == Event::NEWS) {}
    heard.others = participant->others();
    heard.statistics = participant->statistics();
    heard.duration = Moment::clock::now() - start;
    return heard;
}

} // namespace

int execute(const DoctorOptions &options) {
    const Moment start = Moment::clock::now();
    const doctor::Wishes wishes = wishes_of(options);
    doctor::Facts facts = doctor::gather(wishes);
    std::vector<Sighting> heard;

    try {
        heard = ask_holders(options, facts);
        facts.heard = hear(options, options.duration ? Moment::clock::now() + *options.duration
                                                     : start + USUAL_TIME);
    } catch (const LoggedFailure &) {
        facts.unseen.emplace_back("who is in the domain: no participant can be created here");
    }
    if (facts.heard) {
        heard.insert(heard.end(), facts.heard->others.begin(), facts.heard->others.end());
    }
    doctor::look_again(facts, wishes, heard);
    const doctor::Diagnosis diagnosis = doctor::diagnose(facts, wishes);
    const std::optional<std::size_t> width = options.json ? std::nullopt : terminal_columns();

    if (width) {
        write_data(wrapped(as_text(diagnosis), *width));
    } else {
        show(diagnosis, options.json);
    }
    return diagnosis.findings.empty() ? 0 : FINDINGS;
}
