// SPDX-License-Identifier: Apache-2.0
#include "support/heap_watch.h"

#include <cstdio>

#include "osapi/osapi_heap.h"

namespace support {

namespace {

void count(void *param, NUV_UINT32 tag, const char *type, NUV_UINT64 blocks, NUV_UINT64 /*bytes*/) {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, " 0x%X", static_cast<unsigned>(tag));
    (*static_cast<Blocks *>(param))[std::string(type) + suffix] += static_cast<long>(blocks);
}

Blocks blocks_by_kind() {
    Blocks live;
    NUVOsapiHeap_report(count, &live);
    return live;
}

NUVOsapiHeapStatistics statistics() {
    NUVOsapiHeapStatistics statistics{};
    NUVOsapiHeap_getStatistics(&statistics);
    return statistics;
}

std::uint64_t refused() {
    return statistics().refusedFrees;
}

} // namespace

std::uint64_t live_blocks() {
    return statistics().liveBlocks;
}

HeapWatch::HeapWatch() : before_(blocks_by_kind()), refusedBefore_(refused()) {}

Blocks HeapWatch::change() const {
    Blocks change = blocks_by_kind();
    for (const auto &[kind, blocks] : before_) {
        change[kind] -= blocks;
    }
    std::erase_if(change, [](const auto &entry) { return entry.second == 0; });
    return change;
}

std::uint64_t HeapWatch::refusals() const {
    return refused() - refusedBefore_;
}

} // namespace support
