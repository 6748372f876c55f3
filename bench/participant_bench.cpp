// SPDX-License-Identifier: Apache-2.0
// One participant up and down, beside its sockets without it.
#include <benchmark/benchmark.h>

#include <optional>

#include "bare_sockets.h"
#include "figures.h"
#include "participants.h"

namespace {

using namespace bench;

constexpr int ITERATIONS = 1000;
constexpr double ALLOWED_UP = 2.0;
constexpr double ALLOWED_DOWN = 3.0;

/** What one participant and its bare sockets took, turn by turn. */
struct Turns {
    Series up, down, bare_up, bare_down;
    std::uint64_t allocations_up = 0;
    bool bare_first = false;
};

/** Seconds that the participant of one turn took. */
struct Turn {
    double up, down;
};

Turn time_participant(Turns &turns) {
    std::optional<Participant> participant;
    const std::uint64_t before = allocations();
    Turn turn = {};

    turn.up = seconds_of([&] { participant.emplace(DOMAIN); });
    turns.allocations_up = allocations() - before;
    turn.down = seconds_of([&] { participant.reset(); });
    turns.up.add(turn.up);
    turns.down.add(turn.down);
    return turn;
}

/** They take the ports of the participant before, which shows that these are free. */
void time_bare_sockets(const SocketPlan &plan, Turns &turns) {
    std::optional<Sockets> sockets;

    turns.bare_up.add(seconds_of([&] { sockets.emplace(open_sockets(plan)); }));
    turns.bare_down.add(seconds_of([&] { sockets.reset(); }));
}

/** Each of the two goes first in every other turn, as the kernel's caches favour one of them. */
Turn take_turn(const SocketPlan &plan, Turns &turns) {
    turns.bare_first = !turns.bare_first;
    if (turns.bare_first) {
        time_bare_sockets(plan, turns);
        return time_participant(turns);
    }
    const Turn turn = time_participant(turns);

    time_bare_sockets(plan, turns);
    return turn;
}

void count(benchmark::State &state, const Series &subject, const Series &bare) {
    state.counters["median_us"] = MICROSECONDS * subject.median();
    state.counters["p99_us"] = MICROSECONDS * subject.percentile(99);
    state.counters["bare_us"] = MICROSECONDS * bare.median();
    state.counters["ratio"] = subject.median() / bare.median();
}

void participant_up(benchmark::State &state) {
    const SocketPlan plan = plan_of_participant(DOMAIN);
    Turns turns;

    for ([[maybe_unused]] auto iteration : state) {
        state.SetIterationTime(take_turn(plan, turns).up);
    }
    count(state, turns.up, turns.bare_up);
    state.counters["allocs"] = static_cast<double>(turns.allocations_up);
    set_row({.what = "participant up / bare sockets",
             .value = turns.up.median() / turns.bare_up.median(),
             .allowed = ALLOWED_UP});
}
BENCHMARK(participant_up)->Iterations(ITERATIONS)->UseManualTime()->Unit(benchmark::kMicrosecond);

void participant_down(benchmark::State &state) {
    const SocketPlan plan = plan_of_participant(DOMAIN);
    Turns turns;

    for ([[maybe_unused]] auto iteration : state) {
        state.SetIterationTime(take_turn(plan, turns).down);
    }
    count(state, turns.down, turns.bare_down);
    set_row({.what = "participant down / bare sockets closed",
             .value = turns.down.median() / turns.bare_down.median(),
             .allowed = ALLOWED_DOWN});
}
BENCHMARK(participant_down)->Iterations(ITERATIONS)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
