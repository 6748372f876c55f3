// Passing over participant indices that others have taken, beside the binds that fail.
#include <benchmark/benchmark.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "bare_sockets.h"
#include "figures.h"
#include "participants.h"

namespace {

using namespace bench;

constexpr int ITERATIONS = 400;
constexpr double ALLOWED = 1.2;

void expect_taken(bool bound) {
    if (bound) {
        throw std::runtime_error("a port that should be taken is free");
    }
}

/** The least: the socket that is to be bound in the end is tried on each port. */
void bind_one_socket(const File &socket, const sockaddr_in &address, int count) {
    for (int index = 0; index < count; ++index) {
        expect_taken(try_bind(socket, at_index(address, index)));
    }
}

/** The straightforward way: a new socket for each port. */
void bind_new_sockets(const sockaddr_in &address, int count) {
    for (int index = 0; index < count; ++index) {
        expect_taken(try_bind(open_socket(), at_index(address, index)));
    }
}

/** Seconds until a participant is up, which gets the given index. */
double seconds_up(int domain, int index) {
    std::optional<Participant> participant;
    const double seconds = seconds_of([&] { participant.emplace(domain); });

    if (participant->index() != index) {
        throw std::runtime_error("the participant has another index than expected");
    }
    return seconds;
}

void pass_over_taken_indices(benchmark::State &state) {
    const int count = static_cast<int>(state.range(0));
    const std::string times = std::to_string(count);
    const SocketPlan plan = plan_of_participant(DOMAIN);
    const Sockets taken = take_indices(plan, count);
    const sockaddr_in &first = plan.unicast.front();
    Series added, one_socket, new_sockets;

    for ([[maybe_unused]] auto iteration : state) {
        const double without = seconds_up(EMPTY_DOMAIN, 0);
        const double with = seconds_up(DOMAIN, count);
        const File socket = open_socket();

        added.add(with - without);
        one_socket.add(seconds_of([&] { bind_one_socket(socket, first, count); }));
        new_sockets.add(seconds_of([&] { bind_new_sockets(first, count); }));
        state.SetIterationTime(with);
    }
    state.counters["added_us"] = MICROSECONDS * added.median();
    state.counters["binds_us"] = MICROSECONDS * one_socket.median();
    state.counters["reopened_us"] = MICROSECONDS * new_sockets.median();
    set_row({.what = "passing over " + times + " taken / binds of one socket",
             .value = added.median() / one_socket.median(),
             .allowed = ALLOWED});
    set_row({.what = "passing over " + times + " taken / socket, bind, close each",
             .value = added.median() / new_sockets.median(),
             .allowed = ALLOWED});
}
BENCHMARK(pass_over_taken_indices)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Iterations(ITERATIONS)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace
