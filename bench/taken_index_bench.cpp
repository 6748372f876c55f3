// SPDX-License-Identifier: Apache-2.0
// Passing over participant indices that others have taken, beside as many sockets that find out.
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
constexpr double ALLOWED = 0.5; // of as many tries or more
constexpr int ALLOWED_FROM = 10;

/** A socket for each port, which is opened, fails to be bound and is closed. */
void try_ports(const sockaddr_in &address, int count) {
    for (int index = 0; index < count; ++index) {
        if (try_bind(open_socket(), at_index(address, index))) {
            throw std::runtime_error("a port that should be taken is free");
        }
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
    Series added, tries;

    for ([[maybe_unused]] auto iteration : state) {
        const double without = seconds_up(EMPTY_DOMAIN, 0);
        const double with = seconds_up(DOMAIN, count);

        added.add(with - without);
        tries.add(seconds_of([&] { try_ports(first, count); }));
        state.SetIterationTime(with);
    }
    state.counters["added_us"] = MICROSECONDS * added.median();
    state.counters["tries_us"] = MICROSECONDS * tries.median();
    set_row({.what = "passing over " + times + " taken / tries that open, fail to bind and close",
             .value = added.median() / tries.median(),
             .allowed = count >= ALLOWED_FROM ? std::optional(ALLOWED) : std::nullopt});
}
BENCHMARK(pass_over_taken_indices)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Iterations(ITERATIONS)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace
