// SPDX-License-Identifier: Apache-2.0
// The processes of the host, and the sockets that they hold.
#pragma once

#include <compare>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

#include "host/files.h"

namespace host {

struct HostProcess {
    pid_t id;
    std::string name; // of its program, as it says itself and as much of it as the kernel keeps
    uid_t user;
    std::string container; // empty: in none that its control groups tell

    auto operator<=>(const HostProcess &) const = default;
};

/** The numbers of those that the caller may know of, in ascending order. */
std::vector<pid_t> process_ids(const Files &files = {});

/** What anybody may know of a process, its texts printable; none when it is gone or hidden. */
std::optional<HostProcess> process_of(pid_t id, const Files &files = {});

/** Whether it has been stopped, by a signal or by whoever traces it: it does nothing until it goes
 * on.
 */
bool is_stopped(pid_t id, const Files &files = {});

/** The name of a user; the number where there is no name. Printable. */
std::string user_name(uid_t user);

struct SocketHolders {
    std::map<ino_t, std::set<pid_t>> by_inode; // nothing of a socket that nobody is seen to hold
    /**
     * Whether the descriptors of all processes could be looked at. Otherwise a socket that nobody
     * is seen to hold may be anybody's: root is shown all, others those of their own processes.
     */
    bool is_complete = true;
};

/** Who holds the sockets with these inodes. */
SocketHolders socket_holders(const std::set<ino_t> &inodes, const Files &files = {});

} // namespace host
