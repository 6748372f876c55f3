// SPDX-License-Identifier: Apache-2.0
// Whom a participant announces itself to.
#include "peers.h"

namespace disc {

namespace {

bool add_once(Destinations *destinations, const Place &place) {
    return std::find(destinations->begin(), destinations->end(), place) != destinations->end() ||
           destinations->append(place);
}

/** Without a port it is at the well-known ones (DDSI-RTPS 9.6.1). */
bool add_peer(Destinations *destinations, const NUVNetioPeer &peer,
              const DISCParticipantProperty &property) {
    Place place = Place::of(peer.locator);
    place.port = peer.port;
    if (place.port != 0) {
        return add_once(destinations, place);
    }
    if (place.is_group()) {
        place.port = property.builtinMulticastPort;
        return add_once(destinations, place);
    }
    place.port = property.builtinUnicastPort;
    for (NUV_INT32 index = 0;
         index <= property.peerIndexMax && NUVNetioLocator_isPort(place.port) != 0; ++index) {
        if (!add_once(destinations, place)) {
            return false;
        }
        if (property.participantIdGain <= 0 ||
            property.participantIdGain > KOLS_TRANSPORT_PORT_MAX) {
            break; // there is no other one
        }
        place.port += property.participantIdGain;
    }
    return true;
}

} // namespace

bool Peers::set(std::span<const NUVNetioPeer> peers, const DISCParticipantProperty &property,
                NUVNetioConfigurator *configurator) {
    Destinations destinations;
    for (const NUVNetioPeer &peer : peers) {
        REDAWeakReference transport = REDA_WEAK_REFERENCE_INVALID;
        // One of a transport that is not used here is nobody's to reach.
        if (NUVNetioConfigurator_getTransportHandle(configurator, peer.locator.transport,
                                                    &transport) != 0 &&
            !add_peer(&destinations, peer, property)) {
            return false;
        }
    }
    destinations_.swap(destinations);
    return true;
}

} // namespace disc
