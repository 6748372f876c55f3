// SPDX-License-Identifier: Apache-2.0
// Whom a participant announces itself to.
#include "peers.h"

#include <cstring>

#include "disc_log.h"

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

bool has_same_name(const NUVNetioPeer &left, const NUVNetioPeer &right) {
    return std::strcmp(left.hostname, right.hostname) == 0 && left.port == right.port;
}

bool copy(std::span<const NUVNetioPeer> from, Array<NUVNetioPeer> *to) {
    if (!to->resize(from.size())) {
        return false;
    }
    std::copy(from.begin(), from.end(), to->begin());
    return true;
}

std::span<const NUVNetioPeer> all_of(const Array<NUVNetioPeer> &peers) {
    return {peers.begin(), peers.end()};
}

/** One of a transport that is not used here is nobody's to reach. */
bool add_used(Destinations *destinations, std::span<const NUVNetioPeer> peers,
              const DISCParticipantProperty &property, NUVNetioConfigurator *configurator) {
    return std::all_of(peers.begin(), peers.end(), [&](const NUVNetioPeer &peer) {
        REDAWeakReference transport = REDA_WEAK_REFERENCE_INVALID;
        return NUVNetioConfigurator_getTransportHandle(configurator, peer.locator.transport,
                                                       &transport) == 0 ||
               add_peer(destinations, peer, property);
    });
}

} // namespace

bool Peers::set(std::span<const NUVNetioPeer> peers, const DISCParticipantProperty &property,
                NUVNetioConfigurator *configurator) {
    Destinations destinations;
    Array<NUVNetioPeer> given;
    // Those with a name are of no transport until their addresses are found.
    if (!copy(peers, &given) || !add_used(&destinations, peers, property, configurator)) {
        return false;
    }
    destinations_.swap(destinations);
    given_.swap(given);
    (void)found_.resize(0);
    ++version_;
    has_names_ = std::any_of(given_.begin(), given_.end(), has_name);
    return true;
}

bool Peers::copy_names(Names *out) const {
    out->version = version_;
    return copy(all_of(found_), &out->found) &&
           std::all_of(given_.begin(), given_.end(), [out](const NUVNetioPeer &peer) {
               return !has_name(peer) || out->given.append(peer);
           });
}

bool Peers::take_names(const Names &names, const DISCParticipantProperty &property,
                       NUVNetioConfigurator *configurator) {
    const bool is_same =
        std::equal(names.found.begin(), names.found.end(), found_.begin(), found_.end(),
                   [](const NUVNetioPeer &left, const NUVNetioPeer &right) {
                       return has_same_name(left, right) &&
                              Place::of(left.locator) == Place::of(right.locator);
                   });
    if (names.version != version_ || is_same) {
        return false;
    }
    Destinations destinations;
    Array<NUVNetioPeer> found;
    if (!copy(all_of(names.found), &found) ||
        !add_used(&destinations, all_of(given_), property, configurator) ||
        !add_used(&destinations, all_of(found), property, configurator)) {
        return false; // it is tried again
    }
    destinations_.swap(destinations);
    found_.swap(found);
    return true;
}

bool find_addresses(Names *names, const std::atomic<bool> &is_left_behind,
                    REDARepetitions *repetitions) {
    constexpr const char *LOG_METHOD = "DISCParticipant_setPeers";
    constexpr NUV_UINT32 ADDRESSES_MAX = 8;
    Array<NUVNetioPeer> found;
    for (const NUVNetioPeer &name : names->given) {
        if (is_left_behind.load()) {
            return false;
        }
        NUVNetioLocator addresses[ADDRESSES_MAX];
        const NUV_UINT32 count = NUVNetioPeer_resolve(&name, addresses, ADDRESSES_MAX);
        bool is_kept = true;
        for (const NUVNetioLocator &address : std::span(addresses, count)) {
            NUVNetioPeer peer = name;
            peer.locator = address;
            is_kept = found.append(peer) && is_kept;
        }
        if (count == 0) {
            DISC_WARNING_LIMITED(repetitions, "the addresses of the peer '%s' cannot be found",
                                 name.hostname);
            // Those that it had are better than none.
            for (const NUVNetioPeer &former : names->found) {
                is_kept = (!has_same_name(former, name) || found.append(former)) && is_kept;
            }
        }
        if (!is_kept) {
            return false;
        }
    }
    names->found.swap(found);
    return true;
}

} // namespace disc
