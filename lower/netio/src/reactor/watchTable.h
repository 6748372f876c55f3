// SPDX-License-Identifier: Apache-2.0
// What the loop's tags stand for.
#ifndef NETIO_WATCH_TABLE_H
#define NETIO_WATCH_TABLE_H

#include <array>
#include <atomic>

#include "osapi/osapi_type.h"

namespace netio {

class Pollable;
class Owner;

/**
 * A place for each pollable that is watched. Its tag names the place and its epoch, which moves on
 * when the pollable is forgotten: a stale tag is recognised. Places stay where they are, so that
 * they are read without a lock while others come.
 */
class WatchTable {
public:
    struct Place {
        std::atomic<NUV_UINT32> epoch{0};
        std::atomic<Pollable *> pollable{nullptr};
        std::atomic<const Owner *> owner{nullptr};
        NUV_UINT32 index = 0;
        Place *next_free = nullptr;
    };

    WatchTable() = default;
    ~WatchTable();
    WatchTable(const WatchTable &) = delete;
    WatchTable &operator=(const WatchTable &) = delete;

    /** Makes the first places; false when memory runs out. Before all else. */
    bool open() {
        return grow();
    }
    /** A place for a pollable; null when memory runs out. One thread at a time. */
    Place *add(Pollable *pollable, const Owner *owner);
    /** Makes its tag stale. One thread at a time. */
    void remove(Place *place);

    static NUV_UINT64 tag_of(const Place &place) {
        return NUV_UINT64{place.index} << 32 | place.epoch.load();
    }
    /** The place that a tag names. Any thread. */
    const Place &place_of(NUV_UINT64 tag) const;
    /** Whether what a tag stood for has not been forgotten. */
    static bool is_current(const Place &place, NUV_UINT64 tag) {
        return place.epoch.load() == static_cast<NUV_UINT32>(tag);
    }

private:
    static constexpr NUV_UINT32 FIRST_SIZE = 16; // each block is twice as large as the one before
    static constexpr std::size_t BLOCKS = 20;

    bool grow();

    std::array<std::atomic<Place *>, BLOCKS> blocks_{};
    std::size_t block_count_ = 0;
    Place *first_free_ = nullptr;
};

} // namespace netio

#endif
