/** @file ahead.h  What is measured in child processes before the benchmarks run. */
#ifndef BENCH_AHEAD_H
#define BENCH_AHEAD_H

#include <optional>

#include "operations.h"
#include "system_calls.h"

namespace bench {

/** What participants that merely stand there keep. */
struct Standing {
    int threads;             /**< of the process, its first one included */
    double resident_further; /**< bytes resident for each participant after the first */
    double heap_further;     /**< bytes from the library's heap, likewise */
};

/** Measures; to be called once, while this process has one thread. */
void measure_ahead();

/** The figures of 1, 10, 100 or MANY participants. */
const Standing &standing_costs(int count);

/** System calls of an operation, for one participant. Nothing where they cannot be counted. */
std::optional<SystemCalls> operation_calls(OperationKind kind, int count);

} // namespace bench

#endif
