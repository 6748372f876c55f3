// SPDX-License-Identifier: Apache-2.0
#include "bare_sockets.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include "participants.h"
#include "watched.h"

namespace bench {
namespace {

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::set<int> open_files() {
    std::set<int> files;

    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        files.insert(std::atoi(entry.path().filename().c_str()));
    }
    /* The directory itself was listed as well, and is closed by now. */
    std::erase_if(files, [](int descriptor) { return fcntl(descriptor, F_GETFD) < 0; });
    return files;
}

/** A group and the interface that it is joined on. */
using Membership = std::pair<int, in_addr_t>;

/** How often each membership is held in this network. */
std::map<Membership, int> memberships() {
    std::ifstream table("/proc/self/net/igmp");
    std::map<Membership, int> users;
    std::string line;
    int interface = 0;

    std::getline(table, line); /* the heading */
    while (std::getline(table, line)) {
        std::istringstream words(line);

        if (line.front() != '\t') {
            words >> interface;
        } else {
            in_addr_t group = 0;
            int count = 0;

            words >> std::hex >> group >> std::dec >> count;
            users[{interface, group}] = count;
        }
    }
    return users;
}

bool is_multicast(const sockaddr_in &address) {
    return IN_MULTICAST(ntohl(address.sin_addr.s_addr));
}

/** The address of an open file, if it is a bound IPv4 socket. */
std::optional<sockaddr_in> address_of(int descriptor) {
    sockaddr_in address = {};
    socklen_t length = sizeof(address);

    if (getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length) != 0 ||
        address.sin_family != AF_INET || address.sin_port == 0) {
        return std::nullopt;
    }
    return address;
}

void join(const File &socket, const ip_mreqn &membership) {
    if (setsockopt(socket.get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership)) !=
        0) {
        fail("IP_ADD_MEMBERSHIP");
    }
}

File open_multicast(const MulticastPlan &plan) {
    File socket = open_socket();
    const int on = 1;

    if (setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0) {
        fail("SO_REUSEADDR");
    }
    if (!try_bind(socket, plan.address)) {
        fail("bind");
    }
    for (const ip_mreqn &membership : plan.memberships) {
        join(socket, membership);
    }
    return socket;
}

/** Adds the unicast sockets of an index; false, and none is added, when a port is taken. */
bool add_unicast(const SocketPlan &plan, int index, Sockets &sockets) {
    const std::size_t before = sockets.size();

    for (const sockaddr_in &address : plan.unicast) {
        File socket = open_socket();

        if (!try_bind(socket, at_index(address, index))) {
            while (sockets.size() != before) {
                sockets.pop_back();
            }
            return false;
        }
        sockets.push_back(std::move(socket));
    }
    return true;
}

} // namespace

namespace {

void read_sockets(int domain, SocketPlan &plan) {
    const std::set<int> files_before = open_files();
    const std::map<Membership, int> memberships_before = memberships();
    const Participant participant(domain);
    std::map<Membership, int> joined = memberships();

    for (const auto &[membership, users] : memberships_before) {
        joined[membership] -= users;
    }
    for (const int descriptor : open_files()) {
        const std::optional<sockaddr_in> address =
            files_before.count(descriptor) == 0 ? address_of(descriptor) : std::nullopt;

        if (!address) {
            continue;
        }
        if (!is_multicast(*address)) {
            plan.unicast.push_back(*address);
            continue;
        }
        plan.multicast.push_back({*address, {}});
        for (const auto &[membership, users] : joined) {
            if (users > 0 && membership.second == address->sin_addr.s_addr) {
                plan.multicast.back().memberships.push_back(
                    {{membership.second}, {INADDR_ANY}, membership.first});
            }
        }
    }
    std::sort(plan.unicast.begin(), plan.unicast.end(),
              [](const sockaddr_in &left, const sockaddr_in &right) {
                  return ntohs(left.sin_port) < ntohs(right.sin_port);
              });
    if (plan.unicast.empty()) {
        throw std::runtime_error("the participant has no unicast socket");
    }
}

void watch_sending(int domain, int count, SocketPlan &plan) {
    WatchedFactory watched;
    {
        std::vector<Participant> participants;

        for (int i = 0; i < count; ++i) {
            participants.emplace_back(domain, nullptr, watched.get());
        }
        participants.front().wait_for_reactor();
        plan.announcement = watched.take_sent();
    }
    plan.leaving = watched.take_sent();
}

} // namespace

SocketPlan plan_of_participant(int domain, int count) {
    SocketPlan plan;

    read_sockets(domain, plan);
    watch_sending(domain, count, plan);
    return plan;
}

File open_socket() {
    File socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));

    if (socket.get() < 0) {
        fail("socket");
    }
    return socket;
}

bool try_bind(const File &socket, const sockaddr_in &address) {
    if (bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0) {
        return true;
    }
    if (errno != EADDRINUSE) {
        fail("bind");
    }
    return false;
}

sockaddr_in at_index(sockaddr_in address, int index) {
    address.sin_port =
        htons(static_cast<std::uint16_t>(ntohs(address.sin_port) + PARTICIPANT_ID_GAIN * index));
    return address;
}

Sockets open_sockets(const SocketPlan &plan, int last_index) {
    Sockets sockets;

    sockets.reserve(plan.multicast.size() + plan.unicast.size());
    for (const MulticastPlan &multicast : plan.multicast) {
        sockets.push_back(open_multicast(multicast));
    }
    for (int index = 0; index <= last_index; ++index) {
        if (add_unicast(plan, index, sockets)) {
            return sockets;
        }
    }
    throw std::runtime_error("no participant index is free");
}

void send_datagrams(const SocketPlan &plan, const Sockets &sockets,
                    const std::vector<DatagramPlan> &datagrams) {
    const File &sender = sockets.at(plan.multicast.size());
    std::array<char, 65536> octets = {};

    for (const DatagramPlan &datagram : datagrams) {
        sockaddr_in destination = datagram.destination;
        iovec part = {octets.data(), datagram.length};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control = {};
        msghdr header = {};

        header.msg_name = &destination;
        header.msg_namelen = sizeof(destination);
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        if (datagram.interface_index != 0) {
            in_pktinfo info = {};

            header.msg_control = control.data();
            header.msg_controllen = control.size();
            cmsghdr *const first = CMSG_FIRSTHDR(&header);
            first->cmsg_level = IPPROTO_IP;
            first->cmsg_type = IP_PKTINFO;
            first->cmsg_len = CMSG_LEN(sizeof(info));
            info.ipi_ifindex = static_cast<int>(datagram.interface_index);
            std::memcpy(CMSG_DATA(first), &info, sizeof(info));
        }
        if (sendmsg(sender.get(), &header, MSG_NOSIGNAL) < 0) {
            fail("sendmsg");
        }
    }
}

Sockets take_indices(const SocketPlan &plan, int count) {
    Sockets sockets;

    for (int index = 0; index < count; ++index) {
        if (!add_unicast(plan, index, sockets)) {
            throw std::runtime_error("a participant index is taken already");
        }
    }
    return sockets;
}

} // namespace bench
