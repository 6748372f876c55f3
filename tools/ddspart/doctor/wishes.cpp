// SPDX-License-Identifier: Apache-2.0
#include "doctor/wishes.h"

#include <algorithm>
#include <array>

#include <arpa/inet.h>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "numbers.h"
#include "properties.h"
#include "words.h"

namespace doctor {

namespace {

struct Scheme {
    const char *text;
    Family family;
};

constexpr std::array SCHEMES = {Scheme{"udpv4://", Family::IPV4}, Scheme{"udpv6://", Family::IPV6}};

std::vector<std::string> texts(const DDS_StringSeq &sequence) {
    const DDS_Long length = DDS_StringSeq_get_length(&sequence);
    std::vector<std::string> all;

    all.reserve(static_cast<std::size_t>(length));
    for (DDS_Long i = 0; i < length; ++i) {
        all.emplace_back(DDS_StringSeq_get(&sequence, i));
    }
    return all;
}

std::optional<std::string> property(const DDS_DomainParticipantQos &qos, const char *name) {
    const DDS_Property_t *const found =
        DDS_PropertyQosPolicyHelper_lookup_property(&qos.property, name);

    return found != nullptr ? std::optional<std::string>(found->value) : std::nullopt;
}

bool is_multicast(const std::string &address, Family family) {
    if (family == Family::IPV4) {
        in_addr ipv4 = {};

        return inet_pton(AF_INET, address.c_str(), &ipv4) == 1 && IN_MULTICAST(ntohl(ipv4.s_addr));
    }
    in6_addr ipv6 = {};

    return inet_pton(AF_INET6, address.c_str(), &ipv6) == 1 && IN6_IS_ADDR_MULTICAST(&ipv6);
}

/** Takes the port from "host:port" or "[host]:port"; what has more colons is an address alone. */
void take_port(Peer &peer) {
    const bool is_bracketed = peer.host.starts_with('[');
    const std::size_t colon = peer.host.rfind(':');

    if (colon != std::string::npos &&
        (is_bracketed ? peer.host[colon - 1] == ']' : peer.host.find(':') == colon)) {
        peer.port = to_number<unsigned>(std::string_view(peer.host).substr(colon + 1));
        peer.host.erase(colon);
    }
    if (is_bracketed) {
        peer.host = peer.host.substr(1, peer.host.size() - 2);
    }
}

void add_group(Wishes &wishes, const Group &group) {
    const bool is_there = std::ranges::any_of(wishes.groups, [&](const Group &other) {
        return other.address == group.address && other.port == group.port;
    });

    if (!is_there) {
        wishes.groups.push_back(group);
    }
}

void add_groups(Wishes &wishes, const std::vector<std::string> &received) {
    const auto port = static_cast<unsigned>(
        DDS_RtpsWellKnownPorts_get_builtin_multicast_port(&wishes.well_known_ports, wishes.domain));

    for (const Family family : wishes.families) { // the first one of each is used
        const auto first = std::ranges::find_if(
            received, [&](const std::string &address) { return family_of(address) == family; });

        if (first != received.end()) {
            add_group(wishes, {family, *first, port, true});
        }
    }
    for (const Peer &peer : wishes.peers) {
        if (peer.is_group) {
            add_group(wishes, {*peer.family, peer.host, peer.port.value_or(port), false});
        }
    }
}

} // namespace

const char *name_of(Family family) {
    return family == Family::IPV4 ? "IPv4" : "IPv6";
}

std::optional<Family> family_of(const std::string &address) {
    in6_addr octets = {}; // has room for either

    if (inet_pton(AF_INET, address.c_str(), &octets) == 1) {
        return Family::IPV4;
    }
    return inet_pton(AF_INET6, address.c_str(), &octets) == 1 ? std::optional(Family::IPV6)
                                                              : std::nullopt;
}

Peer to_peer(const std::string &text) {
    Peer peer;

    peer.text = text;
    peer.host = text;
    for (const auto &[scheme, family] : SCHEMES) {
        if (text.starts_with(scheme)) {
            peer.host = text.substr(std::char_traits<char>::length(scheme));
            peer.family = family;
        }
    }
    take_port(peer);
    const std::optional<Family> family = family_of(peer.host);

    peer.is_name = !family;
    if (family) {
        peer.family = family;
        peer.is_group = is_multicast(peer.host, *family);
    }
    return peer;
}

bool Wishes::has(Family family) const {
    return std::ranges::find(families, family) != families.end();
}

bool Wishes::has_groups(Family family) const {
    return std::ranges::find(groups, family, &Group::family) != groups.end();
}

Wishes wishes_of(const DDS_DomainParticipantQos &qos, DDS_DomainId_t domain) {
    Wishes wishes;

    wishes.domain = domain;
    wishes.well_known_ports = qos.wire_protocol.rtps_well_known_ports;
    if ((qos.transport_builtin.mask & DDS_TRANSPORTBUILTIN_UDPv4) != 0) {
        wishes.families.push_back(Family::IPV4);
    }
    if ((qos.transport_builtin.mask & DDS_TRANSPORTBUILTIN_UDPv6) != 0) {
        wishes.families.push_back(Family::IPV6);
    }
    if (const auto allowed = property(qos, ALLOW_INTERFACES); allowed && !allowed->empty()) {
        wishes.interfaces = split(*allowed, ',');
    }
    if (const auto ttl = property(qos, MULTICAST_TTL)) {
        wishes.multicast_ttl = to_number<int>(*ttl).value_or(wishes.multicast_ttl);
    }
    for (const std::string &text : texts(qos.discovery.initial_peers)) {
        const Peer peer = to_peer(text);

        if (!peer.family || wishes.has(*peer.family)) {
            wishes.peers.push_back(peer);
        } else {
            wishes.unreached.push_back(text);
        }
    }
    add_groups(wishes, texts(qos.discovery.multicast_receive_addresses));
    return wishes;
}

} // namespace doctor
