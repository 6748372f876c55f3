// SPDX-License-Identifier: Apache-2.0
// The ports that the kernel gives to sockets that ask for none.
#pragma once

#include <vector>

#include "host/files.h"

namespace host {

/** Ports, or other numbers, from first to last, both included. */
struct PortRange {
    unsigned first;
    unsigned last;

    bool operator==(const PortRange &) const = default;

    bool contains(unsigned port) const {
        return port >= first && port <= last;
    }
};

struct EphemeralPorts {
    PortRange range;
    std::vector<PortRange> reserved; // within the range or not: the kernel gives none of these

    /** Whether anybody may be given the port without having asked for it. */
    bool may_be(unsigned port) const;
};

/** Those of a network whose settings nobody has changed: those of others are not to be read. */
EphemeralPorts usual_ephemeral_ports();

/**
 * Those of the caller's network. Throws std::system_error when they cannot be read, and
 * std::runtime_error when they are none.
 */
EphemeralPorts ephemeral_ports(const Files &files = {});

} // namespace host
