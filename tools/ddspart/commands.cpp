// SPDX-License-Identifier: Apache-2.0
#include "commands.h"

#include <utility>

#include "output.h"
#include "participant.h"
#include "ports.h"
#include "signals.h"

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

} // namespace

void execute(const RunOptions &options) {
    const Factory factory;
    Participant participant(factory, options);
    Presence presence = participant.describe();

    show(Joined{presence}, options.json);
    if (options.show_qos) {
        const Qos qos = participant.qos();

        show(QosShown{presence.domain, presence.index, qos.get()}, options.json);
    }
    const auto end =
        options.duration ? std::optional(Moment::clock::now() + *options.duration) : std::nullopt;
    Event event = Event::NEWS;

    while ((event = wait_for_event(end)) == Event::NEWS) {
        Presence now = participant.describe();

        if (now != presence) { // not so when the network has gone back to what it was
            presence = std::move(now);
            show(Changed{presence}, options.json);
        }
    }
    participant.leave();
    show(Left{presence.domain, presence.index, reason(event)}, options.json);
}

void execute(const PortsOptions &options) {
    show(port_table(options), options.json);
}
