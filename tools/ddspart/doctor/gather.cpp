// SPDX-License-Identifier: Apache-2.0
// All that the host tells.
#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <tuple>

#include <sys/resource.h>
#include <unistd.h>

#include "doctor/facts.h"
#include "doctor/firewall.h"
#include "doctor/peers.h"
#include "doctor/probes.h"
#include "holdings.h"
#include "host/interface_addresses.h"
#include "host/network_addresses.h"
#include "port_map.h"
#include "ports.h"

namespace doctor {

namespace {

constexpr std::chrono::milliseconds TIME_FOR_PROBES(1300);
constexpr std::chrono::milliseconds TIME_FOR_PEERS(500);
constexpr std::chrono::milliseconds TIME_FOR_SECOND_LOOK(200);

/** How many files a program may have open that is started as this one was. */
std::optional<std::size_t> descriptor_limit() {
    rlimit limit = {};

    return getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::optional<std::size_t>(limit.rlim_cur)
                                                 : std::nullopt;
}

/** The ports of the domain that others hold, in the caller's network or in all of the host's. */
std::vector<HeldPorts> held_by_others(const PortMap &map, const Wishes &wishes, bool all_networks,
                                      const std::vector<Sighting> &heard) {
    std::vector<HeldPorts> all =
        held_ports(holdings(map, all_networks, getpid()), map, heard, host::interface_addresses());

    keep_domains(all, {wishes.domain, wishes.domain});
    return all;
}

std::set<std::string> addresses_of(const std::vector<Interface> &interfaces) {
    std::set<std::string> addresses;

    for (const Interface &interface : interfaces) {
        for (const Address &address : interface.addresses) {
            if (!interface.is_loopback) {
                addresses.insert(address.text);
            }
        }
    }
    return addresses;
}

/** The names among the peers that had addresses. */
void look_up_again(Facts &facts, const Wishes &wishes) {
    Wishes names = wishes;

    std::erase_if(names.peers, [&](const Peer &peer) {
        const auto trial = std::ranges::find(facts.peers, peer, &PeerTrial::peer);

        return !peer.is_name || trial == facts.peers.end() || trial->addresses.empty();
    });
    if (names.peers.empty()) {
        return;
    }
    try {
        for (PeerTrial &later : try_peers(names, TIME_FOR_SECOND_LOOK)) {
            std::ranges::find(facts.peers, later.peer, &PeerTrial::peer)->later_addresses =
                std::move(later.addresses);
        }
    } catch (const std::system_error &error) {
        facts.unseen.push_back(std::string("whether names of peers change: ") + error.what());
    }
}

/** Who has the ports of the domain, and the networks in which somebody has. */
void read_held(Facts &facts, const Wishes &wishes) {
    std::map<std::string, PopulatedNetwork> others;

    facts.networks = {{"own", true, addresses_of(facts.interfaces)}};
    facts.port_map = port_map(wishes.well_known_ports);
    for (HeldPorts &row : held_by_others(*facts.port_map, wishes, true, {})) {
        if (row.network.is_own) {
            facts.held.push_back(std::move(row));
            continue;
        }
        const std::string name = host::label_of(row.network);
        const auto [found, is_new] = others.try_emplace(name, PopulatedNetwork{name, false, {}});
        const auto net = is_new ? host::net_directory(row.network) : std::nullopt;

        if (net) {
            found->second.addresses = host::network_addresses(*net);
        }
    }
    for (auto &[name, network] : others) {
        facts.networks.push_back(std::move(network));
    }
    for (const HeldPorts &row : facts.held) {
        for (const Holder &holder : row.holders) {
            if (holder.process && host::is_stopped(holder.process->id)) {
                facts.stopped.insert(holder.process->id);
            }
        }
    }
}

/** The rules by which datagrams were dropped; the firewall is only asked where some were. */
void read_firewall(Facts &facts) {
    std::set<unsigned> ports;

    for (const Probe &probe : facts.probes) {
        if (probe.is_dropped()) {
            ports.insert(probe.port);
        }
    }
    if (ports.empty()) {
        return;
    }
    const Ruleset ruleset = read_ruleset();

    if (ruleset.text) {
        ports.erase(0); // the control's own port no rule names
        facts.rules = dropping_rules(*ruleset.text, ports.empty() ? facts.ports : ports);
    } else {
        facts.unseen.push_back("firewall rules: " + ruleset.failure);
    }
}

void read_peers(Facts &facts, const Wishes &wishes) {
    try {
        facts.peers = try_peers(wishes, TIME_FOR_PEERS);
    } catch (const std::system_error &error) {
        facts.unseen.push_back(std::string("peers: ") + error.what());
    }
    for (const PeerTrial &trial : facts.peers) {
        if (trial.failure.empty() && trial.addresses.empty()) {
            facts.unseen.push_back("the peer " + trial.peer.text +
                                   ": no name server has answered in time");
        }
    }
}

} // namespace

std::vector<std::vector<unsigned>> unicast_ports(const Wishes &wishes) {
    std::vector<std::vector<unsigned>> all;

    for (DDS_Long index = 0; index <= HIGHEST_PEER_INDEX; ++index) {
        std::vector<unsigned> &ports = all.emplace_back();

        for (const Port &port : ports_of(wishes, index)) {
            if (port.kind.ends_with("_unicast") && port.is_valid()) {
                ports.push_back(static_cast<unsigned>(port.number));
            }
        }
    }
    return all;
}

Facts gather(const Wishes &wishes) {
    const std::vector<std::vector<unsigned>> unicast = unicast_ports(wishes);
    Facts facts;

    facts.clocks_before = host::read_clocks();
    facts.interfaces = list_interfaces();
    find_answering_interfaces(facts.interfaces);
    for (const std::vector<unsigned> &ports : unicast) {
        facts.ports.insert(ports.begin(), ports.end());
    }
    for (const Group &group : wishes.groups) {
        facts.ports.insert(group.port);
    }
    try {
        read_held(facts, wishes);
    } catch (const std::runtime_error &error) { // the settings give too many uses to each port
        facts.unseen.push_back(std::string("who holds the ports: ") + error.what());
    }
    facts.highest_index = highest_usable_index(wishes);
    facts.ephemeral = host::ephemeral_ports();
    facts.descriptor_limit = descriptor_limit();
    facts.probes = probe({facts.interfaces, wishes, unicast}, TIME_FOR_PROBES, facts.unseen);
    read_firewall(facts);
    read_peers(facts, wishes);
    return facts;
}

void compare(std::vector<HeldPorts> &held, const std::vector<HeldPorts> &later) {
    const auto key = [](const HeldPorts &row) {
        return std::tie(row.index, row.ports, row.holders);
    };

    for (HeldPorts &row : held) {
        const auto same = std::ranges::find_if(
            later, [&](const HeldPorts &other) { return key(other) == key(row); });
        const std::uint64_t now = same != later.end() ? same->drops : 0;

        row.drops = now > row.drops ? now - row.drops : 0;
        if (same != later.end()) {
            row.evidence = same->evidence;
        }
    }
}

void look_again(Facts &facts, const Wishes &wishes, const std::vector<Sighting> &heard) {
    if (!facts.held.empty()) {
        compare(facts.held, held_by_others(*facts.port_map, wishes, false, heard));
    }
    look_up_again(facts, wishes);
    facts.clocks_after = host::read_clocks();
}

} // namespace doctor
