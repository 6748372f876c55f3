// What is asked of participants that stand there, beside its floor: time, allocations and system
// calls for each of them.
#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "ahead.h"
#include "figures.h"
#include "operations.h"
#include "participants.h"
#include "process.h"

namespace {

using namespace bench;

/** An operation in the report. */
struct Subject {
    OperationKind kind;
    const char *what;  /**< in the table */
    const char *floor; /**< likewise */
    std::optional<double> allowed_on_sockets = std::nullopt;
};

/** What the rounds took, for one participant. */
struct Rounds {
    Series performed, bare, allocated;
};

/** One round that counts; seconds for all participants together. */
double take_round(Operation &operation, int count, Rounds &rounds) {
    constexpr int TRIES = 100;

    for (int i = 0; i < TRIES; ++i) {
        operation.prepare();
        const std::uint64_t before = allocations();
        const double performed = seconds_of([&] { operation.perform(); });
        const std::uint64_t after = allocations();
        const double bare = seconds_of([&] { operation.perform_bare(); });

        if (operation.finish()) {
            rounds.performed.add(performed / count);
            rounds.bare.add(bare / count);
            rounds.allocated.add(static_cast<double>(after - before) / count);
            return performed;
        }
    }
    throw std::runtime_error("no round went undisturbed");
}

void report(benchmark::State &state, const Subject &subject, int count, const Rounds &rounds) {
    const std::string what = std::string(subject.what) + ", " + std::to_string(count) +
                             (count == 1 ? " participant" : " participants");
    const std::optional<SystemCalls> calls = operation_calls(subject.kind, count);

    state.counters["each_us"] = MICROSECONDS * rounds.performed.median();
    state.counters["bare_us"] = MICROSECONDS * rounds.bare.median();
    state.counters["allocs"] = rounds.allocated.median();
    set_row({.what = what + " / " + subject.floor,
             .value = rounds.performed.median() / rounds.bare.median()});
    if (!calls) {
        return;
    }
    state.counters["calls"] = calls->all;
    state.counters["on_sockets"] = calls->on_sockets;
    if (subject.allowed_on_sockets) {
        set_row({.what = what + ": system calls on sockets",
                 .value = calls->on_sockets,
                 .allowed = subject.allowed_on_sockets});
    }
}

void measure(benchmark::State &state, const Subject &subject) {
    if (needs_private_network(subject.kind) && !is_network_private()) {
        state.SkipWithError("it takes a private network, which is not allowed here");
        return;
    }
    const int count = static_cast<int>(state.range(0));
    const std::unique_ptr<Operation> operation = make_operation(subject.kind, count);
    Rounds rounds;

    for ([[maybe_unused]] auto iteration : state) {
        state.SetIterationTime(take_round(*operation, count, rounds));
    }
    report(state, subject, count, rounds);
}

void for_counts(benchmark::internal::Benchmark *benchmark) {
    for (const int count : OPERATION_COUNTS) {
        benchmark->Arg(count);
    }
    benchmark->UseManualTime()->Unit(benchmark::kMicrosecond);
}

void locator_update_without_change(benchmark::State &state) {
    measure(state, {.kind = OperationKind::UPDATE_WITHOUT_CHANGE,
                    .what = "locator update, nothing changed",
                    .floor = "getifaddrs",
                    .allowed_on_sockets = 0.0});
}
BENCHMARK(locator_update_without_change)->Iterations(500)->Apply(for_counts);

void locator_update_with_address(benchmark::State &state) {
    measure(state, {.kind = OperationKind::UPDATE_WITH_ADDRESS,
                    .what = "locator update, one address more",
                    .floor = "one getifaddrs"});
}
BENCHMARK(locator_update_with_address)->Iterations(40)->Apply(for_counts);

void get_qos(benchmark::State &state) {
    measure(state, {.kind = OperationKind::GET_QOS, .what = "get_qos", .floor = "copied QoS"});
}
BENCHMARK(get_qos)->Iterations(500)->Apply(for_counts);

void set_qos_without_change(benchmark::State &state) {
    measure(state, {.kind = OperationKind::SET_QOS_WITHOUT_CHANGE,
                    .what = "set_qos, nothing changed",
                    .floor = "copied QoS"});
}
BENCHMARK(set_qos_without_change)->Iterations(500)->Apply(for_counts);

void set_qos_of_user_data(benchmark::State &state) {
    measure(state, {.kind = OperationKind::SET_QOS_OF_USER_DATA,
                    .what = "set_qos, other user data",
                    .floor = "copied QoS"});
}
BENCHMARK(set_qos_of_user_data)->Iterations(500)->Apply(for_counts);

} // namespace
