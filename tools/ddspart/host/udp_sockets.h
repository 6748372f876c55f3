// SPDX-License-Identifier: Apache-2.0
// The UDP sockets of a network.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace host {

/** A UDP socket that has a port, as the kernel lists it. */
struct UdpSocket {
    std::string address; // where it is bound: "0.0.0.0", "192.0.2.2", "::", ...
    std::uint16_t port;
    uid_t user;                  // whoever made it
    ino_t inode;                 // by which a descriptor names it
    std::uint64_t bytes_waiting; // for the program, with what the kernel needs to keep them
    std::uint64_t drops;         // datagrams that found no room

    bool operator==(const UdpSocket &) const = default;
};

/**
 * Those of IPv4, then those of IPv6, each in the order of the kernel. Read from "udp" and "udp6",
 * since anybody may read these, for each network in which a process is, and no module of the
 * kernel is loaded for it.
 * @param net the directory of the network, "/proc/self/net" or that of another process.
 * Throws std::system_error when the sockets of IPv4 cannot be read.
 */
std::vector<UdpSocket> udp_sockets(const std::filesystem::path &net);

} // namespace host
