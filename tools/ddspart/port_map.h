// SPDX-License-Identifier: Apache-2.0
// What each port number is for.
#pragma once

#include <map>
#include <optional>
#include <string_view>

#include "options.h"

/** A use that the mapping has for a port. */
struct PortUse {
    DDS_DomainId_t domain;
    std::optional<DDS_Long> index; // none: a multicast port
    std::string_view kind;         // as of Port

    auto operator<=>(const PortUse &) const = default;
};

/** By number. With some settings a port has several uses, in one domain or in several. */
using PortMap = std::multimap<unsigned, PortUse>;

/** Adds the valid ports of some indices of a domain, and its multicast ports. */
void add_ports(PortMap &map, const PortSettings &settings, const PortsOptions::Range &indices);

/** Throws when a map has more uses than can be held in memory and gone through in a moment. */
void refuse_too_many_uses(const PortMap &map, const DDS_RtpsWellKnownPorts_t &settings);

/**
 * The valid ports of all domains, each with those indices that an automatic choice may come to.
 * Throws when the settings give none, and the log then says why; also when they give the same ports
 * to so many domains that their uses could not be held in memory.
 */
PortMap port_map(const DDS_RtpsWellKnownPorts_t &settings);
