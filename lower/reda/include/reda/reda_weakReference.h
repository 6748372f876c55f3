// SPDX-License-Identifier: Apache-2.0
/**
 * @file reda_weakReference.h
 * @brief Weak references: handles that know when what they refer to is gone.
 *
 * A reference names a slot and the slot's epoch. When the referent goes away the epoch moves on, so
 * that a stale reference is recognised even after the slot has been used again.
 */
#ifndef REDA_WEAK_REFERENCE_H
#define REDA_WEAK_REFERENCE_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef NUV_UINT32 REDAEpoch;

struct REDAWeakReferenceManager;

struct REDAWeakReference {
    struct REDAWeakReferenceManager *_manager;
    NUV_UINT32 _index;
    REDAEpoch _referentEpochAtCreation;
};

/** The index of a reference that refers to nothing. */
#define REDA_WEAK_REFERENCE_INVALID_INDEX 0xFFFFFFFFu
/** A reference that refers to nothing. */
#define REDA_WEAK_REFERENCE_INVALID                                                                \
    { NULL, REDA_WEAK_REFERENCE_INVALID_INDEX, 0u }

/** Non-zero when the reference was given by a manager, whether or not its referent still lives. */
static inline int REDAWeakReference_isHeld(const struct REDAWeakReference *self) {
    return self->_manager != NULL && self->_index != REDA_WEAK_REFERENCE_INVALID_INDEX;
}

/** Makes a manager; null when memory runs out. A manager is not thread-safe: its owner locks. */
struct REDAWeakReferenceManager *REDAWeakReferenceManager_new(void);

/** Deletes a manager; null is accepted. References of it must not be used any more. */
void REDAWeakReferenceManager_delete(struct REDAWeakReferenceManager *self);

/**
 * @brief Makes a reference to @p referent (not null).
 * @return non-zero on success; 0 when memory runs out, and then @p out is invalid.
 */
int REDAWeakReferenceManager_createReference(struct REDAWeakReferenceManager *self, void *referent,
                                             struct REDAWeakReference *out);

/** The referent, or null when the reference is invalid, stale or of another manager. */
void *REDAWeakReferenceManager_getReferent(const struct REDAWeakReferenceManager *self,
                                           const struct REDAWeakReference *reference);

/** Makes the reference, and every copy of it, stale. Non-zero when it still was valid. */
int REDAWeakReferenceManager_invalidate(struct REDAWeakReferenceManager *self,
                                        const struct REDAWeakReference *reference);

#ifdef __cplusplus
}
#endif

#endif
