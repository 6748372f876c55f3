// SPDX-License-Identifier: Apache-2.0
// One socket of a receive port.
#ifndef NETIO_RECEIVE_SOCKET_H
#define NETIO_RECEIVE_SOCKET_H

#include <atomic>

#include "reactor/reactor.h"
#include "transport/socket.h"

namespace netio {

class ReceivePort;

/** A socket, and the address that it is bound to. May be opened again after it was closed. */
class ReceiveSocket final : public Pollable {
public:
    explicit ReceiveSocket(ReceivePort &port);

    bool is_open() const {
        return socket_.is_open();
    }
    NUVNetioSocket_t handle() const {
        return socket_.handle();
    }
    const KOLS_Transport_Address_t &bound_to() const {
        return bound_to_;
    }

    /** Takes a bound socket, while it is closed. */
    void open(Socket bound, const KOLS_Transport_Address_t &address);
    /**
     * The port is free when this returns, though a message that was received before may still be
     * handed on. Waits for one receiving call of the reactor at most, which never waits itself.
     */
    void close();

    bool on_readable(const ReactorContext &context) override;

    ReceiveSocket *next = nullptr;

private:
    /**
     * So that nobody closes the socket while it is received from. Whoever closes it then waits for
     * the reactor, which sees that it does.
     */
    enum class State { IDLE, RECEIVING, AWAITED, CLOSED };
    enum class Received { ONE, NONE, FAILED };

    bool begin_receiving();
    void end_receiving();
    NUV_UINT32 note_losses(NUV_UINT32 lost);
    Received receive_one(const ReactorContext &context);

    ReceivePort &port_;
    KOLS_Transport_Address_t bound_to_{};
    std::atomic<State> state_{State::CLOSED};
    // The reactor uses these while the state is receiving:
    Socket socket_;
    bool watches_losses_ = false;
    NUV_UINT32 lost_ = 0; // datagrams, as it has told last
};

} // namespace netio

#endif
