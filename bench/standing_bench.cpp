// SPDX-License-Identifier: Apache-2.0
// Many participants of one process in one domain: up, down, and what they keep meanwhile.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bare_sockets.h"
#include "figures.h"
#include "participants.h"
#include "standing.h"

namespace {

using namespace bench;

constexpr int ITERATIONS = 20;
constexpr double KIB = 1024.0;
constexpr double ALLOWED_THREADS = 1.0;
constexpr double GOAL_KIB = 16.0;
constexpr double ALLOWED_KIB = 24.0;
constexpr double GOAL_100_MS = 8;
constexpr double ALLOWED_100_MS = 80;

/** Reports what standing participants keep; the child processes that tell ran ahead. */
void report_standing(benchmark::State &state, int count) {
    const Standing &standing = standing_costs(count);

    state.counters["threads"] = standing.threads;
    state.counters["rss_KiB"] = standing.resident_further / KIB;
    state.counters["heap_KiB"] = standing.heap_further / KIB;
    if (count != MANY) {
        return;
    }
    set_row({.what = "threads for " + std::to_string(count) + " participants / for 1",
             .value = static_cast<double>(standing.threads) / standing_costs(1).threads,
             .allowed = ALLOWED_THREADS});
    set_row({.what = "memory resident for each further participant",
             .value = standing.resident_further / KIB,
             .unit = "KiB",
             .goal = GOAL_KIB,
             .allowed = ALLOWED_KIB});
    set_row({.what = "of it from the library's heap",
             .value = standing.heap_further / KIB,
             .unit = "KiB"});
}

void participants_standing(benchmark::State &state) {
    const int count = static_cast<int>(state.range(0));
    const SocketPlan plan = plan_of_participant(DOMAIN, count);
    Series up, down, bare_up, bare_down;

    for ([[maybe_unused]] auto iteration : state) {
        std::vector<Participant> participants;
        std::vector<Sockets> sockets;

        participants.reserve(static_cast<std::size_t>(count));
        sockets.reserve(static_cast<std::size_t>(count));
        const double seconds = seconds_of([&] {
            for (int i = 0; i < count; ++i) {
                participants.emplace_back(DOMAIN);
            }
        });
        up.add(seconds);
        down.add(seconds_of([&] { participants.clear(); }));
        bare_up.add(seconds_of([&] {
            for (int i = 0; i < count; ++i) {
                sockets.push_back(open_sockets(plan, count));
            }
            send_datagrams(plan, sockets.front(), plan.announcement);
        }));
        bare_down.add(seconds_of([&] {
            send_datagrams(plan, sockets.front(), plan.leaving);
            sockets.clear();
        }));
        state.SetIterationTime(seconds);
    }
    state.counters["up_us"] = MICROSECONDS * up.median();
    state.counters["bare_up_us"] = MICROSECONDS * bare_up.median();
    state.counters["down_us"] = MICROSECONDS * down.median();
    state.counters["bare_down_us"] = MICROSECONDS * bare_down.median();
    report_standing(state, count);
    if (count == 100) {
        set_row({.what = "100 participants of one process up",
                 .value = MILLISECONDS * up.median(),
                 .unit = "ms",
                 .goal = GOAL_100_MS,
                 .allowed = ALLOWED_100_MS});
    }
    set_row({.what = std::to_string(count) + " standing, up / bare sockets",
             .value = up.median() / bare_up.median()});
    set_row({.what = std::to_string(count) + " standing, down / bare sockets closed",
             .value = down.median() / bare_down.median()});
}
BENCHMARK(participants_standing)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Arg(MANY)
    ->Iterations(ITERATIONS)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
