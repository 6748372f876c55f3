// SPDX-License-Identifier: Apache-2.0
// Locators as records: their kinds of addresses, and their text.
#include <cstdio>
#include <cstring>

#include "locator/address.h"
#include "netio/netio_transport.h"

namespace {

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
    const NUVNetioTransportClass *its_class = NUVNetioTransportClass_find(locator.transport);
    if (its_class == nullptr) {
        return print_unknown(locator, text, size);
    }
    char address[NUV_NETIO_ADDRESS_STRING_SIZE];
    its_class->toString(&locator.address, address);
    return std::snprintf(text, size, its_class->isBracketed != 0 ? "%s://[%s]:%d" : "%s://%s:%d",
                         its_class->alias, address, static_cast<int>(locator.port));
}

} // namespace

int NUVNetioLocator_toString(const NUVNetioLocator *locator, char *buffer, size_t size) {
    char text[NUV_NETIO_LOCATOR_STRING_SIZE];
    const int length = print(*locator, text, sizeof text);
    if (static_cast<size_t>(length) >= size) {
        return -1;
    }
    std::memcpy(buffer, text, static_cast<size_t>(length) + 1);
    return length;
}

int NUVNetioLocator_isSame(const NUVNetioLocator *left, const NUVNetioLocator *right) {
    return static_cast<int>(left->transport == right->transport && left->port == right->port &&
                            netio::is_same_address(left->address, right->address));
}

int NUVNetioLocator_isPort(KOLS_Transport_Port_t port) {
    return static_cast<int>(port >= 1 && port <= KOLS_TRANSPORT_PORT_MAX);
}

int NUVNetioLocator_isMulticast(const NUVNetioLocator *locator) {
    const NUVNetioTransportClass *its_class = NUVNetioTransportClass_find(locator->transport);
    return its_class != nullptr ? its_class->isMulticast(&locator->address) : 0;
}

int NUVNetioLocator_isLoopback(const NUVNetioLocator *locator) {
    const NUVNetioTransportClass *its_class = NUVNetioTransportClass_find(locator->transport);
    return its_class != nullptr ? its_class->isLoopback(&locator->address) : 0;
}
