// SPDX-License-Identifier: Apache-2.0
// One socket of a receive port.
#include "socket/receiveSocket.h"

#include <cerrno>
#include <utility>

#include "netio_log.h"
#include "socket/receivePort.h"

namespace netio {

namespace {

/** So that a flooded port does not keep the reactor from the others. */
constexpr int DATAGRAMS_PER_TURN = 32;

} // namespace

ReceiveSocket::ReceiveSocket(ReceivePort &port) : Pollable(&port), port_(port) {}

void ReceiveSocket::open(Socket bound, const KOLS_Transport_Address_t &address) {
    socket_ = std::move(bound);
    bound_to_ = address;
    watches_losses_ = false;
    lost_ = 0;
    state_.store(State::IDLE);
}

void ReceiveSocket::close() {
    port_.reactor().forget(this);
    State state = state_.load();
    while (state != State::CLOSED &&
           !state_.compare_exchange_weak(state,
                                         state == State::IDLE ? State::CLOSED : State::AWAITED)) {}
    if (state == State::RECEIVING) {
        state_.wait(State::AWAITED);
    }
    socket_.close();
}

/** False when it is closed. */
bool ReceiveSocket::begin_receiving() {
    State state = State::IDLE;
    return state_.compare_exchange_strong(state, State::RECEIVING);
}

void ReceiveSocket::end_receiving() {
    State state = State::RECEIVING;
    if (!state_.compare_exchange_strong(state, State::IDLE)) {
        state_.store(State::CLOSED);
        state_.notify_all();
    }
}

bool ReceiveSocket::on_readable(const ReactorContext &context) {
    Received received = Received::ONE;
    if (!port_.is_open()) {
        return true; // in a moment it is; the datagrams wait
    }
    for (int i = 0; i < DATAGRAMS_PER_TURN && received == Received::ONE; ++i) {
        received = receive_one(context);
    }
    return received != Received::FAILED;
}

/**
 * How many datagrams were lost since it told last. It is asked to tell only now that it is used, so
 * that it costs nothing where somebody waits for a port.
 */
NUV_UINT32 ReceiveSocket::note_losses(NUV_UINT32 lost) {
    const NUVNetioTransport &transport = port_.transport();
    if (!std::exchange(watches_losses_, true) && transport.watchLosses != nullptr) {
        transport.watchLosses(transport.param, socket_.handle());
    }
    return lost - std::exchange(lost_, lost);
}

ReceiveSocket::Received ReceiveSocket::receive_one(const ReactorContext &context) {
    const NUVNetioTransport &transport = port_.transport();
    NUVNetioDatagram datagram{};
    if (!begin_receiving()) {
        return Received::NONE;
    }
    const bool is_received =
        transport.receive(transport.param, socket_.handle(), context.buffer.data(),
                          static_cast<NUV_UINT32>(context.buffer.size()), &datagram) != 0;
    const int error = errno;
    const NUV_UINT32 newly_lost = is_received ? note_losses(datagram.lost) : 0;
    end_receiving();
    const NUVNetioLocator &locator = port_.locator();
    if (is_received) {
        port_.deliver({context.buffer.data(), datagram.length, datagram.source, locator.transport,
                       locator.port, datagram.interfaceIndex, port_.count_arrival(newly_lost)},
                      context.worker);
        return Received::ONE;
    }
    if (error == EAGAIN || error == EINTR) { // after the latter the loop tells of it again
        return Received::NONE;
    }
    if (!is_failing()) {
        NETIO_WARNING_LIMITED(port_.repetitions(), "cannot receive at %s, trying again: %s (%s)",
                              LocatorText(locator).get(), error_description(error),
                              error_name(error));
    }
    return Received::FAILED;
}

} // namespace netio
