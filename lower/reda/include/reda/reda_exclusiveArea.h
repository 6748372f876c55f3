// SPDX-License-Identifier: Apache-2.0
/**
 * @file reda_exclusiveArea.h
 * @brief Exclusive areas: the library's locks, each with a name and a level.
 *
 * Levels order the areas: a thread that holds one may enter only areas of a higher level, and it
 * leaves first what it entered last. Where asserts are on, a worker that does otherwise fails one.
 */
#ifndef REDA_EXCLUSIVE_AREA_H
#define REDA_EXCLUSIVE_AREA_H

#include "reda/reda_worker.h"

#ifdef __cplusplus
extern "C" {
#endif

struct REDAExclusiveArea;

/** Level of the area around a public participant's operations. */
#define REDA_EXCLUSIVE_AREA_LEVEL_PARTICIPANT 10
/** Levels of the areas that a participant hands to the presentation layer. */
#define REDA_EXCLUSIVE_AREA_LEVEL_TABLE 20
#define REDA_EXCLUSIVE_AREA_LEVEL_RECORD 30
#define REDA_EXCLUSIVE_AREA_LEVEL_REMOTE_OBJECTS 40
/** Level of the area around a communication facade's tables. */
#define REDA_EXCLUSIVE_AREA_LEVEL_FACADE 50

/** Makes an area; @p name must outlive it. Null when memory runs out. */
struct REDAExclusiveArea *REDAExclusiveArea_new(NUV_INT32 level, const char *name);

/** Deletes an area that nobody is in; null is accepted. */
void REDAExclusiveArea_delete(struct REDAExclusiveArea *self);

/** Waits until the area is free and enters it. Not recursive. @p worker may be null. */
void REDAExclusiveArea_enter(struct REDAExclusiveArea *self, struct REDAWorker *worker);

/**
 * @brief Leaves an area that the calling thread is in.
 * Logs one warning with the measured time when the time-based logging of the worker's factory asks
 * for it, at most one a second for all workers of that factory; it is printed after the area has
 * been left.
 */
void REDAExclusiveArea_leave(struct REDAExclusiveArea *self, struct REDAWorker *worker);

#ifdef __cplusplus
}

namespace reda {

/** In an exclusive area for as long as it lives. */
class ExclusiveAreaGuard {
public:
    ExclusiveAreaGuard(REDAExclusiveArea *area, REDAWorker *worker) : area_(area), worker_(worker) {
        REDAExclusiveArea_enter(area_, worker_);
    }
    ~ExclusiveAreaGuard() {
        REDAExclusiveArea_leave(area_, worker_);
    }
    ExclusiveAreaGuard(const ExclusiveAreaGuard &) = delete;
    ExclusiveAreaGuard &operator=(const ExclusiveAreaGuard &) = delete;

private:
    REDAExclusiveArea *const area_;
    REDAWorker *const worker_;
};

} // namespace reda
#endif

#endif
