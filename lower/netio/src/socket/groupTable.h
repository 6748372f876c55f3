// SPDX-License-Identifier: Apache-2.0
// The multicast groups that a runtime receives.
#ifndef NETIO_GROUP_TABLE_H
#define NETIO_GROUP_TABLE_H

#include <atomic>
#include <mutex>

#include "interface/interfaceTable.h"
#include "netio/netio_configurator.h"
#include "reactor/linkedList.h"

namespace netio {

class Group;
class GroupShare;
class RefusalNews;

/**
 * Thread-safe. What there is to say is said with nothing locked: whoever takes the lines may come
 * back for a group.
 */
class GroupTable {
public:
    explicit GroupTable(NUVNetioRuntime &runtime) : runtime_(runtime) {}
    GroupTable(const GroupTable &) = delete;
    GroupTable &operator=(const GroupTable &) = delete;

    /** A share in the group, which is opened if it is new. Null after a failure was noted. */
    NUVNetioReceiveResource *join(NUVNetioConfigurator &configurator,
                                  const NUVNetioLocator &locator,
                                  const NUVNetioReceiveListener &listener);
    /** Gives a share back; the last one of a group closes it. */
    void leave(GroupShare *share);

    /** Has all groups follow the newest snapshot of the interfaces, if they don't yet. */
    void follow();
    /** Has them follow it in any case. */
    void follow_again();
    /** Whether any group has met a shortage since it last followed. */
    bool is_short() const {
        return is_short_.load();
    }

private:
    Group *find(const NUVNetioLocator &locator) const;
    GroupShare *join_locked(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator,
                            const NUVNetioReceiveListener &listener, NUVNetioFailure *failure,
                            RefusalNews *news);
    Group *open(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator,
                NUVNetioFailure *failure);
    static GroupShare *make_share(Group &group, NUVNetioConfigurator &configurator,
                                  const NUVNetioReceiveListener &listener);
    void close(Group *group);
    void follow_all();
    RefusalNews take_news();
    void tell_all();

    NUVNetioRuntime &runtime_;
    std::atomic<bool> is_short_{false};

    std::mutex mutex_; // guards what follows
    Group *first_ = nullptr;
    NUV_UINT64 followed_ = 0; // the generation of the interfaces
};

} // namespace netio

#endif
