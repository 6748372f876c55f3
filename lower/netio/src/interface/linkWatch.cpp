// SPDX-License-Identifier: Apache-2.0
// The kernel's link and address events (rtnetlink).
#include "interface/linkWatch.h"

#include <array>
#include <cerrno>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>

namespace netio {

bool LinkWatch::open() {
    Descriptor opened = Descriptor::of_opened(
        socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    if (!opened.is_open()) {
        return false;
    }
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    if (bind(opened.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        const int error = errno;
        opened.reset();
        errno = error;
        return false;
    }
    descriptor_ = static_cast<Descriptor &&>(opened);
    return true;
}

LinkEvents LinkWatch::take_events() {
    // Most often there is none, and to look is cheaper than to try to receive one. (It is refused
    // where the process may have no descriptor any more.)
    pollfd readable{descriptor_.get(), POLLIN, 0};
    if (poll(&readable, 1, 0) == 0) {
        return LinkEvents::NONE;
    }
    // Only that something happened counts: the interfaces are listed anew in any case. So the rest
    // of an event that does not fit may go.
    std::array<char, 512> event;
    // More than these in one go come again with the next wake-up.
    constexpr int EVENTS_PER_TURN = 256;
    LinkEvents taken = LinkEvents::NONE;
    for (int i = 0; i < EVENTS_PER_TURN; ++i) {
        const bool is_event = recv(descriptor_.get(), event.data(), event.size(), 0) >= 0;
        if (is_event || errno == ENOBUFS) { // the latter: events were lost
            taken = LinkEvents::SOME;
        } else if (errno == EAGAIN) {
            break;
        } else if (errno != EINTR) {
            return LinkEvents::UNREADABLE;
        }
    }
    return taken;
}

} // namespace netio
