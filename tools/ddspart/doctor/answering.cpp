// SPDX-License-Identifier: Apache-2.0
// The interfaces by which the kernel answers.
#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include "doctor/facts.h"
#include "doctor/socket.h"

namespace doctor {

namespace {

/** The interfaces that have an address. */
using Holders = std::multimap<in_addr_t, std::string>;

in_addr_t number_of(const std::string &address) {
    in_addr octets = {};

    (void)inet_pton(AF_INET, address.c_str(), &octets);
    return ntohl(octets.s_addr);
}

/** An address of the subnet that is none of the host's own; none where there is no room for it. */
std::optional<in_addr> neighbour_of(const Address &address, const Holders &own) {
    constexpr unsigned BITS = 32;
    constexpr in_addr_t MOST = 64; // a host has fewer addresses in one subnet
    const unsigned host_bits = BITS - std::min(address.prefix_length, BITS);
    const in_addr_t all_ones = host_bits < BITS ? (in_addr_t{1} << host_bits) - 1 : ~in_addr_t{0};

    for (in_addr_t difference = 1; difference <= std::min(all_ones, MOST); ++difference) {
        const in_addr_t other = number_of(address.text) ^ difference;
        const in_addr_t host = other & all_ones;
        const bool is_host = host_bits == 1 || (host != 0 && host != all_ones);

        if (is_host && !own.contains(other)) {
            return in_addr{htonl(other)};
        }
    }
    return std::nullopt;
}

/** The own address from which the kernel would send there; none where it would not. */
std::optional<in_addr_t> source_for(const in_addr &destination) {
    constexpr in_port_t ANY_PORT = 9; // nothing is sent there
    const Socket socket(Family::IPV4);
    sockaddr_in name = {};
    socklen_t length = sizeof name;

    name.sin_family = AF_INET;
    name.sin_port = htons(ANY_PORT);
    name.sin_addr = destination;
    if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&name), sizeof name) != 0 ||
        getsockname(socket.get(), reinterpret_cast<sockaddr *>(&name), &length) != 0) {
        return std::nullopt;
    }
    return ntohl(name.sin_addr.s_addr);
}

} // namespace

void find_answering_interfaces(std::vector<Interface> &interfaces) {
    Holders holders;

    for (const Interface &interface : interfaces) {
        for (const Address &address : interface.addresses) {
            if (address.family == Family::IPV4) {
                holders.emplace(number_of(address.text), interface.name);
            }
        }
    }
    for (Interface &interface : interfaces) {
        for (Address &address : interface.addresses) {
            const auto neighbour = address.family == Family::IPV4 && !interface.is_loopback
                                       ? neighbour_of(address, holders)
                                       : std::nullopt;
            const auto source = neighbour ? source_for(*neighbour) : std::nullopt;

            // An address that two interfaces have tells nothing.
            if (source && holders.count(*source) == 1) {
                address.answering_interface = holders.find(*source)->second;
            }
        }
    }
}

} // namespace doctor
