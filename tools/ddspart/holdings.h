// SPDX-License-Identifier: Apache-2.0
// Which sockets of this host are on ports of the mapping, and who holds them.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <vector>

#include "host/network_namespaces.h"
#include "host/processes.h"
#include "host/udp_sockets.h"
#include "port_map.h"

/** Whoever holds a socket. */
struct Holder {
    std::optional<host::HostProcess> process; // none where nobody is seen to hold it
    uid_t user;                               // of the process, else of the socket

    auto operator<=>(const Holder &) const = default;
};

/** "talker (812)"; empty where the process is not known. */
std::string process_of(const Holder &holder);

struct Holding {
    host::UdpSocket socket;
    std::size_t network;         // which one of them
    std::vector<Holder> holders; // at least one, in ascending order
};

struct Holdings {
    std::vector<host::NetworkNamespace> networks; // the caller's own is the first
    std::vector<Holding> all;
    bool shows_all_processes; // else a holder may be one that the caller may not know of
};

/**
 * Of the sockets on ports of the map, in the caller's network or in those of all processes. What a
 * process holds to which @p but is the number counts as not there.
 */
Holdings holdings(const PortMap &map, bool all_networks, std::optional<pid_t> but = std::nullopt,
                  const host::Files &files = {});
