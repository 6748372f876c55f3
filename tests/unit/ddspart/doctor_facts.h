// SPDX-License-Identifier: Apache-2.0
// Hosts as ddspart doctor might find them.
#pragma once

#include <string>
#include <vector>

#include "doctor/checks.h"
#include "doctor/facts.h"
#include "doctor/wishes.h"

namespace doctor {

/** What a participant of domain 0 asks for whose QoS is the default one. */
inline Wishes usual_wishes() {
    Wishes wishes;

    wishes.families = {Family::IPV4};
    wishes.peers = {to_peer("239.255.0.1"), to_peer("127.0.0.1")};
    wishes.groups = {{Family::IPV4, "239.255.0.1", 7400, true}};
    return wishes;
}

inline Wishes wishes_of_both_families() {
    Wishes wishes = usual_wishes();

    wishes.families = {Family::IPV4, Family::IPV6};
    return wishes;
}

inline Interface loopback() {
    Interface interface;

    interface.name = "lo";
    interface.index = 1;
    interface.is_up = true;
    interface.is_running = true;
    interface.is_loopback = true;
    interface.addresses = {{Family::IPV4, "127.0.0.1", 8}, {Family::IPV6, "::1", 128}};
    return interface;
}

/** An interface to which nothing is lacking, at 192.0.2.2 unless told. */
inline Interface good_interface(const std::string &name, unsigned index,
                                const std::string &address = "192.0.2.2") {
    Interface interface;

    interface.name = name;
    interface.index = index;
    interface.is_up = true;
    interface.is_running = true;
    interface.is_multicast = true;
    interface.addresses = {{*family_of(address), address, 24}};
    return interface;
}

inline Facts host_with(const std::vector<Interface> &interfaces) {
    Facts facts;

    facts.interfaces = {loopback()};
    facts.interfaces.insert(facts.interfaces.end(), interfaces.begin(), interfaces.end());
    return facts;
}

/** A datagram to the usual group by "net0". */
inline Probe group_probe(unsigned port, Probe::Outcome outcome, int error = 0) {
    return {Family::IPV4, "net0", false, Probe::Road::GROUP, "239.255.0.1", port, outcome, error};
}

/** Of a host with "net0" and "net1" at which these probes were made. */
inline Facts host_that_answers(const std::vector<Probe> &probes) {
    Facts facts = host_with({good_interface("net0", 2), good_interface("net1", 3, "198.51.100.2")});

    facts.probes = probes;
    return facts;
}

/** As "interface-down net0", in order. */
inline std::vector<std::string> found(const Facts &facts, const Wishes &wishes) {
    std::vector<std::string> all;

    for (const Finding &finding : diagnose(facts, wishes).findings) {
        all.push_back(finding.id + " " + finding.subject);
    }
    return all;
}

} // namespace doctor
