// SPDX-License-Identifier: Apache-2.0
// An announcement from a participant that is known, beside the datagram without it.
#include <benchmark/benchmark.h>

#include <array>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>

#include "bare_sockets.h"
#include "figures.h"
#include "participants.h"
#include "stranger.h"
#include "watched.h"

namespace {

using namespace bench;

constexpr int ITERATIONS = 2000;
constexpr double GOAL_US = 2;
constexpr double ALLOWED_US = 20;

/** Says something and waits until the middleware has dealt with it. */
void say_and_wait(const Stranger &stranger, const std::vector<std::uint8_t> &message,
                  const WatchedFactory &watched) {
    const std::uint64_t before = watched.handled();

    stranger.say(message);
    while (watched.handled() == before) {
        std::this_thread::yield();
    }
}

void known_announcement(benchmark::State &state) {
    const int count = static_cast<int>(state.range(0));
    const Stranger stranger(DOMAIN);
    const std::vector<std::uint8_t> message = stranger.announcement(1);
    const Sockets bare = open_sockets(plan_of_participant(EMPTY_DOMAIN));
    const Stranger elsewhere(EMPTY_DOMAIN);
    WatchedFactory watched;
    const std::vector<Participant> participants = make_participants(count, nullptr, watched.get());
    std::array<char, 65536> buffer = {};
    Series receiving;

    say_and_wait(stranger, message, watched);
    participants.back().wait_until_it_knows(count);       /* the others, and the stranger's */
    std::this_thread::sleep_for(std::chrono::seconds(1)); /* what it is told first is over then */
    (void)watched.take_handling_times();
    const std::uint64_t before = allocations();

    for ([[maybe_unused]] auto iteration : state) {
        state.SetIterationTime(seconds_of([&] { say_and_wait(stranger, message, watched); }));
        elsewhere.say(message);
        receiving.add(
            seconds_of([&] { (void)recv(bare.front().get(), buffer.data(), buffer.size(), 0); }));
    }
    const double allocated = static_cast<double>(allocations() - before);
    const double handling = MICROSECONDS * watched.take_handling_times().median();
    const std::string what = "known announcement, " + std::to_string(count) +
                             (count == 1 ? " participant" : " participants");

    state.counters["handling_us"] = handling;
    state.counters["bare_us"] = MICROSECONDS * receiving.median();
    state.counters["allocs"] = allocated;
    Row row = {.what = what + ", beyond the system call", .value = handling, .unit = "us"};

    if (count == 1) {
        row.goal = GOAL_US;
        row.allowed = ALLOWED_US;
    }
    set_row(row);
    set_row({.what = what + ", allocations", .value = allocated, .allowed = 0});
    set_row({.what = "as long a datagram, received by a bare socket",
             .value = MICROSECONDS * receiving.median(),
             .unit = "us"});
}
BENCHMARK(known_announcement)
    ->Arg(1)
    ->Arg(MANY)
    ->Iterations(ITERATIONS)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace
