// SPDX-License-Identifier: Apache-2.0
// What the exclusive areas ask of a worker's factory.
#ifndef REDA_WORKER_INTERNAL_H
#define REDA_WORKER_INTERNAL_H

#include "reda/reda_repetition.h"
#include "reda/reda_worker.h"

/**
 * Whether a worker of this factory is to be timed in an area of this level. Takes no lock while
 * time-based logging is off.
 */
bool REDAWorkerFactory_watchesLevelI(const struct REDAWorkerFactory *self, NUV_INT32 level);

/** The limit of repetition for what the workers of this factory cause. */
REDARepetitions *REDAWorkerFactory_getRepetitionsI(REDAWorkerFactory *self);

#endif
