// SPDX-License-Identifier: Apache-2.0
/** @file bare_finder.h  A program that does no more than tell others that it is there. */
#ifndef BENCH_BARE_FINDER_H
#define BENCH_BARE_FINDER_H

#include <cstddef>
#include <set>

#include <sys/types.h>

#include "bare_sockets.h"

namespace bench {

/**
 * The floor of discovery: with the sockets of a participant it sends a datagram to the group, and
 * answers each that it hears of first. There is one of a process.
 */
class BareFinder {
public:
    /** @param last_index as of open_sockets. */
    explicit BareFinder(const SocketPlan &plan, int last_index = 0);

    /** Says to the group that it is there. */
    void announce() const;
    /** Answers until it knows as many, and announces itself again when nobody says anything. */
    void find(std::size_t count);
    void forget() {
        known_.clear();
    }

private:
    void say(const sockaddr_in &to, bool is_answer) const;
    void hear(const File &socket);

    const sockaddr_in group_;
    const Sockets sockets_;
    const File &group_socket_;
    const File &own_socket_;
    std::set<pid_t> known_;
};

} // namespace bench

#endif
