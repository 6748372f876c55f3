// SPDX-License-Identifier: Apache-2.0
// The multicast groups that a runtime receives.
#include "socket/groupTable.h"

#include <cerrno>
#include <new>
#include <utility>

#include "osapi/osapi_heap.h"
#include "socket/group.h"

namespace netio {

NUVNetioReceiveResource *GroupTable::join(NUVNetioConfigurator &configurator,
                                          const NUVNetioLocator &locator,
                                          const NUVNetioReceiveListener &listener) {
    NUVNetioFailure failure{};
    RefusalNews news;
    GroupShare *const share = join_locked(configurator, locator, listener, &failure, &news);
    if (share == nullptr) {
        configurator.attempt.note(failure);
        return nullptr;
    }
    news.tell(&runtime_.repetitions);
    return share;
}

/** Null on failure. Else the share has news, perhaps none. */
GroupShare *GroupTable::join_locked(NUVNetioConfigurator &configurator,
                                    const NUVNetioLocator &locator,
                                    const NUVNetioReceiveListener &listener,
                                    NUVNetioFailure *failure, RefusalNews *news) {
    const std::lock_guard lock(mutex_);
    Group *group = find(locator);
    if (group == nullptr) {
        group = open(configurator, locator, failure);
    }
    if (group == nullptr) {
        return nullptr;
    }
    GroupShare *const share = make_share(*group, configurator, listener);
    if (share == nullptr) {
        *failure = {locator, nullptr, ENOMEM};
        if (!group->is_wanted()) {
            close(group);
        }
        return nullptr;
    }
    if (!group->add(share, *runtime_.interfaces.current().get(), news)) {
        is_short_.store(true);
    }
    group->let_through();
    return share;
}

Group *GroupTable::find(const NUVNetioLocator &locator) const {
    Group *group = first_;
    while (group != nullptr && !group->is_for(locator)) {
        group = group->next;
    }
    return group;
}

/** Null on failure. It lets nothing through yet. */
Group *GroupTable::open(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator,
                        NUVNetioFailure *failure) {
    const NUVNetioTransport &transport = configurator.find_transport(locator.transport)->network;
    NUVNetioLocator wanted = locator;
    wanted.hostname = nullptr; // it belongs to the caller and is not needed
    const char *step = nullptr;
    Socket bound(transport, transport.openGroup(transport.param, &wanted, &step));
    if (!bound.is_open()) {
        *failure = {locator, step, errno};
        return nullptr;
    }
    Group *group = nullptr;
    NUVOsapiHeap_allocateStructure(&group, class netio::Group);
    if (group == nullptr) {
        *failure = {locator, nullptr, ENOMEM};
        return nullptr;
    }
    new (group) Group(runtime_, transport, wanted);
    group->next = first_;
    first_ = group;
    ReceiveSocket *const socket = group->add_socket(std::move(bound), locator.address);
    if (socket == nullptr || !group->poll(*socket)) {
        *failure = socket == nullptr ? NUVNetioFailure{locator, nullptr, ENOMEM}
                                     : NUVNetioFailure{locator, "poll the socket", errno};
        close(group);
        return nullptr;
    }
    return group;
}

/** Null when memory runs out, for it or for its place in the group. */
GroupShare *GroupTable::make_share(Group &group, NUVNetioConfigurator &configurator,
                                   const NUVNetioReceiveListener &listener) {
    GroupShare *share = nullptr;
    if (group.make_room()) {
        NUVOsapiHeap_allocateStructure(&share, class netio::GroupShare);
    }
    return share != nullptr ? new (share) GroupShare(group, configurator, listener) : nullptr;
}

void GroupTable::leave(GroupShare *share) {
    const std::lock_guard lock(mutex_);
    Group &group = share->group();
    group.remove(share, *runtime_.interfaces.current().get());
    if (!group.is_wanted()) {
        close(&group);
    }
}

/** Its port is free; what the reactor is just at stays until that is done. */
void GroupTable::close(Group *group) {
    Group **place = &first_;
    while (*place != group) {
        place = &(*place)->next;
    }
    *place = group->next;
    group->close_sockets();
    if (runtime_.reactor.end(group)) {
        group->free();
    }
}

void GroupTable::follow() {
    {
        const std::lock_guard lock(mutex_);
        if (followed_ == runtime_.interfaces.generation()) {
            return;
        }
        follow_all();
    }
    tell_all();
}

void GroupTable::follow_again() {
    {
        const std::lock_guard lock(mutex_);
        follow_all();
    }
    tell_all();
}

void GroupTable::follow_all() {
    const HeldSnapshot snapshot = runtime_.interfaces.current();
    followed_ = generation_of(*snapshot.get());
    bool is_short = false;
    for (Group *group = first_; group != nullptr; group = group->next) {
        is_short = !group->follow(*snapshot.get()) || is_short;
    }
    is_short_.store(is_short);
}

void GroupTable::tell_all() {
    for (RefusalNews news = take_news(); news.is_any(); news = take_news()) {
        news.tell(&runtime_.repetitions);
    }
}

/** What one share is to be told. Whoever has all follow a newer snapshot has them told of that. */
RefusalNews GroupTable::take_news() {
    const std::lock_guard lock(mutex_);
    const HeldSnapshot snapshot = runtime_.interfaces.current();
    RefusalNews news;
    if (generation_of(*snapshot.get()) == followed_) {
        for (Group *group = first_; group != nullptr && !news.is_any(); group = group->next) {
            news = group->take_news(*snapshot.get());
        }
    }
    return news;
}

} // namespace netio
