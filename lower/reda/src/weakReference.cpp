// SPDX-License-Identifier: Apache-2.0
// Weak references: a table of slots, each with an epoch.
#include "reda/reda_weakReference.h"

#include <new>

#include "osapi/osapi_heap.h"
#include "weakReference_internal.h"

namespace {

constexpr NUV_UINT32 NO_SLOT = REDA_WEAK_REFERENCE_INVALID_INDEX;
constexpr REDAEpoch FIRST_EPOCH = 1; // so that a zeroed reference is never valid
constexpr REDAEpoch LAST_EPOCH = 0xFFFFFFFFu;
constexpr NUV_UINT32 FIRST_CAPACITY = 8;

} // namespace

struct REDAWeakReferenceManager {
    REDAWeakReferenceSlot *slots = nullptr;
    NUV_UINT32 capacity = 0;
    NUV_UINT32 used = 0; // slots that have ever been used
    NUV_UINT32 firstFree = NO_SLOT;
};

namespace {

bool grow(REDAWeakReferenceManager *manager) {
    if (manager->capacity > NO_SLOT / 2) {
        return false; // an index more would not fit a reference
    }
    const NUV_UINT32 capacity = manager->capacity != 0 ? 2 * manager->capacity : FIRST_CAPACITY;
    if (NUVOsapiHeap_reallocateMemoryInternal(
            &manager->slots, capacity * sizeof(REDAWeakReferenceSlot),
            NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 1, 0, "REDAWeakReferenceManager_createReference",
            NUV_OSAPI_HEAP_TAG_ARRAY, "struct REDAWeakReferenceSlot") == 0) {
        return false;
    }
    manager->capacity = capacity;
    return true;
}

/** Takes a free slot, or a new one; NO_SLOT when memory runs out. */
NUV_UINT32 take_slot(REDAWeakReferenceManager *manager) {
    if (manager->firstFree != NO_SLOT) {
        const NUV_UINT32 index = manager->firstFree;
        manager->firstFree = manager->slots[index].nextFree;
        return index;
    }
    if (manager->used == manager->capacity && !grow(manager)) {
        return NO_SLOT;
    }
    const NUV_UINT32 index = manager->used++;
    new (&manager->slots[index]) REDAWeakReferenceSlot{nullptr, FIRST_EPOCH, NO_SLOT};
    return index;
}

/** The slot that a valid reference names, or null. */
REDAWeakReferenceSlot *find_slot(const REDAWeakReferenceManager *manager,
                                 const REDAWeakReference *reference) {
    if (reference->_manager != manager || reference->_index >= manager->used) {
        return nullptr;
    }
    REDAWeakReferenceSlot *slot = &manager->slots[reference->_index];
    const bool valid =
        slot->referent != nullptr && slot->epoch == reference->_referentEpochAtCreation;
    return valid ? slot : nullptr;
}

} // namespace

REDAWeakReferenceManager *REDAWeakReferenceManager_new(void) {
    REDAWeakReferenceManager *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct REDAWeakReferenceManager);
    return self != nullptr ? new (self) REDAWeakReferenceManager() : nullptr;
}

void REDAWeakReferenceManager_delete(REDAWeakReferenceManager *self) {
    if (self != nullptr) {
        NUVOsapiHeap_freeArray(self->slots);
        NUVOsapiHeap_freeStructure(self);
    }
}

int REDAWeakReferenceManager_createReference(REDAWeakReferenceManager *self, void *referent,
                                             REDAWeakReference *out) {
    const NUV_UINT32 index = referent != nullptr ? take_slot(self) : NO_SLOT;
    if (index == NO_SLOT) {
        *out = REDA_WEAK_REFERENCE_INVALID;
        return 0;
    }
    REDAWeakReferenceSlot *slot = &self->slots[index];
    slot->referent = referent;
    *out = {self, index, slot->epoch};
    return 1;
}

void *REDAWeakReferenceManager_getReferent(const REDAWeakReferenceManager *self,
                                           const REDAWeakReference *reference) {
    const REDAWeakReferenceSlot *slot = find_slot(self, reference);
    return slot != nullptr ? slot->referent : nullptr;
}

int REDAWeakReferenceManager_invalidate(REDAWeakReferenceManager *self,
                                        const REDAWeakReference *reference) {
    REDAWeakReferenceSlot *slot = find_slot(self, reference);
    if (slot == nullptr) {
        return 0;
    }
    slot->referent = nullptr;
    // A slot whose epochs are used up is not used again: a wrapped epoch would revive old
    // references.
    if (slot->epoch != LAST_EPOCH) {
        ++slot->epoch;
        slot->nextFree = self->firstFree;
        self->firstFree = reference->_index;
    }
    return 1;
}
