// Receive resources: the sockets of one receive port.
#ifndef NETIO_RECEIVE_RESOURCE_H
#define NETIO_RECEIVE_RESOURCE_H

#include <atomic>
#include <mutex>

#include "interface/interfaceTable.h"
#include "netio/netio_configurator.h"
#include "reactor/descriptor.h"
#include "reactor/reactor.h"
#include "socket/memberships.h"

namespace netio {

/** One socket of a resource, and the address that it is bound to. */
class ReceiveSocket final : public Pollable {
public:
    explicit ReceiveSocket(NUVNetioReceiveResource *resource);

    bool is_open() const {
        return is_open_;
    }
    int descriptor() const {
        return descriptor_.get();
    }
    const KOLS_Transport_Address_t &bound_to() const {
        return bound_to_;
    }

    /** Takes a bound descriptor, while it is closed. */
    void open(Descriptor descriptor, const KOLS_Transport_Address_t &address);
    /**
     * The port is free when this returns, though a message that was received before may still be
     * handed on. Waits for one receiving call of the reactor at most, which never waits itself.
     */
    void close();

    bool on_readable(const ReactorContext &context) override;

    ReceiveSocket *next = nullptr;

private:
    enum class Received { ONE, NONE, FAILED };
    Received receive_one(const ReactorContext &context);

    NUVNetioReceiveResource *const resource_;
    KOLS_Transport_Address_t bound_to_{};
    bool is_open_ = false; // as its resource sees it
    std::mutex mutex_;     // so that nobody closes the descriptor while it is received from
    Descriptor descriptor_;
};

} // namespace netio

struct NUVNetioReceiveResource final : public netio::Owner, public netio::MulticastMember {
public:
    NUVNetioReceiveResource(NUVNetioConfigurator *configurator, const NUVNetioLocator &locator,
                            const NUVNetioReceiveListener &listener);
    ~NUVNetioReceiveResource();
    NUVNetioReceiveResource(const NUVNetioReceiveResource &) = delete;
    NUVNetioReceiveResource &operator=(const NUVNetioReceiveResource &) = delete;

    /** Adds a bound socket, not polled yet. Null after an error when memory runs out. */
    netio::ReceiveSocket *add_socket(netio::Descriptor descriptor,
                                     const KOLS_Transport_Address_t &bound_to);
    /** Lets messages through from now on. On failure an error has been logged. */
    bool start();
    /** See NUVNetioReceiveResource_cover. */
    bool cover(const KOLS_Transport_Address_t &address);
    /** See NUVNetioReceiveResource_release. */
    bool release();

    bool is_open() const {
        return open_.load(std::memory_order_acquire);
    }
    const NUVNetioLocator &locator() const {
        return locator_;
    }
    netio::Reactor &reactor() const {
        return reactor_;
    }
    REDARepetitions *repetitions() const {
        return repetitions_;
    }
    /** Beginning with the one that the resource was opened with. Others may be closed. */
    netio::ReceiveSocket *sockets() const {
        return sockets_;
    }
    /** Another socket for the group, which is received from. Null, with errno, on failure. */
    netio::ReceiveSocket *open_further_socket();
    void receive(const NUVNetioMessage &message, REDAWorker *worker) const;

    bool follow(const NUVNetioInterfaceSnapshot &snapshot) override;
    void on_ended(REDAWorker *worker) override;

private:
    friend struct ReceiveResourceDeleter;

    bool is_covered(const KOLS_Transport_Address_t &address) const;
    bool is_allowed(const KOLS_Transport_Address_t &address) const;
    void close_gone_sockets();
    netio::ReceiveSocket *find_or_make_closed_socket();
    bool poll(netio::ReceiveSocket &socket);
    bool close_and_end();
    void free();

    NUVNetioConfigurator *const configurator_; // not after the release
    netio::Reactor &reactor_;
    REDARepetitions *const repetitions_;
    const NUVNetioLocator locator_; // transport, port and group
    const NUVNetioReceiveListener listener_;
    const bool is_group_;
    std::atomic<bool> open_{false};           // the sockets are complete: messages are let through
    std::mutex mutex_;                        // guards the list of sockets, but a group's
    netio::ReceiveSocket *sockets_ = nullptr; // none goes before the resource; some are closed
    netio::Memberships memberships_;          // calls to follow guard a group's sockets
};

/** Ends a resource that could not be started. */
struct ReceiveResourceDeleter {
    void operator()(NUVNetioReceiveResource *resource) const;
};

#endif
