// SPDX-License-Identifier: Apache-2.0
// UDP of the kernel, for whatever family.
#include "transport/udpTransport.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <sys/time.h>

#include "reactor/descriptor.h"

namespace netio {

namespace {

/** A send that has found no room by then fails with EAGAIN. */
constexpr timeval LONGEST_SEND_WAIT = {0, 100'000};

/** Room for the control message that tells how much was lost. */
constexpr std::size_t LOST_SIZE = CMSG_SPACE(sizeof(NUV_UINT32));

const UdpFamily &family_of(void *param) {
    return *static_cast<const UdpFamily *>(param);
}

int descriptor_of(NUVNetioSocket_t socket) {
    return static_cast<int>(socket);
}

/** Closes what could not be set up; errno goes on telling why. */
void give_up(Descriptor *opened) {
    const int error = errno;
    opened->reset();
    errno = error;
}

/** Opens a socket of one family only: one of IPv6 carries no IPv4. */
Descriptor open_socket(const UdpFamily &family, int flags) {
    Descriptor opened =
        Descriptor::of_opened(socket(family.domain(), SOCK_DGRAM | SOCK_CLOEXEC | flags, 0));
    if (opened.is_open() && !family.set_own_options(opened.get())) {
        give_up(&opened);
    }
    return opened;
}

bool bind_socket(const UdpFamily &family, int socket, const KOLS_Transport_Address_t &address,
                 KOLS_Transport_Port_t port) {
    UdpAddress name{};
    const socklen_t length = family.write_address(address, port, &name);
    return bind(socket, &name.any, length) == 0;
}

/** A header for one message in one part. */
msghdr make_header(UdpAddress *name, socklen_t name_length, iovec *part) {
    msghdr header{};
    header.msg_name = name;
    header.msg_namelen = name_length;
    header.msg_iov = part;
    header.msg_iovlen = 1;
    return header;
}

/** As much as such an address has: what lies behind it is not the caller's. All 0 when null. */
KOLS_Transport_Address_t read_address(const UdpFamily &family, const sockaddr *from) {
    UdpAddress address{};
    const socklen_t length = family.write_address({}, 0, &address);
    if (from != nullptr) {
        std::memcpy(&address, from, length);
    }
    return family.read_address(address).address;
}

} // namespace

namespace udp {

NUVNetioSocket_t open_unicast(void *param, const NUVNetioSendOptions *options) {
    const UdpFamily &family = family_of(param);
    Descriptor opened = open_socket(family, SOCK_NONBLOCK);
    if (opened.is_open() && !family.set_sender_options(opened.get(), *options)) {
        give_up(&opened);
    }
    return opened.take();
}

int bind_unicast(void *param, NUVNetioSocket_t socket, const KOLS_Transport_Address_t *address,
                 KOLS_Transport_Port_t port) {
    return static_cast<int>(bind_socket(family_of(param), descriptor_of(socket), *address, port));
}

NUVNetioSocket_t open_group(void *param, const NUVNetioLocator *group, const char **step_out) {
    const UdpFamily &family = family_of(param);
    Descriptor opened = open_socket(family, SOCK_NONBLOCK);
    *step_out = "open a socket";
    if (!opened.is_open()) {
        return NUV_NETIO_SOCKET_NONE;
    }
    *step_out = "set the socket's multicast options";
    bool done = set_option(opened.get(), SOL_SOCKET, SO_REUSEADDR, 1) &&
                family.set_group_options(opened.get());
    if (done) {
        *step_out = "bind the socket";
        done = bind_socket(family, opened.get(), group->address, group->port);
    }
    if (!done) {
        give_up(&opened);
    }
    return opened.take();
}

int join(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *group,
         NUV_UINT32 interface_index) {
    return static_cast<int>(family_of(param).change_membership(
        descriptor_of(socket), group->address, interface_index, true));
}

int leave(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *group,
          NUV_UINT32 interface_index) {
    return static_cast<int>(family_of(param).change_membership(
        descriptor_of(socket), group->address, interface_index, false));
}

int receive(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer, NUV_UINT32 size,
            NUVNetioDatagram *out) {
    const UdpFamily &family = family_of(param);
    UdpAddress source{};
    iovec part{buffer, size};
    alignas(cmsghdr) std::array<char, CONTROL_SIZE + LOST_SIZE> control;
    msghdr header = make_header(&source, sizeof source, &part);
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    const ssize_t length = recvmsg(descriptor_of(socket), &header, 0);
    if (length < 0) {
        return 0;
    }
    out->length = static_cast<NUV_UINT32>(length);
    out->source = family.read_address(source);
    out->interfaceIndex = 0;
    out->lost = 0;
    for (cmsghdr *one = CMSG_FIRSTHDR(&header); one != nullptr; one = CMSG_NXTHDR(&header, one)) {
        if (one->cmsg_level == SOL_SOCKET && one->cmsg_type == SO_RXQ_OVFL) {
            std::memcpy(&out->lost, CMSG_DATA(one), sizeof out->lost);
        } else {
            out->interfaceIndex = family.read_interface(*one);
        }
    }
    return 1;
}

void watch_losses(void * /*param*/, NUVNetioSocket_t socket) {
    (void)set_option(descriptor_of(socket), SOL_SOCKET, SO_RXQ_OVFL, 1);
}

NUVNetioSocket_t open_sender(void *param, const NUVNetioSendOptions *options) {
    const UdpFamily &family = family_of(param);
    // A full send buffer makes a sender wait rather than lose a message, though not for a stuck
    // link.
    Descriptor opened = open_socket(family, 0);
    if (opened.is_open() &&
        !(set_option(opened.get(), SOL_SOCKET, SO_SNDTIMEO, LONGEST_SEND_WAIT) &&
          family.set_sender_options(opened.get(), *options))) {
        give_up(&opened);
    }
    return opened.take();
}

int send(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *destination,
         NUV_UINT32 interface_index, const NUV_UINT8 *data, NUV_UINT32 length, int may_wait) {
    const UdpFamily &family = family_of(param);
    UdpAddress name{};
    const socklen_t name_length =
        family.write_address(destination->address, destination->port, &name);
    // sendmsg only reads; its parameters are not const for recvmsg's sake.
    iovec part{const_cast<NUV_UINT8 *>(data), length};
    alignas(cmsghdr) std::array<char, CONTROL_SIZE> control{};
    msghdr header = make_header(&name, name_length, &part);
    if (interface_index != 0) {
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        family.name_interface(&header, interface_index);
    }
    const int flags = MSG_NOSIGNAL | (may_wait != 0 ? 0 : MSG_DONTWAIT);
    // Each try waits briefly: signals that come all the while make it no endless one.
    constexpr int MOST_TRIES = 10;
    ssize_t sent = -1;
    for (int i = 0; i < MOST_TRIES; ++i) {
        sent = sendmsg(descriptor_of(socket), &header, flags);
        if (sent >= 0 || errno != EINTR) {
            break;
        }
    }
    return static_cast<int>(sent >= 0);
}

void close(void * /*param*/, NUVNetioSocket_t socket) {
    const Descriptor closed(descriptor_of(socket));
}

} // namespace udp

bool read_interface_address(const ifaddrs &from, NUVNetioInterface *interface) {
    for (const UdpFamily *family : {&UDPV4_FAMILY, &UDPV6_FAMILY}) {
        if (from.ifa_addr != nullptr && from.ifa_addr->sa_family == family->domain()) {
            interface->transport = family->classid();
            interface->address = read_address(*family, from.ifa_addr);
            interface->netmask = read_address(*family, from.ifa_netmask);
            return !family->needs_scope(interface->address);
        }
    }
    return false;
}

} // namespace netio
