// SPDX-License-Identifier: Apache-2.0
/** @file child.h  Measuring in a process of its own, which nothing that ran before has touched. */
#ifndef BENCH_CHILD_H
#define BENCH_CHILD_H

#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <system_error>

#include <sys/wait.h>
#include <unistd.h>

#include "bare_sockets.h"

namespace bench {

/** What a function returns that runs in a child process; this one has one thread yet. */
template <typename Result, typename Argument>
Result in_child(Result (*function)(Argument), Argument argument) {
    int ends[2];

    if (pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const File from_child(ends[0]);
    File to_parent(ends[1]);
    const pid_t child = fork();

    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        try {
            const Result result = function(argument);

            _exit(write(to_parent.get(), &result, sizeof(result)) == sizeof(result) ? 0 : 1);
        } catch (const std::exception &error) {
            std::fprintf(stderr, "%s\n", error.what());
            _exit(1);
        }
    }
    to_parent = File(-1);

    Result result = {};
    const bool complete = read(from_child.get(), &result, sizeof(result)) == sizeof(result);

    (void)waitpid(child, nullptr, 0);
    if (!complete) {
        throw std::runtime_error("a child process could not measure");
    }
    return result;
}

} // namespace bench

#endif
