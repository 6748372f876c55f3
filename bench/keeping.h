// SPDX-License-Identifier: Apache-2.0
/** @file keeping.h  What participants that know each other cost from then on. */
#ifndef BENCH_KEEPING_H
#define BENCH_KEEPING_H

namespace bench {

/**
 * Measures the memory for those that are known, the time of the processor while nothing happens,
 * and the system calls of an announcement, in child processes; to be called once, while this
 * process has one thread.
 */
void measure_keeping();

} // namespace bench

#endif
