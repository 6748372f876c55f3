// SPDX-License-Identifier: Apache-2.0
// Addresses of whatever transport.
#ifndef NETIO_ADDRESS_H
#define NETIO_ADDRESS_H

#include <cstring>

#include "netio/netio_locator.h"

namespace netio {

inline bool is_same_address(const KOLS_Transport_Address_t &left,
                            const KOLS_Transport_Address_t &right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

} // namespace netio

#endif
