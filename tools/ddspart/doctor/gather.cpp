// SPDX-License-Identifier: Apache-2.0
// All that the host tells.
#include <set>

#include "doctor/facts.h"
#include "doctor/firewall.h"
#include "doctor/probes.h"

namespace doctor {

namespace {

constexpr std::chrono::milliseconds TIME_FOR_PROBES(1000);
/** Those at which a participant is looked for by peers that are told no port, by default. */
constexpr DDS_Long HIGHEST_INDEX = 4;

/** The unicast ports of the first indices, as far as they are valid. */
std::vector<unsigned> unicast_ports(const Wishes &wishes) {
    std::vector<unsigned> ports;

    for (DDS_Long index = 0; index <= HIGHEST_INDEX; ++index) {
        if (DDS_RtpsWellKnownPorts_isUnicastValid(&wishes.well_known_ports, wishes.domain, index)) {
            ports.push_back(static_cast<unsigned>(DDS_RtpsWellKnownPorts_get_builtin_unicast_port(
                &wishes.well_known_ports, wishes.domain, index)));
            ports.push_back(static_cast<unsigned>(DDS_RtpsWellKnownPorts_get_user_unicast_port(
                &wishes.well_known_ports, wishes.domain, index)));
        }
    }
    return ports;
}

/** The rules by which datagrams were dropped; the firewall is only asked where some were. */
void read_firewall(Facts &facts, const Wishes &wishes) {
    std::set<unsigned> ports;

    for (const Probe &probe : facts.probes) {
        if (probe.is_dropped()) {
            ports.insert(probe.port);
        }
    }
    if (ports.empty()) {
        return;
    }
    for (const Group &group : wishes.groups) { // where none comes back it is one for these too
        ports.insert(group.port);
    }
    if (const std::optional<std::string> ruleset = read_ruleset()) {
        facts.rules = dropping_rules(*ruleset, ports);
    } else {
        facts.unseen.emplace_back("firewall rules: the program nft did not list them, which takes "
                                  "root's rights");
    }
}

} // namespace

Facts gather(const Wishes &wishes) {
    Facts facts;

    facts.interfaces = list_interfaces();
    facts.probes =
        probe({facts.interfaces, wishes, unicast_ports(wishes)}, TIME_FOR_PROBES, facts.unseen);
    read_firewall(facts, wishes);
    return facts;
}

} // namespace doctor
