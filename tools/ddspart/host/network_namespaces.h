// SPDX-License-Identifier: Apache-2.0
// The networks of the host: its network namespaces.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "host/files.h"

namespace host {

struct NetworkNamespace {
    std::optional<ino_t> number;  // as in "net:[4026531840]"; none where the caller may not know it
    std::string name;             // that "ip netns" has given it; empty: none, or not known either
    std::string container;        // in which the first of its processes is; empty: in none
    bool is_own = false;          // of the caller
    std::vector<pid_t> processes; // at least one, in ascending order
};

/**
 * Those in which a process is that the caller may know of, its own first. Nothing is entered:
 * which processes share one, and what is in its tables, anybody may know. Throws std::system_error
 * when the caller's own cannot be looked at.
 */
std::vector<NetworkNamespace> network_namespaces(const Files &files = {});

/** How it is called in output: as its container, its name, "own", its number or a process of it. */
std::string label_of(const NetworkNamespace &space);

/**
 * The directory of its tables, by way of a process of it that is still there; none when all have
 * gone. It is good as long as that process is.
 */
std::optional<std::filesystem::path> net_directory(const NetworkNamespace &space,
                                                   const Files &files = {});

} // namespace host
