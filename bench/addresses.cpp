// SPDX-License-Identifier: Apache-2.0
#include "addresses.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

namespace bench {
namespace {

constexpr const char *INTERFACE = "lo";
constexpr const char *ADDRESS = "192.0.2.77"; /* for documentation, so nobody has it */
constexpr unsigned char WHOLE_ADDRESS = 32;

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

File open_netlink(unsigned groups) {
    File opened(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    sockaddr_nl address = {};

    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    if (opened.get() < 0 ||
        bind(opened.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        fail("netlink");
    }
    return opened;
}

/** A request about the address, as rtnetlink has it. */
struct Request {
    nlmsghdr header;
    ifaddrmsg body;
    rtattr attribute;
    in_addr address;
};

/** The answer to a request: an error, or none. */
struct Answer {
    nlmsghdr header;
    nlmsgerr body;
};

Request make_request(unsigned short type, unsigned short flags) {
    Request request = {};

    request.header.nlmsg_len = sizeof(request);
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = static_cast<__u16>(NLM_F_REQUEST | NLM_F_ACK | flags);
    request.body.ifa_family = AF_INET;
    request.body.ifa_prefixlen = WHOLE_ADDRESS;
    request.body.ifa_index = if_nametoindex(INTERFACE);
    request.attribute.rta_type = IFA_LOCAL;
    request.attribute.rta_len = RTA_LENGTH(sizeof(request.address));
    (void)inet_pton(AF_INET, ADDRESS, &request.address);
    return request;
}

} // namespace

SpareAddress::SpareAddress() : socket_(open_netlink(0)) {}

SpareAddress::~SpareAddress() {
    if (is_there_) {
        (void)request(RTM_DELADDR, 0);
    }
}

void SpareAddress::add() {
    if (!request(RTM_NEWADDR, NLM_F_CREATE | NLM_F_EXCL)) {
        fail("an address cannot be added");
    }
    is_there_ = true;
}

void SpareAddress::remove() {
    if (!request(RTM_DELADDR, 0)) {
        fail("an address cannot be removed");
    }
    is_there_ = false;
}

bool SpareAddress::request(unsigned short type, unsigned short flags) {
    const Request request = make_request(type, flags);
    std::array<char, 512> data = {};
    Answer answer = {};

    if (send(socket_.get(), &request, sizeof(request), 0) != sizeof(request) ||
        recv(socket_.get(), data.data(), data.size(), 0) < static_cast<ssize_t>(sizeof(answer))) {
        return false;
    }
    std::memcpy(&answer, data.data(), sizeof(answer));
    errno = -answer.body.error;
    return answer.header.nlmsg_type == NLMSG_ERROR && answer.body.error == 0;
}

AddressEvents::AddressEvents()
    : socket_(open_netlink(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR)) {}

void AddressEvents::read() {
    std::array<char, 512> event = {};

    if (recv(socket_.get(), event.data(), event.size(), 0) < 0) {
        fail("netlink");
    }
    while (recv(socket_.get(), event.data(), event.size(), MSG_DONTWAIT) >= 0) {}
    if (errno != EAGAIN) {
        fail("netlink");
    }
}

} // namespace bench
