// SPDX-License-Identifier: Apache-2.0
// The multicast groups that a network's interfaces have joined.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace host {

/** A group on an interface. */
struct MulticastMembership {
    std::string interface; // its name
    std::string group;     // "239.255.0.1", "ff02::1", ...
    unsigned users;        // sockets of any process, or the kernel itself

    bool operator==(const MulticastMembership &) const = default;
};

/**
 * Those of IPv4, then those of IPv6, in the order of the kernel. Whose they are it does not tell.
 * @param net the directory of the network, "/proc/self/net" or that of another process.
 * Throws std::system_error when those of IPv4 cannot be read.
 */
std::vector<MulticastMembership> multicast_memberships(const std::filesystem::path &net);

} // namespace host
