// SPDX-License-Identifier: Apache-2.0
// Trials between two hosts: datagrams that one of them sends and the other one receives.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "doctor/facts.h"
#include "doctor/socket.h"

namespace doctor {

/** "port 7410" as a record of a message, and back. */
std::vector<std::string> to_record(const Shot &shot);
std::optional<Shot> to_shot(const std::vector<std::string> &record);

/** What is sent by one end and received by the other. */
struct VolleyPlan {
    Family family;
    Wishes wishes;                     // of this end: its groups
    std::vector<Interface> interfaces; // for the groups
    std::uint64_t token;               // by which its datagrams are told from all others
};

/**
 * Has ports, as long as it lives: those of the list that are free, and those of the groups, which
 * it shares. What is sent there by others is thrown away.
 */
class Ear {
public:
    Ear(const VolleyPlan &plan, const std::set<unsigned> &ports);

    /** The unicast ports that it has. */
    const std::set<unsigned> &ports() const {
        return ports_;
    }
    bool has_group() const {
        return has_group_;
    }

    /** Takes what has come so far; never waits. */
    void listen();

    const std::set<Shot> &shots() const {
        return shots_;
    }
    /** Where a datagram for a port came from, as "192.0.2.1:40000"; empty: none has come. */
    const std::string &source() const {
        return source_;
    }

private:
    struct Place {
        Socket socket;
        bool is_group;
    };

    void take(const Place &place);

    const VolleyPlan plan_;
    std::vector<Place> places_;
    std::set<unsigned> ports_;
    bool has_group_ = false;
    std::set<Shot> shots_;
    std::string source_;
};

/** What was sent, or would have been but for this host's own firewall. */
struct Volley {
    std::set<Shot> shots;
    std::string source; // of those for ports, as this host knows it
};

/**
 * Sends a datagram to each of the ports at the address, to the first of them two large ones as
 * well: one that fills a packet of Ethernet, and one that takes several packets; and some to each
 * group, by way of each interface, with times to live that rise from what participants use. What
 * participants receive of these is a message without anything in it.
 */
Volley fire(const VolleyPlan &plan, const std::string &address, const std::set<unsigned> &ports);

/** "192.0.2.1:40000" or "[fd00::1]:40000"; the port in @p port if that is given. */
std::string text_of(const sockaddr_storage &name, std::string *address = nullptr,
                    unsigned *port = nullptr);

/** The address of this host from which the kernel sends to another one; empty where it does not. */
std::string source_towards(Family family, const std::string &address);

} // namespace doctor
