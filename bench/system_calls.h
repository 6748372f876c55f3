/** @file system_calls.h  How many system calls something makes. */
#ifndef BENCH_SYSTEM_CALLS_H
#define BENCH_SYSTEM_CALLS_H

#include <functional>
#include <optional>

namespace bench {

/** System calls of one thread. */
struct SystemCalls {
    double all;
    double on_sockets; /**< those that make, change, read, write or close one; not mere polling */
};

/** Within the work below: what lies between these two is counted. */
void begin_counting();
void end_counting();
/** What was counted last is valid; without this it does not matter. */
void keep_count();

/**
 * @brief Has a child process do the work and counts the system calls of the thread that does it.
 *
 * The child is traced (ptrace), so the calls are really made. Threads that the work starts are
 * not counted. To be called while this process has one thread.
 * @return the mean of the counts that were kept; nothing where tracing is not allowed. Throws when
 * the work fails.
 */
std::optional<SystemCalls> count_system_calls(const std::function<void()> &work);

} // namespace bench

#endif
