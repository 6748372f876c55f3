// Receive resources: the sockets of one receive port, and what the reactor does with them.
#include "socket/receiveResource.h"

#include <cerrno>
#include <new>
#include <utility>

#include "configurator/configurator.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "socket/receiveBinding.h"
#include "transport/socketAddress.h"

namespace netio {

namespace {

/** So that a flooded port does not keep the reactor from the others. */
constexpr int DATAGRAMS_PER_TURN = 32;

void free_socket(ReceiveSocket *socket) {
    socket->~ReceiveSocket();
    NUVOsapiHeap_freeStructure(socket);
}

} // namespace

ReceiveSocket::ReceiveSocket(NUVNetioReceiveResource *resource)
    : Pollable(resource), resource_(resource) {}

void ReceiveSocket::open(Descriptor descriptor, const KOLS_Transport_Address_t &address) {
    const std::lock_guard lock(mutex_);
    descriptor_ = std::move(descriptor);
    bound_to_ = address;
    is_open_ = true;
}

void ReceiveSocket::close() {
    resource_->reactor().forget(this);
    const std::lock_guard lock(mutex_);
    descriptor_.reset();
    is_open_ = false;
}

bool ReceiveSocket::on_readable(const ReactorContext &context) {
    Received received = Received::ONE;
    if (!resource_->is_open()) {
        return true; // in a moment it is; the datagrams wait
    }
    for (int i = 0; i < DATAGRAMS_PER_TURN && received == Received::ONE; ++i) {
        received = receive_one(context);
    }
    return received != Received::FAILED;
}

ReceiveSocket::Received ReceiveSocket::receive_one(const ReactorContext &context) {
    SocketAddress source;
    socklen_t source_length = SocketAddress::capacity();
    ssize_t length = -1;
    int error = 0;
    do {
        const std::lock_guard lock(mutex_);
        if (!descriptor_.is_open()) {
            return Received::NONE;
        }
        length = recvfrom(descriptor_.get(), context.buffer.data(), context.buffer.size(), 0,
                          source.get(), &source_length);
        error = errno;
    } while (length < 0 && error == EINTR);
    if (length < 0) {
        if (error == EAGAIN) {
            return Received::NONE;
        }
        if (!is_failing()) {
            NETIO_WARNING_LIMITED(resource_->repetitions(),
                                  "cannot receive at %s, trying again: %s (%s)",
                                  LocatorText(resource_->locator()).get(), error_description(error),
                                  error_name(error));
        }
        return Received::FAILED;
    }
    const NUVNetioLocator &locator = resource_->locator();
    resource_->receive({context.buffer.data(), static_cast<NUV_UINT32>(length), source.to_locator(),
                        locator.transport, locator.port},
                       context.worker);
    return Received::ONE;
}

} // namespace netio

NUVNetioReceiveResource::NUVNetioReceiveResource(NUVNetioConfigurator *configurator,
                                                 const NUVNetioLocator &locator,
                                                 const NUVNetioReceiveListener &listener)
    : configurator_(configurator), reactor_(configurator->runtime->reactor),
      repetitions_(&configurator->runtime->repetitions), locator_(locator), listener_(listener),
      is_group_(NUVNetioLocator_isMulticast(&locator) != 0),
      memberships_(*this, configurator->attempt.is_quiet()) {}

NUVNetioReceiveResource::~NUVNetioReceiveResource() {
    while (sockets_ != nullptr) {
        netio::ReceiveSocket *const socket = sockets_;
        sockets_ = socket->next;
        netio::free_socket(socket);
    }
}

netio::ReceiveSocket *
NUVNetioReceiveResource::add_socket(netio::Descriptor descriptor,
                                    const KOLS_Transport_Address_t &bound_to) {
    netio::ReceiveSocket *const socket = find_or_make_closed_socket();
    if (socket == nullptr) {
        configurator_->attempt.note({locator_, nullptr, ENOMEM});
        return nullptr;
    }
    socket->open(std::move(descriptor), bound_to);
    return socket;
}

netio::ReceiveSocket *NUVNetioReceiveResource::open_further_socket() {
    netio::Descriptor bound = netio::bind_further_to_group(locator_);
    if (!bound.is_open()) {
        return nullptr;
    }
    netio::ReceiveSocket *const socket = find_or_make_closed_socket();
    if (socket == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    socket->open(std::move(bound), locator_.address);
    if (!reactor_.poll(socket->descriptor(), socket)) {
        const int error = errno;
        socket->close();
        errno = error;
        return nullptr;
    }
    return socket;
}

/** Null when memory runs out. */
netio::ReceiveSocket *NUVNetioReceiveResource::find_or_make_closed_socket() {
    netio::ReceiveSocket **place = &sockets_;
    while (*place != nullptr && (*place)->is_open()) {
        place = &(*place)->next;
    }
    if (*place == nullptr) {
        NUVOsapiHeap_allocateStructure(place, class netio::ReceiveSocket);
        if (*place != nullptr) {
            new (*place) netio::ReceiveSocket(this);
        }
    }
    return *place;
}

bool NUVNetioReceiveResource::start() {
    for (netio::ReceiveSocket *socket = sockets_; socket != nullptr; socket = socket->next) {
        if (!poll(*socket)) {
            return false;
        }
    }
    // Last, for a member's sockets are changed by whoever has the interfaces listed.
    if (is_group_) {
        configurator_->runtime->add_member(this);
    }
    open_.store(true, std::memory_order_release);
    return true;
}

bool NUVNetioReceiveResource::poll(netio::ReceiveSocket &socket) {
    if (!reactor_.poll(socket.descriptor(), &socket)) {
        configurator_->attempt.note({locator_, "poll the socket", errno});
        return false;
    }
    return true;
}

bool NUVNetioReceiveResource::cover(const KOLS_Transport_Address_t &address) {
    if (is_group_ || !configurator_->allowed.is_restricted() || netio::is_any_address(address)) {
        return true;
    }
    const std::lock_guard lock(mutex_);
    close_gone_sockets();
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
    netio::Descriptor bound = netio::bind_unicast(*configurator_, wanted);
    netio::ReceiveSocket *const socket =
        bound.is_open() ? add_socket(std::move(bound), address) : nullptr;
    if (socket == nullptr) {
        return false;
    }
    if (!poll(*socket)) {
        socket->close();
        return false;
    }
    return true;
}

/** Those of addresses that the host has no more; loopback stays in any case. */
void NUVNetioReceiveResource::close_gone_sockets() {
    NUVNetioLocator bound = locator_;
    for (netio::ReceiveSocket *socket = sockets_; socket != nullptr; socket = socket->next) {
        bound.address = socket->bound_to();
        if (socket->is_open() && NUVNetioLocator_isLoopback(&bound) == 0 &&
            !is_allowed(socket->bound_to())) {
            socket->close();
        }
    }
}

bool NUVNetioReceiveResource::is_covered(const KOLS_Transport_Address_t &address) const {
    const netio::ReceiveSocket *socket = sockets_;
    while (socket != nullptr &&
           !(socket->is_open() && netio::is_same_address(socket->bound_to(), address))) {
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

bool NUVNetioReceiveResource::release() {
    if (is_group_) {
        configurator_->runtime->interfaces.remove_member(this);
    }
    return close_and_end();
}

/** True when it is gone; false when the reactor is at it just now and will see to its end. */
bool NUVNetioReceiveResource::close_and_end() {
    for (netio::ReceiveSocket *socket = sockets_; socket != nullptr; socket = socket->next) {
        socket->close();
    }
    if (!reactor_.end(this)) {
        return false;
    }
    free();
    return true;
}

void NUVNetioReceiveResource::free() {
    this->~NUVNetioReceiveResource();
    NUVOsapiHeap_freeStructure(this);
}

void NUVNetioReceiveResource::receive(const NUVNetioMessage &message, REDAWorker *worker) const {
    if (listener_.onMessage != nullptr) {
        listener_.onMessage(listener_.param, &message, worker);
    }
}

bool NUVNetioReceiveResource::follow(const NUVNetioInterfaceSnapshot &snapshot) {
    return memberships_.follow(configurator_->allowed, snapshot);
}

void NUVNetioReceiveResource::on_ended(REDAWorker *worker) {
    // One that never was open has told nobody of itself.
    const auto on_closed = is_open() ? listener_.onClosed : nullptr;
    void *const param = listener_.param;
    free();
    if (on_closed != nullptr) {
        on_closed(param, worker);
    }
}

void ReceiveResourceDeleter::operator()(NUVNetioReceiveResource *resource) const {
    (void)resource->close_and_end();
}

int NUVNetioReceiveResource_cover(struct NUVNetioReceiveResource *self,
                                  const struct NUVNetioLocator *locator,
                                  struct REDAWorker * /*worker*/) {
    return static_cast<int>(self->cover(locator->address));
}

int NUVNetioReceiveResource_release(struct NUVNetioReceiveResource *self,
                                    struct REDAWorker * /*worker*/) {
    return static_cast<int>(self->release());
}
