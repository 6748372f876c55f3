// SPDX-License-Identifier: Apache-2.0
// Whom a participant announces itself to.
#ifndef DISC_PEERS_H
#define DISC_PEERS_H

#include <atomic>
#include <span>

#include "array.h"
#include "disc/disc_participant.h"
#include "place.h"

namespace disc {

using Destinations = Array<Place>;

/** Peers with a host name each, and those that have its addresses. */
struct Names {
    Array<NUVNetioPeer> given;
    Array<NUVNetioPeer> found; // with an address, and the name that it is of
    NUV_UINT32 version = 0;    // of those that were given
};

/** The peers as they were given, and where that is. */
class Peers {
public:
    /** False when memory runs out; then they are those of before. */
    bool set(std::span<const NUVNetioPeer> peers, const DISCParticipantProperty &property,
             NUVNetioConfigurator *configurator);

    bool has_names() const {
        return has_names_;
    }
    /** Copies those with a name out. False when memory runs out. */
    bool copy_names(Names *out) const;
    /** Takes over the addresses that were found. True when that changes anything. */
    bool take_names(const Names &names, const DISCParticipantProperty &property,
                    NUVNetioConfigurator *configurator);

    const Destinations &destinations() const {
        return destinations_;
    }
    bool has(const Place &address) const {
        return std::any_of(destinations_.begin(), destinations_.end(),
                           [&](const Place &one) { return one.has_same_address(address); });
    }

private:
    Array<NUVNetioPeer> given_;
    Array<NUVNetioPeer> found_;
    NUV_UINT32 version_ = 0;
    bool has_names_ = false;
    Destinations destinations_;
};

inline bool has_name(const NUVNetioPeer &peer) {
    return peer.hostname[0] != '\0';
}

/**
 * Asks for the addresses of the names, one after the other; it takes as long as the name servers
 * do. False when it is not to go on, or memory runs out.
 */
bool find_addresses(Names *names, const std::atomic<bool> &is_left_behind,
                    REDARepetitions *repetitions);

} // namespace disc

#endif
