// SPDX-License-Identifier: Apache-2.0
/**
 * @file faults.h
 * @brief Makes wrapped functions fail, or do something else, and counts their calls.
 *
 *     const faults::Guard guard;                    // ends it all with the test
 *     faults::fail_call("socket", 1, EMFILE);       // the next call of any thread
 *     faults::fail("PRESParticipant_enable", {.on = faults::Thread::THIS});
 *     faults::fail_allocation(3);                   // the third one of this thread
 *     EXPECT_FALSE(open());
 *     EXPECT_TRUE(faults::happened());
 *
 * Every function that a wraps_*.cpp of this directory wraps can be named, in every test program. A
 * call that fails is not passed on: it returns 0, null, DDS_RETCODE_ERROR or, of a function of the
 * system, -1 with `errno` set, unless the fault says otherwise. Faults add up; each happens once,
 * until when it waits for its call, or until stop().
 *
 * What the wrapped functions themselves do here takes no lock and allocates nothing, so they may be
 * called by any thread, in a forked child and in a signal handler. Faults are asked for by the
 * test's thread. fault_loop.h fails one call after the other.
 */
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace faults {

/** Whose calls a fault counts. */
enum class Thread {
    ANY,
    THIS, ///< those of the thread that asks for the fault
};

/** How a call fails. */
struct Fault {
    int nth = 1;                        ///< the n-th call from now on
    std::optional<int> result = {};     ///< instead of what the function usually fails with
    std::optional<int> failReason = {}; ///< instead of PRES_RETCODE_ERROR
    int error = 0;                      ///< what errno is set to; 0: it stays
    bool every = false;                 ///< every call, from now until stop()
    Thread on = Thread::ANY;
};

/** Has a call of a function fail. */
void fail(std::string_view function, const Fault &fault = {});

/** Has the n-th call of a function from now on fail, whichever thread makes it. */
void fail_call(std::string_view function, int nth, int error);

/** Has every call of a function from now on fail, whichever thread makes it. */
void fail_every_call(std::string_view function, int error);

/** Has the n-th call of the calling thread from now on fail, of all calls of these functions. */
void fail_any_call(int nth, std::vector<std::string_view> functions, int error = 0);

/** Has the n-th allocation of the calling thread from now on fail; 0: none. */
void fail_allocation(int nth);
/** Has each malloc of the calling thread from now on fail, of the library's heap or not. */
void fail_malloc();

/** Asks for no fault any more. What has happened is still known. */
void stop();

/** Whether a fault has happened since one was last asked for. */
bool happened();

/** The function, or the type of the block, that failed last since then; empty: none. */
std::string failed();

/** How often a function has been called since the test began, by all threads. */
int count(std::string_view function);

/** How often the calling thread has asked the heap for memory since the test began. */
int allocations();

/** Ends all faults and replacements, and starts counting anew. */
void clear();

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

// ---- replacements

/** How a type is written in C++. */
template <typename T>
constexpr std::string_view type_name() {
    std::string_view text = __PRETTY_FUNCTION__;
    text.remove_prefix(text.find("T = ") + 4);
    return text.substr(0, text.find_first_of(";]"));
}

/** Whose calls a replacement or a fault is for. */
struct Callers {
    const void *thread = nullptr; ///< what identifies the one thread; null: all
    bool only_outermost = false;  ///< not those that wrapped functions make in turn

    bool include(bool is_outermost) const;
};

/** Those that @p on names. */
Callers callers(Thread on);

struct Replacement {
    Callers callers;
    std::string_view signature;
    std::shared_ptr<void> function; ///< a std::function of that signature
};

/** Ends the test program if a function has another signature than its replacement. */
void set_replacement(std::string_view function, Replacement replacement);

template <typename R, typename... A>
void set_replacement(std::string_view function, Callers of, std::function<R(A...)> replacement) {
    set_replacement(function,
                    Replacement{of, type_name<R(A...)>(),
                                std::make_shared<std::function<R(A...)>>(std::move(replacement))});
}

/**
 * Has a lambda with the function's own signature called instead of it. It may call the function,
 * and then reaches the real one.
 */
template <typename Function>
void replace(std::string_view function, Function replacement, Thread on = Thread::THIS) {
    set_replacement(function, callers(on), std::function(std::move(replacement)));
}

/** Ends the replacement of a function. */
void restore(std::string_view function);

} // namespace faults
