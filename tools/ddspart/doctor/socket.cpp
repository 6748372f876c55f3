// SPDX-License-Identifier: Apache-2.0
#include "doctor/socket.h"

#include <array>

namespace doctor {

namespace {

template <class Address>
std::string text_of(int family, const Address &address) {
    std::array<char, INET6_ADDRSTRLEN> text{};

    (void)inet_ntop(family, &address, text.data(), text.size());
    return text.data();
}

} // namespace

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

bool join_group(const Socket &socket, Family family, const std::string &group, unsigned interface) {
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
          Family family, unsigned interface, const std::string &source) {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in6_pktinfo))> control{};
    iovec part = {const_cast<unsigned char *>(message.data()), message.size()}; // only read
    msghdr header = {};
    const auto name_origin = [&](int level, int type, const auto &info) {
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
    const bool has_origin = interface != 0 || !source.empty();

    if (has_origin && family == Family::IPV4) {
        in_pktinfo info = {static_cast<int>(interface), {}, {}};

        (void)inet_pton(AF_INET, source.c_str(), &info.ipi_spec_dst);
        name_origin(IPPROTO_IP, IP_PKTINFO, info);
    } else if (has_origin) {
        in6_pktinfo info = {{}, interface};

        (void)inet_pton(AF_INET6, source.c_str(), &info.ipi6_addr);
        name_origin(IPPROTO_IPV6, IPV6_PKTINFO, info);
    }
    return sendmsg(sender.get(), &header, MSG_NOSIGNAL) >= 0;
}

bool tell_destinations(const Socket &socket, Family family) {
    const int on = 1;

    return family == Family::IPV4 ? socket.set(IPPROTO_IP, IP_PKTINFO, on)
                                  : socket.set(IPPROTO_IPV6, IPV6_RECVPKTINFO, on);
}

ssize_t receive(const Socket &socket, std::span<char> octets, sockaddr_storage &from,
                std::string &own_address) {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in6_pktinfo))> control{};
    iovec part = {octets.data(), octets.size()};
    msghdr header = {};

    header.msg_name = &from;
    header.msg_namelen = sizeof from;
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    const ssize_t size = recvmsg(socket.get(), &header, 0);
    const cmsghdr *const first = size < 0 ? nullptr : CMSG_FIRSTHDR(&header);

    own_address.clear();
    if (first != nullptr && first->cmsg_level == IPPROTO_IP && first->cmsg_type == IP_PKTINFO) {
        in_pktinfo info = {};

        std::memcpy(&info, CMSG_DATA(first), sizeof info);
        own_address = text_of(AF_INET, info.ipi_spec_dst);
    } else if (first != nullptr && first->cmsg_level == IPPROTO_IPV6 &&
               first->cmsg_type == IPV6_PKTINFO) {
        in6_pktinfo info = {};

        std::memcpy(&info, CMSG_DATA(first), sizeof info);
        own_address = text_of(AF_INET6, info.ipi6_addr);
    }
    return size;
}

} // namespace doctor
