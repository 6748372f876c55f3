// SPDX-License-Identifier: Apache-2.0
// Workers and their factory.
#include "reda/reda_worker.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

#include <string.h> // strnlen

#include "osapi/osapi_heap.h"
#include "worker_internal.h"

struct REDAWorkerFactory {
    std::atomic<NUV_INT32> worker_count{0};

    std::atomic<bool> ea_logging_on{false}; // so that it costs nothing while it is off
    mutable std::mutex ea_mutex;            // keeps the next two in step
    NUV_INT32 ea_level = 0;
    NUVNtpTime ea_threshold = NUV_NTP_TIME_INFINITE;

    REDARepetitions repetitions{};
};

REDAWorkerFactory *REDAWorkerFactory_new(void) {
    REDAWorkerFactory *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct REDAWorkerFactory);
    return self != nullptr ? new (self) REDAWorkerFactory() : nullptr;
}

void REDAWorkerFactory_delete(REDAWorkerFactory *self) {
    if (self != nullptr) {
        self->~REDAWorkerFactory();
        NUVOsapiHeap_freeStructure(self);
    }
}

REDAWorker *REDAWorkerFactory_createWorker(REDAWorkerFactory *self, const char *name) {
    REDAWorker *worker = nullptr;
    NUVOsapiActivityContext *context = nullptr;
    NUVOsapiHeap_allocateStructure(&worker, struct REDAWorker);
    if (worker == nullptr) {
        return nullptr;
    }
    NUVOsapiHeap_allocateStructure(&context, struct NUVOsapiActivityContext);
    if (context == nullptr) {
        NUVOsapiHeap_freeStructure(worker);
        return nullptr;
    }
    new (context) NUVOsapiActivityContext NUV_OSAPI_ACTIVITY_CONTEXT_DEFAULT;
    new (worker) REDAWorker{self, context, {}, nullptr};
    if (name != nullptr) {
        std::memcpy(worker->_name, name, strnlen(name, sizeof worker->_name - 1));
    }
    self->worker_count.fetch_add(1, std::memory_order_relaxed);
    return worker;
}

void REDAWorkerFactory_destroyWorker(REDAWorkerFactory *self, REDAWorker *worker) {
    if (worker == nullptr) {
        return;
    }
    NUVOsapiHeap_freeStructure(worker->_activityContext);
    NUVOsapiHeap_freeStructure(worker);
    self->worker_count.fetch_sub(1, std::memory_order_relaxed);
}

NUV_INT32 REDAWorkerFactory_getWorkerCount(const REDAWorkerFactory *self) {
    return self->worker_count.load(std::memory_order_relaxed);
}

void REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(REDAWorkerFactory *self, NUV_INT32 level,
                                                       const NUVNtpTime *threshold) {
    const std::lock_guard lock(self->ea_mutex);
    self->ea_level = level;
    self->ea_threshold = *threshold;
    self->ea_logging_on.store(NUVNtpTime_isInfinite(threshold) == 0, std::memory_order_relaxed);
}

void REDAWorkerFactory_getEaTimeBasedLogging(const REDAWorkerFactory *self, NUV_INT32 *levelOut,
                                             NUVNtpTime *thresholdOut) {
    const std::lock_guard lock(self->ea_mutex);
    *levelOut = self->ea_level;
    *thresholdOut = self->ea_threshold;
}

bool REDAWorkerFactory_watchesLevelI(const REDAWorkerFactory *self, NUV_INT32 level) {
    if (!self->ea_logging_on.load(std::memory_order_relaxed)) {
        return false;
    }
    const std::lock_guard lock(self->ea_mutex);
    return level >= self->ea_level;
}

REDARepetitions *REDAWorkerFactory_getRepetitionsI(REDAWorkerFactory *self) {
    return &self->repetitions;
}
