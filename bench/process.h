// SPDX-License-Identifier: Apache-2.0
/** @file process.h  This process as the kernel sees it. */
#ifndef BENCH_PROCESS_H
#define BENCH_PROCESS_H

#include <string>

namespace bench {

/** Moves this process, which must have one thread, into a network of its own with nothing but
 * loopback. False when the system forbids it: then it stays in the host's. */
bool enter_private_network();

/** Whether that was done. */
bool is_network_private();

/** Allows as many open files as the system lets us have. */
void raise_file_limit();

/** The processor's model. */
std::string cpu_model();

/** Number of threads. */
int thread_count();

/** Seconds that a processor has worked for this process. */
double processor_seconds();

/** Bytes of memory that are resident. */
double resident_bytes();

} // namespace bench

#endif
