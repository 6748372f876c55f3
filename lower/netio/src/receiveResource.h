// Receive resources: the sockets of one receive port.
#ifndef NETIO_RECEIVE_RESOURCE_H
#define NETIO_RECEIVE_RESOURCE_H

#include <atomic>
#include <mutex>

#include "descriptor.h"
#include "interfaceTable.h"
#include "memberships.h"
#include "netio/netio_configurator.h"
#include "reactor.h"

namespace netio {

/** One socket of a resource, which closes it unless it is given to the reactor alone. */
class ReceiveSocket final : public Pollable, public Returned {
public:
    ReceiveSocket(NUVNetioReceiveResource *resource, Descriptor descriptor,
                  const KOLS_Transport_Address_t &address)
        : next(nullptr), bound_to(address), resource_(resource),
          descriptor_(static_cast<Descriptor &&>(descriptor)) {}
    ReceiveSocket(const ReceiveSocket &) = delete;
    ReceiveSocket &operator=(const ReceiveSocket &) = delete;

    int descriptor() const {
        return descriptor_.get();
    }
    void on_readable(const ReactorContext &context) override;
    void close_returned(REDAWorker *worker) override;

    ReceiveSocket *next;
    const KOLS_Transport_Address_t bound_to;

private:
    bool receive_one(const ReactorContext &context);

    NUVNetioReceiveResource *const resource_;
    const Descriptor descriptor_;
};

} // namespace netio

struct NUVNetioReceiveResource final : public netio::Returned, public netio::MulticastMember {
public:
    NUVNetioReceiveResource(NUVNetioConfigurator *configurator, const NUVNetioLocator &locator,
                            const NUVNetioReceiveListener &listener);
    ~NUVNetioReceiveResource();
    NUVNetioReceiveResource(const NUVNetioReceiveResource &) = delete;
    NUVNetioReceiveResource &operator=(const NUVNetioReceiveResource &) = delete;

    /** Adds a bound socket, not polled yet. On failure an error has been logged. */
    bool add_socket(netio::Descriptor descriptor, const KOLS_Transport_Address_t &bound_to);
    /** Lets messages through from now on. On failure an error has been logged. */
    bool start();
    /** See NUVNetioReceiveResource_cover. */
    bool cover(const KOLS_Transport_Address_t &address);
    /** Hands it to the reactor, which closes and frees it. */
    void release();

    bool is_open() const {
        return open_.load(std::memory_order_acquire);
    }
    const NUVNetioLocator &locator() const {
        return locator_;
    }
    /** Polls a descriptor no more; on the reactor's thread. */
    void forget(int descriptor) {
        reactor_.forget(descriptor);
    }
    void receive(const NUVNetioMessage &message, REDAWorker *worker) const;

    void follow(const NUVNetioInterfaceSnapshot &snapshot) override;
    void close_returned(REDAWorker *worker) override;

private:
    friend struct ReceiveResourceDeleter;

    bool is_covered(const KOLS_Transport_Address_t &address) const;
    bool is_allowed(const KOLS_Transport_Address_t &address) const;
    void give_back_gone_sockets();
    bool poll(netio::ReceiveSocket &socket);
    void drop_newest_socket();

    NUVNetioConfigurator *const configurator_; // not after the release
    netio::Reactor &reactor_;
    const NUVNetioLocator locator_; // transport, port and group
    const NUVNetioReceiveListener listener_;
    const bool is_group_;
    bool polled_ = false;           // the reactor knows at least one of the sockets
    std::atomic<bool> open_{false}; // the sockets are complete: messages are let through
    std::mutex mutex_;              // guards the list of sockets
    netio::ReceiveSocket *sockets_ = nullptr;
    netio::Memberships memberships_;
};

/** Ends a resource that could not be started. */
struct ReceiveResourceDeleter {
    void operator()(NUVNetioReceiveResource *resource) const;
};

#endif
