// SPDX-License-Identifier: Apache-2.0
// A message on its way out.
#ifndef NETIO_OUTGOING_H
#define NETIO_OUTGOING_H

#include <span>

#include "netio/netio_transport.h"

namespace netio {

/** Instead of the index of an interface. */
inline constexpr NUV_UINT32 BY_THE_ROUTES = 0;

struct Outgoing {
    const NUVNetioLocator &destination;
    std::span<const NUV_UINT8> octets;
    bool may_wait; // for room

    /** Sends it over an interface. On failure errno tells why. */
    bool send(const NUVNetioTransport &transport, NUVNetioSocket_t socket,
              NUV_UINT32 interface_index) const {
        return transport.send(transport.param, socket, &destination, interface_index, octets.data(),
                              static_cast<NUV_UINT32>(octets.size()), may_wait ? 1 : 0) != 0;
    }
};

} // namespace netio

#endif
