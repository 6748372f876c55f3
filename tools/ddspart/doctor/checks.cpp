// SPDX-License-Identifier: Apache-2.0
#include "doctor/checks.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>

#include "doctor/clock_checks.h"
#include "doctor/end_checks.h"
#include "doctor/interface_checks.h"
#include "doctor/multicast_checks.h"
#include "doctor/participant_checks.h"
#include "doctor/peer_checks.h"
#include "doctor/port_checks.h"

namespace doctor {

namespace {

bool always(const Facts & /*facts*/, const Wishes & /*wishes*/) {
    return true;
}

/** A port that somebody holds, or that cannot be bound, tells nothing of the way to it. */
bool has_taken_its_way(const Probe &probe) {
    return probe.outcome == Probe::Outcome::RETURNED || probe.outcome == Probe::Outcome::LOST;
}

bool is_multicast_tried(const Facts &facts, const Wishes & /*wishes*/) {
    return std::ranges::any_of(facts.probes, [](const Probe &probe) {
        return probe.road == Probe::Road::GROUP && has_taken_its_way(probe);
    });
}

bool are_ports_tried(const Facts &facts, const Wishes & /*wishes*/) {
    return std::ranges::any_of(facts.probes, [](const Probe &probe) {
        return probe.port != 0 && has_taken_its_way(probe);
    });
}

bool has_peers(const Facts &facts, const Wishes & /*wishes*/) {
    return !facts.peers.empty();
}

bool has_listened(const Facts &facts, const Wishes & /*wishes*/) {
    return facts.heard.has_value();
}

bool is_other_end_asked(const Facts &facts, const Wishes & /*wishes*/) {
    return facts.ends.has_value();
}

constexpr Subject INTERFACES = {"interfaces", always};
constexpr Subject MULTICAST = {"multicast", is_multicast_tried};
constexpr Subject PORTS = {"ports", always};
constexpr Subject PEERS = {"peers", has_peers};
constexpr Subject PARTICIPANTS = {"participants", has_listened};
constexpr Subject FIREWALL = {"firewall", are_ports_tried};
constexpr Subject OTHER_END = {"the way to the other host and back", is_other_end_asked};

// clang-format off
constexpr std::array CHECKS = {
    Check{"no-usable-interface", &INTERFACES,
          "There is no interface but loopback.",
          find_no_usable_interface},
    Check{"no-such-interface", &INTERFACES,
          "An interface that is to be used is not there.",
          find_no_such_interface},
    Check{"interface-down", &INTERFACES,
          "An interface that would be needed is down.",
          find_interface_down},
    Check{"interface-without-carrier", &INTERFACES,
          "An interface that would be needed has no carrier.",
          find_interface_without_carrier},
    Check{"interface-without-address", &INTERFACES,
          "An interface that would be needed has no address that can be used.",
          find_interface_without_address},
    Check{"ipv6-off", &INTERFACES,
          "The transport udpv6 is asked for and IPv6 is switched off.",
          find_ipv6_off},
    Check{"strict-reverse-path", &INTERFACES,
          "Two interfaces are in one subnet, and a strict reverse-path filter drops what comes in "
          "by the one that the kernel does not answer by.",
          find_strict_reverse_path},
    Check{"address-not-ready", &INTERFACES,
          "Nothing can be sent from an address: it is not ready, or somebody else has it.",
          find_address_not_ready},
    Check{"network-twice", &INTERFACES,
          "Two networks of the host that have participants have the same addresses.",
          find_network_twice},
    Check{"interface-without-multicast", &MULTICAST,
          "An interface that would be needed has multicast switched off.",
          find_interface_without_multicast},
    Check{"no-multicast-route", &MULTICAST,
          "The kernel has no way to the group, or one that forbids it.",
          find_no_multicast_route},
    Check{"loopback-without-multicast", &MULTICAST,
          "There is only loopback, and it does not carry the group.",
          find_loopback_without_multicast},
    Check{"group-not-joined", &MULTICAST,
          "The group cannot be joined.",
          find_group_not_joined},
    Check{"multicast-not-returning", &MULTICAST,
          "What is sent to the group does not come back, to whatever port.",
          find_multicast_not_returning},
    Check{"ttl-zero", &MULTICAST,
          "A property keeps what is sent to groups on this host.",
          find_ttl_zero},
    Check{"ports-filtered", &FIREWALL,
          "What is for ports of the domain is dropped, while other ports are reached.",
          find_ports_filtered},
    Check{"group-port-taken", &PORTS,
          "Somebody who does not share it has the port for announcements to the group.",
          find_group_port_taken},
    Check{"port-not-bound", &PORTS,
          "A port of the domain is free and may not be bound, as one that is root's.",
          find_port_not_bound},
    Check{"index-blocked", &PORTS,
          "Somebody who is no participant has a port of one of the first participant indices.",
          find_index_blocked},
    Check{"no-free-index", &PORTS,
          "All participant indices of the domain are taken on this host.",
          find_no_free_index},
    Check{"suspended-process", &PORTS,
          "A process that holds ports of the domain is stopped.",
          find_suspended_process},
    Check{"datagrams-lost", &PORTS,
          "Sockets at ports of the domain had no room for datagrams while it looked.",
          find_datagrams_lost},
    Check{"ports-ephemeral", &PORTS,
          "The kernel may give ports of the domain to whoever asks for none.",
          find_ephemeral_ports},
    Check{"few-descriptors", &PORTS,
          "A program may open too few files and sockets for a participant.",
          find_few_descriptors},
    Check{"nobody-announced-to", &PEERS,
          "No transport reaches any peer.",
          find_nobody_announced_to},
    Check{"unresolved-peer", &PEERS,
          "The name of a peer has no address.",
          find_unresolved_peer},
    Check{"changed-peer", &PEERS,
          "The name of a peer had another address at the end than at the beginning.",
          find_changed_peer},
    Check{"no-route-to-peer", &PEERS,
          "The kernel has no way to a peer, or one that forbids it.",
          find_no_route_to_peer},
    Check{"silent-peer", &PEERS,
          "A peer that was named has not answered.",
          find_silent_peer},
    Check{"refused-participants", &PARTICIPANTS,
          "Participants are heard that have another domain, domain tag, or another's GUID.",
          find_refused_participants},
    Check{"lease-too-short", &PARTICIPANTS,
          "The lease of a participant ends before it announces itself again.",
          find_lease_too_short},
    Check{"shared-locator", &PARTICIPANTS,
          "Two participants announce the same address and port.",
          find_shared_locator},
    Check{"clock-set", &PARTICIPANTS,
          "The clock of the host was set, forward or back, while it looked.",
          find_clock_set},
    Check{"host-asleep", &PARTICIPANTS,
          "The host was asleep while it looked.",
          find_host_asleep},
    Check{"unicast-lost", &OTHER_END,
          "What one of two hosts sends to free ports of the other does not arrive.",
          find_unicast_lost},
    Check{"large-datagrams-lost", &OTHER_END,
          "Of what one of two hosts sends to the other only small datagrams arrive.",
          find_large_lost},
    Check{"address-translated", &OTHER_END,
          "What one of two hosts sends arrives at the other as from another address or port.",
          find_address_translated},
    Check{"multicast-lost", &OTHER_END,
          "What one of two hosts sends to the group does not arrive at the other.",
          find_multicast_lost},
    Check{"ttl-too-small", &OTHER_END,
          "What one of two hosts sends to the group arrives only with a greater time to live.",
          find_ttl_too_small},
    Check{"domains-differ", &OTHER_END,
          "The participants of two hosts are in different domains.",
          find_domains_differ},
    Check{"tags-differ", &OTHER_END,
          "The participants of one of two hosts have a domain tag, those of the other none.",
          find_tags_differ},
    Check{"participant-out-of-reach", &OTHER_END,
          "A participant of one of two hosts announces no address that the other reaches.",
          find_participant_out_of_reach},
};
// clang-format on

} // namespace

std::span<const Check> checks() {
    return CHECKS;
}

Diagnosis diagnose(const Facts &facts, const Wishes &wishes) {
    Diagnosis diagnosis = {wishes.domain, {}, {}, facts.unseen};
    std::ranges::move(unexplained_probes(facts), std::back_inserter(diagnosis.unseen));
    std::set<const Subject *> told; // of which something has been said

    for (const Check &check : CHECKS) {
        for (Finding &finding : check.look(facts, wishes)) {
            finding.id = check.id;
            diagnosis.findings.push_back(std::move(finding));
            told.insert(check.subject);
        }
    }
    for (const Check &check : CHECKS) {
        if (check.subject->matters(facts, wishes) && told.insert(check.subject).second) {
            diagnosis.well.emplace_back(check.subject->text);
        }
    }
    return diagnosis;
}

} // namespace doctor
