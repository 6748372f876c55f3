// SPDX-License-Identifier: Apache-2.0
#include "taken_ports.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "held_ports.h"
#include "ports.h"
#include "words.h"

namespace {

PortsOptions::Range indices_tried(const ParticipantOptions &options) {
    if (options.index != DDS_PARTICIPANT_ID_AUTO) {
        return {options.index, options.index};
    }
    return {0, highest_usable_index(options).value_or(-1)};
}

/** An index is claimed by its port for discovery, whatever is to be reserved. */
bool is_wanted(const Port &port, const ParticipantOptions &options) {
    return port.kind == "builtin_unicast" ||
           (port.kind == "user_unicast" &&
            (options.reserved_ports & DDS_RTPS_RESERVED_PORT_USER_UNICAST) != 0);
}

std::string named(const std::vector<Holder> &holders) {
    std::vector<std::string> names;

    for (const Holder &holder : holders) {
        const auto &process = holder.process;

        names.push_back(process
                            ? "process " + std::to_string(process->id) + " (" + process->name + ")"
                            : "an unknown process of user " + host::user_name(holder.user));
    }
    return join(names, ", ");
}

/** By index, one port that keeps it from a participant. */
using Obstacles = std::map<DDS_Long, std::pair<DDS_LongLong, std::vector<Holder>>>;

Obstacles obstacles_of(const std::vector<HeldPorts> &all, const ParticipantOptions &options) {
    const PortsOptions::Range tried = indices_tried(options);
    Obstacles obstacles;

    for (const HeldPorts &held : all) {
        for (const Port &port : held.ports) {
            if (held.index && *held.index >= tried.first && *held.index <= tried.last &&
                is_wanted(port, options)) {
                obstacles.try_emplace(*held.index, port.number, held.holders);
            }
        }
    }
    return obstacles;
}

/** Each holder with the first of its ports, and how many others it has; some of them at most. */
std::string in_words(const Obstacles &obstacles) {
    constexpr std::size_t NAMED = 3;
    struct Group {
        DDS_LongLong first;
        std::size_t others;
        std::string holder;
    };
    std::vector<Group> groups;
    std::vector<std::string> texts;

    for (const auto &[index, obstacle] : obstacles) {
        const std::string holder = named(obstacle.second);
        const auto found = std::ranges::find(groups, holder, &Group::holder);

        if (found == groups.end()) {
            groups.push_back({obstacle.first, 0, holder});
        } else {
            ++found->others;
        }
    }
    texts.reserve(groups.size());
    for (const Group &group : groups) {
        texts.push_back(std::to_string(group.first) +
                        (group.others == 0
                             ? " is held by "
                             : " and " + std::to_string(group.others) + " more are held by ") +
                        group.holder);
    }
    if (texts.size() > NAMED) {
        const std::size_t rest = texts.size() - NAMED;

        texts.resize(NAMED);
        texts.push_back("others by " + std::to_string(rest) + " more processes");
    }
    return join(texts, ", ");
}

} // namespace

PortMap ports_to_look_at(const ParticipantOptions &options) {
    const DDS_Long highest = highest_usable_index(options).value_or(-1);
    PortMap map;

    // Whoever has another index may have the groups as well.
    add_ports(map, options, {0, std::max(highest, indices_tried(options).last)});
    return map;
}

std::string taken_ports(const ParticipantOptions &options, const Holdings &holdings) {
    const PortsOptions::Range tried = indices_tried(options);
    const std::vector<HeldPorts> all = held_ports(holdings, ports_to_look_at(options), {}, {});
    const Obstacles obstacles = obstacles_of(all, options);
    const auto is_in_the_way = [](const HeldPorts &held) {
        return !held.index && held.evidence == HeldPorts::Evidence::NONE &&
               !held.are_of_groups_only();
    };

    if (tried.first <= tried.last &&
        static_cast<DDS_Long>(obstacles.size()) == tried.last - tried.first + 1) {
        return "index " + std::to_string(tried.first) +
               (tried.first == tried.last ? "" : " to " + std::to_string(tried.last)) + " tried; " +
               in_words(obstacles);
    }
    const auto group = std::ranges::find_if(all, is_in_the_way);

    return group == all.end() ? ""
                              : "multicast port " + std::to_string(group->ports.front().number) +
                                    " is held by " + named(group->holders);
}
