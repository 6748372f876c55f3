// SPDX-License-Identifier: Apache-2.0
#include "watched.h"

#include <cstring>
#include <new>
#include <utility>

#include "domain/DomainParticipantFactory_internal.h"
#include "netio/netio_runtime.h"

namespace bench {
namespace {

const NUVNetioTransport &KERNEL = NUV_NETIO_TRANSPORT_UDPv4;

sockaddr_in to_ipv4(const NUVNetioLocator &locator) {
    constexpr std::size_t IPV4_AT = sizeof(KOLS_Transport_Address_t) - sizeof(in_addr);
    sockaddr_in address = {};

    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(locator.port));
    std::memcpy(&address.sin_addr, locator.address.network_ordered_value + IPV4_AT,
                sizeof(address.sin_addr));
    return address;
}

} // namespace

WatchedFactory *WatchedFactory::watching = nullptr;

WatchedFactory::WatchedFactory() : transport_(KERNEL) {
    NUVNetioRuntimeProperty property = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;

    /* Their parameter is the kernel's own. */
    transport_.receive = receive;
    transport_.send = send;
    property.transports[0] = &transport_;
    property.transports[1] = nullptr;
    watching = this;
    factory_ = DDS_DomainParticipantFactory_newI(&property);
    if (factory_ == nullptr) {
        throw std::bad_alloc();
    }
}

WatchedFactory::~WatchedFactory() {
    (void)DDS_DomainParticipantFactory_deleteI(factory_);
    watching = nullptr;
}

std::vector<DatagramPlan> WatchedFactory::take_sent() {
    const std::lock_guard lock(mutex_);

    return std::exchange(sent_, {});
}

Series WatchedFactory::take_handling_times() {
    const std::lock_guard lock(mutex_);

    return std::exchange(handling_times_, {});
}

int WatchedFactory::receive(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer,
                            NUV_UINT32 size, NUVNetioDatagram *out) {
    watching->note_handled();
    const int is_received = KERNEL.receive(param, socket, buffer, size, out);

    watching->received_at_ = is_received != 0 ? seconds_now() : 0;
    return is_received;
}

void WatchedFactory::note_handled() {
    if (received_at_ != 0) {
        const double seconds = seconds_now() - received_at_;
        const std::lock_guard lock(mutex_);

        handling_times_.add(seconds);
        ++handled_;
    }
}

int WatchedFactory::send(void *param, NUVNetioSocket_t socket, const NUVNetioLocator *destination,
                         NUV_UINT32 interface_index, const NUV_UINT8 *data, NUV_UINT32 length,
                         int may_wait) {
    {
        const std::lock_guard lock(watching->mutex_);

        watching->sent_.push_back({to_ipv4(*destination), interface_index, length});
    }
    return KERNEL.send(param, socket, destination, interface_index, data, length, may_wait);
}

} // namespace bench
