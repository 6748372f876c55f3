// SPDX-License-Identifier: Apache-2.0
// Locators, as short as they can be kept.
#ifndef DISC_PLACE_H
#define DISC_PLACE_H

#include <cstring>

#include "netio/netio_locator.h"

namespace disc {

/**
 * Mixes what others choose with something that they do not know, so that they cannot have all they
 * send land in one place of a table.
 */
class Hash {
public:
    explicit Hash(NUV_UINT64 secret) : value_(secret) {}
    Hash &add(NUV_UINT64 part) {
        value_ = (value_ ^ part) * 0xFF51AFD7ED558CCDu;
        value_ =
            (value_ ^ value_ >> 32) * 0xC4CEB9FE1A85EC53u; // parts may differ in high bits only
        value_ ^= value_ >> 29;
        return *this;
    }
    std::size_t value() const {
        return static_cast<std::size_t>(value_);
    }

private:
    NUV_UINT64 value_;
};

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
    Hash &add_address_to(Hash &hash) const {
        NUV_UINT64 halves[2];
        static_assert(sizeof halves == sizeof address);
        std::memcpy(halves, &address, sizeof halves);
        return hash.add(static_cast<NUV_UINT64>(transport)).add(halves[0]).add(halves[1]);
    }
    Hash &add_to(Hash &hash) const {
        return add_address_to(hash).add(static_cast<NUV_UINT64>(port));
    }
    bool is_any() const {
        return has_same_address({transport, 0, {}});
    }
};

} // namespace disc

#endif
