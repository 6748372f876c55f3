// SPDX-License-Identifier: Apache-2.0
// The interfaces on which a multicast group is joined, and the sockets that hold the memberships.
#include "socket/memberships.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "configurator/attempt.h"
#include "osapi/osapi_heap.h"
#include "socket/receivePort.h"

namespace netio {

namespace {

constexpr NUV_INT32 FIRST_CAPACITY = 4; // most hosts have fewer interfaces in use

/** Whether a socket refuses for having too many memberships: of UDPv4, of UDPv6. */
bool is_full(int error) {
    return error == ENOBUFS || error == ENOMEM;
}

} // namespace

Memberships::~Memberships() {
    NUVOsapiHeap_freeArray(all_);
}

void Memberships::want_none() {
    is_out_of_memory_ = false;
    for (NUV_INT32 i = 0; i < count_; ++i) {
        all_[i].wanted = false;
    }
}

void Memberships::want(NUV_UINT32 interface) {
    auto *membership = const_cast<Membership *>(find(interface));
    if (membership != nullptr) {
        membership->wanted = true;
    } else if (make_room()) {
        all_[count_++] = {interface, nullptr, 0, true};
    } else {
        is_out_of_memory_ = true;
    }
}

NUV_INT32 Memberships::wanted_count() const {
    return static_cast<NUV_INT32>(
        std::count_if(all_, all_ + count_, [](const Membership &one) { return one.wanted; }));
}

bool Memberships::change() {
    leave_unwanted(); // before the joins, for what it leaves free
    join_missing();
    close_unused_sockets();
    return !is_short();
}

void Memberships::leave_unwanted() {
    const NUVNetioTransport &transport = port_.transport();
    for (NUV_INT32 i = count_; i-- > 0;) {
        const Membership &membership = all_[i];
        if (membership.wanted) {
            continue;
        }
        if (membership.socket != nullptr) {
            // Fails when the system has forgotten the interface altogether, which is as well.
            transport.leave(transport.param, membership.socket->handle(), &port_.locator(),
                            membership.interface);
        }
        all_[i] = all_[--count_];
    }
}

void Memberships::join_missing() {
    for (NUV_INT32 i = 0; i < count_; ++i) {
        Membership &membership = all_[i];
        if (membership.socket == nullptr) {
            membership.socket = join_by_any_socket(membership.interface);
            membership.error = membership.socket != nullptr ? 0 : errno;
        }
    }
}

bool Memberships::join(const ReceiveSocket &socket, NUV_UINT32 interface) const {
    const NUVNetioTransport &transport = port_.transport();
    return transport.join(transport.param, socket.handle(), &port_.locator(), interface) != 0;
}

/** The socket that holds the membership now. None, with errno, when the interface refuses. */
ReceiveSocket *Memberships::join_by_any_socket(NUV_UINT32 interface) {
    for (ReceiveSocket *socket = port_.sockets(); socket != nullptr; socket = socket->next) {
        if (!socket->is_open()) {
            continue;
        }
        // Joined already: on this interface before it was gone for a moment.
        if (join(*socket, interface) || errno == EADDRINUSE) {
            return socket;
        }
        if (!is_full(errno)) {
            return nullptr;
        }
    }
    return join_by_further_socket(interface);
}

ReceiveSocket *Memberships::join_by_further_socket(NUV_UINT32 interface) {
    ReceiveSocket *const socket = open_further_socket();
    if (socket != nullptr && !join(*socket, interface)) {
        const int error = errno;
        socket->close();
        errno = error;
        return nullptr;
    }
    return socket;
}

/** Another socket for the group, which is received from. Null, with errno, on failure. */
ReceiveSocket *Memberships::open_further_socket() {
    const NUVNetioTransport &transport = port_.transport();
    const char *unsaid = nullptr;
    Socket bound(transport, transport.openGroup(transport.param, &port_.locator(), &unsaid));
    if (!bound.is_open()) {
        return nullptr;
    }
    ReceiveSocket *const socket = port_.add_socket(std::move(bound), port_.locator().address);
    if (socket == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    if (!port_.poll(*socket)) {
        const int error = errno;
        socket->close();
        errno = error;
        return nullptr;
    }
    return socket;
}

/** All but the first, which holds the port. */
void Memberships::close_unused_sockets() {
    for (ReceiveSocket *socket = port_.sockets()->next; socket != nullptr; socket = socket->next) {
        if (socket->is_open() && !is_used(socket)) {
            socket->close();
        }
    }
}

const Membership *Memberships::find(NUV_UINT32 interface) const {
    const Membership *const end = all_ + count_;
    const Membership *const found =
        std::find_if(static_cast<const Membership *>(all_), end,
                     [interface](const Membership &one) { return one.interface == interface; });
    return found != end ? found : nullptr;
}

bool Memberships::is_complete() const {
    return !is_out_of_memory_ &&
           std::all_of(all_, all_ + count_, [](const Membership &one) { return one.error == 0; });
}

bool Memberships::is_used(const ReceiveSocket *socket) const {
    return std::any_of(all_, all_ + count_,
                       [socket](const Membership &one) { return one.socket == socket; });
}

bool Memberships::is_short() const {
    return is_out_of_memory_ || std::any_of(all_, all_ + count_, [](const Membership &one) {
               return is_shortage(one.error);
           });
}

bool Memberships::make_room() {
    if (count_ < capacity_) {
        return true;
    }
    const NUV_INT32 larger = capacity_ != 0 ? 2 * capacity_ : FIRST_CAPACITY;
    if (NUVOsapiHeap_reallocateMemoryInternal(
            &all_, NUVOsapiHeap_sizeOfArray(static_cast<size_t>(larger), sizeof(Membership)),
            NUV_OSAPI_HEAP_ALIGNMENT_DEFAULT, 1, 0, "NUVNetioConfigurator_openReceiveResource",
            NUV_OSAPI_HEAP_TAG_ARRAY, "struct Membership") == 0) {
        return false;
    }
    capacity_ = larger;
    return true;
}

} // namespace netio
