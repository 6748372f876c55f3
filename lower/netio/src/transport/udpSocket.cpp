// What the layer asks of UDP sockets.
#include "transport/udpSocket.h"

#include <cerrno>
#include <utility>

namespace netio {

namespace {

template <typename Value>
bool set_option(int socket, int level, int option, const Value &value) {
    return setsockopt(socket, level, option, &value, sizeof value) == 0;
}

bool change_membership(int socket, KOLS_Transport_ClassId_t transport,
                       const KOLS_Transport_Address_t &group, NUV_UINT32 interface_index,
                       int ipv4_option, int ipv6_option) {
    if (transport == KOLS_TRANSPORT_CLASSID_UDPv4) {
        ip_mreqn request{};
        request.imr_multiaddr = to_ipv4(group);
        request.imr_ifindex = static_cast<int>(interface_index);
        return setsockopt(socket, IPPROTO_IP, ipv4_option, &request, sizeof request) == 0;
    }
    ipv6_mreq request{};
    request.ipv6mr_multiaddr = to_ipv6(group);
    request.ipv6mr_interface = interface_index;
    return setsockopt(socket, IPPROTO_IPV6, ipv6_option, &request, sizeof request) == 0;
}

} // namespace

Descriptor open_udp_socket(KOLS_Transport_ClassId_t transport, Waiting waiting) {
    const bool is_ipv4 = transport == KOLS_TRANSPORT_CLASSID_UDPv4;
    const int type = SOCK_DGRAM | SOCK_CLOEXEC | (waiting == Waiting::NEVER ? SOCK_NONBLOCK : 0);
    Descriptor opened = Descriptor::of_opened(socket(is_ipv4 ? AF_INET : AF_INET6, type, 0));
    if (opened.is_open() &&
        ((!is_ipv4 && !set_option(opened.get(), IPPROTO_IPV6, IPV6_V6ONLY, 1)) ||
         (waiting == Waiting::BRIEFLY &&
          !set_option(opened.get(), SOL_SOCKET, SO_SNDTIMEO, LONGEST_SEND_WAIT)))) {
        const int error = errno;
        opened.reset();
        errno = error;
    }
    return opened;
}

bool bind_socket(int socket, const SocketAddress &address) {
    return bind(socket, address.get(), address.length()) == 0;
}

bool prepare_for_group(int socket, KOLS_Transport_ClassId_t transport) {
    if (!set_option(socket, SOL_SOCKET, SO_REUSEADDR, 1)) {
        return false;
    }
    if (transport == KOLS_TRANSPORT_CLASSID_UDPv4) {
        return set_option(socket, IPPROTO_IP, IP_MULTICAST_ALL, 0);
    }
    // Kernels before 4.20 do not know it and let through what other sockets have joined.
    set_option(socket, IPPROTO_IPV6, IPV6_MULTICAST_ALL, 0);
    return true;
}

bool join_group(int socket, KOLS_Transport_ClassId_t transport,
                const KOLS_Transport_Address_t &group, NUV_UINT32 interface_index) {
    return change_membership(socket, transport, group, interface_index, IP_ADD_MEMBERSHIP,
                             IPV6_JOIN_GROUP);
}

bool leave_group(int socket, KOLS_Transport_ClassId_t transport,
                 const KOLS_Transport_Address_t &group, NUV_UINT32 interface_index) {
    return change_membership(socket, transport, group, interface_index, IP_DROP_MEMBERSHIP,
                             IPV6_LEAVE_GROUP);
}

Descriptor SpareSocket::take_or_open(KOLS_Transport_ClassId_t transport) {
    const int kept = kept_.exchange(-1);
    return kept >= 0 ? Descriptor(kept) : open_udp_socket(transport, Waiting::NEVER);
}

void SpareSocket::keep(Descriptor socket) {
    const Descriptor former(kept_.exchange(socket.take()));
}

} // namespace netio
