// SPDX-License-Identifier: Apache-2.0
#include "holdings.h"

#include <algorithm>
#include <map>
#include <set>
#include <system_error>

namespace {

/** None of a network whose last process has ended meanwhile. */
std::vector<host::UdpSocket> sockets_of(const host::NetworkNamespace &network,
                                        const host::Files &files) {
    try {
        const auto net = net_directory(network, files);

        return net ? host::udp_sockets(*net) : std::vector<host::UdpSocket>();
    } catch (const std::system_error &) {
        if (network.is_own) {
            throw;
        }
        return {};
    }
}

std::vector<Holding> sockets_of(const std::vector<host::NetworkNamespace> &networks,
                                const PortMap &map, const host::Files &files) {
    std::vector<Holding> all;

    for (std::size_t i = 0; i < networks.size(); ++i) {
        for (const host::UdpSocket &socket : sockets_of(networks[i], files)) {
            if (map.contains(socket.port)) {
                all.push_back({socket, i, {}});
            }
        }
    }
    return all;
}

/** Processes by number, each asked for once. */
class KnownProcesses {
public:
    explicit KnownProcesses(const host::Files &files) : files_(files) {}

    const std::optional<host::HostProcess> &of(pid_t id) {
        const auto [found, is_new] = all_.try_emplace(id);

        if (is_new) {
            found->second = host::process_of(id, files_);
        }
        return found->second;
    }

private:
    const host::Files &files_;
    std::map<pid_t, std::optional<host::HostProcess>> all_;
};

std::vector<Holder> holders_of(const host::UdpSocket &socket, const std::set<pid_t> &ids,
                               KnownProcesses &processes) {
    std::vector<Holder> holders;

    for (const pid_t id : ids) {
        if (const auto &process = processes.of(id)) {
            holders.push_back({process, process->user});
        }
    }
    if (holders.empty()) {
        holders.push_back({std::nullopt, socket.user});
    }
    return holders;
}

} // namespace

std::string process_of(const Holder &holder) {
    return holder.process ? holder.process->name + " (" + std::to_string(holder.process->id) + ")"
                          : "";
}

Holdings holdings(const PortMap &map, bool all_networks, std::optional<pid_t> but,
                  const host::Files &files) {
    Holdings result = {host::network_namespaces(files), {}, true};
    KnownProcesses processes(files);
    std::set<ino_t> inodes;

    if (!all_networks) {
        result.networks.resize(1);
    }
    for (Holding &holding : sockets_of(result.networks, map, files)) {
        inodes.insert(holding.socket.inode);
        result.all.push_back(std::move(holding));
    }
    const host::SocketHolders found = socket_holders(inodes, files);

    result.shows_all_processes = found.is_complete;
    std::erase_if(result.all, [&](Holding &holding) {
        const auto ids = found.by_inode.find(holding.socket.inode);

        holding.holders =
            holders_of(holding.socket,
                       ids == found.by_inode.end() ? std::set<pid_t>() : ids->second, processes);
        return but && ids != found.by_inode.end() && ids->second == std::set<pid_t>{*but};
    });
    return result;
}
