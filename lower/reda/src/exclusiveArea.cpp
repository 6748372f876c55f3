// SPDX-License-Identifier: Apache-2.0
// Exclusive areas.
#include "reda/reda_exclusiveArea.h"

#include <mutex>
#include <new>

#include "osapi/osapi_assert.h"
#include "osapi/osapi_duration.h"
#include "osapi/osapi_heap.h"
#include "reda/reda_repetition.h"
#include "reda_log.h"
#include "worker_internal.h"

struct REDAExclusiveArea {
    REDAExclusiveArea(NUV_INT32 its_level, const char *its_name)
        : level(its_level), name(its_name) {}

    const NUV_INT32 level;
    const char *const name;
    std::mutex mutex;
    // Of whoever is inside:
    REDAExclusiveArea *outer = nullptr; // that its worker was in before
    bool timed = false;
    NUV_INT64 entered = 0; // when, if timed
};

namespace {

bool is_watched(const REDAExclusiveArea *area, const REDAWorker *worker) {
    return worker != nullptr && worker->_manager != nullptr &&
           REDAWorkerFactory_watchesLevelI(worker->_manager, area->level);
}

/* A worker knows the innermost area that it is in, and an area the next outer one. */

#ifdef NDEBUG

void check_order(const REDAExclusiveArea *, const REDAWorker *) {}
void note_entered(REDAExclusiveArea *, REDAWorker *) {}
void note_left(REDAExclusiveArea *, REDAWorker *) {}

#else

/** Before the lock is waited for, which may be for ever. */
void check_order(const REDAExclusiveArea *area, const REDAWorker *worker) {
    NUV_ASSERT(worker == nullptr || worker->_innermost == nullptr ||
               worker->_innermost->level < area->level);
}

void note_entered(REDAExclusiveArea *area, REDAWorker *worker) {
    if (worker != nullptr) {
        area->outer = worker->_innermost;
        worker->_innermost = area;
    }
}

void note_left(REDAExclusiveArea *area, REDAWorker *worker) {
    if (worker != nullptr) {
        NUV_ASSERT(worker->_innermost == area);
        worker->_innermost = area->outer;
        area->outer = nullptr;
    }
}

#endif

void log_slow_hold(const char *LOG_METHOD, const char *name, NUV_INT32 level, NUV_INT64 held,
                   const REDAWorker *worker) {
    NUV_INT32 watched_level = 0;
    NUVNtpTime threshold = NUV_NTP_TIME_INFINITE;
    REDAWorkerFactory_getEaTimeBasedLogging(worker->_manager, &watched_level, &threshold);
    const NUV_INT64 longest = NUVNtpTime_toNanoseconds(&threshold);
    if (level < watched_level || held <= longest) {
        return;
    }
    const osapi::Seconds measured(held);
    const osapi::Seconds allowed(longest);
    REDARepetitions_text(
        REDAWorkerFactory_getRepetitionsI(worker->_manager), REDA_LOG_MODULE, NUV_LOG_SUBMODULE_ALL,
        worker->_activityContext, NUV_LOG_LEVEL_WARNING, NUV_LOG_EMPTY_TEMPLATE,
        "exclusive area '%s' (level %d) was held for %lld.%06lld s, longer than %lld.%06lld s, "
        "by worker '%s'",
        name, static_cast<int>(level), measured.whole, measured.micros, allowed.whole,
        allowed.micros, worker->_name);
}

} // namespace

REDAExclusiveArea *REDAExclusiveArea_new(NUV_INT32 level, const char *name) {
    REDAExclusiveArea *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct REDAExclusiveArea);
    return self != nullptr ? new (self) REDAExclusiveArea(level, name) : nullptr;
}

void REDAExclusiveArea_delete(REDAExclusiveArea *self) {
    if (self != nullptr) {
        self->~REDAExclusiveArea();
        NUVOsapiHeap_freeStructure(self);
    }
}

void REDAExclusiveArea_enter(REDAExclusiveArea *self, REDAWorker *worker) {
    check_order(self, worker);
    self->mutex.lock();
    note_entered(self, worker);
    self->timed = is_watched(self, worker);
    if (self->timed) {
        self->entered = osapi::read_monotonic_clock();
    }
}

void REDAExclusiveArea_leave(REDAExclusiveArea *self, REDAWorker *worker) {
    // Who leaves without having been timed, as when the logging was turned on meanwhile, is not
    // judged.
    const bool timed = self->timed && is_watched(self, worker);
    const NUV_INT64 held = timed ? osapi::read_monotonic_clock() - self->entered : 0;
    // Another thread may delete the area as soon as it has been left.
    const char *const name = self->name;
    const NUV_INT32 level = self->level;
    note_left(self, worker);
    self->mutex.unlock();
    if (timed) {
        log_slow_hold(__func__, name, level, held, worker);
    }
}
