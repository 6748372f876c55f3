// SPDX-License-Identifier: Apache-2.0
#include "doctor/peer_checks.h"

#include <algorithm>

#include "doctor/texts.h"
#include "words.h"

namespace doctor {

std::vector<Finding> find_nobody_announced_to(const Facts &, const Wishes &wishes) {
    if (!wishes.peers.empty() || wishes.unreached.empty()) {
        return {};
    }
    const bool is_ipv6 = wishes.has(Family::IPV6);

    return {{"", join(wishes.unreached, ", "),
             "No transport reaches any of the peers (" + join(wishes.unreached, ", ") +
                 "), which are all of another family than " + family_names(wishes.families) +
                 ": the participant announces itself to nobody.",
             is_ipv6 ? "Name peers that have IPv6 addresses, or a group of IPv6: --peer ff05::1 "
                       "--multicast-address ff05::1"
                     : "Name peers that have IPv4 addresses, or add the transport udpv6."}};
}

std::vector<Finding> find_unresolved_peer(const Facts &facts, const Wishes &wishes) {
    std::vector<Finding> findings;

    for (const PeerTrial &trial : facts.peers) {
        if (trial.is_unanswered) {
            findings.push_back(
                {"", trial.peer.text,
                 "No name server has answered for the peer " + trial.peer.text + ": " +
                     trial.failure + ".",
                 "See that a name server can be reached (/etc/resolv.conf), give the "
                 "name an address in /etc/hosts, or name the peer's address."});
        } else if (!trial.failure.empty()) {
            findings.push_back(
                {"", trial.peer.text,
                 "The name of the peer " + trial.peer.text + " has no " +
                     family_names(wishes.families) + " address: " + trial.failure + ".",
                 "Correct the name, give it an address in /etc/hosts, or name the peer's "
                 "address."});
        }
    }
    return findings;
}

std::vector<Finding> find_changed_peer(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;

    for (const PeerTrial &trial : facts.peers) {
        const bool is_any_gone =
            std::ranges::any_of(trial.addresses, [&](const std::string &address) {
                return std::ranges::find(trial.later_addresses, address) ==
                       trial.later_addresses.end();
            });

        if (!trial.later_addresses.empty() && is_any_gone) {
            findings.push_back(
                {"", trial.peer.text,
                 "The name of the peer " + trial.peer.text + " has changed from " +
                     join(trial.addresses, ", ") + " to " + join(trial.later_addresses, ", ") +
                     " while it was looked at: participants announce themselves to where it was "
                     "until they look it up again, once in a period, and rules of firewalls and "
                     "programs that know the former address do not follow at all.",
                 "Give the name addresses that last, in /etc/hosts or by its name server; or name "
                 "addresses of the peer that do."});
        }
    }
    return findings;
}

std::vector<Finding> find_no_route_to_peer(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;

    for (const PeerTrial &trial : facts.peers) {
        if (trial.route_error != 0) {
            const std::string &address = trial.addresses.front();
            const std::string name = trial.peer.is_name ? " (" + address + ")" : "";

            findings.push_back({"", trial.peer.text,
                                "There is no way to the peer " + trial.peer.text + name + ": " +
                                    error_text(trial.route_error) + ".",
                                "Add a route, or take away the one that forbids it: ip route get " +
                                    address + " shows it."});
        }
    }
    return findings;
}

} // namespace doctor
