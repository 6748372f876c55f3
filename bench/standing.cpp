// SPDX-License-Identifier: Apache-2.0
// Each measurement has a child process of its own, so that nothing that ran before has left memory
// behind.
#include "standing.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "bare_sockets.h"
#include "participants.h"
#include "process.h"

namespace bench {
namespace {

std::map<int, Standing> standing;

/** What a function returns that runs in a child process. */
template <typename Result>
Result in_child(Result (*function)(int), int argument) {
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

Standing stand(int count) {
    std::vector<Participant> participants;

    participants.reserve(static_cast<std::size_t>(count));
    (void)resident_bytes(); /* what the measurement itself needs is there now */
    participants.emplace_back(DOMAIN);

    const double resident_one = resident_bytes();
    const double heap_one = heap_bytes();

    while (participants.size() < static_cast<std::size_t>(count)) {
        participants.emplace_back(DOMAIN);
    }
    const double further = std::max(count - 1, 1);

    return {thread_count(), (resident_bytes() - resident_one) / further,
            (heap_bytes() - heap_one) / further};
}

} // namespace

void measure_standing() {
    for (const int count : {1, 10, 100, MANY}) {
        standing.emplace(count, in_child(stand, count));
    }
}

const Standing &standing_costs(int count) {
    return standing.at(count);
}

} // namespace bench
