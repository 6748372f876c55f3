// SPDX-License-Identifier: Apache-2.0
// How long an operation takes, for the time-based logging.
#ifndef COMMEND_STOPWATCH_H
#define COMMEND_STOPWATCH_H

#include "osapi/osapi_duration.h"

namespace commend {

using osapi::Seconds;

/** The longest duration that goes unmentioned. */
class Threshold {
public:
    /** @param clock by which the time passes; must outlive the threshold. */
    Threshold(const NUVNtpTime &time, const NUVClock &clock)
        : clock_(clock), on_(NUVNtpTime_isInfinite(&time) == 0),
          nanoseconds_(NUVNtpTime_toNanoseconds(&time)) {}

    bool is_on() const {
        return on_;
    }
    NUV_INT64 nanoseconds() const {
        return nanoseconds_;
    }
    NUV_INT64 now() const {
        return clock_.getNanoseconds(&clock_);
    }

private:
    const NUVClock &clock_;
    bool on_;
    NUV_INT64 nanoseconds_;
};

/** Runs from its making on, if it is on; reads no clock otherwise. */
class Stopwatch {
public:
    Stopwatch(const Threshold &threshold, bool on)
        : threshold_(threshold), on_(on && threshold.is_on()), start_(on_ ? threshold.now() : 0) {}

    /** Calls @p warn with the time that has passed and the threshold, if it took longer. */
    template <typename Warn>
    void stop(Warn warn) const {
        if (!on_) {
            return;
        }
        const NUV_INT64 passed = threshold_.now() - start_;
        if (passed > threshold_.nanoseconds()) {
            warn(Seconds(passed), Seconds(threshold_.nanoseconds()));
        }
    }

private:
    const Threshold &threshold_;
    const bool on_;
    const NUV_INT64 start_;
};

} // namespace commend

#endif
