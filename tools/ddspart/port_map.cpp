// SPDX-License-Identifier: Apache-2.0
#include "port_map.h"

#include <stdexcept>
#include <string>

#include "ports.h"

namespace {

constexpr DDS_Long NO_INDEX = -1;
/** Usual settings give less than a tenth; gains of a few ports a thousand times as many. */
constexpr std::size_t USES_HIGHEST = 1'000'000;

void add(PortMap &map, const PortSettings &settings, DDS_Long index) {
    for (const Port &port : ports_of(settings, index)) {
        const bool is_multicast = port.kind.ends_with("multicast");

        if (port.is_valid() && is_multicast == (index == NO_INDEX)) {
            // They rise, usually: there is no place to look for then.
            map.emplace_hint(map.end(), static_cast<unsigned>(port.number),
                             PortUse{settings.domain,
                                     is_multicast ? std::nullopt : std::optional(index),
                                     port.kind});
        }
    }
}

} // namespace

void add_ports(PortMap &map, const PortSettings &settings, const PortsOptions::Range &indices) {
    add(map, settings, NO_INDEX);
    for (DDS_Long index = indices.first; index <= indices.last; ++index) {
        add(map, settings, index);
    }
}

void refuse_too_many_uses(const PortMap &map, const DDS_RtpsWellKnownPorts_t &settings) {
    if (map.size() > USES_HIGHEST) {
        throw std::runtime_error(
            "--domain-gain is " + std::to_string(settings.domain_id_gain) +
            ": the domains have more than " + std::to_string(USES_HIGHEST) +
            " uses for the same ports; allowed are gains with which they have less");
    }
}

PortMap port_map(const DDS_RtpsWellKnownPorts_t &settings) {
    PortMap map;
    PortSettings in_domain = {0, settings};

    // Ports rise with the domain, so that the first one without any is beyond the last.
    while (const auto highest = highest_usable_index(in_domain)) {
        add_ports(map, in_domain, {0, *highest});
        refuse_too_many_uses(map, settings);
        ++in_domain.domain;
    }
    return map;
}
