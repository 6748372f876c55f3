// SPDX-License-Identifier: Apache-2.0
#include "doctor/socket.h"

#include <array>

namespace doctor {

unsigned port_of(const Socket &socket) {
    sockaddr_storage storage = {};
    socklen_t length = sizeof storage;
    sockaddr_in ipv4 = {}; // both families have the port in one place

    (void)getsockname(socket.get(), reinterpret_cast<sockaddr *>(&storage), &length);
    std::memcpy(&ipv4, &storage, sizeof ipv4);
    return ntohs(ipv4.sin_port);
}

bool receive_own_groups(const Socket &socket, Family family) {
    const int off = 0;
    const int on = 1;

    return family == Family::IPV4 ? socket.set(IPPROTO_IP, IP_MULTICAST_ALL, off)
                                  : socket.set(IPPROTO_IPV6, IPV6_V6ONLY, on) &&
                                        socket.set(IPPROTO_IPV6, IPV6_MULTICAST_ALL, off);
}

bool join(const Socket &socket, Family family, const std::string &group, unsigned interface) {
    if (family == Family::IPV4) {
        ip_mreqn request = {};

        (void)inet_pton(AF_INET, group.c_str(), &request.imr_multiaddr);
        request.imr_ifindex = static_cast<int>(interface);
        return socket.set(IPPROTO_IP, IP_ADD_MEMBERSHIP, request);
    }
    ipv6_mreq request = {};

    (void)inet_pton(AF_INET6, group.c_str(), &request.ipv6mr_multiaddr);
    request.ipv6mr_interface = interface;
    return socket.set(IPPROTO_IPV6, IPV6_JOIN_GROUP, request);
}

bool send(const Socket &sender, std::span<const unsigned char> message, const SocketName &to,
          Family family, unsigned interface) {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in6_pktinfo))> control{};
    iovec part = {const_cast<unsigned char *>(message.data()), message.size()}; // only read
    msghdr header = {};
    const auto name_interface = [&](int level, int type, const auto &info) {
        header.msg_control = control.data();
        header.msg_controllen = CMSG_SPACE(sizeof info);
        cmsghdr *const first = CMSG_FIRSTHDR(&header);

        first->cmsg_level = level;
        first->cmsg_type = type;
        first->cmsg_len = CMSG_LEN(sizeof info);
        std::memcpy(CMSG_DATA(first), &info, sizeof info);
    };

    header.msg_name = const_cast<sockaddr *>(to.get()); // the same
    header.msg_namelen = to.length();
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (interface != 0 && family == Family::IPV4) {
        name_interface(IPPROTO_IP, IP_PKTINFO, in_pktinfo{static_cast<int>(interface), {}, {}});
    } else if (interface != 0) {
        name_interface(IPPROTO_IPV6, IPV6_PKTINFO, in6_pktinfo{{}, interface});
    }
    return sendmsg(sender.get(), &header, MSG_NOSIGNAL) >= 0;
}

} // namespace doctor
