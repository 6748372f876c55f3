// SPDX-License-Identifier: Apache-2.0
/** @file bare_sockets.h  The floor: the sockets of a participant, without the participant. */
#ifndef BENCH_BARE_SOCKETS_H
#define BENCH_BARE_SOCKETS_H

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include <netinet/in.h>
#include <unistd.h>

namespace bench {

/** An open file, closed at the end of its life. */
class File {
public:
    explicit File(int descriptor) : descriptor_(descriptor) {}
    File(File &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    File &operator=(File &&other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    ~File() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    int get() const {
        return descriptor_;
    }

private:
    int descriptor_;
};

/** The sockets of one participant. */
using Sockets = std::vector<File>;

/** A multicast socket: where it is bound and what it has joined. */
struct MulticastPlan {
    sockaddr_in address;
    std::vector<ip_mreqn> memberships;
};

/** A datagram: where it goes, over which interface (0: by the routes), and how long it is. */
struct DatagramPlan {
    sockaddr_in destination;
    unsigned interface_index;
    std::size_t length;
};

/** Which sockets a participant has, and what it sends by the first unicast one of them. */
struct SocketPlan {
    std::vector<MulticastPlan> multicast;
    std::vector<sockaddr_in> unicast;       /**< of participant index 0 */
    std::vector<DatagramPlan> announcement; /**< what is sent at once */
    std::vector<DatagramPlan> leaving;
};

/** Ports from one participant index to the next. */
constexpr int PARTICIPANT_ID_GAIN = 2;

/**
 * Brings a participant of the domain up, and deletes it, to see what its sockets are and what it
 * sends.
 * @param count what so many of them send altogether.
 */
SocketPlan plan_of_participant(int domain, int count = 1);

/** A new socket as the library has it: for datagrams, not blocking, not inherited. */
File open_socket();

/** Binds to the address; false when it is taken. */
bool try_bind(const File &socket, const sockaddr_in &address);

/** The same address @p index participants further. */
sockaddr_in at_index(sockaddr_in address, int index);

/**
 * Opens, binds and joins the sockets of a plan, at the first participant index from 0 to
 * @p last_index that is free: a socket whose port is taken is closed and the next index tried.
 * Throws when it cannot.
 */
Sockets open_sockets(const SocketPlan &plan, int last_index = 0);

/** Sends datagrams of octets that mean nothing, by sockets that were opened to the plan. */
void send_datagrams(const SocketPlan &plan, const Sockets &sockets,
                    const std::vector<DatagramPlan> &datagrams);

/** The unicast sockets of the participant indices 0 to @p count - 1. */
Sockets take_indices(const SocketPlan &plan, int count);

} // namespace bench

#endif
