// SPDX-License-Identifier: Apache-2.0
#include "doctor/interface_checks.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include <arpa/inet.h>

#include "doctor/texts.h"
#include "properties.h"
#include "words.h"

namespace doctor {

namespace {

/** How much an interface lacks to be used for a family; an address says that it should be. */
int lacks(const Interface &interface, Family family) {
    constexpr int ADDRESS = 3; // more than all else

    return (interface.is_up ? 0 : 1) + (interface.is_running ? 0 : 1) +
           (interface.has(family) ? 0 : ADDRESS);
}

/** Whether the setting names it, so that it is expected to be used. */
bool is_asked_for(const Interface &interface, const Wishes &wishes) {
    return std::ranges::any_of(
        wishes.interfaces, [&](const std::string &entry) { return is_named(interface, entry); });
}

/** Whether nobody has set it up for anything: the kernel has such tunnels of its own. */
bool is_idle(const Interface &interface) {
    return interface.is_auxiliary && !interface.is_up && interface.addresses.empty();
}

bool is_candidate(const Interface &interface, const Wishes &wishes) {
    return !interface.is_loopback && is_allowed(interface, wishes) &&
           (!interface.is_port() || is_asked_for(interface, wishes));
}

/** The candidates; bridges and tunnels only where there is nothing else, or they are asked for. */
std::vector<Interface> candidates(const Facts &facts, const Wishes &wishes) {
    const bool is_main_there =
        std::ranges::any_of(facts.interfaces, [&](const Interface &interface) {
            return is_candidate(interface, wishes) && !interface.is_auxiliary;
        });
    std::vector<Interface> all;

    std::ranges::copy_if(facts.interfaces, std::back_inserter(all),
                         [&](const Interface &interface) {
                             return is_candidate(interface, wishes) &&
                                    (!interface.is_auxiliary || is_asked_for(interface, wishes) ||
                                     (!is_main_there && !is_idle(interface)));
                         });
    return all;
}

/** Whether a participant gets along without any interface but loopback, having been told to. */
bool is_confined_to_loopback(const Facts &facts, const Wishes &wishes) {
    return !wishes.interfaces.empty() &&
           std::ranges::all_of(wishes.interfaces, [&](const std::string &entry) {
               return std::ranges::any_of(facts.interfaces, [&](const Interface &interface) {
                   return interface.is_loopback && is_named(interface, entry);
               });
           });
}

/**
 * The interfaces that ought to be usable for a family and are not: those that are asked for and are
 * of no use for any family, and where none at all is usable those that lack least of it. An idle
 * one beside a good one is nobody's trouble.
 */
std::vector<Interface> missed_interfaces(const Facts &facts, const Wishes &wishes, Family family) {
    std::vector<Interface> missed;
    int least = std::numeric_limits<int>::max();

    if (is_confined_to_loopback(facts, wishes)) {
        return missed;
    }
    const std::vector<Interface> all = candidates(facts, wishes);
    const bool is_any = std::ranges::any_of(
        all, [&](const Interface &interface) { return interface.is_usable(family); });

    for (const Interface &interface : all) {
        if (!interface.is_usable(family)) {
            least = std::min(least, lacks(interface, family));
        }
    }
    for (const Interface &interface : all) {
        const bool is_useless = std::ranges::none_of(
            wishes.families, [&](Family each) { return interface.is_usable(each); });

        if (!interface.is_usable(family) && ((is_asked_for(interface, wishes) && is_useless) ||
                                             (!is_any && lacks(interface, family) == least))) {
            missed.push_back(interface);
        }
    }
    return missed;
}

/** A finding for each interface that is missed, in whatever family, and of which it holds. */
template <class Condition, class Describe>
std::vector<Finding> find_missed(const Facts &facts, const Wishes &wishes, Condition condition,
                                 Describe describe) {
    std::vector<Finding> findings;

    for (const Family family : wishes.families) {
        for (const Interface &interface : missed_interfaces(facts, wishes, family)) {
            if (!condition(interface, family)) {
                continue;
            }
            const Finding finding = describe(interface, family);

            if (std::ranges::find(findings, finding) == findings.end()) {
                findings.push_back(finding);
            }
        }
    }
    return findings;
}

/** The interface in the name of a setting, where a dot would separate. */
std::string setting_name(const Interface &interface) {
    std::string name = interface.name;

    std::ranges::replace(name, '.', '/');
    return name;
}

bool is_of_this_host(const Facts &facts, const std::string &address) {
    return address.starts_with("127.") ||
           std::ranges::any_of(facts.interfaces, [&](const Interface &interface) {
               return has_address(interface, address);
           });
}

/** Whether two addresses are in the same subnet, by the longer one of their prefixes. */
bool are_in_one_subnet(const Address &left, const Address &right) {
    in_addr first = {};
    in_addr second = {};
    const unsigned length = std::max(left.prefix_length, right.prefix_length);
    constexpr unsigned BITS = 32;

    if (left.family != Family::IPV4 || right.family != Family::IPV4 || length == 0 ||
        left.prefix_length == BITS || right.prefix_length == BITS ||
        inet_pton(AF_INET, left.text.c_str(), &first) != 1 ||
        inet_pton(AF_INET, right.text.c_str(), &second) != 1) {
        return false;
    }
    return ((ntohl(first.s_addr) ^ ntohl(second.s_addr)) >> (BITS - length)) == 0;
}

} // namespace

bool has_far_peer(const Facts &facts, const Wishes &wishes) {
    return std::ranges::any_of(wishes.peers, [&](const Peer &peer) {
        const auto trial = std::ranges::find(facts.peers, peer, &PeerTrial::peer);
        const auto addresses = trial != facts.peers.end() && !trial->addresses.empty()
                                   ? trial->addresses
                                   : std::vector{peer.host};

        return !peer.is_group && !std::ranges::all_of(addresses, [&](const std::string &address) {
            return is_of_this_host(facts, address);
        });
    });
}

std::vector<Finding> find_no_usable_interface(const Facts &facts, const Wishes &wishes) {
    const bool is_there = std::ranges::any_of(facts.interfaces, [](const Interface &interface) {
        return !interface.is_loopback && !is_idle(interface);
    });

    if (is_there || !wishes.interfaces.empty()) {
        return {}; // what it lacks, or that it is not there, others say
    }
    return {{"", "",
             "The host, or the container, has no network interface but loopback: a participant "
             "finds those on this host only.",
             "Add an interface with an " + family_names(wishes.families) +
                 " address; for a container, attach it to a network."}};
}

std::vector<Finding> find_no_such_interface(const Facts &facts, const Wishes &wishes) {
    std::vector<Finding> findings;
    std::vector<std::string> names;

    names.reserve(facts.interfaces.size());
    for (const Interface &interface : facts.interfaces) {
        names.push_back(interface.name);
    }
    for (const std::string &entry : wishes.interfaces) {
        const bool is_there =
            std::ranges::any_of(facts.interfaces, [&](const Interface &interface) {
                return is_named(interface, entry);
            });

        if (!is_there) {
            findings.push_back({"", entry,
                                "Of the interfaces that may be used, '" + entry +
                                    "' is not there: neither a name nor an address of one.",
                                "Name one of " + listed(names) +
                                    ", or an address of it, by --interface, NUVDDS_INTERFACES or " +
                                    ALLOW_INTERFACES + "."});
        }
    }
    return findings;
}

std::vector<Finding> find_interface_down(const Facts &facts, const Wishes &wishes) {
    return find_missed(
        facts, wishes, [](const Interface &interface, Family) { return !interface.is_up; },
        [](const Interface &interface, Family) {
            return Finding{"", interface.name,
                           "Interface " + interface.name + " is down: participants do not use it.",
                           "Set it up: ip link set dev " + interface.name + " up"};
        });
}

std::vector<Finding> find_interface_without_carrier(const Facts &facts, const Wishes &wishes) {
    return find_missed(
        facts, wishes,
        [](const Interface &interface, Family) { return interface.is_up && !interface.is_running; },
        [](const Interface &interface, Family) {
            return Finding{"", interface.name,
                           "Interface " + interface.name +
                               " is up but has no carrier: participants do not use it.",
                           "Connect its cable, or set up its other end (the switch port, the peer "
                           "of a virtual pair, a port of the bridge)."};
        });
}

std::vector<Finding> find_interface_without_address(const Facts &facts, const Wishes &wishes) {
    return find_missed(
        facts, wishes,
        [](const Interface &interface, Family family) {
            return !interface.has(family) && !(family == Family::IPV6 && interface.ipv6_is_off);
        },
        [](const Interface &interface, Family family) {
            const bool is_local = family == Family::IPV6 && interface.has_link_local;
            const std::string kind = name_of(family);

            return Finding{"", interface.name,
                           "Interface " + interface.name + " has no " + kind + " address" +
                               (is_local ? " but a link-local one, which is not used" : "") +
                               ": participants do not use it for " + kind + ".",
                           interface.is_port()
                               ? "It is a port of " + interface.master + ": name that instead."
                               : "Give it one: ip address add ADDRESS/PREFIX dev " +
                                     interface.name};
        });
}

std::vector<Finding> find_ipv6_off(const Facts &facts, const Wishes &wishes) {
    std::vector<Finding> findings;

    if (!wishes.has(Family::IPV6) || is_confined_to_loopback(facts, wishes)) {
        return findings;
    }
    for (const Interface &interface : missed_interfaces(facts, wishes, Family::IPV6)) {
        if (interface.ipv6_is_off) {
            findings.push_back({"", interface.name,
                                "The transport udpv6 is asked for, but IPv6 is switched off on " +
                                    interface.name + ".",
                                "Switch it on: sysctl net.ipv6.conf." + setting_name(interface) +
                                    ".disable_ipv6=0; or leave udpv6 out of --transport."});
        }
    }
    return findings;
}

std::vector<Finding> find_interface_without_multicast(const Facts &facts, const Wishes &wishes) {
    std::vector<Finding> findings;

    if (has_far_peer(facts, wishes)) {
        return findings;
    }
    for (const Family family : wishes.families) {
        const auto chosen = multicast_interfaces(facts.interfaces, wishes, family);
        const bool is_any = std::ranges::any_of(
            chosen, [](const Interface &interface) { return !interface.is_loopback; });

        for (const Interface &interface : facts.interfaces) {
            // An interface that is not asked for is not missed beside one that has multicast.
            if (!wishes.has_groups(family) || !is_candidate(interface, wishes) ||
                !interface.is_usable(family) || interface.is_multicast ||
                (is_any && !is_asked_for(interface, wishes))) {
                continue;
            }
            findings.push_back(
                {"", interface.name,
                 "Interface " + interface.name +
                     " has multicast switched off: nobody is found over it by " + name_of(family) +
                     " multicast.",
                 "Switch it on: ip link set dev " + interface.name +
                     " multicast on; or do without multicast: --peer HOST --no-multicast"});
        }
    }
    return findings;
}

std::vector<Finding> find_strict_reverse_path(const Facts &facts, const Wishes &wishes) {
    std::vector<Finding> findings;

    if (!wishes.has(Family::IPV4)) {
        return findings;
    }
    for (const Interface &interface : facts.interfaces) {
        if (!is_candidate(interface, wishes) || !interface.is_usable(Family::IPV4) ||
            interface.reverse_path != ReversePath::STRICT) {
            continue;
        }
        for (const Interface &other : facts.interfaces) {
            const auto has_it_answered = [&](const Address &address) {
                return address.answering_interface == other.name &&
                       std::ranges::any_of(other.addresses, [&](const Address &its) {
                           return are_in_one_subnet(address, its);
                       });
            };

            if (other.name == interface.name ||
                std::ranges::none_of(interface.addresses, has_it_answered)) {
                continue;
            }
            findings.push_back(
                {"", interface.name,
                 "Interfaces " + other.name + " and " + interface.name +
                     " are in one subnet, whose hosts the kernel answers by " + other.name +
                     ", and the reverse-path filter of " + interface.name +
                     " is strict: what comes in there is dropped without a word.",
                 "Make it loose: sysctl net.ipv4.conf." + setting_name(interface) +
                     ".rp_filter=2; or use the other one alone: --interface " + other.name});
            break;
        }
    }
    return findings;
}

std::vector<Finding> find_network_twice(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;
    const auto name_of = [](const PopulatedNetwork &network) {
        return network.is_own ? std::string("this network") : "the network " + network.name;
    };

    for (auto one = facts.networks.begin(); one != facts.networks.end(); ++one) {
        for (auto other = std::next(one); other != facts.networks.end(); ++other) {
            // One address alone may be that of a bridge that each of them has.
            if (other->addresses.empty() ||
                !std::ranges::includes(one->addresses, other->addresses)) {
                continue;
            }
            const std::string all = join({other->addresses.begin(), other->addresses.end()}, ", ");

            findings.push_back({"", all,
                                "Participants of " + name_of(*other) +
                                    " of this host have the "
                                    "addresses of " +
                                    name_of(*one) + " (" + all +
                                    "): what is for the one goes to the other.",
                                "Give each container and each network namespace an address of "
                                "its own, or have its participants run in the network of the "
                                "host."});
        }
    }
    return findings;
}

} // namespace doctor
