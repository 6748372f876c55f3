// Receive resources: the sockets of one receive port, and what the reactor does with them.
#include "receiveResource.h"

#include <cerrno>
#include <new>
#include <utility>

#include "configurator.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "receiveBinding.h"
#include "socketAddress.h"

namespace netio {

namespace {

/** So that a flooded port does not keep the reactor from the others, nor from closing it. */
constexpr int DATAGRAMS_PER_TURN = 32;

void free_socket(ReceiveSocket *socket) {
    socket->~ReceiveSocket();
    NUVOsapiHeap_freeStructure(socket);
}

} // namespace

void ReceiveSocket::on_readable(const ReactorContext &context) {
    if (!resource_->is_open()) {
        return; // in a moment it is; the datagrams wait
    }
    for (int i = 0; i < DATAGRAMS_PER_TURN && receive_one(context); ++i) {}
}

/** One that was given back alone. Its resource comes later in the reactor's queue. */
void ReceiveSocket::close_returned(REDAWorker * /*worker*/) {
    resource_->forget(descriptor_.get());
    free_socket(this);
}

/** False when there is nothing more to receive now. */
bool ReceiveSocket::receive_one(const ReactorContext &context) {
    SocketAddress source;
    socklen_t source_length = SocketAddress::capacity();
    const ssize_t length = recvfrom(descriptor_.get(), context.buffer.data(), context.buffer.size(),
                                    0, source.get(), &source_length);
    if (length < 0) {
        const int error = errno;
        if (error != EAGAIN && error != EINTR) {
            NETIO_WARNING("cannot receive at %s: %s (%s)", LocatorText(resource_->locator()).get(),
                          error_description(error), error_name(error));
        }
        return error == EINTR;
    }
    const NUVNetioLocator &locator = resource_->locator();
    resource_->receive({context.buffer.data(), static_cast<NUV_UINT32>(length), source.to_locator(),
                        locator.transport, locator.port},
                       context.worker);
    return true;
}

} // namespace netio

NUVNetioReceiveResource::NUVNetioReceiveResource(NUVNetioConfigurator *configurator,
                                                 const NUVNetioLocator &locator,
                                                 const NUVNetioReceiveListener &listener)
    : configurator_(configurator), reactor_(configurator->runtime->reactor), locator_(locator),
      listener_(listener), is_group_(NUVNetioLocator_isMulticast(&locator) != 0) {}

NUVNetioReceiveResource::~NUVNetioReceiveResource() {
    while (sockets_ != nullptr) {
        drop_newest_socket();
    }
}

bool NUVNetioReceiveResource::add_socket(netio::Descriptor descriptor,
                                         const KOLS_Transport_Address_t &bound_to) {
    netio::ReceiveSocket *socket = nullptr;
    NUVOsapiHeap_allocateStructure(&socket, class netio::ReceiveSocket);
    if (socket == nullptr) {
        NETIO_ERROR("cannot receive at %s: out of memory", netio::LocatorText(locator_).get());
        return false;
    }
    new (socket) netio::ReceiveSocket(this, std::move(descriptor), bound_to);
    socket->next = sockets_;
    sockets_ = socket;
    return true;
}

void NUVNetioReceiveResource::drop_newest_socket() {
    netio::ReceiveSocket *const socket = sockets_;
    sockets_ = socket->next;
    netio::free_socket(socket);
}

bool NUVNetioReceiveResource::start() {
    if (is_group_) {
        configurator_->runtime->interfaces.add_member(this);
    }
    for (netio::ReceiveSocket *socket = sockets_; socket != nullptr; socket = socket->next) {
        if (!poll(*socket)) {
            if (is_group_) {
                configurator_->runtime->interfaces.remove_member(this);
            }
            return false;
        }
    }
    open_.store(true, std::memory_order_release);
    return true;
}

bool NUVNetioReceiveResource::poll(netio::ReceiveSocket &socket) {
    if (!reactor_.poll(socket.descriptor(), &socket)) {
        const int error = errno;
        NETIO_ERROR("cannot receive at %s: the reactor cannot poll the socket: %s (%s)",
                    netio::LocatorText(locator_).get(), netio::error_description(error),
                    netio::error_name(error));
        return false;
    }
    polled_ = true;
    return true;
}

bool NUVNetioReceiveResource::cover(const KOLS_Transport_Address_t &address) {
    if (is_group_ || !configurator_->allowed.is_restricted() || netio::is_any_address(address)) {
        return true;
    }
    const std::lock_guard lock(mutex_);
    give_back_gone_sockets();
    if (is_covered(address)) {
        return true;
    }
    NUVNetioLocator wanted = locator_;
    wanted.address = address;
    if (!is_allowed(address)) {
        NETIO_ERROR("cannot receive at %s: it is no address of an allowed interface",
                    netio::LocatorText(wanted).get());
        return false;
    }
    netio::Descriptor bound =
        netio::bind_unicast(*configurator_->find_transport(locator_.transport), wanted);
    if (!bound.is_open() || !add_socket(std::move(bound), address)) {
        return false;
    }
    if (!poll(*sockets_)) {
        drop_newest_socket();
        return false;
    }
    return true;
}

/** Those of addresses that the host has no more; loopback stays in any case. */
void NUVNetioReceiveResource::give_back_gone_sockets() {
    NUVNetioLocator bound = locator_;
    for (netio::ReceiveSocket **place = &sockets_; *place != nullptr;) {
        netio::ReceiveSocket *const socket = *place;
        bound.address = socket->bound_to;
        if (NUVNetioLocator_isLoopback(&bound) != 0 || is_allowed(socket->bound_to)) {
            place = &socket->next;
        } else {
            *place = socket->next;
            reactor_.give_back(socket);
        }
    }
}

bool NUVNetioReceiveResource::is_covered(const KOLS_Transport_Address_t &address) const {
    const netio::ReceiveSocket *socket = sockets_;
    while (socket != nullptr && !netio::is_same_address(socket->bound_to, address)) {
        socket = socket->next;
    }
    return socket != nullptr;
}

bool NUVNetioReceiveResource::is_allowed(const KOLS_Transport_Address_t &address) const {
    const netio::HeldSnapshot snapshot = configurator_->snapshot();
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(snapshot.get()); ++i) {
        const NUVNetioInterface *interface = NUVNetioInterfaceSnapshot_get(snapshot.get(), i);
        if (interface->transport == locator_.transport &&
            netio::is_same_address(interface->address, address)) {
            return configurator_->allowed.admits(*interface);
        }
    }
    return false;
}

void NUVNetioReceiveResource::release() {
    if (is_group_) {
        configurator_->runtime->interfaces.remove_member(this);
    }
    reactor_.give_back(this);
}

void NUVNetioReceiveResource::receive(const NUVNetioMessage &message, REDAWorker *worker) const {
    if (listener_.onMessage != nullptr) {
        listener_.onMessage(listener_.param, &message, worker);
    }
}

void NUVNetioReceiveResource::follow(const NUVNetioInterfaceSnapshot &snapshot) {
    memberships_.follow(sockets_->descriptor(), locator_, configurator_->allowed, snapshot);
}

void NUVNetioReceiveResource::close_returned(REDAWorker *worker) {
    // One that never was open has told nobody of itself.
    const auto on_closed = is_open() ? listener_.onClosed : nullptr;
    void *const param = listener_.param;
    for (const netio::ReceiveSocket *socket = sockets_; socket != nullptr; socket = socket->next) {
        reactor_.forget(socket->descriptor());
    }
    this->~NUVNetioReceiveResource();
    NUVOsapiHeap_freeStructure(this);
    if (on_closed != nullptr) {
        on_closed(param, worker);
    }
}

void ReceiveResourceDeleter::operator()(NUVNetioReceiveResource *resource) const {
    if (resource->polled_) {
        resource->reactor_.give_back(resource); // it may be looking at it just now
        return;
    }
    resource->~NUVNetioReceiveResource();
    NUVOsapiHeap_freeStructure(resource);
}

int NUVNetioReceiveResource_cover(struct NUVNetioReceiveResource *self,
                                  const struct NUVNetioLocator *locator,
                                  struct REDAWorker * /*worker*/) {
    return static_cast<int>(self->cover(locator->address));
}

void NUVNetioReceiveResource_release(struct NUVNetioReceiveResource *self,
                                     struct REDAWorker * /*worker*/) {
    self->release();
}
