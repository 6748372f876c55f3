// SPDX-License-Identifier: Apache-2.0
#include "listening.h"

#include <algorithm>
#include <iterator>
#include <utility>

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

std::string place_at(const std::string &address, DDS_LongLong port) {
    const bool is_ipv6 = address.find(':') != std::string::npos;

    return (is_ipv6 ? "udpv6://[" + address + "]:" : "udpv4://" + address + ":") +
           std::to_string(port);
}

std::vector<std::string> places_of(const HeldPorts &held) {
    std::vector<std::string> places;

    for (const Port &port : held.ports) {
        if (port.kind != "builtin_unicast") {
            continue;
        }
        for (const std::string &address : held.addresses) {
            places.push_back(place_at(address == "0.0.0.0" ? "127.0.0.1"
                                      : address == "::"    ? "::1"
                                                           : address,
                                      port.number));
        }
    }
    return places;
}

std::vector<std::string> places_to_ask(const std::vector<HeldPorts> &all) {
    std::vector<std::string> places;

    for (const HeldPorts &held : all) {
        if (held.are_blocked() && !held.use_of_holder && held.network.is_own) {
            std::ranges::move(places_of(held), std::back_inserter(places));
        }
    }
    return places;
}

std::vector<Sighting> ask(const Factory &factory, ParticipantOptions options,
                          const std::vector<std::string> &places) {
    constexpr std::chrono::milliseconds TIME_TO_ANSWER(300); // it may be busy
    constexpr std::chrono::milliseconds PERIOD(5);
    const Moment end = Moment::clock::now() + TIME_TO_ANSWER;
    const Silence silence; // who cannot be asked has not answered
    std::vector<Sighting> answers;

    options.peers = places;
    options.multicast_addresses.clear();
    options.multicast = false;
    try {
        const auto participant = join_at_highest_index(factory, std::move(options));

        while (answers.size() < places.size() && wait_for_poll(end, PERIOD) == Event::NEWS) {
            answers = participant->others();
        }
    } catch (const LoggedFailure &) {
        answers.clear();
    }
    return answers;
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
