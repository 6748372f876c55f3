// SPDX-License-Identifier: Apache-2.0
// The port by which the two ends of a diagnosis talk.
#pragma once

#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <system_error>

#include <poll.h>

#include "doctor/message.h"
#include "doctor/socket.h"
#include "doctor/volley.h"

namespace doctor {

/** What has come from somewhere. */
struct Said {
    std::string text;
    std::string address;
    unsigned port;
    std::string own_address; // of this host, that it was sent to; empty: not known
};

class Control {
public:
    /** Throws std::system_error when it cannot have the port; 0: any. */
    Control(Family family, unsigned port) : socket_(family), family_(family) {
        const SocketName own(family, family == Family::IPV4 ? "0.0.0.0" : "::", port);

        (void)receive_own_groups(socket_, family);
        (void)tell_destinations(socket_, family);
        if (bind(socket_.get(), own.get(), own.length()) != 0) {
            throw std::system_error(errno, std::generic_category(),
                                    "cannot have UDP port " + std::to_string(port) +
                                        " (--control-port)");
        }
    }

    Family family() const {
        return family_;
    }

    /**
     * What is lost is asked or answered again. An answer goes out by the address that was asked,
     * since nobody takes it from another one; empty: whichever the kernel chooses.
     */
    void say(const std::string &text, const std::string &address, unsigned port,
             const std::string &own_address = {}) const {
        (void)send(socket_, {reinterpret_cast<const unsigned char *>(text.data()), text.size()},
                   {family_, address, port}, family_, 0, own_address);
    }

    /** Waits for so long at most. */
    void wait(std::chrono::milliseconds most_time) const {
        pollfd waiting = {socket_.get(), POLLIN, 0};

        (void)poll(&waiting, 1, static_cast<int>(most_time.count()));
    }

    /** The next datagram that waits; none if there is none. What is too long for a message is cut.
     */
    std::optional<Said> hear() const {
        std::array<char, MESSAGE_SIZE_HIGHEST + 1> octets{};
        sockaddr_storage from = {};
        Said said = {{}, {}, 0, {}};
        const ssize_t size = receive(socket_, octets, from, said.own_address);

        if (size < 0) {
            return std::nullopt;
        }
        said.text.assign(octets.data(), static_cast<std::size_t>(size));
        (void)text_of(from, &said.address, &said.port);
        return said;
    }

private:
    Socket socket_;
    Family family_;
};

} // namespace doctor
