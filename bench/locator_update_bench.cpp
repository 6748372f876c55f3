// A locator update that finds nothing changed, beside asking the kernel for its interfaces.
#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <ifaddrs.h>

#include "ahead.h"
#include "figures.h"
#include "participants.h"

namespace {

using namespace bench;

constexpr int ITERATIONS = 2000;

void list_interfaces() {
    ifaddrs *interfaces = nullptr;

    if (getifaddrs(&interfaces) != 0) {
        throw std::system_error(errno, std::generic_category(), "getifaddrs");
    }
    freeifaddrs(interfaces);
}

void locator_update_without_change(benchmark::State &state) {
    const Participant participant(DOMAIN);
    const std::uint64_t before = allocations();
    Series updated, listed;

    for ([[maybe_unused]] auto iteration : state) {
        const double seconds = seconds_of([&] { participant.update_locators(); });

        updated.add(seconds);
        listed.add(seconds_of(list_interfaces));
        state.SetIterationTime(seconds);
    }
    const auto allocated = static_cast<double>(allocations() - before) / ITERATIONS;

    state.counters["median_us"] = MICROSECONDS * updated.median();
    state.counters["getifaddrs_us"] = MICROSECONDS * listed.median();
    state.counters["allocs"] = allocated;
    set_row({.what = "locator update, nothing changed / getifaddrs",
             .value = updated.median() / listed.median()});
    set_row({.what = "locator update, nothing changed: system calls on sockets",
             .value = static_cast<double>(socket_calls_of_updates()) / LOCATOR_UPDATES,
             .allowed = 0.0});
    set_row(
        {.what = "locator update, nothing changed: allocations of all layers", .value = allocated});
}
BENCHMARK(locator_update_without_change)
    ->Iterations(ITERATIONS)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace
