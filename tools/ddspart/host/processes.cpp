// SPDX-License-Identifier: Apache-2.0
#include "host/processes.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>

#include <pwd.h>

#include "host/containers.h"
#include "numbers.h"
#include "printable.h"

namespace host {

namespace {

/** Its effective user, which is the second of the four that the status has. */
std::optional<uid_t> user_of(const std::string &status) {
    for (const std::string &line : lines_of(status)) {
        const std::vector<std::string> fields = fields_of(line);

        if (fields.size() > 2 && fields[0] == "Uid:") {
            return to_number<uid_t>(fields[2]);
        }
    }
    return std::nullopt;
}

/** The inode of a descriptor's target, if that is a socket: "socket:[123]". */
std::optional<ino_t> socket_inode(std::string_view target) {
    constexpr std::string_view BEFORE = "socket:[";

    if (!target.starts_with(BEFORE) || !target.ends_with(']')) {
        return std::nullopt;
    }
    return to_number<ino_t>(target.substr(BEFORE.size(), target.size() - BEFORE.size() - 1));
}

/** One that has ended meanwhile holds nothing. */
bool is_gone(const std::error_code &error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::no_such_process;
}

void add_sockets_of(pid_t id, const std::set<ino_t> &inodes, const Files &files,
                    SocketHolders &holders) {
    std::error_code error;
    std::filesystem::directory_iterator descriptor(files.of_process(id) / "fd", error);

    while (!error && descriptor != std::filesystem::directory_iterator()) {
        const auto inode = socket_inode(link_or_none(descriptor->path()).value_or(""));

        if (inode && inodes.contains(*inode)) {
            holders.by_inode[*inode].insert(id);
        }
        (void)descriptor.increment(error);
    }
    if (error && !is_gone(error)) {
        holders.is_complete = false;
    }
}

} // namespace

std::vector<pid_t> process_ids(const Files &files) {
    std::vector<pid_t> ids;

    for (const auto &entry : std::filesystem::directory_iterator(files.proc)) {
        if (const auto id = to_number<pid_t>(entry.path().filename().string())) {
            ids.push_back(*id);
        }
    }
    std::ranges::sort(ids);
    return ids;
}

std::optional<HostProcess> process_of(pid_t id, const Files &files) {
    const std::filesystem::path process = files.of_process(id);
    const auto name = text_or_none(process / "comm");
    const auto user = user_of(text_or_none(process / "status").value_or(""));

    if (!name || !user) {
        return std::nullopt;
    }
    return HostProcess{id,
                       printable(name->substr(0, name->size() - (name->ends_with('\n') ? 1 : 0))),
                       *user, container_of(text_or_none(process / "cgroup").value_or(""))};
}

bool is_stopped(pid_t id, const Files &files) {
    for (const std::string &line :
         lines_of(text_or_none(files.of_process(id) / "status").value_or(""))) {
        const std::vector<std::string> fields = fields_of(line);

        if (fields.size() > 1 && fields[0] == "State:") {
            return fields[1] == "T" || fields[1] == "t";
        }
    }
    return false;
}

std::string user_name(uid_t user) {
    constexpr std::size_t ROOM = 1U << 14U;
    std::vector<char> room(ROOM);
    passwd entry = {};
    passwd *found = nullptr;

    if (getpwuid_r(user, &entry, room.data(), room.size(), &found) != 0 || found == nullptr) {
        return std::to_string(user);
    }
    return printable(found->pw_name);
}

SocketHolders socket_holders(const std::set<ino_t> &inodes, const Files &files) {
    constexpr pid_t FIRST_PROCESS = 1; // always there: who is not shown it is shown few
    const std::vector<pid_t> ids = process_ids(files);
    SocketHolders holders;

    holders.is_complete = std::ranges::binary_search(ids, FIRST_PROCESS);
    for (const pid_t id : ids) {
        add_sockets_of(id, inodes, files, holders);
    }
    return holders;
}

} // namespace host
