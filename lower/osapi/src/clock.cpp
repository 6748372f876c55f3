// The two clocks of the system.
#include "osapi/osapi_ntptime.h"

#include <time.h>

namespace {

template <clockid_t ID>
NUV_INT64 read_clock(const NUVClock * /*self*/) {
    timespec now{};
    clock_gettime(ID, &now); // cannot fail: both clocks exist on every Linux
    return NUV_INT64{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

NUVClock monotonic = {"monotonic", read_clock<CLOCK_MONOTONIC>};
NUVClock realtime = {"realtime", read_clock<CLOCK_REALTIME>};

} // namespace

NUVClock *NUVClock_getMonotonic(void) {
    return &monotonic;
}

NUVClock *NUVClock_getRealtime(void) {
    return &realtime;
}
