// SPDX-License-Identifier: Apache-2.0
#include "ports.h"

#include <algorithm>

#include "dds_c/dds_c_domain.h"
#include "log.h"

namespace {

constexpr DDS_Long LAST_INDEX_SHOWN = 9;

} // namespace

std::vector<Port> ports_of(const PortSettings &settings, DDS_Long index) {
    const DDS_RtpsWellKnownPorts_t *const ports = &settings.well_known_ports;
    const DDS_DomainId_t domain = settings.domain;

    const Port builtin_multicast = {
        "builtin_multicast", DDS_RtpsWellKnownPorts_get_builtin_multicast_port(ports, domain)};
    const Port user_multicast = {"user_multicast",
                                 DDS_RtpsWellKnownPorts_get_user_multicast_port(ports, domain)};

    if (index < 0) {
        return {builtin_multicast, user_multicast};
    }
    return {
        {"builtin_unicast", DDS_RtpsWellKnownPorts_get_builtin_unicast_port(ports, domain, index)},
        builtin_multicast,
        {"user_unicast", DDS_RtpsWellKnownPorts_get_user_unicast_port(ports, domain, index)},
        user_multicast,
    };
}

std::optional<DDS_Long> highest_usable_index(const PortSettings &settings) {
    const DDS_RtpsWellKnownPorts_t *const ports = &settings.well_known_ports;
    DDS_Long index = std::min(DDS_DomainParticipant_get_max_participant_index(ports),
                              static_cast<DDS_Long>(DDS_RTPS_PORT_MAX));

    if (index < 0) {
        throw LoggedFailure();
    }
    // That bound is the same for all domains; the ports of the last ones end before it.
    while (index >= 0 && !DDS_RtpsWellKnownPorts_isUnicastValid(ports, settings.domain, index)) {
        --index;
    }
    return index >= 0 ? std::optional(index) : std::nullopt;
}

PortTable port_table(const PortSettings &settings,
                     const std::optional<PortsOptions::Range> &asked) {
    PortTable table = {settings.domain, highest_usable_index(settings), {}};
    const PortsOptions::Range indices = asked.value_or(PortsOptions::Range{
        0, std::min(table.highest_usable_index.value_or(LAST_INDEX_SHOWN), LAST_INDEX_SHOWN)});

    for (DDS_Long index = indices.first; index <= indices.last; ++index) {
        table.rows.push_back({index, ports_of(settings, index)});
    }
    return table;
}
