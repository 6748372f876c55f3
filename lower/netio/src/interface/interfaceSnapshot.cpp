// SPDX-License-Identifier: Apache-2.0
// Interface snapshots: made once, then only read and counted.
#include "interface/interfaceSnapshot.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <new>

#include "locator/address.h"
#include "osapi/osapi_assert.h"
#include "osapi/osapi_heap.h"

struct NUVNetioInterfaceSnapshot {
    mutable std::atomic<NUV_INT32> users{1};
    NUVNetioInterface *interfaces = nullptr;
    NUV_INT32 length = 0;
    NUV_UINT64 generation = 0;
};

namespace {

constexpr NUV_INT32 FIRST_CAPACITY = 8;

NUVNetioInterfaceSnapshot *make_snapshot() {
    NUVNetioInterfaceSnapshot *snapshot = nullptr;
    NUVOsapiHeap_allocateStructure(&snapshot, struct NUVNetioInterfaceSnapshot);
    return snapshot != nullptr ? new (snapshot) NUVNetioInterfaceSnapshot() : nullptr;
}

bool is_equal(const NUVNetioInterface &left, const NUVNetioInterface &right) {
    return std::strncmp(left.name, right.name, sizeof left.name) == 0 &&
           left.index == right.index && left.transport == right.transport &&
           netio::is_same_address(left.address, right.address) &&
           netio::is_same_address(left.netmask, right.netmask) &&
           left.isLoopback == right.isLoopback && left.isMulticast == right.isMulticast;
}

/** A snapshot while it grows. */
struct Builder {
    NUVNetioInterfaceSnapshot *snapshot;
    NUV_INT32 capacity = 0;
    bool out_of_memory = false;

    bool grow() {
        const NUV_INT32 larger = capacity != 0 ? 2 * capacity : FIRST_CAPACITY;
        if (NUVOsapiHeap_reallocateMemoryInternal(
                &snapshot->interfaces,
                NUVOsapiHeap_sizeOfArray(static_cast<size_t>(larger), sizeof(NUVNetioInterface)),
                NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 1, 0, "NUVNetioInterfaceSource_list",
                NUV_OSAPI_HEAP_TAG_ARRAY, "struct NUVNetioInterface") == 0) {
            out_of_memory = true;
            return false;
        }
        capacity = larger;
        return true;
    }
};

int add_interface(void *param, const NUVNetioInterface *interface) {
    auto *builder = static_cast<Builder *>(param);
    NUVNetioInterfaceSnapshot *snapshot = builder->snapshot;
    if (snapshot->length == builder->capacity && !builder->grow()) {
        return 0;
    }
    snapshot->interfaces[snapshot->length++] = *interface;
    return 1;
}

} // namespace

int NUVNetioInterface_isOnNetwork(const NUVNetioInterface *self, const NUVNetioLocator *locator) {
    bool has_network = false;
    bool is_there = self->transport == locator->transport;
    for (std::size_t i = 0; i < sizeof self->netmask.network_ordered_value; ++i) {
        const NUV_UINT8 mask = self->netmask.network_ordered_value[i];
        const int differing =
            self->address.network_ordered_value[i] ^ locator->address.network_ordered_value[i];
        has_network = has_network || mask != 0;
        is_there = is_there && (differing & mask) == 0;
    }
    return static_cast<int>(has_network && is_there);
}

NUV_INT32 NUVNetioInterfaceSnapshot_getLength(const NUVNetioInterfaceSnapshot *self) {
    return self->length;
}

const NUVNetioInterface *NUVNetioInterfaceSnapshot_get(const NUVNetioInterfaceSnapshot *self,
                                                       NUV_INT32 i) {
    NUV_ASSERT(i >= 0 && i < self->length);
    return &self->interfaces[i];
}

int NUVNetioInterfaceSnapshot_isEqual(const NUVNetioInterfaceSnapshot *left,
                                      const NUVNetioInterfaceSnapshot *right) {
    if (left == right) {
        return 1;
    }
    if (left->length != right->length) {
        return 0;
    }
    for (NUV_INT32 i = 0; i < left->length; ++i) {
        if (!is_equal(left->interfaces[i], right->interfaces[i])) {
            return 0;
        }
    }
    return 1;
}

const NUVNetioInterfaceSnapshot *
NUVNetioInterfaceSnapshot_retain(const NUVNetioInterfaceSnapshot *self) {
    self->users.fetch_add(1, std::memory_order_relaxed);
    return self;
}

void NUVNetioInterfaceSnapshot_release(const NUVNetioInterfaceSnapshot *self) {
    if (self == nullptr || self->users.fetch_sub(1, std::memory_order_acq_rel) != 1) {
        return;
    }
    auto *last = const_cast<NUVNetioInterfaceSnapshot *>(self); // nobody else has it any more
    NUVOsapiHeap_freeArray(last->interfaces);
    last->~NUVNetioInterfaceSnapshot();
    NUVOsapiHeap_freeStructure(last);
}

namespace netio {

void HeldSnapshot::set_generation(NUV_UINT64 generation) {
    const_cast<NUVNetioInterfaceSnapshot *>(snapshot_)->generation = generation; // not shared yet
}

NUV_UINT64 generation_of(const NUVNetioInterfaceSnapshot &snapshot) {
    return snapshot.generation;
}

Listing list_interfaces(const NUVNetioInterfaceSource &source, HeldSnapshot *out) {
    Builder builder{make_snapshot()};
    if (builder.snapshot == nullptr) {
        return Listing::OUT_OF_MEMORY;
    }
    HeldSnapshot made(builder.snapshot);
    if (source.list(source.param, add_interface, &builder) == 0) {
        const int error = errno;
        made = HeldSnapshot();
        errno = error;
        return builder.out_of_memory ? Listing::OUT_OF_MEMORY : Listing::FAILED;
    }
    *out = static_cast<HeldSnapshot &&>(made);
    return Listing::DONE;
}

const NUVNetioInterfaceSnapshot *make_empty_snapshot() {
    return make_snapshot();
}

} // namespace netio
