// SPDX-License-Identifier: Apache-2.0
// Waits that are over at once.
#pragma once

#include <cstdint>

#include "support/faults.h"

namespace support {

/**
 * While it lives, a wait of the calling thread's for what is not there finds its longest time
 * passed. It says nothing of how long that is; what is there already is found as ever.
 */
class HurriedWaits {
public:
    HurriedWaits() {
        // Of the deadlines, which all are long past: the system's wait for one returns at once.
        faults::replace(STEADY_CLOCK,
                        [now = std::int64_t{0}]() mutable { return now += A_MINUTE; });
    }
    ~HurriedWaits() {
        faults::restore(STEADY_CLOCK);
    }
    HurriedWaits(const HurriedWaits &) = delete;
    HurriedWaits &operator=(const HurriedWaits &) = delete;

private:
    static constexpr const char *STEADY_CLOCK = "_ZNSt6chrono3_V212steady_clock3nowEv";
    static constexpr std::int64_t A_MINUTE = 60'000'000'000;
};

} // namespace support
