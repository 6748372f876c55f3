// Makes what the layer asks of those below fail, in the calling thread.
#pragma once

namespace faults {

struct Faults {
    int allocations_left = -1; // how many succeed before one fails; below 0 all do
    bool facade_fails = false; // without a word, unlike the real one
    const void *deleted_facade = nullptr;
};

Faults &current();

/** Ends all faults with the scope. */
class Guard {
public:
    Guard() = default;
    ~Guard() {
        current() = {};
    }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
};

/**
 * Fails allocation after allocation of @p attempt, one at a time, until it succeeds; that is all
 * that it is told. @p check comes after each failure.
 * @return how many allocations were made to fail.
 */
template <typename Attempt, typename Check>
int fail_each_allocation(Attempt attempt, Check check) {
    constexpr int MORE_THAN_ANY_OPERATION = 1000;
    for (int n = 0; n < MORE_THAN_ANY_OPERATION; ++n) {
        current().allocations_left = n;
        const bool succeeded = attempt();
        const bool all_fine = current().allocations_left >= 0;
        current().allocations_left = -1;
        if (succeeded || all_fine) {
            return n;
        }
        check();
    }
    return -1;
}

} // namespace faults
