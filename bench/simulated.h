// SPDX-License-Identifier: Apache-2.0
/** @file simulated.h  What a building full of participants costs on the simulated network. */
#ifndef BENCH_SIMULATED_H
#define BENCH_SIMULATED_H

namespace bench {

/** Measures, in child processes; to be called once, while this process has one thread. */
void measure_simulated();

} // namespace bench

#endif
