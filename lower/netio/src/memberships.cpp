// The interfaces on which one socket has joined its multicast group.
#include "memberships.h"

#include <algorithm>
#include <cerrno>

#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "udpSocket.h"

namespace netio {

namespace {

constexpr NUV_INT32 FIRST_CAPACITY = 4; // most hosts have fewer interfaces in use

bool is_wanted(NUV_UINT32 index, const NUVNetioLocator &group, const AllowedInterfaces &allowed,
               const NUVNetioInterfaceSnapshot &snapshot) {
    bool wanted = false;
    visit_multicast_interfaces(
        snapshot, allowed, group.transport,
        [&wanted, index](const auto &interface) { wanted = wanted || interface.index == index; });
    return wanted;
}

} // namespace

Memberships::~Memberships() {
    NUVOsapiHeap_freeArray(joined_);
}

void Memberships::follow(int socket, const NUVNetioLocator &group, const AllowedInterfaces &allowed,
                         const NUVNetioInterfaceSnapshot &snapshot) {
    // First, for the kernel limits how many a socket may have.
    leave_gone(socket, group, allowed, snapshot);
    visit_multicast_interfaces(snapshot, allowed, group.transport,
                               [this, socket, &group](const auto &interface) {
                                   if (!is_joined(interface.index)) {
                                       join(socket, group, interface);
                                   }
                               });
}

void Memberships::leave_gone(int socket, const NUVNetioLocator &group,
                             const AllowedInterfaces &allowed,
                             const NUVNetioInterfaceSnapshot &snapshot) {
    for (NUV_INT32 i = count_; i-- > 0;) {
        if (!is_wanted(joined_[i], group, allowed, snapshot)) {
            // Fails when the kernel has forgotten the interface altogether, which is as well.
            leave_group(socket, group.transport, group.address, joined_[i]);
            joined_[i] = joined_[--count_];
        }
    }
}

void Memberships::join(int socket, const NUVNetioLocator &group,
                       const NUVNetioInterface &interface) {
    if (!make_room()) {
        NETIO_WARNING("cannot join %s on interface %s: out of memory", LocatorText(group).get(),
                      interface.name);
        return;
    }
    // Joined already: on this interface before it was gone for a moment.
    if (!join_group(socket, group.transport, group.address, interface.index) &&
        errno != EADDRINUSE) {
        const int error = errno;
        NETIO_WARNING("cannot join %s on interface %s: %s (%s)", LocatorText(group).get(),
                      interface.name, error_description(error), error_name(error));
        return;
    }
    joined_[count_++] = interface.index;
}

bool Memberships::is_joined(NUV_UINT32 index) const {
    return std::find(joined_, joined_ + count_, index) != joined_ + count_;
}

bool Memberships::make_room() {
    if (count_ < capacity_) {
        return true;
    }
    const NUV_INT32 larger = capacity_ != 0 ? 2 * capacity_ : FIRST_CAPACITY;
    if (NUVOsapiHeap_reallocateMemoryInternal(
            &joined_, NUVOsapiHeap_sizeOfArray(static_cast<size_t>(larger), sizeof(NUV_UINT32)),
            NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 1, 0, "NUVNetioConfigurator_openReceiveResource",
            NUV_OSAPI_HEAP_TAG_ARRAY, "NUV_UINT32") == 0) {
        return false;
    }
    capacity_ = larger;
    return true;
}

} // namespace netio
