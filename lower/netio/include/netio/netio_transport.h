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

#ifdef __cplusplus
}
#endif

#endif
