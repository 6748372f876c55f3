// SPDX-License-Identifier: Apache-2.0
#include "commands.h"

#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "log.h"
#include "output.h"
#include "participant.h"
#include "signals.h"
#include "streams.h"
#include "taken_ports.h"

namespace {

const char *reason(Event event) {
    switch (event) {
    case Event::SIGINT_CAME:
        return "SIGINT";
    case Event::SIGTERM_CAME:
        return "SIGTERM";
    default:
        return "time is up";
    }
}

void show_encounters(Encounters &encounters, bool json) {
    const Encounters::Taken taken = encounters.take();

    for (const Encounter &encounter : taken.encounters) {
        show(encounter, json);
    }
    if (taken.missed > 0) {
        write_message("ddspart: " + std::to_string(taken.missed) +
                      " changes of participants came faster than they could be written");
    }
}

/** What the tool can say of a participant's failure; nothing where it cannot look. */
std::string remark_on_failure(const RunOptions &options) {
    const Silence silence; // the library has said what it has to say

    try {
        return taken_ports(options, holdings(ports_to_look_at(options), false));
    } catch (const std::exception &) {
        return "";
    }
}

/** Joins; a failure says who holds the ports. */
std::unique_ptr<Participant> join(const Factory &factory, const RunOptions &options,
                                  Encounters &encounters) {
    try {
        return std::make_unique<Participant>(factory, options, encounters);
    } catch (const LoggedFailure &) {
        throw LoggedFailure(remark_on_failure(options));
    }
}

} // namespace

int execute(const RunOptions &options) {
    const Factory factory;
    Encounters encounters;
    const std::unique_ptr<Participant> participant = join(factory, options, encounters);
    Presence presence = participant->describe();

    show(Joined{presence}, options.json);
    if (options.show_qos) {
        const Qos qos = participant->qos();

        show(QosShown{presence.domain, presence.index, qos.get()}, options.json);
    }
    const auto end =
        options.duration ? std::optional(Moment::clock::now() + *options.duration) : std::nullopt;
    Event event = Event::NEWS;

    while ((event = wait_for_event(end)) == Event::NEWS) {
        show_encounters(encounters, options.json);
        Presence now = participant->describe();

        if (now != presence) { // not so when the network has gone back to what it was
            presence = std::move(now);
            show(Changed{presence}, options.json);
        }
    }
    show_encounters(encounters, options.json);
    show(Discovered{presence.domain, presence.index, participant->statistics()}, options.json);
    participant->leave();
    show(Left{presence.domain, presence.index, reason(event)}, options.json);
    return 0;
}
