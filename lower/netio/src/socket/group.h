// SPDX-License-Identifier: Apache-2.0
// A multicast group and port, which is received once for all who want it.
#ifndef NETIO_GROUP_H
#define NETIO_GROUP_H

#include "configurator/configurator.h"
#include "interface/interfaceFilter.h"
#include "reactor/linkedList.h"
#include "socket/memberships.h"
#include "socket/receivePort.h"
#include "socket/receiveResource.h"
#include "socket/refusals.h"

namespace netio {

class Group;

/** The part that one resource has in a group. */
class GroupShare final : public NUVNetioReceiveResource, public Owner {
public:
    GroupShare(Group &group, NUVNetioConfigurator &configurator,
               const NUVNetioReceiveListener &listener);

    bool cover(const KOLS_Transport_Address_t &address) override;
    int send(const Outgoing &message) override;
    bool release() override;
    void on_ended(REDAWorker *worker) override;

    Group &group() const {
        return group_;
    }
    const AllowedInterfaces &allowed() const {
        return configurator_.allowed;
    }
    void receive(const NUVNetioMessage &message, REDAWorker *worker) const;

private:
    friend class Group;

    void free();

    Group &group_;
    NUVNetioConfigurator &configurator_; // not after the release
    const NUVNetioReceiveListener listener_;
    InterfaceFilter own_filter_;    // where its interfaces are restricted
    const InterfaceFilter &filter_; // by which it receives
    Refusals refusals_;
    bool has_news_ = false; // perhaps, of what refuses
    GroupShare *next_ = nullptr;
};

/** Changed by its table only, which locks; what it receives is handed on without a lock. */
class Group final : public ReceivePort {
public:
    Group(NUVNetioRuntime &runtime, const NUVNetioTransport &transport,
          const NUVNetioLocator &locator)
        : ReceivePort(runtime, transport, locator), memberships_(*this) {}

    bool is_for(const NUVNetioLocator &locator) const {
        return NUVNetioLocator_isSame(&this->locator(), &locator) != 0;
    }
    /** The filter of those whose interfaces are not restricted. */
    const InterfaceFilter &common_filter() const {
        return common_filter_;
    }
    bool is_wanted() const {
        return !shares_.is_empty();
    }

    /**
     * Joins for one share more, which then receives. False when there was a shortage, which may
     * pass. There is room for it. @p news is what it is to be told.
     */
    bool add(GroupShare *share, const NUVNetioInterfaceSnapshot &snapshot, RefusalNews *news);
    /** Makes room for one share more; false when memory runs out. */
    bool make_room() {
        return receivers_.make_room();
    }
    /** Hands nothing on to a share any more, and leaves what nobody else wants. */
    void remove(GroupShare *share, const NUVNetioInterfaceSnapshot &snapshot);
    /** Joins and leaves for all of them. False as above. They then may have news. */
    bool follow(const NUVNetioInterfaceSnapshot &snapshot);
    /** What one of them is to be told of the snapshot that was followed; nothing at the end. */
    RefusalNews take_news(const NUVNetioInterfaceSnapshot &snapshot);

    void deliver(const NUVNetioMessage &message, REDAWorker *worker) override;
    void on_ended(REDAWorker *worker) override;
    void free();

    Group *next = nullptr; // of the table

private:
    bool change(const NUVNetioInterfaceSnapshot &snapshot);
    const GroupShare *find_unrestricted() const;
    template <typename Visitor>
    void visit_wishes(Visitor visitor);
    bool set_filter(InterfaceFilter *filter, const AllowedInterfaces &allowed,
                    const NUVNetioInterfaceSnapshot &snapshot) const;
    RefusalNews take_news(GroupShare *share, const NUVNetioInterfaceSnapshot &snapshot) const;

    Memberships memberships_; // those that any share wants
    InterfaceFilter common_filter_;
    LinkedList<GroupShare, &GroupShare::next_> shares_;
    StableSlots<GroupShare *, 8> receivers_; // the same, for the reactor
};

} // namespace netio

#endif
