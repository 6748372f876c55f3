// SPDX-License-Identifier: Apache-2.0
#include "doctor/multicast_checks.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <tuple>

#include "doctor/texts.h"
#include "properties.h"
#include "words.h"

namespace doctor {

namespace {

bool is_by_group(const Probe &probe) {
    return probe.road == Probe::Road::GROUP;
}

/** Whether it went to a port that has nothing to do with participants. */
bool is_control(const Probe &probe) {
    return probe.port == 0;
}

bool is_not_sent(const Probe &probe, int error) {
    return probe.outcome == Probe::Outcome::NOT_SENT && probe.error == error;
}

bool is_unrouted(const Probe &probe) {
    constexpr std::array ERRORS = {ENETUNREACH, EHOSTUNREACH, EACCES, EINVAL};

    return is_by_group(probe) && probe.outcome == Probe::Outcome::NOT_SENT &&
           std::ranges::find(ERRORS, probe.error) != ERRORS.end();
}

/** Whether anything has come back of what went the same way, to whatever port. */
bool is_any_returned(const Facts &facts, const Probe &probe) {
    const auto key = [](const Probe &each) {
        return std::tie(each.family, each.interface, each.road, each.destination);
    };

    return std::ranges::any_of(facts.probes, [&](const Probe &other) {
        return other.outcome == Probe::Outcome::RETURNED && key(other) == key(probe);
    });
}

/** One finding for each interface and group with such a probe. */
template <class Condition, class Describe>
std::vector<Finding> find_by_interface(const Facts &facts, Condition condition, Describe describe) {
    std::vector<Finding> findings;
    std::set<std::pair<std::string, std::string>> seen;

    for (const Probe &probe : facts.probes) {
        if (condition(probe) && seen.emplace(probe.interface, probe.destination).second) {
            findings.push_back(describe(probe));
        }
    }
    return findings;
}

} // namespace

std::vector<Finding> find_no_multicast_route(const Facts &facts, const Wishes &) {
    return find_by_interface(
        facts, [](const Probe &probe) { return is_unrouted(probe) && !probe.is_loopback; },
        [](const Probe &probe) {
            const std::string all = probe.family == Family::IPV4 ? "224.0.0.0/4" : "ff00::/8";
            const std::string table = probe.family == Family::IPV4 ? "" : " table local";

            return Finding{"", probe.interface,
                           "There is no way to the group " + probe.destination + " over " +
                               probe.interface + ": " + error_text(probe.error) + ".",
                           "Add the route that is missing: ip route add multicast " + all +
                               " dev " + probe.interface + table +
                               "; take away one that forbids it (ip route show table all)."};
        });
}

std::vector<Finding> find_loopback_without_multicast(const Facts &facts, const Wishes &) {
    return find_by_interface(
        facts,
        [](const Probe &probe) {
            return probe.is_loopback &&
                   (is_unrouted(probe) || (is_by_group(probe) && is_control(probe) &&
                                           probe.outcome == Probe::Outcome::LOST));
        },
        [](const Probe &probe) {
            const std::string self = probe.family == Family::IPV4 ? "127.0.0.1" : "::1";

            return Finding{"", probe.interface,
                           "There is only " + probe.interface +
                               " to send by, and what is sent to " + probe.destination +
                               " there does not come back: participants of this host do not find "
                               "each other by multicast.",
                           "Name this host as a peer: --peer " + self};
        });
}

std::vector<Finding> find_group_not_joined(const Facts &facts, const Wishes &) {
    return find_by_interface(
        facts, [](const Probe &probe) { return probe.outcome == Probe::Outcome::NOT_JOINED; },
        [](const Probe &probe) {
            const bool is_limit = probe.error == ENOBUFS;
            const bool is_ipv4 = probe.family == Family::IPV4;

            return Finding{"", probe.interface,
                           "The group " + probe.destination + " cannot be joined on " +
                               probe.interface + ": " + error_text(probe.error) + ".",
                           !is_limit ? "See that the interface is still there and can do it; or do "
                                       "without multicast: --peer HOST --no-multicast"
                           : is_ipv4 ? "Let a socket have more memberships: sysctl "
                                       "net.ipv4.igmp_max_memberships=20"
                                     : "Let the kernel have more memory for options of sockets: "
                                       "sysctl net.core.optmem_max=131072"};
        });
}

std::vector<Finding> find_address_not_ready(const Facts &facts, const Wishes &) {
    return find_by_interface(
        facts, [](const Probe &probe) { return is_not_sent(probe, EADDRNOTAVAIL); },
        [](const Probe &probe) {
            return Finding{"", probe.interface,
                           "Nothing can be sent to " + probe.destination + " over " +
                               probe.interface +
                               ": its address is not ready yet, or somebody else has it.",
                           "Wait a few seconds; where ip address show dev " + probe.interface +
                               " still has \"tentative\" or \"dadfailed\" then, give it another "
                               "address."};
        });
}

std::vector<std::string> unexplained_probes(const Facts &facts) {
    std::vector<std::string> all;

    for (const Finding &each : find_by_interface(
             facts,
             [](const Probe &probe) {
                 return probe.outcome == Probe::Outcome::NOT_SENT && !probe.is_dropped() &&
                        !is_unrouted(probe) && probe.error != EADDRNOTAVAIL;
             },
             [](const Probe &probe) {
                 return Finding{"", probe.interface,
                                "traffic to " + probe.destination + " over " + probe.interface +
                                    ": " + error_text(probe.error),
                                ""};
             })) {
        all.push_back(each.cause);
    }
    return all;
}

std::vector<Finding> find_multicast_not_returning(const Facts &facts, const Wishes &) {
    return find_by_interface(
        facts,
        [&](const Probe &probe) {
            return is_by_group(probe) && !probe.is_loopback && probe.is_dropped() &&
                   !is_any_returned(facts, probe);
        },
        [&](const Probe &probe) {
            return Finding{"", probe.interface,
                           "What this host sends to " + probe.destination + " over " +
                               probe.interface +
                               " does not come back to it, to whatever port: something drops "
                               "multicast, most likely a firewall" +
                               rule_text(facts) + ".",
                           "Let UDP to " + probe.destination + " in and out on " + probe.interface +
                               "; or do without multicast: --peer HOST "
                               "--no-multicast"};
        });
}

std::vector<Finding> find_ports_filtered(const Facts &facts, const Wishes &wishes) {
    std::set<unsigned> ports;
    std::set<std::string> interfaces;

    for (const Probe &probe : facts.probes) {
        if (!is_control(probe) && probe.is_dropped() && is_any_returned(facts, probe)) {
            ports.insert(probe.port);
            interfaces.insert(probe.interface);
        }
    }
    if (ports.empty()) {
        return {};
    }
    const std::string all = port_list(ports);

    return {{"", all,
             "A firewall of this host drops what is for UDP port " + all + " on " +
                 join({interfaces.begin(), interfaces.end()}, ", ") +
                 ", while it lets others through" + rule_text(facts) + ".",
             "Let UDP to the ports of domain " + std::to_string(wishes.domain) +
                 " in and out; ddspart ports --domain " + std::to_string(wishes.domain) +
                 " lists them."}};
}

std::vector<Finding> find_ttl_zero(const Facts &, const Wishes &wishes) {
    if (wishes.multicast_ttl != 0 || wishes.groups.empty()) {
        return {};
    }
    Finding finding = {"", MULTICAST_TTL, MULTICAST_TTL,
                       "Leave it out, or make it 1 for the local network and more for what lies "
                       "behind routers."};

    finding.cause += " is 0: what is sent to a group does not leave this host.";
    return {finding};
}

} // namespace doctor
