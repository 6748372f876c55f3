// SPDX-License-Identifier: Apache-2.0
// Which of a port's addresses a message leaves from.
#ifndef NETIO_SOURCE_ADDRESS_H
#define NETIO_SOURCE_ADDRESS_H

#include "netio/netio_interface.h"
#include "transport/outgoing.h"

namespace netio {

/**
 * Compares addresses for one message and the interface that it goes over, if that is known. Best is
 * an address of that interface, and next what has most in common with the destination: so the
 * answer finds its way, and no router takes the source for a forged one.
 */
class SourceAddress {
public:
    SourceAddress(const NUVNetioTransportClass &its_class,
                  const KOLS_Transport_Address_t &destination, NUV_UINT32 interface_index,
                  const NUVNetioInterfaceSnapshot &snapshot);

    /**
     * How good an address is, more being better; below 0: a loopback address where the message
     * leaves the host, or the other way round.
     */
    int fitness(const KOLS_Transport_Address_t &address) const;

private:
    bool is_on_interface(const KOLS_Transport_Address_t &address) const;

    const NUVNetioTransportClass &its_class_;
    const KOLS_Transport_Address_t &destination_;
    const NUV_UINT32 interface_index_;
    const NUVNetioInterfaceSnapshot &snapshot_;
};

} // namespace netio

#endif
