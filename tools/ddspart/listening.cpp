// SPDX-License-Identifier: Apache-2.0
#include "listening.h"

#include <algorithm>

#include <sys/resource.h>

#include "log.h"
#include "ports.h"

ParticipantOptions listening_only(ParticipantOptions options) {
    options.is_announced = false;
    options.reserved_ports = DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST;
    options.index = 0; // one is not looked for then, and none is taken
    return options;
}

std::unique_ptr<Participant> join_at_highest_index(const Factory &factory,
                                                   ParticipantOptions options) {
    for (options.index = highest_usable_index(options).value_or(0); options.index > 0;
         --options.index) {
        const Silence silence; // a taken index is no error

        try {
            return std::make_unique<Participant>(factory, options);
        } catch (const LoggedFailure &) {
            continue;
        }
    }
    return std::make_unique<Participant>(factory, options);
}

void take_all_descriptors() {
    rlimit limit = {};

    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)setrlimit(RLIMIT_NOFILE, &limit); // else the library says what it lacks
    }
}

Event wait_for_poll(std::optional<Moment> end, std::chrono::milliseconds period) {
    const Moment next = Moment::clock::now() + period;
    const Event event = wait_for_event(end ? std::min(*end, next) : next);
    const bool is_over = end && Moment::clock::now() >= *end;

    return event == Event::TIME_IS_UP && !is_over ? Event::NEWS : event;
}
