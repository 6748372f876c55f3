// UDP over IPv6.
#include <cstring>

#include <arpa/inet.h>

#include "transport/socketAddress.h"
#include "transport/transportClasses.h"

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

} // namespace

const NUVNetioTransportClass UDPV6_CLASS = {
    KOLS_TRANSPORT_CLASSID_UDPv6,
    "udpv6",
    "IPv6",
    1,
    NUV_NETIO_UDPv6_MESSAGE_SIZE_MAX,
    to_string,
    parse,
    is_multicast,
    is_loopback,
    narrow_scope,
    "ff03::/16 and ff05::/16",
};

} // namespace netio
