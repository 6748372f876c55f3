// SPDX-License-Identifier: Apache-2.0
// The clocks of the host.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include <time.h>

namespace host {

/** What they show at one moment. */
struct Clocks {
    std::chrono::nanoseconds realtime{};  // can be set
    std::chrono::nanoseconds boottime{};  // goes on while the host sleeps
    std::chrono::nanoseconds monotonic{}; // stands still then, and is what participants go by
};

/** What one of them shows: CLOCK_REALTIME, CLOCK_BOOTTIME or CLOCK_MONOTONIC. */
using ClockReader = std::function<std::chrono::nanoseconds(clockid_t)>;

std::chrono::nanoseconds read_clock(clockid_t clock);

/** All of them within 10 ms; none where the caller does not come to read them so quickly. */
std::optional<Clocks> read_clocks(const ClockReader &read = read_clock);

/** By how much the clock that can be set was set between two moments; below 0: back. */
std::chrono::nanoseconds step_between(const Clocks &before, const Clocks &after);

/** For how long the host slept between two moments. */
std::chrono::nanoseconds sleep_between(const Clocks &before, const Clocks &after);

} // namespace host
