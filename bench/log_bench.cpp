// SPDX-License-Identifier: Apache-2.0
// A message that nobody wants, beside the test of a word in memory and beside no call at all.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "dds_c/dds_c_logger.h"
#include "figures.h"
#include "infrastructure/dds_log.h"
#include "log/log_message.h"
#include "participants.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

using namespace bench;

constexpr int ITERATIONS = 200;
constexpr int CALLS = 100000;

/** Counts how often the argument of a message was asked for. */
int evaluated_arguments = 0;

int argument() {
    return ++evaluated_arguments;
}

/** Keeps the compiler from moving anything from one turn of a loop to the next. */
inline void fence() {
    asm volatile("" ::: "memory");
}

[[gnu::noinline, gnu::aligned(64)]] void empty_function() {
    fence();
}

[[gnu::noinline, gnu::aligned(64)]] void log_disabled() {
    for (int i = 0; i < CALLS; ++i) {
        DDSLog_text(NUV_LOG_LEVEL_LOCAL, NUV_LOG_EMPTY_TEMPLATE, "participant index %d",
                    argument());
        fence();
    }
}

[[gnu::noinline, gnu::aligned(64)]] void load_and_test() {
    for (int i = 0; i < CALLS; ++i) {
        if ((NUVLog_loadMask(&DDSLog_g_instrumentationMask) & NUV_LOG_LEVEL_LOCAL) != 0) {
            empty_function();
        }
        fence();
    }
}

[[gnu::noinline, gnu::aligned(64)]] void call_empty_function() {
    for (int i = 0; i < CALLS; ++i) {
        empty_function();
    }
}

void log_that_is_masked(benchmark::State &state) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_ERROR);

    const std::uint64_t before = allocations();
    Series logged, tested, called;

    evaluated_arguments = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const double seconds = seconds_of(log_disabled);

        logged.add(seconds / CALLS);
        tested.add(seconds_of(load_and_test) / CALLS);
        called.add(seconds_of(call_empty_function) / CALLS);
        state.SetIterationTime(seconds / CALLS);
    }
    const auto allocated = static_cast<double>(allocations() - before);

    state.counters["median_ns"] = NANOSECONDS * logged.median();
    state.counters["test_ns"] = NANOSECONDS * tested.median();
    state.counters["call_ns"] = NANOSECONDS * called.median();
    set_row({.what = "masked message / load and test", .value = logged.median() / tested.median()});
    set_row(
        {.what = "masked message / empty function", .value = logged.median() / called.median()});
    set_row({.what = "masked messages: allocations", .value = allocated, .allowed = 0.0});
    set_row({.what = "masked messages: arguments evaluated",
             .value = static_cast<double>(evaluated_arguments),
             .allowed = 0.0});
}
BENCHMARK(log_that_is_masked)
    ->Iterations(ITERATIONS)
    ->UseManualTime()
    ->Unit(benchmark::kNanosecond);

} // namespace
