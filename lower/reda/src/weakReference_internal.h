// SPDX-License-Identifier: Apache-2.0
// The slots of weak references.
#ifndef REDA_WEAK_REFERENCE_INTERNAL_H
#define REDA_WEAK_REFERENCE_INTERNAL_H

#include "reda/reda_weakReference.h"

/** While it is free a slot has no referent. */
struct REDAWeakReferenceSlot {
    void *referent;
    REDAEpoch epoch; // of the present referent, or of the next
    NUV_UINT32 nextFree;
};

#endif
