// SPDX-License-Identifier: Apache-2.0
#include "doctor/end_checks.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>

#include "doctor/texts.h"
#include "properties.h"
#include "words.h"

namespace doctor {

namespace {

constexpr const char *THIS_HOST = "this host";

/** A direction, and how its ends are called in a sentence. */
struct Way {
    const Direction &direction;
    std::string from;
    std::string to;
};

std::vector<Way> ways_of(const Ends &ends) {
    return {{ends.out, THIS_HOST, ends.name}, {ends.in, ends.name, THIS_HOST}};
}

/** The values of the shots of a kind that were sent and have not arrived. */
std::set<unsigned> lost(const Direction &direction, Shot::Kind kind) {
    std::set<unsigned> values;

    for (const Shot &shot : direction.sent) {
        if (shot.kind == kind && !direction.arrived.contains(shot)) {
            values.insert(shot.value);
        }
    }
    return values;
}

std::set<unsigned> arrived(const Direction &direction, Shot::Kind kind) {
    std::set<unsigned> values;

    for (const Shot &shot : direction.arrived) {
        if (shot.kind == kind) {
            values.insert(shot.value);
        }
    }
    return values;
}

bool is_tried(const Direction &direction) {
    return !direction.ports.empty();
}

bool is_all_lost(const Direction &direction) {
    return is_tried(direction) && arrived(direction, Shot::Kind::PORT).empty();
}

std::string as_subject(const Way &way) {
    return way.from + " to " + way.to;
}

/** Findings for each way of which it holds. */
template <class Condition, class Describe>
std::vector<Finding> find_by_way(const Facts &facts, Condition condition, Describe describe) {
    std::vector<Finding> findings;

    if (facts.ends) {
        for (const Way &way : ways_of(*facts.ends)) {
            if (condition(way.direction)) {
                findings.push_back(describe(way));
            }
        }
    }
    return findings;
}

std::string rules_for(const Wishes &wishes) {
    return " (ddspart ports --domain " + std::to_string(wishes.domain) +
           " --nft prints rules that do)";
}

bool is_multicast_lost(const Direction &direction) {
    return direction.has_group && !lost(direction, Shot::Kind::GROUP).empty() &&
           arrived(direction, Shot::Kind::GROUP).empty();
}

bool is_translated(const Direction &direction) {
    return !direction.source.empty() && !direction.seen_source.empty() &&
           direction.source != direction.seen_source;
}

/** The address of a locator, "udpv4://192.0.2.2:7410". */
std::string address_of(const std::string &locator) {
    return to_peer(locator).host;
}

/** The end where a participant is that the other one looks for. */
struct Search {
    const End &of;
    const End &by;
    std::string where; // the participant is
    std::string who;   // looks for it
};

std::string cause_of(const End::Resident &resident, const Search &search) {
    const std::string known = "The participant " + resident.name + " of " + search.where +
                              " is not heard by " + search.who + ": ";
    const std::string all = join(resident.locators, ", ");

    if (std::ranges::all_of(resident.locators, is_loopback_locator)) {
        return known + "it announces only loopback (" + all + "), where no other host reaches it.";
    }
    const bool is_own = std::ranges::all_of(resident.locators, [&](const std::string &locator) {
        return is_loopback_locator(locator) || search.by.addresses.contains(address_of(locator));
    });

    return is_own ? known + "what it announces (" + all + ") are addresses that " + search.who +
                        " has itself, as those of a bridge for containers are."
                  : known + "nothing comes back from what it announces (" + all +
                        "), as from behind a bridge for containers, or a network that only one "
                        "of the two is in.";
}

std::string remedy_for(const End::Resident &resident) {
    return std::ranges::all_of(resident.locators, is_loopback_locator)
               ? "Let it use an interface that the other host reaches (" +
                     std::string(ALLOW_INTERFACES) + "), and see that this was up when it started."
               : "Have it run in the network of its host, or use an interface that the other "
                 "host reaches (" +
                     std::string(ALLOW_INTERFACES) + "); or add a route to its network.";
}

bool are_all_asked(const End::Resident &resident, const std::set<std::string> &asked) {
    return !resident.locators.empty() &&
           std::ranges::all_of(resident.locators, [&](const std::string &locator) {
               return is_loopback_locator(locator) || asked.contains(locator);
           });
}

std::string domain_names(const std::set<DDS_DomainId_t> &domains) {
    std::vector<std::string> names;

    names.reserve(domains.size());
    for (const DDS_DomainId_t domain : domains) {
        names.push_back(std::to_string(domain));
    }
    return (names.size() > 1 ? "domains " : "domain ") + join(names, ", ");
}

} // namespace

std::vector<Finding> find_unicast_lost(const Facts &facts, const Wishes &wishes) {
    const auto is_lost = [](const Direction &direction) {
        return !lost(direction, Shot::Kind::PORT).empty();
    };

    return find_by_way(facts, is_lost, [&](const Way &way) {
        const Direction &back =
            &way.direction == &facts.ends->out ? facts.ends->in : facts.ends->out;
        const std::string ports = port_list(lost(way.direction, Shot::Kind::PORT));
        const std::string other_way =
            is_lost(back)    ? "neither does what is sent the other way"
            : is_tried(back) ? "while what " + way.to + " sends there arrives: one way only"
                             : "and the other way could not be tried";

        return Finding{"", as_subject(way),
                       "What " + way.from + " sends to UDP port " + ports + " of " + way.to +
                           " does not arrive, " + other_way + ".",
                       "Let UDP to these ports into " + way.to + " and out of " + way.from +
                           ", by the firewalls of both and of what is between" + rules_for(wishes) +
                           "."};
    });
}

std::vector<Finding> find_large_lost(const Facts &facts, const Wishes &) {
    return find_by_way(
        facts,
        [](const Direction &direction) {
            return !lost(direction, Shot::Kind::LARGE).empty() &&
                   lost(direction, Shot::Kind::PORT).empty();
        },
        [](const Way &way) {
            const std::set<unsigned> sizes = lost(way.direction, Shot::Kind::LARGE);
            const bool is_packet =
                !arrived(way.direction, Shot::Kind::LARGE).contains(*sizes.begin()) &&
                sizes.size() > 1;
            const std::string from = std::to_string(*sizes.begin());

            return Finding{"", as_subject(way),
                           "Datagrams of " + from + " octets from " + way.from + " to " + way.to +
                               " are lost, while small ones arrive: announcements of that size, "
                               "and data, are lost as well.",
                           is_packet
                               ? "Make the MTU of the interfaces as small as that of the way "
                                 "between (ip link set dev INTERFACE mtu 1400, for one), and let "
                                 "ICMP through, which tells of it."
                               : "Let fragments of UDP through the firewalls on the way, or "
                                 "announce less (user data, properties)."};
        });
}

std::vector<Finding> find_address_translated(const Facts &facts, const Wishes &) {
    return find_by_way(
        facts, [](const Direction &direction) { return is_translated(direction); },
        [](const Way &way) {
            return Finding{"", as_subject(way),
                           "What " + way.from + " sends from " + way.direction.source +
                               " arrives at " + way.to + " as from " + way.direction.seen_source +
                               ": addresses or ports are translated on the way, and nobody "
                               "finds a participant by what it announces from behind that.",
                           "Do without the translation: route between the two networks, join "
                           "them by a VPN, or run the participant in the network of its host."};
        });
}

std::vector<Finding> find_multicast_lost(const Facts &facts, const Wishes &) {
    if (!facts.ends || !facts.ends->here.needs_multicast || !facts.ends->there.needs_multicast) {
        return {}; // one that names the other is enough
    }
    return find_by_way(facts, is_multicast_lost, [&](const Way &way) {
        const Direction &back =
            &way.direction == &facts.ends->out ? facts.ends->in : facts.ends->out;

        return Finding{"", as_subject(way),
                       "What " + way.from + " sends to the group does not arrive at " + way.to +
                           (is_all_lost(way.direction) ? "" : ", while unicast does") +
                           (is_multicast_lost(back) ? "" : "; the other way it does") + ".",
                       "Let UDP and IGMP of the group through firewalls, switches and access "
                       "points between the two; or do without: --peer, with the other host, at "
                       "one of them."};
    });
}

std::vector<Finding> find_ttl_too_small(const Facts &facts, const Wishes &) {
    if (!facts.ends || !facts.ends->here.needs_multicast || !facts.ends->there.needs_multicast) {
        return {};
    }
    return find_by_way(
        facts,
        [](const Direction &direction) {
            const std::set<unsigned> all = arrived(direction, Shot::Kind::GROUP);
            const std::set<unsigned> none = lost(direction, Shot::Kind::GROUP);

            return direction.has_group && !all.empty() && !none.empty() &&
                   *none.begin() < *all.begin();
        },
        [](const Way &way) {
            const std::string needed =
                std::to_string(*arrived(way.direction, Shot::Kind::GROUP).begin());
            const std::string own = std::to_string(*lost(way.direction, Shot::Kind::GROUP).begin());

            return Finding{"", as_subject(way),
                           "What " + way.from + " sends to the group arrives at " + way.to +
                               " only with a time to live of " + needed + ", and participants " +
                               "send it with " + own + ": there are routers between.",
                           "Give participants the property " + std::string(MULTICAST_TTL) + "=" +
                               needed + "."};
        });
}

std::vector<Finding> find_domains_differ(const Facts &facts, const Wishes &) {
    if (!facts.ends) {
        return {};
    }
    const std::set<DDS_DomainId_t> &here = facts.ends->here.domains;
    const std::set<DDS_DomainId_t> &there = facts.ends->there.domains;
    const bool is_any_common =
        std::ranges::any_of(here, [&](DDS_DomainId_t domain) { return there.contains(domain); });

    if (here.empty() || there.empty() || is_any_common) {
        return {};
    }
    return {{"", facts.ends->name,
             "The participants of this host are in " + domain_names(here) + ", those of " +
                 facts.ends->name + " in " + domain_names(there) +
                 ": participants of different domains never find each other.",
             "Give those that are to find each other the same domain."}};
}

std::vector<Finding> find_tags_differ(const Facts &facts, const Wishes &) {
    if (!facts.ends) {
        return {};
    }
    const auto is_tagged = [](const End &end) { return end.is_tagged; };
    const auto is_plain = [](const End &end) { return !end.is_tagged && !end.residents.empty(); };
    const End &here = facts.ends->here;
    const End &there = facts.ends->there;

    if (!(is_tagged(here) && is_plain(there)) && !(is_plain(here) && is_tagged(there))) {
        return {};
    }
    const std::string tagged = is_tagged(here) ? THIS_HOST : facts.ends->name;
    const std::string plain = is_tagged(here) ? facts.ends->name : THIS_HOST;

    return {{"", tagged,
             "The participants of " + tagged + " have a domain tag, those of " + plain +
                 " have none: neither knows the other.",
             "Give those that are to find each other the same tag, discovery_config.domain_tag."}};
}

std::vector<Finding> find_participant_out_of_reach(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;

    if (!facts.ends || !facts.ends->here.is_whole || !facts.ends->there.is_whole) {
        return findings;
    }
    const Ends &ends = *facts.ends;
    const auto is_explained = [](const Direction &direction) {
        return is_all_lost(direction) || is_translated(direction);
    };

    if (is_explained(ends.in) || is_explained(ends.out)) {
        return findings; // by another finding
    }
    const auto find = [&](const Search &search, const std::set<std::string> &asked) {
        for (const End::Resident &resident : search.of.residents) {
            if (!search.by.heard.contains(resident.guid) && are_all_asked(resident, asked)) {
                findings.push_back(
                    {"", resident.guid, cause_of(resident, search), remedy_for(resident)});
            }
        }
    };

    find({ends.there, ends.here, ends.name, THIS_HOST}, ends.asked_here);
    find({ends.here, ends.there, THIS_HOST, ends.name}, ends.asked_there);
    return findings;
}

} // namespace doctor
