// The heap and the clock as the tests want them, in the calling thread.
#pragma once

#include "osapi/osapi_ntptime.h"

namespace seams {

struct State {
    int allocations_until_failure = -1; // -1: never
    void *last_block = nullptr;         // what was allocated last
    NUV_INT64 now = 0;
    int clock_readings = 0;
};

State &current();

/** Ends all that a test has set. */
class Guard {
public:
    Guard() {
        current() = {};
    }
    ~Guard() {
        current() = {};
    }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
};

} // namespace seams
