// SPDX-License-Identifier: Apache-2.0
#include "held_ports.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>

#include "host/addresses.h"

namespace {

constexpr std::string_view BUILTIN_MULTICAST = "builtin_multicast";

using Holders = std::vector<Holder>;

/** What is in one row: the ports of an index with the same holders, or one multicast port. */
struct Key {
    DDS_DomainId_t domain;
    std::size_t network;
    std::optional<DDS_Long> index;
    unsigned multicast_port; // 0: of an index
    Holders holders;         // of a multicast port none: all share its row

    auto operator<=>(const Key &) const = default;
};

template <class Value>
void insert(std::vector<Value> &sorted, const Value &value) {
    const auto place = std::ranges::lower_bound(sorted, value);

    if (place == sorted.end() || *place != value) {
        sorted.insert(place, value);
    }
}

void insert(std::vector<Port> &ports, std::string_view kind, unsigned number) {
    const Port port = {kind, number};

    if (std::ranges::find(ports, port) == ports.end()) {
        ports.push_back(port);
    }
    std::ranges::sort(ports, {}, &Port::number);
}

using Rows = std::map<Key, HeldPorts>;

void add(Rows &rows, const Holdings &holdings, const Holding &holding, const PortUse &use) {
    const Key key = {use.domain, holding.network, use.index, use.index ? 0U : holding.socket.port,
                     use.index ? holding.holders : Holders()};
    HeldPorts &row = rows[key];

    row.domain = use.domain;
    row.index = use.index;
    row.network = holdings.networks[holding.network];
    row.drops += holding.socket.drops;
    insert(row.ports, use.kind, holding.socket.port);
    insert(row.addresses, holding.socket.address);
    for (const Holder &holder : holding.holders) {
        insert(row.holders, holder);
    }
}

bool have_one_in_common(const Holders &left, const Holders &right) {
    return std::ranges::any_of(left, [&](const Holder &holder) {
        return std::ranges::find(right, holder) != right.end();
    });
}

/** Who holds the ports for discovery by multicast, by domain and network. */
using Discoverers = std::map<std::pair<DDS_DomainId_t, std::size_t>, Holders>;

Discoverers discoverers_of(const Rows &rows) {
    Discoverers discoverers;

    for (const auto &[key, row] : rows) {
        if (!key.index && row.ports.front().kind == BUILTIN_MULTICAST) {
            discoverers[{key.domain, key.network}] = row.holders;
        }
    }
    return discoverers;
}

bool has_port(const HeldPorts &row, const std::optional<DDS_Long> &number) {
    return number &&
           std::ranges::any_of(row.ports, [&](const Port &port) { return port.number == *number; });
}

/** The participant of this host whose ports they are, if it was heard. */
const Sighting *announcement_of(const HeldPorts &row, const std::vector<Sighting> &heard,
                                const std::set<std::string> &own_addresses) {
    const auto is_it = [&](const Sighting &other) {
        return other.domain == row.domain &&
               (has_port(row, other.builtin_unicast_port) ||
                has_port(row, other.user_unicast_port)) &&
               is_at(other, own_addresses);
    };
    const auto found = row.network.is_own ? std::ranges::find_if(heard, is_it) : heard.end();

    return found == heard.end() ? nullptr : &*found;
}

HeldPorts::Evidence evidence_of(const Key &key, const HeldPorts &row,
                                const Discoverers &discoverers) {
    const auto found = discoverers.find({key.domain, key.network});

    if (row.announced) {
        return HeldPorts::Evidence::ANNOUNCEMENT;
    }
    if (found != discoverers.end() && have_one_in_common(row.holders, found->second)) {
        return HeldPorts::Evidence::DISCOVERY_BY_MULTICAST;
    }
    return row.ports.size() > 1 ? HeldPorts::Evidence::BOTH_UNICAST_PORTS
                                : HeldPorts::Evidence::NONE;
}

/** A multicast port is a participant's if its holder has an index in the domain. */
void find_groups_of_participants(Rows &rows) {
    std::map<std::pair<DDS_DomainId_t, std::size_t>, Holders> participants;

    for (const auto &[key, row] : rows) {
        if (key.index && row.evidence > HeldPorts::Evidence::NONE) {
            Holders &holders = participants[{key.domain, key.network}];

            holders.insert(holders.end(), row.holders.begin(), row.holders.end());
        }
    }
    for (auto &[key, row] : rows) {
        if (!key.index &&
            have_one_in_common(row.holders, participants[{key.domain, key.network}])) {
            row.evidence = HeldPorts::Evidence::DISCOVERY_BY_MULTICAST;
        }
    }
}

/** How much says that a port is held for the sake of a row. */
using Strength = std::tuple<bool, std::size_t, HeldPorts::Evidence>;

Strength strength_of(const HeldPorts &row) {
    return {row.announced.has_value(), row.ports.size(), row.evidence};
}

/** What a port may be held for. */
struct Claim {
    Strength strength;
    const HeldPorts *row;
};

/** By network and port. */
using Claims = std::multimap<std::pair<std::size_t, DDS_LongLong>, Claim>;

Claims claims_of(const Rows &rows) {
    Claims claims;

    for (const auto &[key, row] : rows) {
        for (const Port &port : row.ports) {
            claims.emplace(std::pair(key.network, port.number), Claim{strength_of(row), &row});
        }
    }
    return claims;
}

/** The row that the holder of a port of @p row rather holds it for, if there is one. */
const HeldPorts *better_row(const Key &key, const HeldPorts &row, const Claims &claims) {
    for (const Port &port : row.ports) {
        const auto [first, last] = claims.equal_range({key.network, port.number});
        const auto better = std::find_if(first, last, [&](const auto &each) {
            return each.second.strength > strength_of(row) &&
                   have_one_in_common(each.second.row->holders, row.holders);
        });

        if (better != last) {
            return better->second.row;
        }
    }
    return nullptr;
}

/** A socket has one use, whatever else its port might be for: an index is blocked by the others. */
void find_other_uses(Rows &rows) {
    const Claims claims = claims_of(rows);
    std::vector<std::pair<HeldPorts *, HeldPorts::Use>> found;

    for (auto &[key, row] : rows) {
        const HeldPorts *const better = row.index ? better_row(key, row, claims) : nullptr;

        if (better != nullptr) {
            found.emplace_back(&row, HeldPorts::Use{better->domain, better->index});
        }
    }
    for (auto &[row, use] : found) {
        row->evidence = HeldPorts::Evidence::NONE;
        row->use_of_holder = use;
    }
}

bool may_be_anybodys(const HeldPorts &row, const host::EphemeralPorts &ephemeral) {
    static const host::EphemeralPorts USUAL = host::usual_ephemeral_ports();
    const host::EphemeralPorts &its = row.network.is_own ? ephemeral : USUAL;

    return std::ranges::any_of(row.ports, [&](const Port &port) {
        return its.may_be(static_cast<unsigned>(port.number));
    });
}

std::string which(const std::optional<DDS_Long> &index) {
    return index ? "index " + std::to_string(*index) : "a multicast port";
}

} // namespace

bool HeldPorts::are_of_groups_only() const {
    return std::ranges::all_of(addresses, host::is_group);
}

bool HeldPorts::reads_like(const HeldPorts &other) const {
    const auto description_of = [](const HeldPorts &held) {
        return held.announced ? std::optional<Description>(*held.announced) : std::nullopt;
    };

    return ports == other.ports && addresses == other.addresses && holders == other.holders &&
           evidence == other.evidence && use_of_holder == other.use_of_holder &&
           description_of(*this) == description_of(other);
}

std::vector<HeldPorts> held_ports(const Holdings &holdings, const PortMap &map,
                                  const std::vector<Sighting> &heard,
                                  const std::set<std::string> &own_addresses) {
    Rows rows;
    std::vector<HeldPorts> all;

    for (const Holding &holding : holdings.all) {
        const auto [first, last] = map.equal_range(holding.socket.port);

        for (auto use = first; use != last; ++use) {
            add(rows, holdings, holding, use->second);
        }
    }
    const Discoverers discoverers = discoverers_of(rows);

    for (auto &[key, row] : rows) {
        if (!key.index) {
            continue;
        }
        if (const Sighting *const announced = announcement_of(row, heard, own_addresses)) {
            row.announced = *announced;
        }
        row.evidence = evidence_of(key, row, discoverers);
    }
    find_groups_of_participants(rows);
    find_other_uses(rows);
    for (auto &[key, row] : rows) {
        all.push_back(std::move(row));
    }
    return all;
}

void keep_domains(std::vector<HeldPorts> &all, const Domains &domains) {
    std::erase_if(all, [&](const HeldPorts &row) { return !domains.contain(row.domain); });
}

void keep_telling(std::vector<HeldPorts> &all, const host::EphemeralPorts &ephemeral) {
    std::set<DDS_DomainId_t> with_participants;

    for (const HeldPorts &row : all) {
        // Two ports in a row may be given by chance.
        if (row.evidence > HeldPorts::Evidence::BOTH_UNICAST_PORTS ||
            (row.evidence == HeldPorts::Evidence::BOTH_UNICAST_PORTS &&
             !may_be_anybodys(row, ephemeral))) {
            with_participants.insert(row.domain);
        }
    }
    std::erase_if(all, [&](const HeldPorts &row) {
        return !with_participants.contains(row.domain) && may_be_anybodys(row, ephemeral);
    });
}

std::vector<std::string> remarks_on(const HeldPorts &held, bool shows_all_processes) {
    constexpr uid_t ROOT = 0;
    std::vector<std::string> remarks;

    if (held.use_of_holder) {
        remarks.push_back("is " + which(held.use_of_holder->index) + " of domain " +
                          std::to_string(held.use_of_holder->domain) + ": blocks " +
                          which(held.index));
    } else if (held.are_blocked()) {
        remarks.push_back("announces nothing: blocks " + which(held.index));
    }
    for (const Holder &holder : held.holders) {
        if (!holder.process && shows_all_processes) {
            remarks.push_back("held by no process that is to be seen from here");
        } else if (!holder.process) {
            remarks.push_back(
                "process unknown: run as root" +
                (holder.user == ROOT ? "" : " or as " + host::user_name(holder.user)));
        }
    }
    return remarks;
}
