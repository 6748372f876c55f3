// SPDX-License-Identifier: Apache-2.0
/** @file standing.h  What participants keep that merely stand there. */
#ifndef BENCH_STANDING_H
#define BENCH_STANDING_H

namespace bench {

struct Standing {
    int threads;             /**< of the process, its first one included */
    double resident_further; /**< bytes resident for each participant after the first */
    double heap_further;     /**< bytes from the library's heap, likewise */
};

/** Measures, in child processes; to be called once, while this process has one thread. */
void measure_standing();

/** The figures of 1, 10, 100 or MANY participants. */
const Standing &standing_costs(int count);

} // namespace bench

#endif
