// SPDX-License-Identifier: Apache-2.0
// Receive resources, of whatever kind.
#ifndef NETIO_RECEIVE_RESOURCE_H
#define NETIO_RECEIVE_RESOURCE_H

#include "netio/netio_configurator.h"
#include "transport/outgoing.h"

/** What is behind the operations of a receive resource. */
struct NUVNetioReceiveResource {
public:
    NUVNetioReceiveResource(const NUVNetioReceiveResource &) = delete;
    NUVNetioReceiveResource &operator=(const NUVNetioReceiveResource &) = delete;

    /** See NUVNetioReceiveResource_cover. */
    virtual bool cover(const KOLS_Transport_Address_t &address) = 0;
    /** See NUVNetioReceiveResource_send. */
    virtual int send(const netio::Outgoing &message) = 0;
    /** See NUVNetioReceiveResource_release. */
    virtual bool release() = 0;

protected:
    NUVNetioReceiveResource() = default;
    ~NUVNetioReceiveResource() = default;
};

#endif
