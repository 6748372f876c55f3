// The newest interface snapshot, and the multicast members that follow it.
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
    snapshot_ = std::move(snapshot);
    generation_.fetch_add(1);
    follow_all();
}

void InterfaceTable::follow_again() {
    const std::lock_guard lock(mutex_);
    follow_all();
}

void InterfaceTable::follow_all() {
    bool is_short = false;
    for (MulticastMember *member = first_member_; member != nullptr; member = member->next_) {
        is_short = !member->follow(*snapshot_.get()) || is_short;
    }
    is_short_.store(is_short);
}

void InterfaceTable::add_member(MulticastMember *member) {
    const std::lock_guard lock(mutex_);
    member->previous_ = nullptr;
    member->next_ = first_member_;
    if (first_member_ != nullptr) {
        first_member_->previous_ = member;
    }
    first_member_ = member;
    if (!member->follow(*snapshot_.get())) {
        is_short_.store(true);
    }
}

void InterfaceTable::remove_member(MulticastMember *member) {
    const std::lock_guard lock(mutex_);
    if (member->next_ != nullptr) {
        member->next_->previous_ = member->previous_;
    }
    if (member->previous_ != nullptr) {
        member->previous_->next_ = member->next_;
    } else {
        first_member_ = member->next_;
    }
}

} // namespace netio
