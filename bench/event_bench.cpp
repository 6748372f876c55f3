// SPDX-License-Identifier: Apache-2.0
// From an address that comes to the last participant that has it, beside a program that only reads
// the kernel's event.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "addresses.h"
#include "countdown.h"
#include "figures.h"
#include "netio/netio_runtime.h"
#include "participants.h"
#include "process.h"

namespace {

using namespace bench;

constexpr int ITERATIONS = 40;

/** How long the middleware lets a burst of events settle before it acts. */
double settle_milliseconds() {
    return static_cast<double>(
               NUVNtpTime_toNanoseconds(&NUV_NETIO_RUNTIME_PROPERTY_DEFAULT.interfaceSettleTime)) /
           1e6;
}

void event_to_last_participant(benchmark::State &state) {
    if (!is_network_private()) {
        state.SkipWithError("it takes a private network, which is not allowed here");
        return;
    }
    const int count = static_cast<int>(state.range(0));
    Countdown countdown;
    const DDS_DomainParticipantListener listener = countdown.listener_of_locators();
    AddressEvents events;
    SpareAddress address;
    const std::vector<Participant> participants = make_participants(count, &listener);
    Series updated, read;

    for ([[maybe_unused]] auto iteration : state) {
        countdown.start(count);
        const double begin = seconds_now();
        address.add();
        events.read();
        read.add(seconds_now() - begin);
        const double seconds = countdown.wait() - begin;

        updated.add(seconds);
        state.SetIterationTime(seconds);
        countdown.start(count);
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
