// SPDX-License-Identifier: Apache-2.0
// The newest interface snapshot.
#include "interface/interfaceTable.h"

#include <cerrno>
#include <utility>

namespace netio {

Listing InterfaceTable::start(const NUVNetioInterfaceSource &source) {
    source_ = source;
    const Listing listing = list_interfaces(source_, &snapshot_);
    if (listing == Listing::FAILED) {
        const int error = errno;
        snapshot_ = HeldSnapshot(make_empty_snapshot());
        errno = error;
        return snapshot_.get() != nullptr ? Listing::FAILED : Listing::OUT_OF_MEMORY;
    }
    return listing;
}

HeldSnapshot InterfaceTable::current() {
    const std::lock_guard lock(mutex_);
    return snapshot_.share();
}

Listing InterfaceTable::renew() {
    const std::lock_guard lock(renew_mutex_);
    return renew_locked();
}

Listing InterfaceTable::renew_for_news() {
    const std::lock_guard lock(renew_mutex_);
    return has_news() ? renew_locked() : Listing::DONE;
}

Listing InterfaceTable::renew_locked() {
    const NUV_UINT64 news = news_.load(); // what comes during the listing may be missing in it
    HeldSnapshot listed;
    const Listing listing = list_interfaces(source_, &listed);
    if (listing != Listing::DONE) {
        return listing;
    }
    // Only renew_locked changes the snapshot: it can be compared without mutex_.
    if (NUVNetioInterfaceSnapshot_isEqual(snapshot_.get(), listed.get()) == 0) {
        adopt(std::move(listed));
    }
    listed_news_.store(news);
    return Listing::DONE;
}

void InterfaceTable::adopt(HeldSnapshot snapshot) {
    const std::lock_guard lock(mutex_);
    snapshot.set_generation(generation_.load() + 1);
    snapshot_ = std::move(snapshot);
    generation_.fetch_add(1);
}

} // namespace netio
