// SPDX-License-Identifier: Apache-2.0
// From an address that comes to the last participant that has it, beside a program that only reads
// the kernel's event.
#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "addresses.h"
#include "figures.h"
#include "netio/netio_runtime.h"
#include "participants.h"
#include "process.h"

namespace {

using namespace bench;

using Clock = std::chrono::steady_clock;

constexpr int ITERATIONS = 40;

double seconds_between(Clock::time_point begin, Clock::time_point end) {
    return std::chrono::duration<double>(end - begin).count();
}

/** How long the middleware lets a burst of events settle before it acts. */
double settle_milliseconds() {
    return static_cast<double>(
               NUVNtpTime_toNanoseconds(&NUV_NETIO_RUNTIME_PROPERTY_DEFAULT.interfaceSettleTime)) /
           1e6;
}

/** Waits for a number of participants to say that their locators have changed. */
class Countdown {
public:
    explicit Countdown(int count) : count_(count) {}

    void start() {
        const std::lock_guard lock(mutex_);

        left_ = count_;
    }
    /** @return when the last of them said so, on the middleware's thread. */
    Clock::time_point wait() {
        constexpr std::chrono::seconds PATIENCE(10);
        std::unique_lock lock(mutex_);

        if (!all_said_so_.wait_for(lock, PATIENCE, [this] { return left_ <= 0; })) {
            throw std::runtime_error("the participants do not follow the network");
        }
        return last_;
    }
    const DDS_DomainParticipantListener &listener() const {
        return listener_;
    }

private:
    static void on_locators_changed(void *self, DDS_DomainParticipant * /*participant*/) {
        static_cast<Countdown *>(self)->count_down();
    }

    void count_down() {
        const auto now = Clock::now();
        const std::lock_guard lock(mutex_);

        last_ = now;
        if (--left_ == 0) {
            all_said_so_.notify_one();
        }
    }

    const int count_;
    const DDS_DomainParticipantListener listener_ = {this, nullptr, on_locators_changed, nullptr};
    std::mutex mutex_; /* guards what follows */
    std::condition_variable all_said_so_;
    int left_ = 0;
    Clock::time_point last_;
};

void event_to_last_participant(benchmark::State &state) {
    if (!is_network_private()) {
        state.SkipWithError("it takes a private network, which is not allowed here");
        return;
    }
    const int count = static_cast<int>(state.range(0));
    Countdown countdown(count);
    AddressEvents events;
    SpareAddress address;
    const std::vector<Participant> participants = make_participants(count, &countdown.listener());
    Series updated, read;

    for ([[maybe_unused]] auto iteration : state) {
        countdown.start();
        const auto begin = Clock::now();
        address.add();
        events.read();
        read.add(seconds_between(begin, Clock::now()));
        const double seconds = seconds_between(begin, countdown.wait());

        updated.add(seconds);
        state.SetIterationTime(seconds);
        countdown.start();
        address.remove();
        events.read();
        (void)countdown.wait();
    }
    const std::string what = std::string("event to the last of ") + std::to_string(count) +
                             (count == 1 ? " participant" : " participants");

    state.counters["median_ms"] = MILLISECONDS * updated.median();
    state.counters["settle_ms"] = settle_milliseconds();
    state.counters["bare_ms"] = MILLISECONDS * read.median();
    set_row({.what = what, .value = MILLISECONDS * updated.median(), .unit = "ms"});
    set_row({.what = what + ", of it the burst settles for",
             .value = settle_milliseconds(),
             .unit = "ms"});
    set_row({.what = what + ", event read by a bare socket",
             .value = MILLISECONDS * read.median(),
             .unit = "ms"});
}
BENCHMARK(event_to_last_participant)
    ->Arg(1)
    ->Arg(100)
    ->Iterations(ITERATIONS)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
