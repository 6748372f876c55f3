// SPDX-License-Identifier: Apache-2.0
// The newest interface snapshot.
#ifndef NETIO_INTERFACE_TABLE_H
#define NETIO_INTERFACE_TABLE_H

#include <atomic>
#include <mutex>

#include "interface/interfaceSnapshot.h"

namespace netio {

/** Thread-safe once it has been started. */
class InterfaceTable {
public:
    InterfaceTable() = default;
    InterfaceTable(const InterfaceTable &) = delete;
    InterfaceTable &operator=(const InterfaceTable &) = delete;

    /** Takes the first snapshot; an empty one when the source fails. */
    Listing start(const NUVNetioInterfaceSource &source);

    /** The newest snapshot. */
    HeldSnapshot current();

    /** Notes that the interfaces may have changed. */
    void note_news() {
        news_.fetch_add(1);
    }
    /** Whether they may have since they were listed last. */
    bool has_news() const {
        return news_.load() != listed_news_.load();
    }

    /** Lists the interfaces again. */
    Listing renew();
    /** Does so only if there is news that no other thread has dealt with meanwhile. */
    Listing renew_for_news();

    /** How often the snapshot has changed. */
    NUV_UINT64 generation() const {
        return generation_.load();
    }

private:
    Listing renew_locked();
    void adopt(HeldSnapshot snapshot);

    NUVNetioInterfaceSource source_{};
    std::atomic<NUV_UINT64> news_{0};
    std::atomic<NUV_UINT64> listed_news_{0};
    std::atomic<NUV_UINT64> generation_{0};

    std::mutex renew_mutex_; // one listing at a time: a newer one is never overwritten by an older
    std::mutex mutex_;       // guards what follows; taken after renew_mutex_
    HeldSnapshot snapshot_;
};

} // namespace netio

#endif
