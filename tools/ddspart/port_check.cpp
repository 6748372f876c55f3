// SPDX-License-Identifier: Apache-2.0
#include "port_check.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "held_ports.h"
#include "ports.h"
#include "words.h"

namespace {

/** What is said against one domain, until it is put into words. */
struct Objections {
    std::set<unsigned> invalid;
    std::set<unsigned> ephemeral;
    std::map<DDS_DomainId_t, std::set<unsigned>> shared; // with that domain
    std::vector<PortFinding> held;
    std::set<unsigned> unsafe_indices;
    std::set<unsigned> indices_in_use;
    bool is_unsafe = false; // whatever the index
};

void object_to(Objections &against, const std::optional<DDS_Long> &index) {
    if (index) {
        against.unsafe_indices.insert(static_cast<unsigned>(*index));
    } else {
        against.is_unsafe = true;
    }
}

void find_invalid(Objections &against, const PortSettings &settings,
                  const PortsOptions::Range &indices) {
    for (DDS_Long index = indices.first; index <= indices.last; ++index) {
        for (const Port &port : ports_of(settings, index)) {
            if (!port.is_valid()) {
                object_to(against, index);
                against.invalid.insert(static_cast<unsigned>(index));
            }
        }
    }
}

using AllObjections = std::map<DDS_DomainId_t, Objections>;

void find_ephemeral(AllObjections &against, const PortMap &map,
                    const host::EphemeralPorts &ephemeral) {
    for (const auto &[port, use] : map) {
        if (ephemeral.may_be(port)) {
            object_to(against[use.domain], use.index);
            against[use.domain].ephemeral.insert(port);
        }
    }
}

void find_shared(AllObjections &against, const PortMap &map) {
    for (const auto &[port, use] : map) {
        const auto [first, last] = map.equal_range(port);

        for (auto other = first; other != last; ++other) {
            if (other->second != use) {
                object_to(against[use.domain], use.index);
                against[use.domain].shared[other->second.domain].insert(port);
            }
        }
    }
}

std::string names_of(const HeldPorts &held) {
    std::vector<std::string> names;

    for (const Holder &holder : held.holders) {
        const std::string process = process_of(holder);

        names.push_back((process.empty() ? "an unknown process" : process) + " of user " +
                        host::user_name(holder.user));
    }
    return join(names, ", ");
}

/** @param map with the other indices as well: whoever has one of these may have the groups. */
void find_held(AllObjections &against, const PortsOptions &options, const PortMap &map,
               const Holdings &holdings) {
    for (const HeldPorts &held : held_ports(holdings, map, {}, {})) {
        if (held.index && options.indices &&
            (*held.index < options.indices->first || *held.index > options.indices->last)) {
            continue;
        }
        Objections &of_domain = against[held.domain];
        const auto port = static_cast<unsigned>(held.ports.front().number);
        const std::string by = std::to_string(port) + " is held by " + names_of(held);

        if (held.index && !held.are_blocked()) {
            of_domain.indices_in_use.insert(static_cast<unsigned>(*held.index));
        } else if (held.index) {
            object_to(of_domain, held.index);
            of_domain.held.push_back(
                {"held", {{port, port}}, by + ": blocks index " + std::to_string(*held.index)});
        } else if (held.evidence == HeldPorts::Evidence::NONE && !held.are_of_groups_only()) {
            object_to(of_domain, held.index);
            of_domain.held.push_back({"held",
                                      {{port, port}},
                                      by + ", who has no index: blocks the domain unless shared"});
        }
    }
}

/** "port 7410" or "ports 7410-7411". */
std::string of_ports(const std::vector<host::PortRange> &ranges) {
    const bool is_one = ranges.size() == 1 && ranges.front().first == ranges.front().last;

    return (is_one ? "port " : "ports ") + to_text(ranges);
}

std::vector<PortFinding> findings_of(DDS_DomainId_t domain, Objections against,
                                     const host::EphemeralPorts &ephemeral) {
    std::vector<PortFinding> findings;

    if (!against.invalid.empty()) {
        findings.push_back({"invalid",
                            {},
                            "indices " + to_text(ranges_of(against.invalid)) +
                                ": without valid ports, which are 1 to 65535"});
    }
    if (!against.ephemeral.empty()) {
        const auto ports = ranges_of(against.ephemeral);

        findings.push_back({"ephemeral", ports,
                            of_ports(ports) +
                                ": given by the kernel to any program, unless in "
                                "ip_local_reserved_ports: ip_local_port_range is " +
                                to_text({ephemeral.range})});
    }
    std::ranges::move(against.held, std::back_inserter(findings));
    for (const auto &[other, numbers] : against.shared) {
        const auto ports = ranges_of(numbers);

        findings.push_back(
            {"shared", ports,
             of_ports(ports) + (other == domain
                                    ? ": of several uses in this domain"
                                    : ": of domain " + std::to_string(other) + " as well")});
    }
    return findings;
}

DomainCheck check_of(const PortSettings &settings, const std::optional<PortsOptions::Range> &range,
                     Objections against, const host::EphemeralPorts &ephemeral) {
    std::set<unsigned> safe;

    if (!range) {
        return {settings.domain, {}, {}, {{"invalid", {}, "no index has valid ports"}}};
    }
    find_invalid(against, settings, *range);
    for (DDS_Long i = range->first; i <= range->last && !against.is_unsafe; ++i) {
        const auto index = static_cast<unsigned>(i);

        if (!against.unsafe_indices.contains(index) && !against.indices_in_use.contains(index)) {
            safe.insert(index);
        }
    }
    const auto in_use = ranges_of(against.indices_in_use);

    return {settings.domain, ranges_of(safe), in_use,
            findings_of(settings.domain, std::move(against), ephemeral)};
}

/** Of each domain, with the indices asked for, else all usable ones. */
PortMap ports_asked_for(const PortsOptions &options) {
    PortMap map;

    for (const PortSettings &settings : options.each_domain()) {
        if (const auto indices = indices_of(options, settings)) {
            add_ports(map, settings, *indices);
            refuse_too_many_uses(map, settings.well_known_ports);
        }
    }
    return map;
}

} // namespace

bool PortCheck::has_findings() const {
    return std::ranges::any_of(domains,
                               [](const DomainCheck &domain) { return !domain.findings.empty(); });
}

std::optional<PortsOptions::Range> indices_of(const PortsOptions &options,
                                              const PortSettings &in_domain) {
    const auto highest = highest_usable_index(in_domain);

    if (options.indices) {
        return options.indices;
    }
    return highest ? std::optional(PortsOptions::Range{0, *highest}) : std::nullopt;
}

PortMap ports_to_look_at(const PortsOptions &options) {
    PortMap map;

    for (const PortSettings &settings : options.each_domain()) {
        const DDS_Long highest = highest_usable_index(settings).value_or(-1);
        const DDS_Long last = options.indices ? options.indices->last : -1;

        if (std::max(highest, last) >= 0) {
            add_ports(map, settings, {0, std::max(highest, last)});
            refuse_too_many_uses(map, settings.well_known_ports);
        }
    }
    return map;
}

PortCheck check_ports(const PortsOptions &options, const Holdings &holdings,
                      const host::EphemeralPorts &ephemeral) {
    const PortMap map = ports_asked_for(options);
    AllObjections against;
    PortCheck check;

    find_ephemeral(against, map, ephemeral);
    find_shared(against, map);
    find_held(against, options, ports_to_look_at(options), holdings);
    for (const PortSettings &settings : options.each_domain()) {
        check.domains.push_back(check_of(settings, indices_of(options, settings),
                                         std::move(against[settings.domain]), ephemeral));
    }
    return check;
}

std::vector<host::PortRange> safe_domains(const PortCheck &check) {
    std::set<unsigned> domains;

    for (const DomainCheck &domain : check.domains) {
        if (domain.findings.empty()) {
            domains.insert(static_cast<unsigned>(domain.domain));
        }
    }
    return ranges_of(domains);
}

std::vector<host::PortRange> ranges_of(const std::set<unsigned> &numbers) {
    std::vector<host::PortRange> ranges;

    for (const unsigned number : numbers) {
        if (ranges.empty() || ranges.back().last + 1 != number) {
            ranges.push_back({number, number});
        } else {
            ranges.back().last = number;
        }
    }
    return ranges;
}

std::string to_text(const std::vector<host::PortRange> &ranges) {
    std::vector<std::string> texts;

    texts.reserve(ranges.size());
    for (const host::PortRange &range : ranges) {
        texts.push_back(std::to_string(range.first) +
                        (range.first == range.last ? "" : "-" + std::to_string(range.last)));
    }
    return join(texts, ", ");
}
