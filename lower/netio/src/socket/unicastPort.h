// SPDX-License-Identifier: Apache-2.0
// A unicast port, which one resource has alone.
#ifndef NETIO_UNICAST_PORT_H
#define NETIO_UNICAST_PORT_H

#include <mutex>

#include "configurator/configurator.h"
#include "socket/receivePort.h"
#include "socket/receiveResource.h"

namespace netio {

class UnicastPort final : public NUVNetioReceiveResource, public ReceivePort {
public:
    UnicastPort(NUVNetioConfigurator &configurator, const NUVNetioLocator &locator,
                const NUVNetioReceiveListener &listener);

    /** Adds a bound socket, not received from yet. Null after a failure was noted. */
    ReceiveSocket *add(Socket bound, const KOLS_Transport_Address_t &bound_to);
    /** Lets messages through from now on. False after a failure was noted. */
    bool start();

    bool cover(const KOLS_Transport_Address_t &address) override;
    int send(const Outgoing &message) override;
    bool release() override;
    void deliver(const NUVNetioMessage &message, REDAWorker *worker) override;
    void on_ended(REDAWorker *worker) override;

private:
    bool send_over(const Outgoing &message, NUV_UINT32 interface_index,
                   const NUVNetioInterfaceSnapshot &snapshot);
    const ReceiveSocket *choose_socket(const NUVNetioLocator &destination,
                                       NUV_UINT32 interface_index,
                                       const NUVNetioInterfaceSnapshot &snapshot) const;
    bool is_covered(const KOLS_Transport_Address_t &address) const;
    bool is_allowed(const KOLS_Transport_Address_t &address) const;
    void close_gone_sockets();
    bool poll_or_note(ReceiveSocket &socket);
    void free();

    NUVNetioConfigurator &configurator_; // not after the release
    const NUVNetioReceiveListener listener_;
    std::mutex mutex_; // guards the sockets; held while one is sent from, so that nobody closes it
};

/** Null after a failure was noted. */
NUVNetioReceiveResource *open_unicast_port(NUVNetioConfigurator &configurator,
                                           const NUVNetioLocator &locator,
                                           const NUVNetioReceiveListener &listener);

} // namespace netio

#endif
