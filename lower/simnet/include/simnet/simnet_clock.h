// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_clock.h
 * @brief A host's idea of the time, which may be wrong.
 */
#pragma once

#include "simnet/simnet_trace.h"

namespace simnet {

/** A clock that goes by the world's time at a rate of its own, or stands. */
class LocalClock {
public:
    /** One that shows that when the world begins. */
    explicit LocalClock(Time shown) : shown_(shown) {}

    /** What it shows at a time of the world that is not before it was last set. */
    Time read(Time now) const;
    /**
     * The first time of the world, from that on at which it was last set, when it shows as much, as
     * long as nobody sets it; INT64_MAX: never, as while it stands.
     */
    Time when(Time shown) const;

    /**
     * Has it gain that many nanoseconds each second from now on. Negative: lose; not as many as
     * there are, or std::invalid_argument is thrown.
     */
    void set_drift(Time now, NUV_INT64 nanoseconds_a_second);
    /** Has it stand still. */
    void stop(Time now);
    /** Has it go on from where it stands, if it does. */
    void go_on(Time now);
    /** Has it show that much more, or less; what never goes back is not to be set back. */
    void jump(Time now, Time by);

private:
    void rebase(Time now);

    Time since_ = 0; // the world's time when it showed shown_
    Time shown_;
    NUV_INT64 drift_ = 0;
    bool stands_ = false;
};

} // namespace simnet
