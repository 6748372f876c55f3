// SPDX-License-Identifier: Apache-2.0
// A clock that goes by the world's time.
#include "simnet/simnet_clock.h"

#include <stdexcept>

namespace simnet {

namespace {

__extension__ using Wide = __int128; // nanoseconds times nanoseconds

} // namespace

Time LocalClock::read(Time now) const {
    if (stands_) {
        return shown_;
    }
    if (drift_ == 0) { // as most do, and they are read all the time
        return shown_ + (now - since_);
    }
    return shown_ + static_cast<Time>(Wide{now - since_} * (SECOND + drift_) / SECOND);
}

Time LocalClock::when(Time shown) const {
    if (shown <= shown_) {
        return since_;
    }
    const Wide rate = SECOND + drift_;
    const Wide passes = (Wide{shown - shown_} * SECOND + rate - 1) / rate; // rounded up
    return stands_ || passes > INT64_MAX - since_ ? INT64_MAX : since_ + static_cast<Time>(passes);
}

void LocalClock::rebase(Time now) {
    shown_ = read(now);
    since_ = now;
}

void LocalClock::set_drift(Time now, NUV_INT64 nanoseconds_a_second) {
    if (nanoseconds_a_second <= -SECOND) {
        throw std::invalid_argument("a clock that does not go on");
    }
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
