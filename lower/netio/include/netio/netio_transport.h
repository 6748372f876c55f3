// SPDX-License-Identifier: Apache-2.0
/**
 * @file netio_transport.h
 * @brief What a transport is: the class that its locators are of, and the network that it is on.
 */
#ifndef NETIO_TRANSPORT_H
#define NETIO_TRANSPORT_H

#include "netio/netio_locator.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Largest UDP payload: 65,535 less the IPv4 (IPv6: only the UDP) header. */
#define NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX 65507
#define NUV_NETIO_UDPv6_MESSAGE_SIZE_MAX 65527

/** Room for the longest text of an address, terminator included. */
#define NUV_NETIO_ADDRESS_STRING_SIZE 46

/**
 * @brief A class of transports: everything about its locators that takes no network.
 * Its functions are thread-safe and allocate nothing.
 */
struct NUVNetioTransportClass {
    KOLS_Transport_ClassId_t classid;
    const char *alias;        /**< "udpv4" */
    const char *addressName;  /**< what its addresses are called, as "IPv4" */
    NUV_INT32 isBracketed;    /**< its addresses may have colons, and stand in brackets */
    NUV_UINT32 addressOffset; /**< of its addresses within a locator's; in front are zeroes */
    NUV_INT32 messageSizeMax; /**< bytes of the largest message */

    /** Writes an address into NUV_NETIO_ADDRESS_STRING_SIZE bytes, without brackets. */
    void (*toString)(const KOLS_Transport_Address_t *address, char *text);
    /** Parses an address without brackets. Non-zero on success; else @p out is left alone. */
    int (*parse)(const char *text, KOLS_Transport_Address_t *out);
    /** Non-zero when the address is that of a group. */
    int (*isMulticast)(const KOLS_Transport_Address_t *address);
    /** Non-zero when the address is that of a loopback interface. */
    int (*isLoopback)(const KOLS_Transport_Address_t *address);
    /**
     * "interface" or "link" for a group that is another one on each of these, so that no socket can
     * be bound to it without saying which; null for any other.
     */
    const char *(*narrowScope)(const KOLS_Transport_Address_t *address);
    const char *widerScopes; /**< groups of which scopes there are besides, for a message */
};

/** The number of classes that there are. */
#define NUV_NETIO_TRANSPORTS_MAX 2

/** The class at @p i, 0 <= i < NUV_NETIO_TRANSPORTS_MAX, in the order of their ids. */
const struct NUVNetioTransportClass *NUVNetioTransportClass_get(NUV_INT32 i);

/** The class of an id, or null. */
const struct NUVNetioTransportClass *NUVNetioTransportClass_find(KOLS_Transport_ClassId_t classid);

/** Room for the longest of the texts below. */
#define NUV_NETIO_TRANSPORTS_STRING_SIZE 128

/** Writes the aliases of all classes, each between two @p quote, as "udpv4 and udpv6". */
void NUVNetioTransportClass_listAliases(const char *quote, char *text, size_t size);

/** Writes what their addresses are called, as "IPv4 or IPv6". */
void NUVNetioTransportClass_listAddressNames(char *text, size_t size);

/** Writes how a locator of each class looks, as "udpv4://ADDRESS:PORT, udpv6://[ADDRESS]:PORT". */
void NUVNetioTransportClass_listForms(char *text, size_t size);

/**
 * What a socket is called by: with the kernel's loop a descriptor, with another whatever that can
 * watch.
 */
typedef intptr_t NUVNetioSocket_t;
#define NUV_NETIO_SOCKET_NONE ((NUVNetioSocket_t)-1)

/** What a transport tells of a datagram that it has received. */
struct NUVNetioDatagram {
    NUV_UINT32 length;
    struct NUVNetioLocator source;
    NUV_UINT32 interfaceIndex; /**< that it arrived on, when it was sent to a group; 0: unknown */
    /** How many its socket had lost before it, since there was no room for them; mod 2^32. */
    NUV_UINT32 lost;
};

/** How what is sent travels. */
struct NUVNetioSendOptions {
    /** Time to live of what goes to a group: 0 stays on the host, 1 on its links. */
    NUV_UINT8 multicastTtl;
    /** Class of service of all that is sent, 0 to NUV_NETIO_DSCP_MAX (RFC 2474). */
    NUV_UINT8 dscp;
};

#define NUV_NETIO_MULTICAST_TTL_MAX 255
#define NUV_NETIO_DSCP_MAX 63

/** On the links only, without a class of service. */
#define NUV_NETIO_SEND_OPTIONS_DEFAULT                                                             \
    { 1, 0 }

/**
 * @brief A network: what opens the sockets of one class of transports.
 *
 * Its functions are thread-safe and never wait, `send` excepted. Those that make a socket return
 * NUV_NETIO_SOCKET_NONE on failure, the others 0; then errno tells why, in the terms of the system:
 * EMFILE, ENFILE, ENOMEM and ENOBUFS are shortages that may pass.
 */
struct NUVNetioTransport {
    const struct NUVNetioTransportClass *transportClass;

    /** A socket that is to be bound to a unicast port, and to be sent from as well. */
    NUVNetioSocket_t (*openUnicast)(void *param, const struct NUVNetioSendOptions *options);
    /**
     * Binds it to an address (all zero: to every one there is or will be) and a port, which nobody
     * else has then; EADDRINUSE when somebody has it. The socket may be used again on failure.
     */
    int (*bindUnicast)(void *param, NUVNetioSocket_t socket,
                       const KOLS_Transport_Address_t *address, KOLS_Transport_Port_t port);
    /**
     * A socket that receives what is sent to a group on the interfaces on which it joins it; others
     * may have one for the same group and port. On failure @p stepOut is what could not be done, as
     * "open a socket".
     */
    NUVNetioSocket_t (*openGroup)(void *param, const struct NUVNetioLocator *group,
                                  const char **stepOut);
    /**
     * Joins a group on an interface. EADDRINUSE: it has done so already; ENOBUFS and ENOMEM: the
     * socket has as many memberships as it may.
     */
    int (*join)(void *param, NUVNetioSocket_t socket, const struct NUVNetioLocator *group,
                NUV_UINT32 interfaceIndex);
    int (*leave)(void *param, NUVNetioSocket_t socket, const struct NUVNetioLocator *group,
                 NUV_UINT32 interfaceIndex);
    /** Takes the next datagram; EAGAIN when there is none. What passes @p size is cut. */
    int (*receive)(void *param, NUVNetioSocket_t socket, NUV_UINT8 *buffer, NUV_UINT32 size,
                   struct NUVNetioDatagram *out);
    /**
     * Has a socket tell of what it has lost, also before, with each datagram that arrives from now
     * on. One that cannot goes without. Null: all sockets do by themselves.
     */
    void (*watchLosses)(void *param, NUVNetioSocket_t socket);
    /** A socket to send from. */
    NUVNetioSocket_t (*openSender)(void *param, const struct NUVNetioSendOptions *options);
    /**
     * Sends one datagram, over an interface or, when @p interfaceIndex is 0, by the routes.
     * @param mayWait non-zero: up to 100 ms for room; EAGAIN when there is none.
     */
    int (*send)(void *param, NUVNetioSocket_t socket, const struct NUVNetioLocator *destination,
                NUV_UINT32 interfaceIndex, const NUV_UINT8 *data, NUV_UINT32 length, int mayWait);
    /** Closes a socket; what it was bound to is free when this returns. */
    void (*close)(void *param, NUVNetioSocket_t socket);

    void *param; /**< the first argument of them all */
};

/** The kernel's networks. */
extern const struct NUVNetioTransport NUV_NETIO_TRANSPORT_UDPv4;
extern const struct NUVNetioTransport NUV_NETIO_TRANSPORT_UDPv6;

#ifdef __cplusplus
}
#endif

#endif
