// SPDX-License-Identifier: Apache-2.0
// One participant up and down, beside its sockets without it.
#include <benchmark/benchmark.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

#include <sys/timerfd.h>
#include <unistd.h>

#include "bare_sockets.h"
#include "figures.h"
#include "participants.h"

namespace {

using namespace bench;

constexpr int ITERATIONS = 1000;
constexpr double GOAL_UP = 2.0;
constexpr double ALLOWED_UP = 5.0;
constexpr double ALLOWED_DOWN = 3.0;

/** The floor: the sockets, and a thread that sends the announcement when a timer tells it to. */
class BareParticipant {
public:
    explicit BareParticipant(const SocketPlan &plan)
        : plan_(plan), thread_([this] { announce(); }) {}
    ~BareParticipant() {
        is_over_ = true;
        set_timer();
        thread_.join();
    }
    BareParticipant(const BareParticipant &) = delete;
    BareParticipant &operator=(const BareParticipant &) = delete;

    void open() {
        {
            const std::lock_guard lock(mutex_);

            sockets_.emplace(open_sockets(plan_));
        }
        set_timer();
    }
    void close() {
        const std::lock_guard lock(mutex_);

        send_datagrams(plan_, *sockets_, plan_.leaving);
        sockets_.reset();
    }

private:
    void set_timer() const {
        constexpr itimerspec AT_ONCE = {{}, {0, 1}};

        (void)timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &AT_ONCE, nullptr);
    }
    void announce() {
        std::uint64_t times = 0;

        while (read(timer_.get(), &times, sizeof(times)) == sizeof(times) && !is_over_) {
            const std::lock_guard lock(mutex_);

            if (sockets_) {
                send_datagrams(plan_, *sockets_, plan_.announcement);
            }
        }
    }

    const SocketPlan &plan_;
    const File timer_ = File(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    std::atomic<bool> is_over_ = false;
    std::mutex mutex_; /* guards the sockets */
    std::optional<Sockets> sockets_;
    std::thread thread_;
};

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
void time_bare_sockets(BareParticipant &bare, Turns &turns) {
    turns.bare_up.add(seconds_of([&] { bare.open(); }));
    turns.bare_down.add(seconds_of([&] { bare.close(); }));
}

/** Each of the two goes first in every other turn, as the kernel's caches favour one of them. */
Turn take_turn(BareParticipant &bare, Turns &turns) {
    turns.bare_first = !turns.bare_first;
    if (turns.bare_first) {
        time_bare_sockets(bare, turns);
        return time_participant(turns);
    }
    const Turn turn = time_participant(turns);

    time_bare_sockets(bare, turns);
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
    BareParticipant bare(plan);
    Turns turns;

    for ([[maybe_unused]] auto iteration : state) {
        state.SetIterationTime(take_turn(bare, turns).up);
    }
    count(state, turns.up, turns.bare_up);
    state.counters["allocs"] = static_cast<double>(turns.allocations_up);
    set_row({.what = "participant up / bare sockets",
             .value = turns.up.median() / turns.bare_up.median(),
             .goal = GOAL_UP,
             .allowed = ALLOWED_UP});
}
BENCHMARK(participant_up)->Iterations(ITERATIONS)->UseManualTime()->Unit(benchmark::kMicrosecond);

void participant_down(benchmark::State &state) {
    const SocketPlan plan = plan_of_participant(DOMAIN);
    BareParticipant bare(plan);
    Turns turns;

    for ([[maybe_unused]] auto iteration : state) {
        state.SetIterationTime(take_turn(bare, turns).down);
    }
    count(state, turns.down, turns.bare_down);
    set_row({.what = "participant down / bare sockets closed",
             .value = turns.down.median() / turns.bare_down.median(),
             .allowed = ALLOWED_DOWN});
}
BENCHMARK(participant_down)->Iterations(ITERATIONS)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
