// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_duration.h
 * @brief What is measured with the monotonic clock, and how it is printed. For C++ only.
 */
#ifndef OSAPI_DURATION_H
#define OSAPI_DURATION_H

#include "osapi/osapi_ntptime.h"

#ifdef __cplusplus

namespace osapi {

/** Now, in nanoseconds by the monotonic clock. */
inline NUV_INT64 read_monotonic_clock() {
    const NUVClock *const clock = NUVClock_getMonotonic();

    return clock->getNanoseconds(clock);
}

/** A duration as it is printed with "%lld.%06lld s". */
class Seconds {
public:
    explicit Seconds(NUV_INT64 nanoseconds)
        : whole(nanoseconds / 1'000'000'000), micros(nanoseconds % 1'000'000'000 / 1000) {}

    const long long whole;
    const long long micros;
};

} // namespace osapi

#endif

#endif
