// SPDX-License-Identifier: Apache-2.0
// A transport's socket that closes itself.
#ifndef NETIO_SOCKET_H
#define NETIO_SOCKET_H

#include <atomic>
#include <cerrno>

#include "netio/netio_transport.h"

namespace netio {

class Socket {
public:
    Socket() = default;
    Socket(const NUVNetioTransport &transport, NUVNetioSocket_t handle)
        : transport_(&transport), handle_(handle) {}
    ~Socket() {
        close();
    }
    Socket(Socket &&other) noexcept : transport_(other.transport_), handle_(other.take()) {}
    Socket &operator=(Socket &&other) noexcept {
        close();
        transport_ = other.transport_;
        handle_ = other.take();
        return *this;
    }

    NUVNetioSocket_t handle() const {
        return handle_;
    }
    bool is_open() const {
        return handle_ != NUV_NETIO_SOCKET_NONE;
    }

    NUVNetioSocket_t take() {
        const NUVNetioSocket_t handle = handle_;
        handle_ = NUV_NETIO_SOCKET_NONE;
        return handle;
    }

    /** Leaves errno as it is. */
    void close() {
        if (is_open()) {
            const int error = errno;
            transport_->close(transport_->param, take());
            errno = error;
        }
    }

private:
    const NUVNetioTransport *transport_ = nullptr;
    NUVNetioSocket_t handle_ = NUV_NETIO_SOCKET_NONE;
};

/**
 * Keeps a socket that could not be bound for the next try: passing over taken ports then costs no
 * more than their failing binds. Thread-safe.
 */
class SpareSocket {
public:
    SpareSocket(const NUVNetioTransport &transport, const NUVNetioSendOptions &options)
        : transport_(transport), options_(options) {}
    ~SpareSocket() {
        const Socket closed(transport_, kept_.load());
    }
    SpareSocket(const SpareSocket &) = delete;
    SpareSocket &operator=(const SpareSocket &) = delete;

    /** The kept socket, or a new one. On failure errno tells why. */
    Socket take_or_open() {
        const NUVNetioSocket_t kept = kept_.exchange(NUV_NETIO_SOCKET_NONE);
        return {transport_, kept != NUV_NETIO_SOCKET_NONE
                                ? kept
                                : transport_.openUnicast(transport_.param, &options_)};
    }
    /** Keeps an unbound socket. */
    void keep(Socket socket) {
        const Socket former(transport_, kept_.exchange(socket.take()));
    }

private:
    const NUVNetioTransport &transport_;
    const NUVNetioSendOptions options_;
    std::atomic<NUVNetioSocket_t> kept_{NUV_NETIO_SOCKET_NONE};
};

} // namespace netio

#endif
