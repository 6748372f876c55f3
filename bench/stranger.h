// SPDX-License-Identifier: Apache-2.0
/** @file stranger.h  Somebody who announces participants that there are not. */
#ifndef BENCH_STRANGER_H
#define BENCH_STRANGER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bare_sockets.h"

namespace bench {

/** Speaks to the discovery group of a domain, from and by loopback. */
class Stranger {
public:
    /** Throws when it cannot. */
    explicit Stranger(int domain);

    /** Where it speaks to. */
    const sockaddr_in &group() const {
        return group_;
    }
    /** What a participant of the domain says of itself: each number is another one. */
    std::vector<std::uint8_t> announcement(unsigned number) const;
    /** The octets of it that are the participant's own: its parameters. */
    std::size_t data_size(unsigned number) const;
    void say(const std::vector<std::uint8_t> &message) const;

private:
    const int domain_;
    const sockaddr_in group_;
    const File socket_;
};

} // namespace bench

#endif
