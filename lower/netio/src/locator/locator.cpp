// Locators as records: their kinds of addresses, and their text.
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>

#include "netio/netio_locator.h"

namespace {

constexpr std::size_t IPV4_OFFSET = 12; // of an IPv4 address within a locator's address

int print_unknown(const NUVNetioLocator &locator, char *text, std::size_t size) {
    char address[2 * sizeof locator.address.network_ordered_value + 1];
    char *place = address;
    for (const NUV_UINT8 byte : locator.address.network_ordered_value) {
        std::snprintf(place, 3, "%02x", static_cast<unsigned>(byte));
        place += 2;
    }
    return std::snprintf(text, size, "%d://%s:%d", static_cast<int>(locator.transport), address,
                         static_cast<int>(locator.port));
}

int print(const NUVNetioLocator &locator, char *text, std::size_t size) {
    const NUV_UINT8 *bytes = locator.address.network_ordered_value;
    const int port = static_cast<int>(locator.port);
    char address[INET6_ADDRSTRLEN];
    switch (locator.transport) {
    case KOLS_TRANSPORT_CLASSID_UDPv4:
        inet_ntop(AF_INET, bytes + IPV4_OFFSET, address, sizeof address);
        return std::snprintf(text, size, "udpv4://%s:%d", address, port);
    case KOLS_TRANSPORT_CLASSID_UDPv6:
        inet_ntop(AF_INET6, bytes, address, sizeof address);
        return std::snprintf(text, size, "udpv6://[%s]:%d", address, port);
    default:
        return print_unknown(locator, text, size);
    }
}

} // namespace

int NUVNetioLocator_toString(const struct NUVNetioLocator *locator, char *buffer, size_t size) {
    char text[NUV_NETIO_LOCATOR_STRING_SIZE];
    const int length = print(*locator, text, sizeof text);
    if (static_cast<size_t>(length) >= size) {
        return -1;
    }
    std::memcpy(buffer, text, static_cast<size_t>(length) + 1);
    return length;
}

int NUVNetioLocator_isSame(const struct NUVNetioLocator *left,
                           const struct NUVNetioLocator *right) {
    return static_cast<int>(left->transport == right->transport && left->port == right->port &&
                            std::memcmp(&left->address, &right->address, sizeof left->address) ==
                                0);
}

int NUVNetioLocator_isMulticast(const struct NUVNetioLocator *locator) {
    const NUV_UINT8 *bytes = locator->address.network_ordered_value;
    switch (locator->transport) {
    case KOLS_TRANSPORT_CLASSID_UDPv4:
        return static_cast<int>((bytes[IPV4_OFFSET] & 0xF0u) == 0xE0u); // 224.0.0.0/4
    case KOLS_TRANSPORT_CLASSID_UDPv6:
        return static_cast<int>(bytes[0] == 0xFFu); // ff00::/8
    default:
        return 0;
    }
}

int NUVNetioLocator_isLoopback(const struct NUVNetioLocator *locator) {
    const NUV_UINT8 *bytes = locator->address.network_ordered_value;
    switch (locator->transport) {
    case KOLS_TRANSPORT_CLASSID_UDPv4:
        return static_cast<int>(bytes[IPV4_OFFSET] == 127u); // 127.0.0.0/8
    case KOLS_TRANSPORT_CLASSID_UDPv6:
        return static_cast<int>(std::memcmp(bytes, &in6addr_loopback, sizeof in6addr_loopback) ==
                                0);
    default:
        return 0;
    }
}
