// SPDX-License-Identifier: Apache-2.0
// UDP over IPv4.
#include <cstring>

#include <arpa/inet.h>

#include "transport/transportClasses.h"
#include "transport/udpTransport.h"

namespace netio {

namespace {

/** Where the address is within a locator's. */
constexpr std::size_t IPV4_OFFSET = 12;

void to_string(const KOLS_Transport_Address_t *address, char *text) {
    inet_ntop(AF_INET, address->network_ordered_value + IPV4_OFFSET, text,
              NUV_NETIO_ADDRESS_STRING_SIZE);
}

int parse(const char *text, KOLS_Transport_Address_t *out) {
    KOLS_Transport_Address_t address{};
    if (inet_pton(AF_INET, text, address.network_ordered_value + IPV4_OFFSET) != 1) {
        return 0;
    }
    *out = address;
    return 1;
}

int is_multicast(const KOLS_Transport_Address_t *address) {
    return static_cast<int>((address->network_ordered_value[IPV4_OFFSET] & 0xF0u) ==
                            0xE0u); // 224.0.0.0/4
}

int is_loopback(const KOLS_Transport_Address_t *address) {
    return static_cast<int>(address->network_ordered_value[IPV4_OFFSET] == 127u); // 127.0.0.0/8
}

const char *narrow_scope(const KOLS_Transport_Address_t * /*address*/) {
    return nullptr;
}

class Ipv4 final : public UdpFamily {
public:
    constexpr Ipv4() = default;

    int domain() const override {
        return AF_INET;
    }
    KOLS_Transport_ClassId_t classid() const override {
        return UDPV4_CLASS.classid;
    }

    socklen_t write_address(const KOLS_Transport_Address_t &address, KOLS_Transport_Port_t port,
                            UdpAddress *out) const override {
        out->ipv4 = {};
        out->ipv4.sin_family = AF_INET;
        out->ipv4.sin_port = htons(static_cast<in_port_t>(port));
        out->ipv4.sin_addr = to_ipv4(address);
        return sizeof out->ipv4;
    }
    NUVNetioLocator read_address(const UdpAddress &address) const override {
        NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
        locator.transport = classid();
        locator.port = ntohs(address.ipv4.sin_port);
        std::memcpy(locator.address.network_ordered_value + IPV4_OFFSET, &address.ipv4.sin_addr,
                    sizeof address.ipv4.sin_addr);
        return locator;
    }
    bool needs_scope(const KOLS_Transport_Address_t & /*address*/) const override {
        return false;
    }

    bool set_own_options(int /*socket*/) const override {
        return true;
    }
    bool set_group_options(int socket) const override {
        return set_option(socket, IPPROTO_IP, IP_MULTICAST_ALL, 0) &&
               set_option(socket, IPPROTO_IP, IP_PKTINFO, 1);
    }
    bool set_sender_options(int socket, const NUVNetioSendOptions &options) const override {
        return set_unless(socket, IPPROTO_IP, IP_MULTICAST_TTL, options.multicastTtl,
                          GIVEN_MULTICAST_TTL) &&
               set_unless(socket, IPPROTO_IP, IP_TOS, traffic_class_of(options),
                          GIVEN_TRAFFIC_CLASS);
    }
    bool change_membership(int socket, const KOLS_Transport_Address_t &group,
                           NUV_UINT32 interface_index, bool joins) const override {
        ip_mreqn request{};
        request.imr_multiaddr = to_ipv4(group);
        request.imr_ifindex = static_cast<int>(interface_index);
        return set_option(socket, IPPROTO_IP, joins ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP,
                          request);
    }

    void name_interface(msghdr *header, NUV_UINT32 index) const override {
        in_pktinfo info{};
        info.ipi_ifindex = static_cast<int>(index);
        set_control(header, IPPROTO_IP, IP_PKTINFO, info);
    }
    NUV_UINT32 read_interface(const cmsghdr &control) const override {
        in_pktinfo info{};
        if (control.cmsg_level == IPPROTO_IP && control.cmsg_type == IP_PKTINFO) {
            std::memcpy(&info, CMSG_DATA(&control), sizeof info);
        }
        return static_cast<NUV_UINT32>(info.ipi_ifindex);
    }

private:
    static in_addr to_ipv4(const KOLS_Transport_Address_t &address) {
        in_addr ipv4{};
        std::memcpy(&ipv4, address.network_ordered_value + IPV4_OFFSET, sizeof ipv4);
        return ipv4;
    }
};

constexpr Ipv4 IPV4;

} // namespace

const NUVNetioTransportClass UDPV4_CLASS = {
    KOLS_TRANSPORT_CLASSID_UDPv4,
    "udpv4",
    "IPv4",
    0,
    IPV4_OFFSET,
    NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX,
    to_string,
    parse,
    is_multicast,
    is_loopback,
    narrow_scope,
    "224.0.0.0/4",
};

constinit const UdpFamily &UDPV4_FAMILY = IPV4;

} // namespace netio

constinit const NUVNetioTransport NUV_NETIO_TRANSPORT_UDPv4 =
    netio::make_udp_transport(netio::UDPV4_CLASS, netio::IPV4);
