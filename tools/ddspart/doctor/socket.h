// SPDX-License-Identifier: Apache-2.0
// A UDP socket, and the names of sockets.
#pragma once

#include <cerrno>
#include <cstring>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "doctor/wishes.h"

namespace doctor {

/** Never waits; closed with the object. */
class Socket {
public:
    /** Throws std::system_error when there is none to be had. */
    explicit Socket(Family family)
        : number_(socket(family == Family::IPV4 ? AF_INET : AF_INET6,
                         SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        if (number_ < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot open a socket");
        }
    }
    Socket(Socket &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    ~Socket() {
        if (number_ >= 0) {
            (void)close(number_);
        }
    }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    Socket &operator=(Socket &&) = delete;

    int get() const {
        return number_;
    }
    template <class Value>
    bool set(int level, int option, const Value &value) const {
        return setsockopt(number_, level, option, &value, sizeof value) == 0;
    }

private:
    int number_;
};

/** A numeric address of a family, and a port. */
class SocketName {
public:
    SocketName(Family family, const std::string &address, unsigned port) {
        const auto number = htons(static_cast<in_port_t>(port));

        if (family == Family::IPV4) {
            sockaddr_in ipv4 = {};

            ipv4.sin_family = AF_INET;
            ipv4.sin_port = number;
            (void)inet_pton(AF_INET, address.c_str(), &ipv4.sin_addr);
            put(ipv4);
        } else {
            sockaddr_in6 ipv6 = {};

            ipv6.sin6_family = AF_INET6;
            ipv6.sin6_port = number;
            (void)inet_pton(AF_INET6, address.c_str(), &ipv6.sin6_addr);
            put(ipv6);
        }
    }

    const sockaddr *get() const {
        return reinterpret_cast<const sockaddr *>(&storage_);
    }
    socklen_t length() const {
        return length_;
    }

private:
    template <class Structure>
    void put(const Structure &structure) {
        std::memcpy(&storage_, &structure, sizeof structure);
        length_ = sizeof structure;
    }

    sockaddr_storage storage_ = {};
    socklen_t length_ = 0;
};

/** The port that a socket is bound to, or that the kernel has given it. */
unsigned port_of(const Socket &socket);

/** Restricts it to groups that it has joined itself, and to its own family, as participants do. */
bool receive_own_groups(const Socket &socket, Family family);

/** Joins a group on the interface with this index. */
bool join_group(const Socket &socket, Family family, const std::string &group, unsigned interface);

/**
 * Sends by way of an interface; whatever interface where there is none, which is number 0. From an
 * address of this host; whichever the kernel chooses where there is none.
 */
bool send(const Socket &sender, std::span<const unsigned char> message, const SocketName &to,
          Family family, unsigned interface, const std::string &source = {});

/** Has receive() tell to which address of this host a datagram was sent. */
bool tell_destinations(const Socket &socket, Family family);

/**
 * Takes the next datagram that waits, cut to the octets. Returns its size, or less than 0 when
 * there is none. @p own_address is empty where it is not told.
 */
ssize_t receive(const Socket &socket, std::span<char> octets, sockaddr_storage &from,
                std::string &own_address);

} // namespace doctor
