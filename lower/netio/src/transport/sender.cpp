// SPDX-License-Identifier: Apache-2.0
// Sending over one transport.
#include "transport/sender.h"

#include <cerrno>

#include "netio_log.h"

namespace netio {

namespace {

constexpr NUV_UINT32 BY_THE_ROUTES = 0;

} // namespace

bool Sender::send(const NUVNetioLocator &destination, std::span<const NUV_UINT8> message) {
    const NUVNetioSocket_t socket = get_or_open();
    return socket != NUV_NETIO_SOCKET_NONE &&
           send_over(socket, destination, BY_THE_ROUTES, message, true);
}

bool Sender::send_to_group(const NUVNetioLocator &group, std::span<const NUV_UINT8> message,
                           const AllowedInterfaces &allowed,
                           const NUVNetioInterfaceSnapshot &snapshot,
                           REDARepetitions *repetitions) {
    constexpr const char *LOG_METHOD = "NUVNetioConfigurator_send";
    const NUVNetioSocket_t socket = get_or_open();
    if (socket == NUV_NETIO_SOCKET_NONE) {
        return false;
    }
    int taken = 0;
    int refused = 0;
    int error = 0;
    bool may_wait = true;
    visit_multicast_interfaces(snapshot, allowed, group.transport, [&](const auto &interface) {
        if (send_over(socket, group, interface.index, message, may_wait)) {
            ++taken;
        } else {
            ++refused;
            error = errno;
            // However many links are stuck, one message has one wait.
            may_wait = may_wait && error != EAGAIN;
        }
    });
    if (taken == 0 && refused == 0) { // no interface is known
        return send_over(socket, group, BY_THE_ROUTES, message, true);
    }
    if (taken != 0 && refused != 0) {
        NETIO_WARNING_LIMITED(repetitions, "%d of %d interfaces refused a message to %s: %s (%s)",
                              refused, taken + refused, LocatorText(group).get(),
                              error_description(error), error_name(error));
    }
    errno = error;
    return taken != 0;
}

bool Sender::send_over(NUVNetioSocket_t socket, const NUVNetioLocator &destination,
                       NUV_UINT32 interface_index, std::span<const NUV_UINT8> message,
                       bool may_wait) const {
    return transport_.send(transport_.param, socket, &destination, interface_index, message.data(),
                           static_cast<NUV_UINT32>(message.size()), may_wait ? 1 : 0) != 0;
}

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
