// SPDX-License-Identifier: Apache-2.0
// Sending over one transport.
#ifndef NETIO_SENDER_H
#define NETIO_SENDER_H

#include <atomic>
#include <span>

#include "interface/allowedInterfaces.h"
#include "reda/reda_repetition.h"
#include "transport/socket.h"

namespace netio {

/** Has a socket that is opened for the first message and kept. Thread-safe. */
class Sender {
public:
    Sender(const NUVNetioTransport &transport, const NUVNetioSendOptions &options)
        : transport_(transport), options_(options) {}
    ~Sender() {
        const Socket closed(transport_, socket_.load());
    }
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;

    /** Sends one message. False, with errno, when the network does not take it before long. */
    bool send(const NUVNetioLocator &destination, std::span<const NUV_UINT8> message);

    /**
     * Sends one message to a group on every interface that multicast goes over. False, with errno,
     * when the network takes it on none of them; one that refuses while others don't is a warning,
     * which @p repetitions limits.
     */
    bool send_to_group(const NUVNetioLocator &group, std::span<const NUV_UINT8> message,
                       const AllowedInterfaces &allowed, const NUVNetioInterfaceSnapshot &snapshot,
                       REDARepetitions *repetitions);

private:
    NUVNetioSocket_t get_or_open();
    bool send_over(NUVNetioSocket_t socket, const NUVNetioLocator &destination,
                   NUV_UINT32 interface_index, std::span<const NUV_UINT8> message,
                   bool may_wait) const;

    const NUVNetioTransport &transport_;
    const NUVNetioSendOptions options_;
    std::atomic<NUVNetioSocket_t> socket_{NUV_NETIO_SOCKET_NONE};
};

} // namespace netio

#endif
