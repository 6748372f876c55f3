// Each measurement has a child process of its own, so that nothing that ran before has left memory
// behind, and so that it can be traced.
#include "ahead.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "bare_sockets.h"
#include "participants.h"
#include "process.h"

namespace bench {
namespace {

std::map<int, Standing> standing;
std::map<std::pair<OperationKind, int>, std::optional<SystemCalls>> calls_by_operation;

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

Standing measure_standing(int count) {
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

/** Performs rounds of an operation; the first one only warms up. */
void work_in_rounds(OperationKind kind, int count) {
    constexpr int ROUNDS = 5;
    const std::unique_ptr<Operation> operation = make_operation(kind, count);

    for (int round = 0; round < ROUNDS; ++round) {
        operation->prepare();
        begin_counting();
        operation->perform();
        end_counting();
        if (operation->finish() && round > 0) {
            keep_count();
        }
    }
    _exit(0); /* which takes everything down as well, and faster than a traced process does */
}

/** System calls for one participant each time. */
std::optional<SystemCalls> calls_of(OperationKind kind, int count) {
    std::optional<SystemCalls> calls =
        count_system_calls([kind, count] { work_in_rounds(kind, count); });

    if (calls) {
        calls->all /= count;
        calls->on_sockets /= count;
    }
    return calls;
}

void count_operations() {
    for (const OperationKind kind : OPERATION_KINDS) {
        for (const int count : OPERATION_COUNTS) {
            if (is_network_private() || !needs_private_network(kind)) {
                calls_by_operation[{kind, count}] = calls_of(kind, count);
            }
        }
    }
}

} // namespace

void measure_ahead() {
    for (const int count : {1, 10, 100, MANY}) {
        standing.emplace(count, in_child(measure_standing, count));
    }
    count_operations();
}

const Standing &standing_costs(int count) {
    return standing.at(count);
}

std::optional<SystemCalls> operation_calls(OperationKind kind, int count) {
    return calls_by_operation[{kind, count}];
}

} // namespace bench
