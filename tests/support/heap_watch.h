// SPDX-License-Identifier: Apache-2.0
/**
 * @file heap_watch.h
 * @brief Tells which blocks of the library's heap have come or gone since it was made.
 *
 *     HeapWatch heap;
 *     ...
 *     EXPECT_EQ(heap.change(), Blocks());
 *     EXPECT_EQ(heap.change(), (Blocks{{"struct PRESProperty 0x4B4F4C43", 1}}));
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace support {

/** Numbers of blocks by type name and tag; kinds of which there are as many as before are absent.
 */
using Blocks = std::map<std::string, long>;

/** How many blocks there are. */
std::uint64_t live_blocks();

class HeapWatch {
public:
    HeapWatch();

    Blocks change() const;
    /** Frees and resizes refused since it was made. */
    std::uint64_t refusals() const;

private:
    const Blocks before_;
    const std::uint64_t refusedBefore_;
};

} // namespace support
