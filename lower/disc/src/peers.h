// SPDX-License-Identifier: Apache-2.0
// Whom a participant announces itself to.
#ifndef DISC_PEERS_H
#define DISC_PEERS_H

#include <span>

#include "array.h"
#include "disc/disc_participant.h"
#include "place.h"

namespace disc {

using Destinations = Array<Place>;

/** The peers as they were given, and where that is. */
class Peers {
public:
    /** False when memory runs out; then they are those of before. */
    bool set(std::span<const NUVNetioPeer> peers, const DISCParticipantProperty &property,
             NUVNetioConfigurator *configurator);

    const Destinations &destinations() const {
        return destinations_;
    }
    bool has(const Place &address) const {
        return std::any_of(destinations_.begin(), destinations_.end(),
                           [&](const Place &one) { return one.has_same_address(address); });
    }

private:
    Destinations destinations_;
};

} // namespace disc

#endif
