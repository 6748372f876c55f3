// SPDX-License-Identifier: Apache-2.0
// A unicast port, which one resource has alone.
#include "socket/unicastPort.h"

#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "configurator/groupSending.h"
#include "locator/address.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "socket/sourceAddress.h"

namespace netio {

namespace {

/** The address of any interface, to be bound to. */
constexpr KOLS_Transport_Address_t ANY_ADDRESS = {};

/** A socket that alone has the locator's address and port. None after a failure was noted. */
Socket bind_unicast(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator) {
    Transport &registered = *configurator.find_transport(locator.transport);
    const NUVNetioTransport &transport = registered.network;
    Socket socket = registered.spare.take_or_open();
    if (!socket.is_open()) {
        configurator.attempt.note({locator, "open a socket", errno});
        return socket;
    }
    if (transport.bindUnicast(transport.param, socket.handle(), &locator.address, locator.port) ==
        0) {
        configurator.attempt.note({locator, "bind the socket", errno});
        registered.spare.keep(std::move(socket));
        return {};
    }
    return socket;
}

/** Ends a port that could not be started. */
struct UnicastPortDeleter {
    void operator()(UnicastPort *port) const {
        (void)port->release();
    }
};

using UnicastPortPointer = std::unique_ptr<UnicastPort, UnicastPortDeleter>;

/** A port that was asked for, while it is put together. */
struct Request {
    NUVNetioConfigurator &configurator;
    const NUVNetioLocator &locator;
    const NUVNetioReceiveListener &listener;
};

/** Nothing has been allocated until a first socket is bound: taken ports are passed over fast. */
UnicastPortPointer make_port(const Request &request) {
    UnicastPort *port = nullptr;
    NUVOsapiHeap_allocateStructure(&port, class netio::UnicastPort);
    if (port == nullptr) {
        request.configurator.attempt.note({request.locator, nullptr, ENOMEM});
        return nullptr;
    }
    return UnicastPortPointer(
        new (port) UnicastPort(request.configurator, request.locator, request.listener));
}

/** On every interface there is or will be: for the port as such. */
UnicastPortPointer open_wildcard(const Request &request) {
    NUVNetioLocator any = request.locator;
    any.address = ANY_ADDRESS;
    Socket bound = bind_unicast(request.configurator, any);
    UnicastPortPointer port;
    if (bound.is_open()) {
        port = make_port(request);
    }
    if (port == nullptr || port->add(std::move(bound), ANY_ADDRESS) == nullptr) {
        return nullptr;
    }
    return port;
}

/**
 * On each address that is allowed now, loopback among them, or on none. Without any address it
 * opens all the same: one that appears is covered later.
 */
UnicastPortPointer open_allowed(const Request &request) {
    const HeldSnapshot snapshot = request.configurator.snapshot();
    UnicastPortPointer port;
    NUVNetioLocator one = request.locator;
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot.get()); ++i) {
        const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(snapshot.get(), i);
        if (interface->transport != one.transport ||
            !request.configurator.allowed.admits(*interface)) {
            continue;
        }
        one.address = interface->address;
        Socket bound = bind_unicast(request.configurator, one);
        if (!bound.is_open()) {
            return nullptr;
        }
        if (port == nullptr) {
            port = make_port(request);
        }
        if (port == nullptr || port->add(std::move(bound), one.address) == nullptr) {
            return nullptr;
        }
    }
    return port != nullptr ? std::move(port) : make_port(request);
}

bool is_any_address(const KOLS_Transport_Address_t &address) {
    return is_same_address(address, ANY_ADDRESS);
}

} // namespace

UnicastPort::UnicastPort(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator,
                         const NUVNetioReceiveListener &listener)
    : ReceivePort(*configurator.runtime, configurator.find_transport(locator.transport)->network,
                  locator),
      configurator_(configurator), listener_(listener) {}

ReceiveSocket *UnicastPort::add(Socket bound, const KOLS_Transport_Address_t &bound_to) {
    ReceiveSocket *const socket = add_socket(std::move(bound), bound_to);
    if (socket == nullptr) {
        configurator_.attempt.note({locator(), nullptr, ENOMEM});
    }
    return socket;
}

bool UnicastPort::start() {
    for (ReceiveSocket *socket = sockets(); socket != nullptr; socket = socket->next) {
        if (!poll_or_note(*socket)) {
            return false;
        }
    }
    let_through();
    return true;
}

bool UnicastPort::poll_or_note(ReceiveSocket &socket) {
    if (!poll(socket)) {
        configurator_.attempt.note({locator(), "poll the socket", errno});
        return false;
    }
    return true;
}

bool UnicastPort::cover(const KOLS_Transport_Address_t &address) {
    constexpr const char *LOG_METHOD = "NUVNetioReceiveResource_cover";
    if (!configurator_.allowed.is_restricted() || is_any_address(address)) {
        return true;
    }
    const std::lock_guard lock(mutex_);
    close_gone_sockets();
    if (is_covered(address)) {
        return true;
    }
    NUVNetioLocator wanted = locator();
    wanted.address = address;
    if (!is_allowed(address)) {
        NETIO_ERROR("cannot receive at %s: it is no address of an allowed interface",
                    LocatorText(wanted).get());
        return false;
    }
    Socket bound = bind_unicast(configurator_, wanted);
    ReceiveSocket *const socket = bound.is_open() ? add(std::move(bound), address) : nullptr;
    if (socket == nullptr) {
        return false;
    }
    if (!poll_or_note(*socket)) {
        socket->close();
        return false;
    }
    return true;
}

/** Those of addresses that the host has no more; loopback stays in any case. */
void UnicastPort::close_gone_sockets() {
    NUVNetioLocator bound = locator();
    for (ReceiveSocket *socket = sockets(); socket != nullptr; socket = socket->next) {
        bound.address = socket->bound_to();
        if (socket->is_open() && NUVNetioLocator_isLoopback(&bound) == 0 &&
            !is_allowed(socket->bound_to())) {
            socket->close();
        }
    }
}

bool UnicastPort::is_covered(const KOLS_Transport_Address_t &address) const {
    const ReceiveSocket *socket = sockets();
    while (socket != nullptr &&
           !(socket->is_open() && is_same_address(socket->bound_to(), address))) {
        socket = socket->next;
    }
    return socket != nullptr;
}

bool UnicastPort::is_allowed(const KOLS_Transport_Address_t &address) const {
    const HeldSnapshot snapshot = configurator_.snapshot();
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot.get()); ++i) {
        const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(snapshot.get(), i);
        if (interface->transport == locator().transport &&
            is_same_address(interface->address, address)) {
            return configurator_.allowed.admits(*interface);
        }
    }
    return false;
}

int UnicastPort::send(const Outgoing &message) {
    constexpr const char *LOG_METHOD = "NUVNetioReceiveResource_send";
    const HeldSnapshot snapshot = configurator_.snapshot();
    const auto send_one_over = [&](const Outgoing &one, NUV_UINT32 interface_index) {
        return send_over(one, interface_index, *snapshot.get());
    };
    const NUV_INT32 taken =
        NUVNetioLocator_isMulticast(&message.destination) != 0
            ? send_to_group(LOG_METHOD, message, configurator_, *snapshot.get(), send_one_over)
            : NUV_INT32{send_one_over(message, BY_THE_ROUTES)};
    if (taken == 0) {
        const int error = errno;
        NETIO_WARNING_LIMITED(repetitions(), "cannot send %zu bytes from port %d to %s: %s (%s)",
                              message.octets.size(), static_cast<int>(locator().port),
                              LocatorText(message.destination).get(), error_description(error),
                              error_name(error));
        errno = error;
    }
    return taken;
}

/** On failure errno tells why. */
bool UnicastPort::send_over(const Outgoing &message, NUV_UINT32 interface_index,
                            const NUVNetioInterfaceSnapshot &snapshot) {
    const std::lock_guard lock(mutex_);
    const ReceiveSocket *const socket =
        choose_socket(message.destination, interface_index, snapshot);
    if (socket == nullptr) {
        errno = EADDRNOTAVAIL;
        return false;
    }
    return message.send(transport(), socket->handle(), interface_index);
}

/** The socket that a message leaves from; null: none of them can reach there. */
const ReceiveSocket *UnicastPort::choose_socket(const NUVNetioLocator &destination,
                                                NUV_UINT32 interface_index,
                                                const NUVNetioInterfaceSnapshot &snapshot) const {
    const SourceAddress source(*transport().transportClass, destination.address, interface_index,
                               snapshot);
    const ReceiveSocket *chosen = nullptr;
    int best = -1;
    for (const ReceiveSocket *socket = sockets(); socket != nullptr; socket = socket->next) {
        if (!socket->is_open()) {
            continue;
        }
        if (is_any_address(socket->bound_to())) {
            return socket;
        }
        const int fitness = source.fitness(socket->bound_to());
        if (fitness > best) {
            chosen = socket;
            best = fitness;
        }
    }
    return chosen;
}

/** True when it is gone; false when the reactor is at it just now and will see to its end. */
bool UnicastPort::release() {
    {
        const std::lock_guard lock(mutex_);
        close_sockets();
    }
    if (!reactor().end(this)) {
        return false;
    }
    free();
    return true;
}

void UnicastPort::free() {
    this->~UnicastPort();
    NUVOsapiHeap_freeStructure(this);
}

void UnicastPort::deliver(const NUVNetioMessage &message, REDAWorker *worker) {
    if (listener_.onMessage != nullptr) {
        listener_.onMessage(listener_.param, &message, worker);
    }
}

void UnicastPort::on_ended(REDAWorker *worker) {
    // One that never was open has told nobody of itself.
    const auto on_closed = is_open() ? listener_.onClosed : nullptr;
    void *const param = listener_.param;
    free();
    if (on_closed != nullptr) {
        on_closed(param, worker);
    }
}

NUVNetioReceiveResource *open_unicast_port(NUVNetioConfigurator &configurator,
                                           const NUVNetioLocator &locator,
                                           const NUVNetioReceiveListener &listener) {
    const Request request{configurator, locator, listener};
    UnicastPortPointer port =
        configurator.allowed.is_restricted() ? open_allowed(request) : open_wildcard(request);
    return port != nullptr && port->start() ? port.release() : nullptr;
}

} // namespace netio
