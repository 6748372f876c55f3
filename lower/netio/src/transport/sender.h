// SPDX-License-Identifier: Apache-2.0
// The socket that is sent from over one transport.
#ifndef NETIO_SENDER_H
#define NETIO_SENDER_H

#include <atomic>

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

    /** The socket; none when it cannot be opened, and errno tells why. */
    NUVNetioSocket_t get_or_open();

private:
    const NUVNetioTransport &transport_;
    const NUVNetioSendOptions options_;
    std::atomic<NUVNetioSocket_t> socket_{NUV_NETIO_SOCKET_NONE};
};

} // namespace netio

#endif
