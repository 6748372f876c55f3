// SPDX-License-Identifier: Apache-2.0
// What a library needs to know of the process and the thread that call it.
#include "osapi/osapi_process.h"

#include <atomic>

#include <pthread.h>

namespace {

/** Changed by a forked child before any of its code runs. */
std::atomic<NUV_UINT32> generation{1};

void note_fork() {
    const NUV_UINT32 next = generation.load(std::memory_order_relaxed) + 1;
    generation.store(next != 0 ? next : 1, std::memory_order_relaxed);
}

void watch_forks() {
    // Fails only for want of memory; then forks go unnoticed.
    (void)pthread_atfork(nullptr, nullptr, note_fork);
}

} // namespace

NUV_UINT32 NUVOsapiProcess_getGeneration(void) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    (void)pthread_once(&once, watch_forks);
    return generation.load(std::memory_order_relaxed);
}

int NUVOsapiThread_holdCancellation(void) {
    int former = PTHREAD_CANCEL_ENABLE;
    (void)pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
    return former;
}

void NUVOsapiThread_releaseCancellation(int held) {
    (void)pthread_setcancelstate(held, nullptr);
}
