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
    const std::lock_guard lock(mutex_);
    Group *group = find(locator);
    if (group == nullptr) {
        group = open(configurator, locator);
    }
    if (group == nullptr) {
        return nullptr;
    }
    GroupShare *const share = make_share(*group, configurator, listener);
    if (share == nullptr) {
        configurator.attempt.note({locator, nullptr, ENOMEM});
        if (!group->is_wanted()) {
            close(group);
        }
        return nullptr;
    }
    if (!group->add(share, *runtime_.interfaces.current().get())) {
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

/** Null after a failure was noted. It lets nothing through yet. */
Group *GroupTable::open(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator) {
    const NUVNetioTransport &transport = configurator.find_transport(locator.transport)->network;
    NUVNetioLocator wanted = locator;
    wanted.hostname = nullptr; // it belongs to the caller and is not needed
    const char *step = nullptr;
    Socket bound(transport, transport.openGroup(transport.param, &wanted, &step));
    if (!bound.is_open()) {
        configurator.attempt.note({locator, step, errno});
        return nullptr;
    }
    Group *group = nullptr;
    NUVOsapiHeap_allocateStructure(&group, class netio::Group);
    if (group == nullptr) {
        configurator.attempt.note({locator, nullptr, ENOMEM});
        return nullptr;
    }
    new (group) Group(runtime_, transport, wanted);
    group->next = first_;
    first_ = group;
    ReceiveSocket *const socket = group->add_socket(std::move(bound), locator.address);
    if (socket == nullptr || !group->poll(*socket)) {
        configurator.attempt.note(socket == nullptr
                                      ? NUVNetioFailure{locator, nullptr, ENOMEM}
                                      : NUVNetioFailure{locator, "poll the socket", errno});
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
    const std::lock_guard lock(mutex_);
    if (followed_ != runtime_.interfaces.generation()) {
        follow_all();
    }
}

void GroupTable::follow_again() {
    const std::lock_guard lock(mutex_);
    follow_all();
}

void GroupTable::follow_all() {
    followed_ = runtime_.interfaces.generation();
    const HeldSnapshot snapshot = runtime_.interfaces.current();
    bool is_short = false;
    for (Group *group = first_; group != nullptr; group = group->next) {
        is_short = !group->follow(*snapshot.get()) || is_short;
    }
    is_short_.store(is_short);
}

} // namespace netio
