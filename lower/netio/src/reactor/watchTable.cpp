// SPDX-License-Identifier: Apache-2.0
// What the loop's tags stand for.
#include "reactor/watchTable.h"

#include <bit>
#include <new>

#include "osapi/osapi_heap.h"

namespace netio {

WatchTable::~WatchTable() {
    for (std::size_t i = 0; i < block_count_; ++i) {
        NUVOsapiHeap_freeArray(blocks_[i].load());
    }
}

bool WatchTable::grow() {
    if (block_count_ == BLOCKS) {
        return false;
    }
    const NUV_UINT32 size = FIRST_SIZE << block_count_;
    const NUV_UINT32 first_index = size - FIRST_SIZE;
    Place *places = nullptr;
    NUVOsapiHeap_allocateArray(&places, size, struct netio::WatchTable::Place);
    if (places == nullptr) {
        return false;
    }
    for (NUV_UINT32 i = size; i-- > 0;) {
        auto *place = new (&places[i]) Place();
        place->index = first_index + i;
        place->next_free = first_free_;
        first_free_ = place;
    }
    blocks_[block_count_++].store(places, std::memory_order_release);
    return true;
}

WatchTable::Place *WatchTable::add(Pollable *pollable, const Owner *owner) {
    if (first_free_ == nullptr && !grow()) {
        return nullptr;
    }
    Place *const place = first_free_;
    first_free_ = place->next_free;
    place->pollable.store(pollable);
    place->owner.store(owner);
    return place;
}

void WatchTable::remove(Place *place) {
    place->epoch.fetch_add(1);
    place->next_free = first_free_;
    first_free_ = place;
}

const WatchTable::Place &WatchTable::place_of(NUV_UINT64 tag) const {
    // Index 0 to 15 are in the first block, 16 to 47 in the second, 48 to 111 in the third.
    const auto shifted = static_cast<NUV_UINT32>(tag >> 32) + FIRST_SIZE;
    const auto block =
        static_cast<std::size_t>(std::bit_width(shifted) - std::bit_width(FIRST_SIZE));
    const Place *const places = blocks_[block].load(std::memory_order_acquire);
    return places[shifted - (FIRST_SIZE << block)];
}

} // namespace netio
