// Locators as the kernel has them.
#ifndef NETIO_SOCKET_ADDRESS_H
#define NETIO_SOCKET_ADDRESS_H

#include <cstddef>

#include <netinet/in.h>
#include <sys/socket.h>

#include "netio/netio_locator.h"

namespace netio {

/** The address of any interface, to be bound to. */
inline constexpr KOLS_Transport_Address_t ANY_ADDRESS = {};

/** Where a transport's IPv4 address is within a locator's address. */
inline constexpr std::size_t IPV4_OFFSET = 12;

inline bool is_any_address(const KOLS_Transport_Address_t &address) {
    for (const NUV_UINT8 byte : address.network_ordered_value) {
        if (byte != 0) {
            return false;
        }
    }
    return true;
}

bool is_same_address(const KOLS_Transport_Address_t &left, const KOLS_Transport_Address_t &right);

in_addr to_ipv4(const KOLS_Transport_Address_t &address);
in6_addr to_ipv6(const KOLS_Transport_Address_t &address);

/** A socket address of either transport. */
class SocketAddress {
public:
    /** One to be filled in by the kernel. */
    SocketAddress() = default;
    SocketAddress(KOLS_Transport_ClassId_t transport, const KOLS_Transport_Address_t &address,
                  KOLS_Transport_Port_t port);

    sockaddr *get() {
        return &address_.any;
    }
    const sockaddr *get() const {
        return &address_.any;
    }
    socklen_t length() const {
        return length_;
    }
    static constexpr socklen_t capacity() {
        return sizeof(Either);
    }

    /** The locator of an address that the kernel has filled in. */
    NUVNetioLocator to_locator() const;

private:
    union Either {
        sockaddr any;
        sockaddr_in ipv4;
        sockaddr_in6 ipv6;
    };

    Either address_{};
    socklen_t length_ = 0;
};

} // namespace netio

#endif
