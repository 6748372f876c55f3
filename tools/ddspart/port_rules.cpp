// SPDX-License-Identifier: Apache-2.0
#include "port_rules.h"

#include <set>
#include <sstream>
#include <stdexcept>

#include "port_check.h"
#include "words.h"

namespace {

constexpr const char *TABLE = "inet filter";

/** Of a chain, which is emptied first: the rules may be loaded again with other indices. */
void write_chain(std::ostream &rules, const PortSettings &settings,
                 const PortsOptions::Range &indices) {
    const std::string name = "dds_domain_" + std::to_string(settings.domain);
    const std::string chain = join({TABLE, name}, " ");
    PortMap map;
    std::set<unsigned> ports;
    std::set<unsigned> with_ports; // indices

    add_ports(map, settings, indices);
    for (const auto &[port, use] : map) {
        ports.insert(port);
        if (use.index) {
            with_ports.insert(static_cast<unsigned>(*use.index));
        }
    }
    if (ports.empty()) {
        throw std::runtime_error("domain " + std::to_string(settings.domain) +
                                 " has no valid ports");
    }
    rules << (with_ports.empty()
                  ? "\n# Multicast only: no index has valid ports, of domain "
                  : "\n# Participant indices " + to_text(ranges_of(with_ports)) + " of domain ")
          << settings.domain << "\nadd chain " << chain << "\nflush chain " << chain
          << "\nadd rule " << chain << " udp dport { " << to_text(ranges_of(ports))
          << " } accept\n"
          // Switches that ask who wants a group pass on nothing of it to hosts that don't answer.
          << "add rule " << chain << " ip protocol igmp accept\nadd rule " << chain
          << " icmpv6 type mld-listener-query accept\ninsert rule " << TABLE << " input jump "
          << name << '\n';
}

} // namespace

std::string nft_rules(const PortsOptions &options) {
    std::ostringstream rules;

    rules << "# The UDP ports of DDS participants, and the queries of multicast that they answer.\n"
          << "# Loaded again, they replace what was loaded, but for a further jump, which does no "
             "harm.\n"
          << "# Where the chain \"input\" has another priority, nft refuses: put in that one.\n"
          << "add table " << TABLE << "\nadd chain " << TABLE
          << " input { type filter hook input priority filter; }\n";
    for (const PortSettings &settings : options.each_domain()) {
        const auto indices = indices_of(options, settings);

        write_chain(rules, settings, indices.value_or(PortsOptions::Range{0, -1}));
    }
    return rules.str();
}
