// SPDX-License-Identifier: Apache-2.0
#include "host/network_namespaces.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "host/containers.h"
#include "host/processes.h"
#include "numbers.h"
#include "printable.h"

namespace host {

namespace {

/** The file that a path leads to, whatever it is called. */
using Identity = std::pair<dev_t, ino_t>;

std::optional<Identity> identity_of(const std::filesystem::path &path) {
    struct stat status = {};

    if (stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return Identity(status.st_dev, status.st_ino);
}

/**
 * What processes in the same network, and only these, have in common: each network has tables of
 * its own. Their number would say so too, but is shown to few.
 */
std::optional<Identity> table_of(const std::filesystem::path &process) {
    return identity_of(process / "net" / "udp");
}

/** The number in "net:[4026531840]". */
std::optional<ino_t> number_of(const std::filesystem::path &process) {
    constexpr std::string_view BEFORE = "net:[";
    const std::string target = link_or_none(process / "ns" / "net").value_or("");

    if (!target.starts_with(BEFORE) || !target.ends_with(']')) {
        return std::nullopt;
    }
    return to_number<ino_t>(
        std::string_view(target).substr(BEFORE.size(), target.size() - BEFORE.size() - 1));
}

/** The names that "ip netns" has given, by number. */
std::map<ino_t, std::string> names(const Files &files) {
    std::map<ino_t, std::string> names;
    std::error_code none; // then nobody has given any

    for (std::filesystem::directory_iterator each(files.run / "netns", none), end;
         !none && each != end; (void)each.increment(none)) {
        if (const auto identity = identity_of(each->path())) {
            names[identity->second] = printable(each->path().filename().string());
        }
    }
    return names;
}

void add_process(NetworkNamespace &space, pid_t id, const std::filesystem::path &process) {
    if (space.processes.empty()) {
        space.container = container_of(text_or_none(process / "cgroup").value_or(""));
    }
    if (!space.number) {
        space.number = number_of(process);
    }
    space.processes.push_back(id);
}

} // namespace

std::vector<NetworkNamespace> network_namespaces(const Files &files) {
    const std::optional<Identity> own = table_of(files.of_process());

    if (!own) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot read " + (files.of_process() / "net" / "udp").string());
    }
    const std::map<ino_t, std::string> given = names(files);
    std::map<Identity, NetworkNamespace> by_table;
    std::vector<NetworkNamespace> spaces;

    for (const pid_t id : process_ids(files)) {
        const std::filesystem::path process = files.of_process(id);

        if (const auto table = table_of(process)) {
            NetworkNamespace &space = by_table[*table];

            space.is_own = table == own;
            add_process(space, id, process);
        }
    }
    for (auto &[table, space] : by_table) {
        const auto name = space.number ? given.find(*space.number) : given.end();

        if (name != given.end()) {
            space.name = name->second;
        }
        spaces.push_back(std::move(space));
    }
    std::ranges::stable_sort(spaces, {}, [](const NetworkNamespace &space) {
        return std::pair(!space.is_own, space.processes.front());
    });
    return spaces;
}

std::string label_of(const NetworkNamespace &space) {
    if (!space.container.empty()) {
        return space.container;
    }
    if (!space.name.empty()) {
        return space.name;
    }
    if (space.is_own) {
        return "own";
    }
    if (space.number) {
        return "net:[" + std::to_string(*space.number) + "]";
    }
    return "of process " + std::to_string(space.processes.front());
}

std::optional<std::filesystem::path> net_directory(const NetworkNamespace &space,
                                                   const Files &files) {
    for (const pid_t id : space.processes) {
        const std::filesystem::path process = files.of_process(id);

        if (table_of(process)) {
            return process / "net";
        }
    }
    return std::nullopt;
}

} // namespace host
