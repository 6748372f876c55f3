// SPDX-License-Identifier: Apache-2.0
// Participant indices and multicast ports, and who holds them.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "holdings.h"
#include "host/ephemeral_ports.h"
#include "ports.h"
#include "sighting.h"

/** One of a domain's indices or multicast ports as somebody holds it. */
struct HeldPorts {
    /** What says that a participant holds an index, from nothing to everything. */
    enum class Evidence { NONE, BOTH_UNICAST_PORTS, DISCOVERY_BY_MULTICAST, ANNOUNCEMENT };

    DDS_DomainId_t domain;
    std::optional<DDS_Long> index;      // none: a multicast port
    std::vector<Port> ports;            // of the index, or the one; ascending
    std::vector<std::string> addresses; // where they are bound
    std::vector<Holder> holders;        // of an index: each holds all of these ports
    host::NetworkNamespace network;
    std::uint64_t drops = 0; // datagrams that found no room in a socket
    Evidence evidence = Evidence::NONE;
    std::optional<Sighting> announced; // what it says of itself, where that was heard
    struct Use {
        DDS_DomainId_t domain;
        std::optional<DDS_Long> index; // none: a multicast port

        bool operator==(const Use &) const = default;
    };
    std::optional<Use> use_of_holder; // of the same port, where it has another one as well

    /** Whether an index is lost to participants, since none has it. */
    bool are_blocked() const {
        return index && evidence == Evidence::NONE;
    }

    /**
     * Whether they are bound to groups only: who does that lets others receive these as well, while
     * a stranger takes any address.
     */
    bool are_of_groups_only() const;

    /** Whether there is nothing else to say of them, but for drops. */
    bool reads_like(const HeldPorts &other) const;
};

/**
 * By domain, network, and then index, multicast ports first. A port that has several uses is there
 * for each of them.
 * @param heard participants that were heard in the caller's network.
 * @param own_addresses of the interfaces there.
 */
std::vector<HeldPorts> held_ports(const Holdings &holdings, const PortMap &map,
                                  const std::vector<Sighting> &heard,
                                  const std::set<std::string> &own_addresses);

/** Leaves out what is in other domains. */
void keep_domains(std::vector<HeldPorts> &all, const Domains &domains);

/**
 * Leaves out ports that the kernel gives to whoever asks for none, in domains in which nothing else
 * says that there is a participant.
 * @param ephemeral of the caller's network; others are taken to have the usual ones.
 */
void keep_telling(std::vector<HeldPorts> &all, const host::EphemeralPorts &ephemeral);

/** What else there is to say of them: whom they block, what the caller may not know. */
std::vector<std::string> remarks_on(const HeldPorts &held, bool shows_all_processes);
