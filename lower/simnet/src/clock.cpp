// SPDX-License-Identifier: Apache-2.0
// A clock that goes by the world's time.
#include "simnet/simnet_clock.h"

namespace simnet {

namespace {

/** A duration times a fraction, without passing what a number holds. */
Time scale(Time duration, NUV_INT64 numerator, NUV_INT64 denominator) {
    return duration / denominator * numerator + duration % denominator * numerator / denominator;
}

} // namespace

Time LocalClock::read(Time now) const {
    return stands_ ? shown_ : shown_ + scale(now - since_, SECOND + drift_, SECOND);
}

Time LocalClock::when(Time shown) const {
    if (stands_) {
        return shown <= shown_ ? since_ : INT64_MAX;
    }
    Time time = since_ + (shown > shown_ ? scale(shown - shown_, SECOND, SECOND + drift_) : 0);
    while (read(time) < shown) { // what was rounded off
        ++time;
    }
    return time;
}

void LocalClock::rebase(Time now) {
    shown_ = read(now);
    since_ = now;
}

void LocalClock::set_drift(Time now, NUV_INT64 nanoseconds_a_second) {
    rebase(now);
    drift_ = nanoseconds_a_second;
}

void LocalClock::stop(Time now) {
    rebase(now);
    stands_ = true;
}

void LocalClock::go_on(Time now) {
    if (stands_) {
        since_ = now;
        stands_ = false;
    }
}

void LocalClock::jump(Time now, Time by) {
    rebase(now);
    shown_ += by;
}

} // namespace simnet
