// Locators as the kernel has them.
#include "transport/socketAddress.h"

#include <cstring>

namespace netio {

bool is_same_address(const KOLS_Transport_Address_t &left, const KOLS_Transport_Address_t &right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

in_addr to_ipv4(const KOLS_Transport_Address_t &address) {
    in_addr ipv4{};
    std::memcpy(&ipv4, address.network_ordered_value + IPV4_OFFSET, sizeof ipv4);
    return ipv4;
}

in6_addr to_ipv6(const KOLS_Transport_Address_t &address) {
    in6_addr ipv6{};
    std::memcpy(&ipv6, address.network_ordered_value, sizeof ipv6);
    return ipv6;
}

SocketAddress::SocketAddress(KOLS_Transport_ClassId_t transport,
                             const KOLS_Transport_Address_t &address, KOLS_Transport_Port_t port) {
    const in_port_t network_port = htons(static_cast<in_port_t>(port));
    if (transport == KOLS_TRANSPORT_CLASSID_UDPv4) {
        address_.ipv4.sin_family = AF_INET;
        address_.ipv4.sin_port = network_port;
        address_.ipv4.sin_addr = to_ipv4(address);
        length_ = sizeof address_.ipv4;
    } else {
        address_.ipv6.sin6_family = AF_INET6;
        address_.ipv6.sin6_port = network_port;
        address_.ipv6.sin6_addr = to_ipv6(address);
        length_ = sizeof address_.ipv6;
    }
}

NUVNetioLocator SocketAddress::to_locator() const {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    NUV_UINT8 *bytes = locator.address.network_ordered_value;
    if (address_.any.sa_family == AF_INET) {
        locator.transport = KOLS_TRANSPORT_CLASSID_UDPv4;
        locator.port = ntohs(address_.ipv4.sin_port);
        std::memcpy(bytes + IPV4_OFFSET, &address_.ipv4.sin_addr, sizeof address_.ipv4.sin_addr);
    } else {
        locator.transport = KOLS_TRANSPORT_CLASSID_UDPv6;
        locator.port = ntohs(address_.ipv6.sin6_port);
        std::memcpy(bytes, &address_.ipv6.sin6_addr, sizeof address_.ipv6.sin6_addr);
    }
    return locator;
}

} // namespace netio
