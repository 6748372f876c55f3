// SPDX-License-Identifier: Apache-2.0
// A multicast group and port, which is received once for all who want it.
#include "socket/group.h"

#include <cerrno>
#include <utility>

#include "osapi/osapi_heap.h"

namespace netio {

GroupShare::GroupShare(Group &group, NUVNetioConfigurator &configurator,
                       const NUVNetioReceiveListener &listener)
    : group_(group), configurator_(configurator), listener_(listener),
      filter_(configurator.allowed.is_restricted() ? own_filter_ : group.common_filter()),
      refusals_(configurator.attempt.is_quiet()) {}

/** A group is received on interfaces, not at addresses. */
bool GroupShare::cover(const KOLS_Transport_Address_t & /*address*/) {
    return true;
}

int GroupShare::send(const Outgoing & /*message*/) {
    errno = EOPNOTSUPP;
    return 0;
}

bool GroupShare::release() {
    NUVNetioRuntime &runtime = *configurator_.runtime;
    runtime.groups.leave(this);
    if (!runtime.reactor.end(this)) {
        return false;
    }
    free();
    return true;
}

void GroupShare::on_ended(REDAWorker *worker) {
    const NUVNetioReceiveListener listener = listener_;
    free();
    if (listener.onClosed != nullptr) {
        listener.onClosed(listener.param, worker);
    }
}

void GroupShare::free() {
    this->~GroupShare();
    NUVOsapiHeap_freeStructure(this);
}

void GroupShare::receive(const NUVNetioMessage &message, REDAWorker *worker) const {
    if (listener_.onMessage != nullptr && filter_.admits(message.interfaceIndex)) {
        listener_.onMessage(listener_.param, &message, worker);
    }
}

bool Group::add(GroupShare *share, const NUVNetioInterfaceSnapshot &snapshot, RefusalNews *news) {
    shares_.append(share);
    const bool went_well = change(snapshot);
    *news = take_news(share, snapshot);
    receivers_.add(share);
    return went_well;
}

void Group::remove(GroupShare *share, const NUVNetioInterfaceSnapshot &snapshot) {
    receivers_.remove(share);
    (void)shares_.remove(share);
    // Those without a restriction all want the same.
    const bool is_missed = share->allowed().is_restricted() || find_unrestricted() == nullptr;
    if (is_wanted() && is_missed) {
        (void)change(snapshot);
    }
}

bool Group::follow(const NUVNetioInterfaceSnapshot &snapshot) {
    const bool went_well = change(snapshot);
    for (GroupShare *share = shares_.first(); share != nullptr; share = shares_.next(share)) {
        share->has_news_ = true;
    }
    return went_well;
}

RefusalNews Group::take_news(const NUVNetioInterfaceSnapshot &snapshot) {
    RefusalNews news;
    for (GroupShare *share = shares_.first(); share != nullptr && !news.is_any();
         share = shares_.next(share)) {
        if (std::exchange(share->has_news_, false)) {
            news = take_news(share, snapshot);
        }
    }
    return news;
}

/** The filters come first: nobody is handed what another's membership lets in. */
bool Group::change(const NUVNetioInterfaceSnapshot &snapshot) {
    memberships_.want_none();
    visit_wishes([&](const AllowedInterfaces &allowed, InterfaceFilter & /*filter*/) {
        visit_multicast_interfaces(
            snapshot, allowed, locator().transport,
            [this](const NUVNetioInterface &interface) { memberships_.want(interface.index); });
    });
    bool went_well = true;
    visit_wishes([&](const AllowedInterfaces &allowed, InterfaceFilter &filter) {
        went_well = set_filter(&filter, allowed, snapshot) && went_well;
    });
    return memberships_.change() && went_well;
}

const GroupShare *Group::find_unrestricted() const {
    const GroupShare *share = shares_.first();
    while (share != nullptr && share->allowed().is_restricted()) {
        share = shares_.next(share);
    }
    return share;
}

/** Calls it with what is allowed for each share that is restricted, and once for the others. */
template <typename Visitor>
void Group::visit_wishes(Visitor visitor) {
    const GroupShare *const unrestricted = find_unrestricted();
    if (unrestricted != nullptr) {
        visitor(unrestricted->allowed(), common_filter_);
    }
    for (GroupShare *share = shares_.first(); share != nullptr; share = shares_.next(share)) {
        if (share->allowed().is_restricted()) {
            visitor(share->allowed(), share->own_filter_);
        }
    }
}

/**
 * False when memory runs out. The filter of those who are not restricted is open as long as nobody
 * else wants more. What came by an interface that is left may still wait in the socket: so no other
 * filter is ever open, nor this one again.
 */
bool Group::set_filter(InterfaceFilter *filter, const AllowedInterfaces &allowed,
                       const NUVNetioInterfaceSnapshot &snapshot) const {
    if (!allowed.is_restricted() && !filter->is_narrowed()) {
        NUV_INT32 count = 0;
        visit_multicast_interfaces(snapshot, allowed, locator().transport,
                                   [&count](const auto & /*interface*/) { ++count; });
        if (count == memberships_.wanted_count()) {
            filter->open();
            return true;
        }
    }
    return filter->narrow(snapshot, allowed, locator().transport);
}

RefusalNews Group::take_news(GroupShare *share, const NUVNetioInterfaceSnapshot &snapshot) const {
    return share->refusals_.take_news(locator(), memberships_, share->allowed(), snapshot);
}

void Group::deliver(const NUVNetioMessage &message, REDAWorker *worker) {
    receivers_.visit([&](const std::atomic<GroupShare *> &slot) {
        GroupShare *const share = slot.load();
        if (share != nullptr) {
            const Reactor::Call call(reactor(), share);
            if (slot.load() == share) { // it has not gone meanwhile
                share->receive(message, worker);
            }
        }
        return true;
    });
}

void Group::on_ended(REDAWorker * /*worker*/) {
    free();
}

void Group::free() {
    this->~Group();
    NUVOsapiHeap_freeStructure(this);
}

} // namespace netio
