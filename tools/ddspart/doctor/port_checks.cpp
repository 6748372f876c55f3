// SPDX-License-Identifier: Apache-2.0
#include "doctor/port_checks.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <string>

#include "doctor/texts.h"
#include "host/processes.h"
#include "words.h"

namespace doctor {

namespace {

std::string name_of(const Holder &holder) {
    const std::string process = process_of(holder);

    return process.empty() ? "a process of " + host::user_name(holder.user) : process;
}

/** The names, those beyond the first ones only counted. */
std::string some_of(const std::vector<std::string> &names) {
    constexpr std::size_t MOST = 3;

    if (names.size() <= MOST) {
        return join(names, ", ");
    }
    return join({names.begin(), names.begin() + MOST}, ", ") + " and " +
           std::to_string(names.size() - MOST) + " more";
}

std::string holders_of(const HeldPorts &held) {
    std::vector<std::string> names;

    names.reserve(held.holders.size());
    for (const Holder &holder : held.holders) {
        names.push_back(name_of(holder));
    }
    return some_of(names);
}

std::set<unsigned> numbers_of(const HeldPorts &held) {
    std::set<unsigned> numbers;

    for (const Port &port : held.ports) {
        numbers.insert(static_cast<unsigned>(port.number));
    }
    return numbers;
}

/** Who holds a port of a group, in words. */
std::string holders_of_group_port(const Facts &facts, unsigned port) {
    for (const HeldPorts &held : facts.held) {
        if (!held.index && numbers_of(held).contains(port)) {
            return holders_of(held);
        }
    }
    return "somebody";
}

} // namespace

std::vector<Finding> find_group_port_taken(const Facts &facts, const Wishes &wishes) {
    std::vector<Finding> findings;

    for (const Group &group : wishes.groups) {
        const bool is_taken = std::ranges::any_of(facts.probes, [&](const Probe &probe) {
            return probe.outcome == Probe::Outcome::HELD && probe.port == group.port &&
                   probe.destination == group.address;
        });

        if (is_taken && group.is_received) {
            findings.push_back({"", std::to_string(group.port),
                                "UDP port " + std::to_string(group.port) +
                                    ", at which announcements to " + group.address +
                                    " arrive, is held by " +
                                    holders_of_group_port(facts, group.port) +
                                    ", which does not share it: no participant of the domain can "
                                    "be created.",
                                "Have it use another port, or use another domain."});
        }
    }
    return findings;
}

std::vector<Finding> find_port_not_bound(const Facts &facts, const Wishes &) {
    std::map<int, std::set<unsigned>> ports;
    std::vector<Finding> findings;

    for (const Probe &probe : facts.probes) {
        if (probe.outcome == Probe::Outcome::NOT_BOUND && probe.port != 0) {
            ports[probe.error].insert(probe.port);
        }
    }
    for (const auto &[error, numbers] : ports) {
        const std::string all = port_list(numbers);

        findings.push_back(
            {"", all,
             "UDP port " + all + " of the domain cannot be bound: " + error_text(error) + ".",
             error == EACCES ? "Ports below net.ipv4.ip_unprivileged_port_start are root's: use "
                               "a higher --port-base."
                             : "Use other ports: another --domain, or another --port-base."});
    }
    return findings;
}

std::vector<Finding> find_index_blocked(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;

    for (const HeldPorts &held : facts.held) {
        const std::string ports = port_list(numbers_of(held));

        // At the first ones a participant is looked for by peers that are told no port.
        if (!held.are_blocked() || *held.index > HIGHEST_PEER_INDEX) {
            continue;
        }
        findings.push_back(
            {"", ports,
             "UDP port " + ports + " of participant index " + std::to_string(*held.index) +
                 " is held by " + holders_of(held) + ", which is no participant of the domain: " +
                 "no participant can have the index, and whoever looks for one there finds none.",
             "Have it use another port, or use another domain."});
    }
    return findings;
}

std::vector<Finding> find_no_free_index(const Facts &facts, const Wishes &wishes) {
    std::set<DDS_Long> taken;
    std::map<std::string, std::size_t> by_holder;

    for (const HeldPorts &held : facts.held) {
        if (held.index && taken.insert(*held.index).second) {
            ++by_holder[holders_of(held)];
        }
    }
    std::vector<std::pair<std::size_t, std::string>> most;
    std::vector<std::string> names;

    if (!facts.highest_index || taken.size() <= static_cast<std::size_t>(*facts.highest_index)) {
        return {};
    }
    most.reserve(by_holder.size());
    for (const auto &[holder, times] : by_holder) {
        most.emplace_back(times, holder);
    }
    std::ranges::sort(most, std::greater());
    names.reserve(most.size());
    for (const auto &[times, holder] : most) {
        names.push_back(std::to_string(times) + " by " + holder);
    }
    return {{"", std::to_string(wishes.domain),
             "All " + std::to_string(taken.size()) + " participant indices of domain " +
                 std::to_string(wishes.domain) + " are taken on this host: " + some_of(names) + ".",
             "End some of them, or put participants into other domains."}};
}

std::vector<Finding> find_suspended_process(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;
    std::set<pid_t> told;

    for (const HeldPorts &held : facts.held) {
        for (const Holder &holder : held.holders) {
            if (!held.index || !holder.process || !facts.stopped.contains(holder.process->id) ||
                !told.insert(holder.process->id).second) {
                continue;
            }
            findings.push_back({"", std::to_string(holder.process->id),
                                process_of(holder) + ", which holds UDP port " +
                                    port_list(numbers_of(held)) +
                                    ", is stopped: it neither announces itself nor answers, and "
                                    "others drop it when its lease ends.",
                                "Have it go on: kill -CONT " + std::to_string(holder.process->id) +
                                    ", or by the debugger that has stopped it; or end it."});
        }
    }
    return findings;
}

std::vector<Finding> find_datagrams_lost(const Facts &facts, const Wishes &) {
    std::vector<Finding> findings;

    for (const HeldPorts &held : facts.held) {
        const std::string ports = port_list(numbers_of(held));

        if (held.drops > 0) {
            findings.push_back({"", ports,
                                holders_of(held) + " has lost " + std::to_string(held.drops) +
                                    " datagrams at UDP port " + ports +
                                    " meanwhile: its sockets had no room for them.",
                                "Give sockets more room, net.core.rmem_default, and start it anew; "
                                "or find out what keeps it from reading."});
        }
    }
    return findings;
}

std::vector<Finding> find_ephemeral_ports(const Facts &facts, const Wishes &wishes) {
    std::set<unsigned> ports;

    for (const unsigned port : facts.ports) {
        if (facts.ephemeral && facts.ephemeral->may_be(port)) {
            ports.insert(port);
        }
    }
    if (ports.empty()) {
        return {};
    }
    const std::string all = port_list(ports);

    return {{"", all,
             "UDP ports of domain " + std::to_string(wishes.domain) + " (" + all +
                 ") are among those that the kernel gives to any program that asks for none (" +
                 std::to_string(facts.ephemeral->range.first) + "-" +
                 std::to_string(facts.ephemeral->range.last) +
                 "): a stranger may have them when a participant starts.",
             "Add them to those that it gives to nobody, net.ipv4.ip_local_reserved_ports; or use "
             "a domain with lower ports."}};
}

std::vector<Finding> find_few_descriptors(const Facts &facts, const Wishes &) {
    constexpr std::size_t FOR_ONE_PARTICIPANT = 16;

    if (!facts.descriptor_limit || *facts.descriptor_limit >= FOR_ONE_PARTICIPANT) {
        return {};
    }
    return {{"", std::to_string(*facts.descriptor_limit),
             "A program that is started here may have " + std::to_string(*facts.descriptor_limit) +
                 " files and sockets open: a participant needs up to " +
                 std::to_string(FOR_ONE_PARTICIPANT) + ", besides what its application has.",
             "Raise the limit: ulimit -n 1024; for a service, LimitNOFILE=."}};
}

} // namespace doctor
