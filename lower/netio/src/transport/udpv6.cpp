// SPDX-License-Identifier: Apache-2.0
// UDP over IPv6.
#include <cstring>

#include <arpa/inet.h>

#include "transport/transportClasses.h"
#include "transport/udpTransport.h"

namespace netio {

namespace {

void to_string(const KOLS_Transport_Address_t *address, char *text) {
    inet_ntop(AF_INET6, address->network_ordered_value, text, NUV_NETIO_ADDRESS_STRING_SIZE);
}

int parse(const char *text, KOLS_Transport_Address_t *out) {
    KOLS_Transport_Address_t address{};
    if (inet_pton(AF_INET6, text, address.network_ordered_value) != 1) {
        return 0;
    }
    *out = address;
    return 1;
}

int is_multicast(const KOLS_Transport_Address_t *address) {
    return static_cast<int>(address->network_ordered_value[0] == 0xFFu); // ff00::/8
}

int is_loopback(const KOLS_Transport_Address_t *address) {
    return static_cast<int>(std::memcmp(address->network_ordered_value, &in6addr_loopback,
                                        sizeof in6addr_loopback) == 0);
}

const char *narrow_scope(const KOLS_Transport_Address_t *address) {
    constexpr NUV_UINT8 SCOPE_BITS = 0x0F;
    constexpr NUV_UINT8 INTERFACE_LOCAL = 1;
    constexpr NUV_UINT8 LINK_LOCAL = 2;
    switch (address->network_ordered_value[1] & SCOPE_BITS) {
    case INTERFACE_LOCAL:
        return "interface";
    case LINK_LOCAL:
        return "link";
    default:
        return nullptr;
    }
}

class Ipv6 final : public UdpFamily {
public:
    constexpr Ipv6() = default;

    int domain() const override {
        return AF_INET6;
    }
    KOLS_Transport_ClassId_t classid() const override {
        return UDPV6_CLASS.classid;
    }

    socklen_t write_address(const KOLS_Transport_Address_t &address, KOLS_Transport_Port_t port,
                            UdpAddress *out) const override {
        out->ipv6 = {};
        out->ipv6.sin6_family = AF_INET6;
        out->ipv6.sin6_port = htons(static_cast<in_port_t>(port));
        out->ipv6.sin6_addr = to_ipv6(address);
        return sizeof out->ipv6;
    }
    NUVNetioLocator read_address(const UdpAddress &address) const override {
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        locator.transport = classid();
        locator.port = ntohs(address.ipv6.sin6_port);
        std::memcpy(locator.address.network_ordered_value, &address.ipv6.sin6_addr,
                    sizeof address.ipv6.sin6_addr);
        return locator;
    }
    bool needs_scope(const KOLS_Transport_Address_t &address) const override {
        const in6_addr ipv6 = to_ipv6(address);
        return IN6_IS_ADDR_LINKLOCAL(&ipv6);
    }

    bool set_own_options(int socket) const override {
        return set_option(socket, IPPROTO_IPV6, IPV6_V6ONLY, 1);
    }
    bool set_group_options(int socket) const override {
        // Kernels before 4.20 do not know it and let through what other sockets have joined.
        set_option(socket, IPPROTO_IPV6, IPV6_MULTICAST_ALL, 0);
        return set_option(socket, IPPROTO_IPV6, IPV6_RECVPKTINFO, 1);
    }
    bool set_sender_options(int socket, const NUVNetioSendOptions &options) const override {
        return set_unless(socket, IPPROTO_IPV6, IPV6_MULTICAST_HOPS, options.multicastTtl,
                          GIVEN_MULTICAST_TTL) &&
               set_unless(socket, IPPROTO_IPV6, IPV6_TCLASS, traffic_class_of(options),
                          GIVEN_TRAFFIC_CLASS);
    }
    bool change_membership(int socket, const KOLS_Transport_Address_t &group,
                           NUV_UINT32 interface_index, bool joins) const override {
        ipv6_mreq request{};
        request.ipv6mr_multiaddr = to_ipv6(group);
        request.ipv6mr_interface = interface_index;
        return set_option(socket, IPPROTO_IPV6, joins ? IPV6_JOIN_GROUP : IPV6_LEAVE_GROUP,
                          request);
    }

    void name_interface(msghdr *header, NUV_UINT32 index) const override {
        in6_pktinfo info{};
        info.ipi6_ifindex = index;
        set_control(header, IPPROTO_IPV6, IPV6_PKTINFO, info);
    }
    NUV_UINT32 read_interface(const cmsghdr &control) const override {
        in6_pktinfo info{};
        if (control.cmsg_level == IPPROTO_IPV6 && control.cmsg_type == IPV6_PKTINFO) {
            std::memcpy(&info, CMSG_DATA(&control), sizeof info);
        }
        return info.ipi6_ifindex;
    }

private:
    static in6_addr to_ipv6(const KOLS_Transport_Address_t &address) {
        in6_addr ipv6{};
        std::memcpy(&ipv6, address.network_ordered_value, sizeof ipv6);
        return ipv6;
    }
};

constexpr Ipv6 IPV6;

} // namespace

const NUVNetioTransportClass UDPV6_CLASS = {
    KOLS_TRANSPORT_CLASSID_UDPv6,
    "udpv6",
    "IPv6",
    1,
    0,
    NUV_NETIO_UDPv6_MESSAGE_SIZE_MAX,
    to_string,
    parse,
    is_multicast,
    is_loopback,
    narrow_scope,
    "ff03::/16 and ff05::/16",
};

constinit const UdpFamily &UDPV6_FAMILY = IPV6;

} // namespace netio

constinit const NUVNetioTransport NUV_NETIO_TRANSPORT_UDPv6 =
    netio::make_udp_transport(netio::UDPV6_CLASS, netio::IPV6);
