// SPDX-License-Identifier: Apache-2.0
// What is different between UDP over IPv4 and over IPv6.
#ifndef NETIO_UDP_FAMILY_H
#define NETIO_UDP_FAMILY_H

#include <cstddef>

#include <netinet/in.h>
#include <sys/socket.h>

#include "netio/netio_transport.h"

namespace netio {

/** A socket address of either family. */
union UdpAddress {
    sockaddr any;
    sockaddr_in ipv4;
    sockaddr_in6 ipv6;
};

/** Room for the control message that names an interface. */
inline constexpr std::size_t CONTROL_SIZE = CMSG_SPACE(sizeof(in6_pktinfo));

template <typename Value>
bool set_option(int socket, int level, int option, const Value &value) {
    return setsockopt(socket, level, option, &value, sizeof value) == 0;
}

/** Sets one that is not what the system gives a new socket. */
inline bool set_unless(int socket, int level, int option, int value, int given) {
    return value == given || set_option(socket, level, option, value);
}

/** What the system gives a new socket, of either family. */
inline constexpr int GIVEN_MULTICAST_TTL = 1;
inline constexpr int GIVEN_TRAFFIC_CLASS = 0;

/** What an IP header has for a class of service: the lowest two bits are not part of it. */
constexpr int traffic_class_of(const NUVNetioSendOptions &options) {
    return options.dscp << 2;
}

/** Makes the one control message of a header, which has CONTROL_SIZE bytes for it. */
template <typename Info>
void set_control(msghdr *header, int level, int type, const Info &info) {
    static_assert(CMSG_SPACE(sizeof info) <= CONTROL_SIZE);
    header->msg_controllen = CMSG_SPACE(sizeof info);
    cmsghdr *control = CMSG_FIRSTHDR(header);
    control->cmsg_level = level;
    control->cmsg_type = type;
    control->cmsg_len = CMSG_LEN(sizeof info);
    __builtin_memcpy(CMSG_DATA(control), &info, sizeof info);
}

/** One of them. On failure of what returns a boolean errno tells why. */
class UdpFamily {
public:
    UdpFamily(const UdpFamily &) = delete;
    UdpFamily &operator=(const UdpFamily &) = delete;

    virtual int domain() const = 0;
    virtual KOLS_Transport_ClassId_t classid() const = 0;

    /** Writes an address as the kernel has it; answers its length. */
    virtual socklen_t write_address(const KOLS_Transport_Address_t &address,
                                    KOLS_Transport_Port_t port, UdpAddress *out) const = 0;
    /** Reads an address of the family that the kernel has written. */
    virtual NUVNetioLocator read_address(const UdpAddress &address) const = 0;
    /** Whether an address needs a scope, which a locator cannot carry. */
    virtual bool needs_scope(const KOLS_Transport_Address_t &address) const = 0;

    /** Keeps a socket from carrying the other family. */
    virtual bool set_own_options(int socket) const = 0;
    /** Lets a socket receive only what it has joined, and tell which interface that came by. */
    virtual bool set_group_options(int socket) const = 0;
    /** For a new socket. */
    virtual bool set_sender_options(int socket, const NUVNetioSendOptions &options) const = 0;
    virtual bool change_membership(int socket, const KOLS_Transport_Address_t &group,
                                   NUV_UINT32 interface_index, bool joins) const = 0;

    /** Has a message leave by an interface. */
    virtual void name_interface(msghdr *header, NUV_UINT32 index) const = 0;
    /** The interface that a control message names; 0 when it is no message of that kind. */
    virtual NUV_UINT32 read_interface(const cmsghdr &control) const = 0;

protected:
    constexpr UdpFamily() = default;
    ~UdpFamily() = default;
};

extern const UdpFamily &UDPV4_FAMILY;
extern const UdpFamily &UDPV6_FAMILY;

} // namespace netio

#endif
