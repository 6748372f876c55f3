// SPDX-License-Identifier: Apache-2.0
/**
 * @file netio_locator.h
 * @brief Locators: where RTPS messages are sent to and received (DDSI-RTPS 8.2.4.3, 9.3.2).
 *
 * Pure functions on plain records: thread-safe, no allocation, no system call.
 */
#ifndef NETIO_LOCATOR_H
#define NETIO_LOCATOR_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The class of a transport; the same number as the RTPS locator kind. */
typedef NUV_INT32 KOLS_Transport_ClassId_t;
/** A port number of a transport. */
typedef NUV_INT32 KOLS_Transport_Port_t;

#define KOLS_TRANSPORT_CLASSID_INVALID (-1)
#define KOLS_TRANSPORT_CLASSID_UDPv4 1
#define KOLS_TRANSPORT_CLASSID_UDPv6 2

/** The largest port number of the transports. */
#define KOLS_TRANSPORT_PORT_MAX 65535

/** An address in network byte order; an IPv4 address is in the last four bytes. */
typedef struct KOLS_Transport_Address_t {
    NUV_UINT8 network_ordered_value[16];
} KOLS_Transport_Address_t;

#define NUV_NETIO_LOCATOR_ENCAPSULATIONS_MAX 4

struct NUVNetioLocator {
    KOLS_Transport_ClassId_t transport; /**< -1 when the locator is invalid */
    KOLS_Transport_Address_t address;
    const char *hostname; /**< the name that the address was resolved from, or null; not owned */
    KOLS_Transport_Port_t port;
    NUV_INT32 encapsulationCount;
    NUV_UINT16 encapsulations[NUV_NETIO_LOCATOR_ENCAPSULATIONS_MAX];
    NUV_INT32 lossProbability;
    NUV_INT32 disabled;
};

/** A locator with every field 0 but its transport, which is -1. */
#define NUV_NETIO_LOCATOR_INVALID                                                                  \
    { KOLS_TRANSPORT_CLASSID_INVALID, {{0}}, NULL, 0, 0, {0, 0, 0, 0}, 0, 0 }

#define NUV_NETIO_ALIAS_LIST_SIZE 129

/** The aliases of some transports, joined by ',' ("udpv4,udpv6"). Empty names no transport. */
struct NUVNetioAliasList {
    char aliases[NUV_NETIO_ALIAS_LIST_SIZE];
};

/** The request for one entryport. */
struct NUVNetioLocatorInfo {
    struct NUVNetioLocator locator;
    int transport_priority;
    struct NUVNetioAliasList aliasList; /**< the transports that may serve it */
};

/** Non-zero when @p list names @p alias. */
int NUVNetioAliasList_contains(const struct NUVNetioAliasList *list, const char *alias);

/** Appends @p alias unless it is named already. Non-zero on success, 0 when it does not fit. */
int NUVNetioAliasList_add(struct NUVNetioAliasList *list, const char *alias);

/** The alias of a transport class ("udpv4"), or null when there is no such class. */
const char *NUVNetioTransport_aliasOfClass(KOLS_Transport_ClassId_t transport);

/** The class of an alias, or -1. */
KOLS_Transport_ClassId_t NUVNetioTransport_classOfAlias(const char *alias);

/** Room for the longest text of a locator, terminator included. */
#define NUV_NETIO_LOCATOR_STRING_SIZE 72

/**
 * @brief Writes a locator as "udpv4://192.0.2.2:7410" or "udpv6://[fd00::2]:7410".
 * A locator of an unknown transport is written as its class and address in hexadecimal.
 * @return the length of the text, or -1 when it does not fit; then nothing is written.
 */
int NUVNetioLocator_toString(const struct NUVNetioLocator *locator, char *buffer, size_t size);

/** Non-zero when both name the same transport, address and port. */
int NUVNetioLocator_isSame(const struct NUVNetioLocator *left, const struct NUVNetioLocator *right);

/** Non-zero when a message can be sent to a port: from 1 to KOLS_TRANSPORT_PORT_MAX. */
int NUVNetioLocator_isPort(KOLS_Transport_Port_t port);

/** Non-zero when the address is a multicast address of its transport. */
int NUVNetioLocator_isMulticast(const struct NUVNetioLocator *locator);

/** Non-zero when the address is a loopback address of its transport. */
int NUVNetioLocator_isLoopback(const struct NUVNetioLocator *locator);

/**
 * @brief Parses a numeric address: "239.255.0.1", "fd00::2", "[fd00::2]", "udpv4://192.0.2.2:7410",
 * "udpv6://[fd00::2]:7410", "192.0.2.2:7410". Without a port the locator's port is 0.
 * @return non-zero on success; on failure @p out is left as it was.
 */
int NUVNetioLocator_parse(const char *text, struct NUVNetioLocator *out);

/** The longest host name in a peer (RFC 1035). */
#define NUV_NETIO_HOSTNAME_MAX 255

/** A peer as it was written: a numeric locator, or a host name with an optional port. */
struct NUVNetioPeer {
    struct NUVNetioLocator locator;     /**< transport -1 when @p hostname has to be resolved */
    KOLS_Transport_ClassId_t transport; /**< the transport that the text asks for, or -1 for any */
    char hostname[NUV_NETIO_HOSTNAME_MAX + 1]; /**< empty for a numeric peer */
    KOLS_Transport_Port_t port;                /**< 0 when none was given */
};

/**
 * @brief Parses a peer: what NUVNetioLocator_parse takes, or "HOST", "HOST:PORT", "udpv4://HOST".
 * Nothing is resolved.
 * @return non-zero on success; on failure @p out is left as it was.
 */
int NUVNetioPeer_parse(const char *text, struct NUVNetioPeer *out);

/**
 * @brief Asks the system for the addresses of a peer's host name, as locators with the peer's port.
 * Takes as long as the name servers take: not to be called with anything locked, nor on the
 * reactor's thread.
 * @param buffer room for @p maximum; further addresses are left out, and those that are not of the
 *               transport that the peer asks for, or need a scope.
 * @return how many were written; 0 for a numeric peer, and when there is no such host.
 */
NUV_UINT32 NUVNetioPeer_resolve(const struct NUVNetioPeer *peer, struct NUVNetioLocator *buffer,
                                NUV_UINT32 maximum);

#ifdef __cplusplus
}

namespace netio {

/** A locator's text, as an argument of a message: written only for a line that is printed. */
class LocatorText {
public:
    explicit LocatorText(const NUVNetioLocator &locator) {
        NUVNetioLocator_toString(&locator, text_, sizeof text_);
    }

    const char *get() const {
        return text_;
    }

private:
    char text_[NUV_NETIO_LOCATOR_STRING_SIZE] = "";
};

} // namespace netio
#endif

#endif
