// Makes what the participants ask of the lower layers fail, in the calling thread.
#pragma once

#include <string>

namespace seams {

struct State {
    int allocations_until_failure = -1; // -1: never
    int calls_until_failure = -1;
    std::string call_to_fail;       // the next one of this function
    std::string every_call_to_fail; // of this function, all of them
    std::string failed;             // what was made to fail; empty: nothing yet
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
