// SPDX-License-Identifier: Apache-2.0
/**
 * @file reda_worker.h
 * @brief Workers: what each thread carries through the layers.
 */
#ifndef REDA_WORKER_H
#define REDA_WORKER_H

#include "osapi/osapi_context.h"
#include "osapi/osapi_ntptime.h"

#ifdef __cplusplus
extern "C" {
#endif

struct REDAExclusiveArea;
struct REDAWorkerFactory;

/** The context of one thread. It is used by that thread only and takes no lock. */
struct REDAWorker {
    struct REDAWorkerFactory *_manager;               /**< the factory that made it */
    struct NUVOsapiActivityContext *_activityContext; /**< what the thread does; may be null */
    char _name[16];                                   /**< for messages */
    struct REDAExclusiveArea
        *_innermost; /**< that it is in; kept where asserts are on, else null */
};

/** What the thread does; null when nobody says so, as where there is no worker. */
static inline struct NUVOsapiActivityContext *
REDAWorker_getActivityContext(const struct REDAWorker *self) {
    return self != NULL ? self->_activityContext : NULL;
}

/** Makes a factory; null when memory runs out. Thread-safe. */
struct REDAWorkerFactory *REDAWorkerFactory_new(void);

/** Deletes a factory, whose workers must have been destroyed; null is accepted. */
void REDAWorkerFactory_delete(struct REDAWorkerFactory *self);

/**
 * @brief Makes a worker with an activity context of its own.
 * @param name at most 15 characters are kept.
 * @return the worker, or null when memory runs out. Thread-safe.
 */
struct REDAWorker *REDAWorkerFactory_createWorker(struct REDAWorkerFactory *self, const char *name);

/** Destroys a worker of this factory; null is accepted. Thread-safe. */
void REDAWorkerFactory_destroyWorker(struct REDAWorkerFactory *self, struct REDAWorker *worker);

/** Number of workers made and not yet destroyed. */
NUV_INT32 REDAWorkerFactory_getWorkerCount(const struct REDAWorkerFactory *self);

/**
 * @brief Turns on time-based logging of exclusive areas for the workers of a factory.
 *
 * From now on a worker of this factory that held an exclusive area of at least this level for
 * longer than the threshold logs one warning when it leaves it, though not more than one a second
 * for the whole factory. Thread-safe.
 *
 * @param self      the factory (a worker's _manager).
 * @param level     the lowest level of exclusive area that is watched.
 * @param threshold the longest time that goes unmentioned; infinite turns the logging off.
 */
void REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(struct REDAWorkerFactory *self,
                                                       NUV_INT32 level,
                                                       const struct NUVNtpTime *threshold);

/** Reads what REDAWorker_setEaTimeBasedLoggingLevelAndThreshold set; infinite when it is off. */
void REDAWorkerFactory_getEaTimeBasedLogging(const struct REDAWorkerFactory *self,
                                             NUV_INT32 *levelOut, struct NUVNtpTime *thresholdOut);

#ifdef __cplusplus
}
#endif

#endif
