// SPDX-License-Identifier: Apache-2.0
// The addresses of a peer's host name.
#include <cstring>

#include <netdb.h>
#include <sys/socket.h>

#include "netio/netio_transport.h"

namespace {

/** A text of the address, which each class reads as its own. */
bool read_address(const addrinfo &answer, NUVNetioLocator *out) {
    char text[NI_MAXHOST];
    if (getnameinfo(answer.ai_addr, answer.ai_addrlen, text, sizeof text, nullptr, 0,
                    NI_NUMERICHOST) != 0) {
        return false;
    }
    NUVNetioLocator locator = NUV_NETIO_LOCATOR_INVALID;
    // One with a scope, which no locator can carry, is none.
    if (std::strchr(text, '%') != nullptr || NUVNetioLocator_parse(text, &locator) == 0) {
        return false;
    }
    *out = locator;
    return true;
}

bool is_wanted(const NUVNetioPeer &peer, const NUVNetioLocator &locator) {
    return peer.transport == KOLS_TRANSPORT_CLASSID_INVALID || peer.transport == locator.transport;
}

} // namespace

NUV_UINT32 NUVNetioPeer_resolve(const NUVNetioPeer *peer, NUVNetioLocator *buffer,
                                NUV_UINT32 maximum) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM; // each address once
    addrinfo *answers = nullptr;
    NUV_UINT32 count = 0;
    if (peer->hostname[0] == '\0' || getaddrinfo(peer->hostname, nullptr, &hints, &answers) != 0) {
        return 0;
    }
    for (const addrinfo *answer = answers; answer != nullptr && count < maximum;
         answer = answer->ai_next) {
        NUVNetioLocator locator;
        if (read_address(*answer, &locator) && is_wanted(*peer, locator)) {
            locator.port = peer->port;
            buffer[count++] = locator;
        }
    }
    freeaddrinfo(answers);
    return count;
}
