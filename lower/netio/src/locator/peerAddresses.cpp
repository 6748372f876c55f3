// SPDX-License-Identifier: Apache-2.0
// The addresses of a peer's host name.
#include <cstring>
#include <utility>

#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>
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

/**
 * Has the calling thread give name servers that do not answer up soon: callbacks of applications
 * wait for it, and it asks again before long.
 */
class Impatience {
public:
    Impatience() : state_(&_res) {
        if ((state_->options & RES_INIT) == 0) {
            (void)res_ninit(state_);
        }
        former_time_ = std::exchange(state_->retrans, 1); // seconds
        former_tries_ = std::exchange(state_->retry, 1);
    }
    ~Impatience() {
        state_->retrans = former_time_;
        state_->retry = former_tries_;
    }
    Impatience(const Impatience &) = delete;
    Impatience &operator=(const Impatience &) = delete;

private:
    res_state state_;
    int former_time_ = 0;
    int former_tries_ = 0;
};

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
    if (peer->hostname[0] == '\0') {
        return 0;
    }
    const Impatience impatience;
    if (getaddrinfo(peer->hostname, nullptr, &hints, &answers) != 0) {
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
