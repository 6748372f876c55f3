// SPDX-License-Identifier: Apache-2.0
/** @file system_calls.h  What a process asks of the kernel. */
#ifndef BENCH_SYSTEM_CALLS_H
#define BENCH_SYSTEM_CALLS_H

#include <cstdint>
#include <functional>

namespace bench {

/**
 * How many system calls the other threads of a child process make while its first one does
 * something; this process has one thread yet. Throws when processes cannot be traced here.
 * @param prepare is done first there, @p perform then.
 */
std::uint64_t count_system_calls(const std::function<void()> &prepare,
                                 const std::function<void()> &perform);

} // namespace bench

#endif
