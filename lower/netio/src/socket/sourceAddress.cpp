// SPDX-License-Identifier: Apache-2.0
// Which of a port's addresses a message leaves from.
#include "socket/sourceAddress.h"

#include <bit>

#include "locator/address.h"

namespace netio {

namespace {

constexpr int UNFIT = -1;
/** Better than whatever has bits in common with the destination. */
constexpr int OF_THE_INTERFACE = 8 * sizeof(KOLS_Transport_Address_t) + 1;

/** How many bits two addresses begin with that are the same. */
int common_bits(const KOLS_Transport_Address_t &left, const KOLS_Transport_Address_t &right) {
    int bits = 0;
    for (std::size_t i = 0; i < sizeof left.network_ordered_value; ++i) {
        const auto differing =
            static_cast<NUV_UINT8>(left.network_ordered_value[i] ^ right.network_ordered_value[i]);
        bits += std::countl_zero(differing);
        if (differing != 0) {
            break;
        }
    }
    return bits;
}

} // namespace

SourceAddress::SourceAddress(const NUVNetioTransportClass &its_class,
                             const KOLS_Transport_Address_t &destination,
                             NUV_UINT32 interface_index, const NUVNetioInterfaceSnapshot &snapshot)
    : its_class_(its_class), destination_(destination), interface_index_(interface_index),
      snapshot_(snapshot) {}

int SourceAddress::fitness(const KOLS_Transport_Address_t &address) const {
    if (is_on_interface(address)) {
        return OF_THE_INTERFACE;
    }
    return (its_class_.isLoopback(&address) != 0) == (its_class_.isLoopback(&destination_) != 0)
               ? common_bits(address, destination_)
               : UNFIT;
}

bool SourceAddress::is_on_interface(const KOLS_Transport_Address_t &address) const {
    for (NUV_INT32 i = 0; i < NUVNetioInterfaceSnapshot_getLength(&snapshot_); ++i) {
        const NUVNetioInterface *const one = NUVNetioInterfaceSnapshot_get(&snapshot_, i);
        if (one->index == interface_index_ && is_same_address(one->address, address)) {
            return true;
        }
    }
    return false;
}

} // namespace netio
