// What the logger asks of the system, in the calling thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace system_calls {

struct State {
    int allocations = 0; // of the system's memory, and of the tagged heap's

    /** When set, write() does what the next of these says, and what it takes goes to `written`. */
    struct Write {
        int error;        // errno to fail with, or 0
        std::size_t most; // bytes to take
    };
    bool writes_are_taken = false;
    std::vector<Write> next_writes; // when used up, everything is taken
    std::vector<std::string> written;
};

State &current();

/** Whether open() fails for want of a descriptor, in every thread. */
inline std::atomic<bool> opens_fail = false;

} // namespace system_calls
