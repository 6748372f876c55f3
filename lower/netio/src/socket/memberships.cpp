// The interfaces on which a multicast group is joined, and the sockets that hold the memberships.
#include "socket/memberships.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "configurator/attempt.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "osapi/osapi_utility.h"
#include "socket/receiveResource.h"
#include "transport/udpSocket.h"

namespace netio {

namespace {

constexpr NUV_INT32 FIRST_CAPACITY = 4; // most hosts have fewer interfaces in use

/** Whether a socket refuses for having too many memberships: of UDPv4, of UDPv6. */
bool is_full(int error) {
    return error == ENOBUFS || error == ENOMEM;
}

/** Names of interfaces as a message lists them; of those that do not fit the number. */
class NameList {
public:
    void add(const char *name) {
        const std::size_t length = std::strlen(text_);
        if (left_out_ != 0 || length + std::strlen(name) + ROOM_FOR_NUMBER > sizeof text_) {
            ++left_out_;
            return;
        }
        NUVOsapiUtility_snprintf(text_ + length, sizeof text_ - length, "%s%s",
                                 length != 0 ? ", " : "", name);
    }
    const char *get() {
        if (left_out_ != 0) {
            const std::size_t length = std::strlen(text_);
            NUVOsapiUtility_snprintf(text_ + length, sizeof text_ - length, " and %u more",
                                     left_out_);
            left_out_ = 0;
        }
        return text_;
    }

private:
    static constexpr std::size_t ROOM_FOR_NUMBER = sizeof ",  and 4294967295 more";

    char text_[256] = "";
    NUV_UINT32 left_out_ = 0;
};

/** The interfaces that refuse for one reason, that of the first. */
struct Refusals {
    int error = 0;
    NameList interfaces;

    /** False when it is for another reason. */
    bool add(int its_error, const char *name) {
        if (error != 0 && error != its_error) {
            return false;
        }
        error = its_error;
        interfaces.add(name);
        return true;
    }
};

void warn_of_deafness(const NUVNetioReceiveResource &resource, Refusals &refusals) {
    const LocatorText group(resource.locator());
    if (refusals.error == 0) {
        NETIO_WARNING_LIMITED(resource.repetitions(),
                              "cannot join %s on any interface: no usable one has an "
                              "address of its transport and multicast",
                              group.get());
    } else {
        NETIO_WARNING_LIMITED(resource.repetitions(),
                              "cannot join %s on any interface (%s): %s (%s)", group.get(),
                              refusals.interfaces.get(), error_description(refusals.error),
                              error_name(refusals.error));
    }
}

} // namespace

Memberships::~Memberships() {
    NUVOsapiHeap_freeArray(all_);
}

bool Memberships::follow(const AllowedInterfaces &allowed,
                         const NUVNetioInterfaceSnapshot &snapshot) {
    note_wanted(allowed, snapshot);
    leave_unwanted(); // before the joins, for what it leaves free
    join_missing();
    close_unused_sockets();
    tell_of_refusals(allowed, snapshot);
    return !is_short();
}

void Memberships::note_wanted(const AllowedInterfaces &allowed,
                              const NUVNetioInterfaceSnapshot &snapshot) {
    is_out_of_memory_ = false;
    for (NUV_INT32 i = 0; i < count_; ++i) {
        all_[i].wanted = false;
    }
    visit_multicast_interfaces(snapshot, allowed, resource_.locator().transport,
                               [this](const auto &interface) {
                                   Membership *membership = find_or_add(interface.index);
                                   if (membership != nullptr) {
                                       membership->wanted = true;
                                   } else {
                                       is_out_of_memory_ = true;
                                   }
                               });
}

void Memberships::leave_unwanted() {
    const NUVNetioLocator &group = resource_.locator();
    for (NUV_INT32 i = count_; i-- > 0;) {
        const Membership &membership = all_[i];
        if (membership.wanted) {
            continue;
        }
        if (membership.socket != nullptr) {
            // Fails when the kernel has forgotten the interface altogether, which is as well.
            leave_group(membership.socket->descriptor(), group.transport, group.address,
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

/** The socket that holds the membership now. None, with errno, when the interface refuses. */
ReceiveSocket *Memberships::join_by_any_socket(NUV_UINT32 interface) {
    const NUVNetioLocator &group = resource_.locator();
    for (ReceiveSocket *socket = resource_.sockets(); socket != nullptr; socket = socket->next) {
        if (!socket->is_open()) {
            continue;
        }
        // Joined already: on this interface before it was gone for a moment.
        if (join_group(socket->descriptor(), group.transport, group.address, interface) ||
            errno == EADDRINUSE) {
            return socket;
        }
        if (!is_full(errno)) {
            return nullptr;
        }
    }
    return join_by_further_socket(interface);
}

ReceiveSocket *Memberships::join_by_further_socket(NUV_UINT32 interface) {
    const NUVNetioLocator &group = resource_.locator();
    ReceiveSocket *const socket = resource_.open_further_socket();
    if (socket != nullptr &&
        !join_group(socket->descriptor(), group.transport, group.address, interface)) {
        const int error = errno;
        socket->close();
        errno = error;
        return nullptr;
    }
    return socket;
}

/** All but the first, which holds the port. */
void Memberships::close_unused_sockets() {
    for (ReceiveSocket *socket = resource_.sockets()->next; socket != nullptr;
         socket = socket->next) {
        if (socket->is_open() && !is_used(socket)) {
            socket->close();
        }
    }
}

/** In one line, so that a host with many of them is no flood. */
void Memberships::tell_of_refusals(const AllowedInterfaces &allowed,
                                   const NUVNetioInterfaceSnapshot &snapshot) {
    Refusals all;
    Refusals news; // for a reason that has not been said of the interface
    visit_multicast_interfaces(
        snapshot, allowed, resource_.locator().transport, [&](const auto &interface) {
            Membership *const membership = find(interface.index);
            const int error = membership != nullptr ? membership->error : ENOMEM;
            if (error == 0) {
                return;
            }
            (void)all.add(error, interface.name);
            if (membership == nullptr) {
                (void)news.add(error, interface.name);
            } else if (membership->said != error && news.add(error, interface.name)) {
                membership->said = error;
            }
        });
    const bool is_deaf = !is_joined_anywhere();
    const bool is_newly_deaf = is_deaf && (!is_deaf_ || deaf_error_ != all.error);
    is_deaf_ = is_deaf;
    deaf_error_ = all.error;
    if (std::exchange(quiet_, false)) {
        return;
    }
    if (is_newly_deaf) {
        warn_of_deafness(resource_, all);
    } else if (!is_deaf && news.error != 0) {
        NETIO_WARNING_LIMITED(resource_.repetitions(), "cannot join %s on %s: %s (%s)",
                              LocatorText(resource_.locator()).get(), news.interfaces.get(),
                              error_description(news.error), error_name(news.error));
    }
}

Membership *Memberships::find(NUV_UINT32 interface) const {
    Membership *const end = all_ + count_;
    Membership *const found = std::find_if(
        all_, end, [interface](const Membership &one) { return one.interface == interface; });
    return found != end ? found : nullptr;
}

/** Null when memory runs out. */
Membership *Memberships::find_or_add(NUV_UINT32 interface) {
    Membership *membership = find(interface);
    if (membership == nullptr && make_room()) {
        membership = &all_[count_++];
        *membership = {interface, nullptr, 0, 0, true};
    }
    return membership;
}

bool Memberships::is_used(const ReceiveSocket *socket) const {
    return std::any_of(all_, all_ + count_,
                       [socket](const Membership &one) { return one.socket == socket; });
}

bool Memberships::is_joined_anywhere() const {
    return std::any_of(all_, all_ + count_,
                       [](const Membership &one) { return one.socket != nullptr; });
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
