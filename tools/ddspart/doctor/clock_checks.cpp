// SPDX-License-Identifier: Apache-2.0
#include "doctor/clock_checks.h"

#include "doctor/texts.h"

namespace doctor {

namespace {

/** Nobody notices less; a clock that is only made to go faster or slower is not set at all. */
constexpr std::chrono::milliseconds NOTICED(100);

} // namespace

std::vector<Finding> find_clock_set(const Facts &facts, const Wishes &) {
    if (!facts.clocks_before || !facts.clocks_after) {
        return {};
    }
    const auto step = host::step_between(*facts.clocks_before, *facts.clocks_after);
    const bool is_back = step < std::chrono::nanoseconds(0);

    if (std::chrono::abs(step) <= NOTICED) {
        return {};
    }
    return {{"", "CLOCK_REALTIME",
             "The clock of this host was set " + std::string(is_back ? "back" : "forward") +
                 " by " + text_of(std::chrono::abs(step)) +
                 " while it was looked at. Leases and periods do not go by it, but the times in "
                 "logs do" +
                 (is_back ? ", and whoever starts anew under a GUID that it had before counts as "
                            "an older one until its former lease ends."
                          : "."),
             "Have it set before participants start, and only made to go faster or slower from "
             "then on: chronyc tracking, timedatectl timesync-status or whatever else sets it "
             "tells why it was."}};
}

std::vector<Finding> find_host_asleep(const Facts &facts, const Wishes &) {
    if (!facts.clocks_before || !facts.clocks_after) {
        return {};
    }
    const auto sleep = host::sleep_between(*facts.clocks_before, *facts.clocks_after);

    if (sleep <= NOTICED) {
        return {};
    }
    return {{"", "CLOCK_MONOTONIC",
             "This host was asleep for " + text_of(sleep) +
                 " while it was looked at: its participants announce nothing meanwhile, and others "
                 "drop them when their leases end.",
             "Keep it awake while participants run (systemd-inhibit, the settings of power, those "
             "of the virtual machine), or give them leases that are longer than it sleeps, "
             "discovery_config.lease_duration."}};
}

} // namespace doctor
