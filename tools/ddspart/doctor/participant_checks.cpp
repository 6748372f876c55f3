// SPDX-License-Identifier: Apache-2.0
#include "doctor/participant_checks.h"

#include <algorithm>
#include <array>
#include <map>

#include "doctor/texts.h"
#include "words.h"

namespace doctor {

namespace {

bool is_loopback_address(const Facts &facts, const std::string &address) {
    return address.starts_with("127.") ||
           std::ranges::any_of(facts.interfaces, [&](const Interface &interface) {
               return interface.is_loopback && is_named(interface, address);
           });
}

bool is_own_address(const Facts &facts, const std::string &address) {
    return std::ranges::any_of(
        facts.interfaces, [&](const Interface &interface) { return is_named(interface, address); });
}

/** Whether somebody was heard who can be the one at this address. */
bool is_heard(const Facts &facts, const std::string &address) {
    const bool is_here = is_loopback_address(facts, address);

    return std::ranges::any_of(facts.heard->others, [&](const Sighting &other) {
        return std::ranges::any_of(other.addresses, [&](const std::string &its) {
            return its == address || (is_here && is_own_address(facts, its));
        });
    });
}

std::string name_of(const Sighting &other) {
    const std::string name = other.name.value_or(other.process.value_or(other.guid));

    return other.host ? name + " on " + *other.host : name;
}

} // namespace

std::vector<Finding> find_silent_peer(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;

    if (!facts.heard || !facts.heard->is_announced) {
        return findings;
    }
    for (const PeerTrial &trial : facts.peers) {
        const auto is_there = [&](const std::string &address) { return is_heard(facts, address); };
        const bool is_answering = std::ranges::any_of(trial.addresses, is_there) ||
                                  std::ranges::any_of(trial.later_addresses, is_there);

        if (!trial.addresses.empty() && trial.route_error == 0 && !is_answering) {
            const std::string all = join(trial.addresses, ", ");
            const bool is_name = trial.peer.is_name;

            findings.push_back(
                {"", trial.peer.text,
                 "The peer " + trial.peer.text + (is_name ? " (" + all + ")" : "") +
                     " has not answered within " + text_of(facts.heard->duration) +
                     ": no participant of the domain is there, or what is sent to it or comes back "
                     "is lost on the way" +
                     (is_name ? ", or the host has another address by now than its name has here."
                              : "."),
                 (is_name ? "See whether the host still has " + all +
                                ", which /etc/hosts or a name server gives here. "
                          : "") +
                     "Run ddspart list and ddspart doctor there, with the same domain; let UDP "
                     "through whatever firewall is between."});
        }
    }
    return findings;
}

std::vector<Finding> find_refused_participants(const Facts &facts, const Wishes &wishes) {
    struct Reason {
        DDS_DiscoveryRefusal refusal;
        const char *cause;
        const char *remedy;
    };
    static constexpr std::array REASONS = {
        Reason{DDS_DISCOVERY_REFUSED_DOMAIN_ID,
               "are of participants of another domain: their ports are others than those of the "
               "standard, or yours are.",
               "Give all of them the same settings of ports, --port-base and those beside it."},
        Reason{DDS_DISCOVERY_REFUSED_DOMAIN_TAG,
               "are of participants that have a domain tag, while this one has none: neither knows "
               "the other.",
               "Give those that are to find each other the same tag, discovery_config.domain_tag."},
        Reason{DDS_DISCOVERY_REFUSED_FORGED,
               "come from elsewhere than where their participant lives: two have one GUID, as "
               "after a copy of a running machine, or somebody speaks in another's name.",
               "Start one of the two anew, so that it gets a GUID of its own."},
    };
    std::vector<Finding> findings;

    for (const Reason &reason : REASONS) {
        const DDS_UnsignedLongLong count =
            facts.heard ? facts.heard->statistics.refused[reason.refusal] : 0;

        if (count > 0) {
            findings.push_back({"", DDS_DiscoveryRefusal_to_string(reason.refusal),
                                std::to_string(count) +
                                    " announcements that were heard in domain " +
                                    std::to_string(wishes.domain) + " " + reason.cause,
                                reason.remedy});
        }
    }
    return findings;
}

std::vector<Finding> find_lease_too_short(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;

    if (!facts.heard) {
        return findings;
    }
    for (const Sighting &other : facts.heard->returned) {
        findings.push_back({"", other.guid,
                            name_of(other) + " was lost and came back: its lease" +
                                (other.lease ? " of " + text_of(*other.lease) : "") +
                                " ends before it announces itself again.",
                            "Give it a longer lease, discovery_config.lease_duration, or have it "
                            "announce itself more often, at least four times in a lease."});
    }
    return findings;
}

std::vector<Finding> find_shared_locator(const Facts &facts, const Wishes &) {
    // By all locators: an address that many hosts have, as of a bridge for containers, harms nobody
    // beside others.
    std::map<std::vector<std::string>, std::vector<std::string>> holders;
    std::vector<Finding> findings;

    if (!facts.heard) {
        return findings;
    }
    for (const Sighting &other : facts.heard->others) {
        std::vector<std::string> locators = other.metatraffic_unicast_locators;

        std::erase_if(locators, is_loopback_locator);
        std::ranges::sort(locators);
        if (!locators.empty()) {
            holders[locators].push_back(name_of(other));
        }
    }
    for (const auto &[locators, names] : holders) {
        if (names.size() > 1) {
            findings.push_back({"", join(locators, ", "),
                                names[0] + " and " + names[1] + " both announce " +
                                    join(locators, ", ") +
                                    ": two hosts or containers have one address, and what is for "
                                    "one goes to the other.",
                                "Give each host and each container an address of its own."});
        }
    }
    return findings;
}

} // namespace doctor
