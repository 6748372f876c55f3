// SPDX-License-Identifier: Apache-2.0
// The two clocks of the system.
#include "osapi/osapi_ntptime.h"

#include <cerrno>

#include <time.h>

namespace {

template <clockid_t ID>
NUV_INT64 read_clock(const NUVClock * /*self*/) {
    timespec now{};
    clock_gettime(ID, &now); // cannot fail: both clocks exist on every Linux
    return NUV_INT64{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/** Until a fixed time: a sleep that signals interrupt does not add up to a longer one. */
template <clockid_t ID>
void sleep_until(const NUVClock * /*self*/, NUV_INT64 nanoseconds) {
    timespec time{};
    time.tv_sec = nanoseconds / 1'000'000'000;
    time.tv_nsec = nanoseconds % 1'000'000'000;
    while (clock_nanosleep(ID, TIMER_ABSTIME, &time, nullptr) == EINTR) {}
}

NUVClock monotonic = {"monotonic", read_clock<CLOCK_MONOTONIC>, sleep_until<CLOCK_MONOTONIC>};
NUVClock realtime = {"realtime", read_clock<CLOCK_REALTIME>, sleep_until<CLOCK_REALTIME>};

} // namespace

NUVClock *NUVClock_getMonotonic(void) {
    return &monotonic;
}

NUVClock *NUVClock_getRealtime(void) {
    return &realtime;
}
