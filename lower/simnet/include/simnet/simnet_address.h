// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_address.h
 * @brief Addresses, ports and subnets of a simulated network.
 */
#pragma once

#include <compare>
#include <string>

#include "netio/netio_transport.h"

namespace simnet {

/** An address of one of the transport classes. */
struct Address {
    KOLS_Transport_ClassId_t transport = KOLS_TRANSPORT_CLASSID_INVALID;
    KOLS_Transport_Address_t value{};

    friend std::strong_ordering operator<=>(const Address &left, const Address &right);
    friend bool operator==(const Address &left, const Address &right) {
        return (left <=> right) == 0;
    }
};

/** "192.0.2.1" or "fd00::1". Throws std::invalid_argument. */
Address address(const std::string &text);
std::string to_text(const Address &address);

/** The address of no interface in particular: all zero. */
bool is_any(const Address &address);
bool is_multicast(const Address &address);
bool is_loopback(const Address &address);
/** An IPv6 address that means something on one link only. */
bool is_link_local(const Address &address);

/** An address and a port of it. */
struct Endpoint {
    Address address;
    KOLS_Transport_Port_t port = 0;

    friend auto operator<=>(const Endpoint &, const Endpoint &) = default;
};

/** "192.0.2.1:7400", "[fd00::1]:7400". */
std::string to_text(const Endpoint &endpoint);

Endpoint endpoint_of(const NUVNetioLocator &locator);
NUVNetioLocator locator_of(const Endpoint &endpoint);

/** An address with the length of its subnet's prefix. */
struct Prefix {
    Address address;
    int length = 0; /**< bits, of an IPv4 address 0 to 32, of an IPv6 address 0 to 128 */

    /** Whether an address is in the same subnet. */
    bool contains(const Address &other) const;
    /** The bits that all its addresses share are set. */
    KOLS_Transport_Address_t netmask() const;

    friend auto operator<=>(const Prefix &, const Prefix &) = default;
};

/** "192.0.2.1/24", "fd00::1/64". Throws std::invalid_argument. */
Prefix prefix(const std::string &text);

} // namespace simnet
