// SPDX-License-Identifier: Apache-2.0
#include "bare_finder.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {
namespace {

/** What is said: about as long as an announcement. */
struct Greeting {
    pid_t sender;
    bool is_answer;
    std::array<char, 400> more;
};

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

BareFinder::BareFinder(const SocketPlan &plan, int last_index)
    : group_(plan.multicast.front().address), sockets_(open_sockets(plan, last_index)),
      group_socket_(sockets_.front()), own_socket_(sockets_.back()) {
    const ip_mreqn &interface = plan.multicast.front().memberships.front();

    if (setsockopt(own_socket_.get(), IPPROTO_IP, IP_MULTICAST_IF, &interface, sizeof(interface)) !=
        0) {
        fail("IP_MULTICAST_IF");
    }
}

void BareFinder::announce() const {
    say(group_, false);
}

void BareFinder::find(std::size_t count) {
    constexpr int PAUSE_MS = 100;
    std::array<pollfd, 2> ready = {
        {{group_socket_.get(), POLLIN, 0}, {own_socket_.get(), POLLIN, 0}}};

    while (known_.size() < count) {
        if (poll(ready.data(), ready.size(), PAUSE_MS) == 0) {
            announce();
        }
        hear(group_socket_);
        hear(own_socket_);
    }
}

void BareFinder::say(const sockaddr_in &to, bool is_answer) const {
    const Greeting greeting = {getpid(), is_answer, {}};

    if (sendto(own_socket_.get(), &greeting, sizeof(greeting), 0,
               reinterpret_cast<const sockaddr *>(&to), sizeof(to)) != sizeof(greeting)) {
        fail("sendto");
    }
}

/** All that has come to a socket. */
void BareFinder::hear(const File &socket) {
    Greeting greeting = {};
    sockaddr_in source = {};
    socklen_t length = sizeof(source);

    while (recvfrom(socket.get(), &greeting, sizeof(greeting), 0,
                    reinterpret_cast<sockaddr *>(&source), &length) == sizeof(greeting)) {
        if (greeting.sender != getpid() && known_.insert(greeting.sender).second &&
            !greeting.is_answer) {
            say(source, true);
        }
    }
}

} // namespace bench
