// SPDX-License-Identifier: Apache-2.0
// The socket that is sent from over one transport.
#include "transport/sender.h"

namespace netio {

NUVNetioSocket_t Sender::get_or_open() {
    NUVNetioSocket_t socket = socket_.load();
    if (socket != NUV_NETIO_SOCKET_NONE) {
        return socket;
    }
    Socket opened(transport_, transport_.openSender(transport_.param, &options_));
    if (!opened.is_open()) {
        return NUV_NETIO_SOCKET_NONE;
    }
    if (socket_.compare_exchange_strong(socket, opened.handle())) {
        return opened.take();
    }
    return socket; // another thread was faster
}

} // namespace netio
