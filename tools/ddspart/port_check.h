// SPDX-License-Identifier: Apache-2.0
// Whether the ports of some domains are safe on this host.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "holdings.h"
#include "host/ephemeral_ports.h"
#include "options.h"

/** What keeps ports from being a participant's. */
struct PortFinding {
    std::string_view cause; // "invalid", "ephemeral", "held" or "shared"
    std::vector<host::PortRange> ports;
    std::string text;
};

struct DomainCheck {
    DDS_DomainId_t domain;
    std::vector<host::PortRange> safe;   // indices that nothing is said against, nor uses
    std::vector<host::PortRange> in_use; // indices that a participant has
    std::vector<PortFinding> findings;
};

struct PortCheck {
    std::vector<DomainCheck> domains;

    bool has_findings() const;
};

/**
 * The ports that a check has to know the holders of: of the domains asked for, with all usable
 * indices and those that are asked for. Throws as port_map.
 */
PortMap ports_to_look_at(const PortsOptions &options);

/** @param holdings of ports_to_look_at, in the caller's network. */
PortCheck check_ports(const PortsOptions &options, const Holdings &holdings,
                      const host::EphemeralPorts &ephemeral);

/** The domains without a finding. */
std::vector<host::PortRange> safe_domains(const PortCheck &check);

/** As "0-3, 5". */
std::string to_text(const std::vector<host::PortRange> &ranges);

/** The indices that the options ask for in a domain, else all usable ones; none: there are none. */
std::optional<PortsOptions::Range> indices_of(const PortsOptions &options,
                                              const PortSettings &in_domain);

/** The numbers as ranges, in ascending order. */
std::vector<host::PortRange> ranges_of(const std::set<unsigned> &numbers);
