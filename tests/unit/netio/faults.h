// Makes what the layer asks of the system and of the heap fail.
#pragma once

#include <string_view>

namespace faults {

/** Has the n-th allocation of the calling thread from now on fail. */
void fail_allocation(int nth);

/** Has the n-th call of a function from now on fail, whichever thread makes it. */
void fail_call(std::string_view function, int nth, int error);

/** Has every call of a function from now on fail, whichever thread makes it, until clear(). */
void fail_every_call(std::string_view function, int error);

/** Has the n-th call of the calling thread from now on fail, whichever wrapped function it is. */
void fail_any_call(int nth, int error);

/** Has the next poll of the calling thread find its first descriptor readable. */
void pretend_event();

/** Whether the last fault that was asked for has come. */
bool happened();

/** How often a function has been called since the test began, by all threads. */
int count(std::string_view function);

/** How often the heap was asked for memory by the calling thread. */
int allocations();

void clear();

/** Ends all faults with the test, and starts counting anew. */
class Guard {
public:
    Guard() {
        clear();
    }
    ~Guard() {
        clear();
    }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
};

} // namespace faults
