#include "commands.h"

#include "output.h"
#include "participant.h"
#include "ports.h"
#include "signals.h"

namespace {

const char *reason(int signal) {
    switch (signal) {
    case SIGINT:
        return "SIGINT";
    case SIGTERM:
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
    int signal = 0;

    while ((signal = wait_for_signal(end)) == NEWS_SIGNAL) {
        presence = participant.describe();
        show(Changed{presence}, options.json);
    }
    participant.leave();
    show(Left{presence.domain, presence.index, reason(signal)}, options.json);
}

void execute(const PortsOptions &options) {
    show(port_table(options), options.json);
}
