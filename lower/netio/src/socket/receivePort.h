// SPDX-License-Identifier: Apache-2.0
// The sockets of one receive port.
#ifndef NETIO_RECEIVE_PORT_H
#define NETIO_RECEIVE_PORT_H

#include "netio/netio_configurator.h"
#include "runtime.h"
#include "socket/receiveSocket.h"

namespace netio {

/** Whoever changes the sockets does so one at a time. */
class ReceivePort : public Owner {
public:
    ReceivePort(const ReceivePort &) = delete;
    ReceivePort &operator=(const ReceivePort &) = delete;

    const NUVNetioTransport &transport() const {
        return transport_;
    }
    /** Transport, port and group; of a unicast port the address does not matter. */
    const NUVNetioLocator &locator() const {
        return locator_;
    }
    Reactor &reactor() const {
        return runtime_.reactor;
    }
    REDARepetitions *repetitions() const {
        return &runtime_.repetitions;
    }
    /** Whether the sockets are complete: messages are let through. */
    bool is_open() const {
        return is_open_.load(std::memory_order_acquire);
    }
    void let_through() {
        is_open_.store(true, std::memory_order_release);
    }

    /** Adds a bound socket, which is not received from yet. Null when memory runs out. */
    ReceiveSocket *add_socket(Socket bound, const KOLS_Transport_Address_t &bound_to);
    /** Has a socket received from. On failure errno tells why. */
    bool poll(ReceiveSocket &socket) const {
        return reactor().poll(socket.handle(), &socket);
    }
    /** Beginning with the one that the port was opened with. Some may be closed. */
    ReceiveSocket *sockets() const {
        return sockets_;
    }
    void close_sockets();

    /** Counts a datagram that was received, after so many that were lost: it is the n-th. */
    NUV_UINT64 count_arrival(NUV_UINT32 newly_lost) const;
    /** Hands a message on. */
    virtual void deliver(const NUVNetioMessage &message, REDAWorker *worker) = 0;

protected:
    ReceivePort(NUVNetioRuntime &runtime, const NUVNetioTransport &transport,
                const NUVNetioLocator &locator)
        : runtime_(runtime), transport_(transport), locator_(locator) {}
    ~ReceivePort();

private:
    NUVNetioRuntime &runtime_;
    const NUVNetioTransport &transport_;
    const NUVNetioLocator locator_;
    std::atomic<bool> is_open_{false};
    ReceiveSocket *sockets_ = nullptr; // none goes before the port
};

} // namespace netio

#endif
