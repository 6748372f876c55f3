// SPDX-License-Identifier: Apache-2.0
// UDP of the kernel, for whatever family.
#ifndef NETIO_UDP_TRANSPORT_H
#define NETIO_UDP_TRANSPORT_H

#include <ifaddrs.h>

#include "netio/netio_interface.h"
#include "transport/udpFamily.h"

namespace netio {

/** The slots of a transport, whose parameter is a family. */
namespace udp {

NUVNetioSocket_t open_unicast(void *param, const NUVNetioSendOptions *options);
int bind_unicast(void *param, NUVNetioSocket_t socket, const KOLS_Transport_Address_t *address,
                 KOLS_Transport_Port_t port);
NUVNetioSocket_t open_group(void *param, const NUVNetioLocator *group, const char **step_out);
int join(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *group,
         NUV_UINT32 interface_index);
int leave(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *group,
          NUV_UINT32 interface_index);
int receive(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer, NUV_UINT32 size,
            NUVNetioDatagram *out);
void watch_losses(void *param, NUVNetioSocket_t socket);
NUVNetioSocket_t open_sender(void *param, const NUVNetioSendOptions *options);
int send(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *destination,
         NUV_UINT32 interface_index, const NUV_UINT8 *data, NUV_UINT32 length, int may_wait);
void close(void *param, NUVNetioSocket_t socket);

} // namespace udp

/** The transport of a family. */
constexpr NUVNetioTransport make_udp_transport(const NUVNetioTransportClass &its_class,
                                               const UdpFamily &family) {
    // The parameter of a record of slots is not const, for other transports' sake.
    return {&its_class,      udp::open_unicast, udp::bind_unicast,
            udp::open_group, udp::join,         udp::leave,
            udp::receive,    udp::watch_losses, udp::open_sender,
            udp::send,       udp::close,        const_cast<UdpFamily *>(&family)};
}

/**
 * Reads the address of an interface and its netmask, as the kernel has them, and says whose they
 * are. False when the address is of no family, or one that no locator can carry.
 */
bool read_interface_address(const ifaddrs &from, NUVNetioInterface *interface);

} // namespace netio

#endif
