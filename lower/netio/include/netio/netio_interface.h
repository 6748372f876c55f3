// SPDX-License-Identifier: Apache-2.0
/**
 * @file netio_interface.h
 * @brief The host's interface addresses, as one snapshot that everybody shares.
 */
#ifndef NETIO_INTERFACE_H
#define NETIO_INTERFACE_H

#include "netio/netio_locator.h"

#ifdef __cplusplus
extern "C" {
#endif

struct NUVNetioRuntime;

/** One address of an interface that is up and running. */
struct NUVNetioInterface {
    char name[16];
    NUV_UINT32 index; /**< the kernel's interface index */
    KOLS_Transport_ClassId_t transport;
    KOLS_Transport_Address_t address;
    /** Set are the bits that all addresses of its network share; none: its network is not known. */
    KOLS_Transport_Address_t netmask;
    NUV_INT32 isLoopback;
    NUV_INT32 isMulticast; /**< multicast groups can be joined on it */
};

/** Non-zero when the address of a locator is on the network of an interface address. */
int NUVNetioInterface_isOnNetwork(const struct NUVNetioInterface *self,
                                  const struct NUVNetioLocator *locator);

/**
 * @brief The addresses at one moment: immutable, counted by its users.
 *
 * In the kernel's order of interfaces, each interface's addresses together. IPv6 link-local
 * addresses are left out: they need a scope that a locator cannot carry.
 */
struct NUVNetioInterfaceSnapshot;

/** Number of addresses in a snapshot. */
NUV_INT32 NUVNetioInterfaceSnapshot_getLength(const struct NUVNetioInterfaceSnapshot *self);
/** The address at @p i, 0 <= i < length. Valid while the snapshot is held. */
const struct NUVNetioInterface *
NUVNetioInterfaceSnapshot_get(const struct NUVNetioInterfaceSnapshot *self, NUV_INT32 i);
/** Non-zero when both list the same addresses in the same order. */
int NUVNetioInterfaceSnapshot_isEqual(const struct NUVNetioInterfaceSnapshot *left,
                                      const struct NUVNetioInterfaceSnapshot *right);
/** One more user. */
const struct NUVNetioInterfaceSnapshot *
NUVNetioInterfaceSnapshot_retain(const struct NUVNetioInterfaceSnapshot *self);
/** One user less; the last one frees it. Null is accepted. */
void NUVNetioInterfaceSnapshot_release(const struct NUVNetioInterfaceSnapshot *self);

/**
 * @brief Where interface addresses come from.
 *
 * Calls @p add once for each address of the interfaces that are up and running. Returns non-zero on
 * success; 0 otherwise, with errno telling why. The default source asks the kernel; a test puts a
 * table of its own in place. @p add returns 0 when memory has run out; the source then gives up and
 * returns 0.
 */
struct NUVNetioInterfaceSource {
    int (*list)(void *param, int (*add)(void *addParam, const struct NUVNetioInterface *interface),
                void *addParam);
    void *param;
    /**
     * Tells the source which runtime follows it: from then on it calls
     * NUVNetioRuntime_noteInterfaceEvent, on any thread, when its interfaces may have changed; with
     * null no more: no such call is under way when this returns then. It is told before the
     * runtime's loop is started, and only if the runtime watches the interfaces. Null where the
     * kernel's own events tell of changes.
     */
    void (*follow)(void *param, struct NUVNetioRuntime *runtime);
};

/** The source that asks the kernel. */
extern const struct NUVNetioInterfaceSource NUV_NETIO_INTERFACE_SOURCE_KERNEL;

#ifdef __cplusplus
}
#endif

#endif
