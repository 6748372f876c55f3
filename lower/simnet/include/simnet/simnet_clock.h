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
    explicit LocalClock(Time shown) : shown_(shown) {}

    /** What it shows at a time of the world that is not before it was last set. */
    Time read(Time now) const;
    /** When it shows that, as long as nobody sets it; INT64_MAX while it stands. */
    Time when(Time shown) const;

    /** Has it gain that many nanoseconds each second from now on (negative: lose; over -10^9). */
    void set_drift(Time now, NUV_INT64 nanoseconds_a_second);
    /** Has it stand still, and go on. */
    void stop(Time now);
    void go_on(Time now);
    /** Has it show something else; what never goes back is not to be set back. */
    void jump(Time now, Time by);

private:
    void rebase(Time now);

    Time since_ = 0; // the world's time when it showed shown_
    Time shown_;
    NUV_INT64 drift_ = 0;
    bool stands_ = false;
};

} // namespace simnet
