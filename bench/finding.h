// SPDX-License-Identifier: Apache-2.0
/** @file finding.h  How soon participants of different processes and hosts know each other. */
#ifndef BENCH_FINDING_H
#define BENCH_FINDING_H

namespace bench {

/** Measures, in child processes; to be called once, while this process has one thread. */
void measure_finding();

} // namespace bench

#endif
