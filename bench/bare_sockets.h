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

/** Which sockets a participant has. */
struct SocketPlan {
    std::vector<MulticastPlan> multicast;
    std::vector<sockaddr_in> unicast; /**< of participant index 0 */
};

/** Ports from one participant index to the next. */
constexpr int PARTICIPANT_ID_GAIN = 2;

/** Brings a participant of the domain up to see which sockets it has, then deletes it. */
SocketPlan plan_of_participant(int domain);

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

/** The unicast sockets of the participant indices 0 to @p count - 1. */
Sockets take_indices(const SocketPlan &plan, int count);

} // namespace bench

#endif
