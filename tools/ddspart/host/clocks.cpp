// SPDX-License-Identifier: Apache-2.0
#include "host/clocks.h"

namespace host {

std::chrono::nanoseconds read_clock(clockid_t clock) {
    timespec now = {};

    (void)clock_gettime(clock, &now); // cannot fail: every Linux has these
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::optional<Clocks> read_clocks(const ClockReader &read) {
    constexpr std::chrono::milliseconds ONE_MOMENT(10);
    constexpr int TRIES = 10; // others may be let run in between

    for (int i = 0; i < TRIES; ++i) {
        const std::chrono::nanoseconds start = read(CLOCK_MONOTONIC);
        const Clocks clocks = {read(CLOCK_REALTIME), read(CLOCK_BOOTTIME), start};

        if (read(CLOCK_MONOTONIC) - start <= ONE_MOMENT) {
            return clocks;
        }
    }
    return std::nullopt;
}

std::chrono::nanoseconds step_between(const Clocks &before, const Clocks &after) {
    return (after.realtime - before.realtime) - (after.boottime - before.boottime);
}

std::chrono::nanoseconds sleep_between(const Clocks &before, const Clocks &after) {
    return (after.boottime - before.boottime) - (after.monotonic - before.monotonic);
}

} // namespace host
