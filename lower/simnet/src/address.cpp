// SPDX-License-Identifier: Apache-2.0
// Addresses and their texts.
#include "simnet/simnet_address.h"

#include <array>
#include <charconv>
#include <cstring>
#include <stdexcept>

namespace simnet {

namespace {

const NUVNetioTransportClass &class_of(const Address &address) {
    const NUVNetioTransportClass *found = NUVNetioTransportClass_find(address.transport);
    if (found == nullptr) {
        throw std::invalid_argument("an address of no transport");
    }
    return *found;
}

/** An IPv4 address is in the last four of sixteen octets. */
int first_bit(const Address &address) {
    return address.transport == KOLS_TRANSPORT_CLASSID_UDPv4 ? 96 : 0;
}

int bit(const Address &address, int i) {
    const NUV_UINT8 octet = address.value.network_ordered_value[i / 8];
    return (octet >> (7 - i % 8)) & 1;
}

} // namespace

std::strong_ordering operator<=>(const Address &left, const Address &right) {
    if (left.transport != right.transport) {
        return left.transport <=> right.transport;
    }
    return std::memcmp(&left.value, &right.value, sizeof left.value) <=> 0;
}

Address address(const std::string &text) {
    for (NUV_INT32 i = 0; i < NUV_NETIO_TRANSPORTS_MAX; ++i) {
        const NUVNetioTransportClass *its_class = NUVNetioTransportClass_get(i);
        Address parsed{its_class->classid, {}};
        if (its_class->parse(text.c_str(), &parsed.value) != 0) {
            return parsed;
        }
    }
    throw std::invalid_argument("'" + text + "' is no address");
}

std::string to_text(const Address &address) {
    std::array<char, NUV_NETIO_ADDRESS_STRING_SIZE> text{};
    class_of(address).toString(&address.value, text.data());
    return text.data();
}

bool is_any(const Address &address) {
    return address.value.network_ordered_value[15] == 0 &&
           address == Address{address.transport, {}};
}

bool is_multicast(const Address &address) {
    return class_of(address).isMulticast(&address.value) != 0;
}

bool is_loopback(const Address &address) {
    return class_of(address).isLoopback(&address.value) != 0;
}

bool is_link_local(const Address &address) {
    static const Prefix LINK_LOCAL = prefix("fe80::/10");
    return LINK_LOCAL.contains(address);
}

std::string to_text(const Endpoint &endpoint) {
    const std::string address = to_text(endpoint.address);
    return (class_of(endpoint.address).isBracketed != 0 ? "[" + address + "]" : address) + ":" +
           std::to_string(endpoint.port);
}

Endpoint endpoint_of(const NUVNetioLocator &locator) {
    return {{locator.transport, locator.address}, locator.port};
}

NUVNetioLocator locator_of(const Endpoint &endpoint) {
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    locator.transport = endpoint.address.transport;
    locator.address = endpoint.address.value;
    locator.port = endpoint.port;
    return locator;
}

bool Prefix::contains(const Address &other) const {
    if (other.transport != address.transport) {
        return false;
    }
    const int first = first_bit(address);
    for (int i = first; i < first + length; ++i) {
        if (bit(address, i) != bit(other, i)) {
            return false;
        }
    }
    return true;
}

KOLS_Transport_Address_t Prefix::netmask() const {
    KOLS_Transport_Address_t mask{};
    const int first = first_bit(address);
    for (int i = first; i < first + length; ++i) {
        mask.network_ordered_value[i / 8] |= static_cast<NUV_UINT8>(0x80 >> i % 8);
    }
    return mask;
}

Prefix prefix(const std::string &text) {
    const std::size_t slash = text.find('/');
    Prefix parsed{address(text.substr(0, slash)), -1};
    if (slash != std::string::npos) {
        const char *const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data() + slash + 1, end, parsed.length);
        if (error != std::errc() || stop != end) {
            parsed.length = -1;
        }
    }
    if (parsed.length < 0 || parsed.length > 128 - first_bit(parsed.address)) {
        throw std::invalid_argument("'" + text + "' has no length of a prefix");
    }
    return parsed;
}

} // namespace simnet
