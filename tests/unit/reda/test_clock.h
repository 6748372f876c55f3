// SPDX-License-Identifier: Apache-2.0
// The time as a test wants it, for every thread.
#pragma once

#include <atomic>

#include "osapi/osapi_ntptime.h"
#include "support/faults.h"

/** For as long as it lives, it is the monotonic clock. */
class TestClock {
public:
    TestClock() {
        faults::replace(
            "NUVClock_getMonotonic", [this] { return &clock_.first; }, faults::Thread::ANY);
    }
    ~TestClock() {
        faults::restore("NUVClock_getMonotonic");
    }
    TestClock(const TestClock &) = delete;
    TestClock &operator=(const TestClock &) = delete;

    std::atomic<NUV_INT64> now = 0;
    std::atomic<int> readings = 0;

private:
    struct Clock {
        NUVClock first; // what is read has the address of this
        TestClock *owner;
    };
    static NUV_INT64 read(const NUVClock *clock) {
        TestClock *const self = reinterpret_cast<const Clock *>(clock)->owner;
        ++self->readings;
        return self->now;
    }

    Clock clock_ = {{"test", read, nullptr}, this};
};
