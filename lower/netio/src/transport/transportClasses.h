// SPDX-License-Identifier: Apache-2.0
// The classes of transports that there are; each is defined in the source that is named for it.
#ifndef NETIO_TRANSPORT_CLASSES_H
#define NETIO_TRANSPORT_CLASSES_H

#include "netio/netio_transport.h"

namespace netio {

extern const NUVNetioTransportClass UDPV4_CLASS;
extern const NUVNetioTransportClass UDPV6_CLASS;

} // namespace netio

#endif
