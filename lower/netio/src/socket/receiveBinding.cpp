// Binding the sockets of receive ports.
#include "socket/receiveBinding.h"

#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "socket/receiveResource.h"
#include "transport/socketAddress.h"

namespace netio {

namespace {

using ResourcePointer = std::unique_ptr<NUVNetioReceiveResource, ReceiveResourceDeleter>;

bool bind_to(const NUVNetioLocator &locator, int socket) {
    return bind_socket(socket, SocketAddress(locator.transport, locator.address, locator.port));
}

/** None, with errno, and the step that failed. */
Descriptor bind_to_group(const NUVNetioLocator &locator, const char **failed_step) {
    Descriptor socket = open_udp_socket(locator.transport, Waiting::NEVER);
    *failed_step = "open a socket";
    if (!socket.is_open()) {
        return socket;
    }
    *failed_step = "set the socket's multicast options";
    bool done = prepare_for_group(socket.get(), locator.transport);
    if (done) {
        *failed_step = "bind the socket";
        done = bind_to(locator, socket.get());
    }
    if (!done) {
        const int error = errno;
        socket.reset();
        errno = error;
    }
    return socket;
}

/** One resource that was asked for, while it is put together. */
struct Request {
    NUVNetioConfigurator &configurator;
    const NUVNetioLocator &locator;
    const NUVNetioReceiveListener &listener;
};

/** Nothing has been allocated until a first socket is bound: taken ports are passed over fast. */
ResourcePointer make_resource(const Request &request) {
    NUVNetioReceiveResource *resource = nullptr;
    NUVOsapiHeap_allocateStructure(&resource, struct NUVNetioReceiveResource);
    if (resource == nullptr) {
        request.configurator.attempt.note({request.locator, nullptr, ENOMEM});
        return nullptr;
    }
    return ResourcePointer(new (resource) NUVNetioReceiveResource(
        &request.configurator, request.locator, request.listener));
}

ResourcePointer open_with_one_socket(const Request &request, Descriptor bound,
                                     const KOLS_Transport_Address_t &bound_to) {
    ResourcePointer resource;
    if (bound.is_open()) {
        resource = make_resource(request);
    }
    if (resource == nullptr || resource->add_socket(std::move(bound), bound_to) == nullptr) {
        return nullptr;
    }
    return resource;
}

/** On every interface there is or will be: for the port as such. */
ResourcePointer open_wildcard(const Request &request) {
    NUVNetioLocator any = request.locator;
    any.address = ANY_ADDRESS;
    return open_with_one_socket(request, bind_unicast(request.configurator, any), ANY_ADDRESS);
}

ResourcePointer open_group(const Request &request) {
    return open_with_one_socket(request, bind_group(request.configurator, request.locator),
                                request.locator.address);
}

/**
 * On each address that is allowed now, loopback among them, or on none. Without any address it
 * opens all the same: one that appears is covered later.
 */
ResourcePointer open_allowed(const Request &request) {
    const HeldSnapshot snapshot = request.configurator.snapshot();
    ResourcePointer resource;
    NUVNetioLocator one = request.locator;
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot.get()); ++i) {
        const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(snapshot.get(), i);
        if (interface->transport != one.transport ||
            !request.configurator.allowed.admits(*interface)) {
            continue;
        }
        one.address = interface->address;
        Descriptor bound = bind_unicast(request.configurator, one);
        if (!bound.is_open()) {
            return nullptr;
        }
        if (resource == nullptr) {
            resource = make_resource(request);
        }
        if (resource == nullptr || resource->add_socket(std::move(bound), one.address) == nullptr) {
            return nullptr;
        }
    }
    return resource != nullptr ? std::move(resource) : make_resource(request);
}

bool check_locator(const NUVNetioConfigurator &configurator, const NUVNetioLocator &locator) {
    if (configurator.find_transport(locator.transport) == nullptr) {
        NETIO_ERROR("cannot receive at %s: its transport is not registered",
                    LocatorText(locator).get());
        return false;
    }
    if (NUVNetioLocator_isPort(locator.port) == 0) {
        NETIO_ERROR("cannot receive at %s: allowed ports are 1 to %d", LocatorText(locator).get(),
                    KOLS_TRANSPORT_PORT_MAX);
        return false;
    }
    return true;
}

} // namespace

Descriptor bind_unicast(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator) {
    Transport &transport = *configurator.find_transport(locator.transport);
    Descriptor socket = transport.spare.take_or_open(transport.classid);
    if (!socket.is_open()) {
        configurator.attempt.note({locator, "open a socket", errno});
        return socket;
    }
    if (!bind_to(locator, socket.get())) {
        configurator.attempt.note({locator, "bind the socket", errno});
        transport.spare.keep(std::move(socket));
        return {};
    }
    return socket;
}

Descriptor bind_group(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator) {
    const char *step = nullptr;
    Descriptor socket = bind_to_group(locator, &step);
    if (!socket.is_open()) {
        configurator.attempt.note({locator, step, errno});
    }
    return socket;
}

Descriptor bind_further_to_group(const NUVNetioLocator &locator) {
    const char *unsaid = nullptr;
    return bind_to_group(locator, &unsaid);
}

} // namespace netio

struct NUVNetioReceiveResource *NUVNetioConfigurator_openReceiveResource(
    struct NUVNetioConfigurator *self, const struct NUVNetioLocator *locator,
    const struct NUVNetioReceiveListener *listener, struct REDAWorker * /*worker*/) {
    if (!netio::check_locator(*self, *locator)) {
        return nullptr;
    }
    const netio::Request request{*self, *locator, *listener};
    netio::ResourcePointer resource;
    if (NUVNetioLocator_isMulticast(locator) != 0) {
        resource = netio::open_group(request);
    } else if (self->allowed.is_restricted()) {
        resource = netio::open_allowed(request);
    } else {
        resource = netio::open_wildcard(request);
    }
    return resource != nullptr && resource->start() ? resource.release() : nullptr;
}
