// SPDX-License-Identifier: Apache-2.0
// Locators, as short as they can be kept.
#ifndef DISC_PLACE_H
#define DISC_PLACE_H

#include <cstring>

#include "netio/netio_locator.h"

namespace disc {

/** A transport, an address and a port. */
struct Place {
    KOLS_Transport_ClassId_t transport = KOLS_TRANSPORT_CLASSID_INVALID;
    KOLS_Transport_Port_t port = 0;
    KOLS_Transport_Address_t address{};

    static Place of(const NUVNetioLocator &locator) {
        return {locator.transport, locator.port, locator.address};
    }
    NUVNetioLocator locator() const {
        NUVNetioLocator out = NUV_NETIO_LOCATOR_INVALID;
        out.transport = transport;
        out.port = port;
        out.address = address;
        return out;
    }
    bool has_same_address(const Place &other) const {
        return transport == other.transport &&
               std::memcmp(&address, &other.address, sizeof address) == 0;
    }
    bool operator==(const Place &other) const {
        return port == other.port && has_same_address(other);
    }
    bool is_loopback() const {
        const NUVNetioLocator as_locator = locator();
        return NUVNetioLocator_isLoopback(&as_locator) != 0;
    }
    bool is_group() const {
        const NUVNetioLocator as_locator = locator();
        return NUVNetioLocator_isMulticast(&as_locator) != 0;
    }
    NUV_UINT32 hash_of_address() const {
        NUV_UINT32 hash = 2166136261u ^ static_cast<NUV_UINT32>(transport);
        for (const NUV_UINT8 octet : address.network_ordered_value) {
            hash = (hash ^ octet) * 16777619u;
        }
        return hash;
    }
    NUV_UINT32 hash() const {
        return (hash_of_address() ^ static_cast<NUV_UINT32>(port)) * 16777619u;
    }
};

} // namespace disc

#endif
