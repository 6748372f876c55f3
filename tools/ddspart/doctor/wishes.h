// SPDX-License-Identifier: Apache-2.0
// What a participant asks of the host that it is to run on.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dds_c/dds_c_domainparticipantqos.h"
#include "options.h"

namespace doctor {

enum class Family { IPV4, IPV6 };

/** "IPv4" or "IPv6". */
const char *name_of(Family family);

/** The family of a numeric address; none when it is no address. */
std::optional<Family> family_of(const std::string &address);

/** Somebody to announce to. */
struct Peer {
    std::string text;             // as it was given
    std::string host;             // an address, or a name
    std::optional<Family> family; // none: a name, whose addresses may be of any
    std::optional<unsigned> port; // none: those of the mapping
    bool is_name = false;         // else an address
    bool is_group = false;        // a multicast address

    bool operator==(const Peer &) const = default;
};

/** The peer that a text of the setting names; the library has taken it for one. */
Peer to_peer(const std::string &text);

/** A multicast group of the discovery traffic. */
struct Group {
    Family family;
    std::string address;
    unsigned port;
    bool is_received; // else announcements are only sent to it

    bool operator==(const Group &) const = default;
};

struct Wishes : PortSettings {
    std::vector<Family> families;        // of its transports
    std::vector<std::string> interfaces; // names and addresses; none: all
    std::vector<Peer> peers;             // as far as a transport reaches them
    std::vector<std::string> unreached;  // the other ones, as they were given
    std::vector<Group> groups;           // of its transports; each once
    int multicast_ttl = 1;

    bool has(Family family) const;
    bool has_groups(Family family) const;
};

/** Those of a participant with this QoS, in which everything is consistent. */
Wishes wishes_of(const DDS_DomainParticipantQos &qos, DDS_DomainId_t domain);

} // namespace doctor
