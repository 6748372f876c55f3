// SPDX-License-Identifier: Apache-2.0
/**
 * @file wrapped.h
 * @brief One wrapped function: its calls are counted, and fail or are replaced as a test wants it.
 */
#pragma once

#include <atomic>
#include <cerrno>
#include <string_view>

#include "support/faults.h"

namespace faults {

/** What a function is, and with it how it fails and who is told of its calls. */
enum class Kind {
    SYSTEM, ///< of the C library: -1 or null, with errno
    LOWER,  ///< of a lower layer: 0 or null
    ASKED,  ///< what the presentation half asks of others: its calls are recorded
};

/** Whether a recorder's n-th call of any function may be one of this. */
enum class Failing {
    NEVER,   ///< it has no way to fail, not even by name
    BY_NAME, ///< only when it is asked for: its "failure" is an ordinary answer
    YES,
};

/** A fault that is asked for. */
struct Plan {
    Plan(const Fault &its_fault, const Callers &its_callers, Plan *its_next);

    /** Counts a call; whether it is the one that fails. */
    bool take();

    const Fault fault;
    const Callers callers;
    std::atomic<int> left;
    Plan *const next; // of the same function
};

class Wrapped {
public:
    constexpr Wrapped(const char *its_name, Kind its_kind, Failing fails, std::string_view form)
        : name(its_name), kind(its_kind), failing(fails), signature(form) {}
    Wrapped(const Wrapped &) = delete;
    Wrapped &operator=(const Wrapped &) = delete;

    /** Null if no function of that name is wrapped. */
    static Wrapped *find(std::string_view name);
    /** The same, but ends the test program. */
    static Wrapped &get(std::string_view name);

    /** Counts a call. @return how it fails, or null */
    const Fault *take(bool is_outermost);

    /** What is to be called instead, or null. */
    const Replacement *replacement(bool is_outermost) const;

    const char *const name;
    const Kind kind;
    const Failing failing;
    const std::string_view signature;

    std::atomic<int> calls = 0;
    std::atomic<Plan *> plans = nullptr;
    std::atomic<const Replacement *> replaced_by = nullptr;
    Wrapped *next = nullptr; // of all
};

/** Makes a function known by its name. */
class Registration {
public:
    explicit Registration(Wrapped &wrapped);
};

/** While it lives, calls of the function by this thread are those of its replacement. */
class Replacing {
public:
    explicit Replacing(const Wrapped &wrapped);
    ~Replacing();
    Replacing(const Replacing &) = delete;
    Replacing &operator=(const Replacing &) = delete;

private:
    const Wrapped *const before_;
};

/** Counts an allocation of the calling thread. @return whether it fails */
bool take_allocation(const char *type);

/** Has a call fail that the code under test makes itself. */
void fail_outermost(std::string_view function, const Fault &fault);
/** Has the n-th of those fail, of all functions that can. */
void fail_any_outermost(int nth);

/** A test that is itself wrong ends at once. */
[[noreturn]] void refuse(const std::string &why);

} // namespace faults
