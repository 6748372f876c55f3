// SPDX-License-Identifier: Apache-2.0
/**
 * @file netio_configurator.h
 * @brief A participant's transports: which are registered, on which interfaces, with which
 * locators.
 *
 * A configurator is set up before its participant is visible to others. Its operations are
 * thread-safe from then on.
 */
#ifndef NETIO_CONFIGURATOR_H
#define NETIO_CONFIGURATOR_H

#include "netio/netio_runtime.h"
#include "netio/netio_transport.h"
#include "reda/reda_weakReference.h"

#ifdef __cplusplus
extern "C" {
#endif

struct NUVNetioConfigurator;

/** What one registered transport offers. */
struct NUVNetioTransportInfo {
    KOLS_Transport_ClassId_t classid;
    NUV_INT32 messageSizeMax; /**< bytes of the largest message */
};

/** The most entries of NUVNetioConfiguratorProperty.allowedInterfaces. */
#define NUV_NETIO_ALLOWED_INTERFACES_MAX 32
/** Room for any of them. */
#define NUV_NETIO_INTERFACE_PATTERN_SIZE 64

/** Non-zero for a text that may be such an entry; it then has room there. */
int NUVNetioInterfacePattern_isValid(const char *text, size_t length);

/** Room for the text below. */
#define NUV_NETIO_INTERFACE_PATTERN_FORMS_SIZE 256

/** Writes what an entry may be, as messages say it. */
void NUVNetioInterfacePattern_listForms(char *text, size_t size);

struct NUVNetioConfiguratorProperty {
    /** Aliases of the transports to register, "udpv4" and "udpv6"; none when it is empty. */
    struct NUVNetioAliasList transports;
    /**
     * Interfaces that may be used, by name ("eth0") or numeric address ("192.0.2.2", "fd00::2");
     * none means all. One that does not exist now is a warning: it is used once it appears. The
     * loopback interface may be used in any case, where there is no other.
     */
    NUV_INT32 allowedInterfaceCount;
    char allowedInterfaces[NUV_NETIO_ALLOWED_INTERFACES_MAX][NUV_NETIO_INTERFACE_PATTERN_SIZE];
    struct NUVNetioSendOptions sending;
};

/** UDPv4 on all interfaces. */
extern const struct NUVNetioConfiguratorProperty NUV_NETIO_CONFIGURATOR_PROPERTY_DEFAULT;

/**
 * @brief Makes a configurator with its transports and the runtime's newest interface snapshot.
 * @param property null for the default; copied.
 * @return null on failure, after one error message that names the setting that is wrong.
 */
struct NUVNetioConfigurator *
NUVNetioConfigurator_new(const struct NUVNetioConfiguratorProperty *property,
                         struct NUVNetioRuntime *runtime, struct REDAWorker *worker);

/** Deletes a configurator; its receive resources must have been released. Null is accepted. */
void NUVNetioConfigurator_delete(struct NUVNetioConfigurator *self);

struct NUVNetioRuntime *NUVNetioConfigurator_getRuntime(struct NUVNetioConfigurator *self);

/** Number of registered transports. */
NUV_INT32 NUVNetioConfigurator_getTransportCount(const struct NUVNetioConfigurator *self);

/**
 * @brief Lists the registered transports by class id.
 * @param buffer    room for @p maximum entries; the first ones are written when there are more.
 * @param lengthOut number of entries written.
 * @return non-zero on success.
 */
int NUVNetioConfigurator_getTransportInfo(struct NUVNetioConfigurator *self,
                                          struct NUVNetioTransportInfo *buffer,
                                          NUV_UINT32 *lengthOut, NUV_UINT32 maximum,
                                          struct REDAWorker *worker);

/** The handle of a registered transport. Non-zero on success; else @p out is invalid. */
int NUVNetioConfigurator_getTransportHandle(const struct NUVNetioConfigurator *self,
                                            KOLS_Transport_ClassId_t transport,
                                            struct REDAWeakReference *out);

/** The class of a transport by its handle, or -1 when the handle is not one of this registry. */
KOLS_Transport_ClassId_t
NUVNetioConfigurator_getTransportClass(const struct NUVNetioConfigurator *self,
                                       const struct REDAWeakReference *handle);

/**
 * @brief Takes over the runtime's newest interface snapshot.
 * Its only system call is a poll, unless there are events of the kernel that are not acted on yet,
 * or the kernel cannot be watched: then the interfaces are listed.
 * @return non-zero when it differs from the one held before; 0 also when memory ran out.
 */
int NUVNetioConfigurator_refreshInterfaces(struct NUVNetioConfigurator *self,
                                           struct REDAWorker *worker);

/**
 * @brief Takes over a snapshot that an interface listener was told of, unless it holds a newer one.
 * @return non-zero when it differs from the one held before.
 */
int NUVNetioConfigurator_takeInterfaces(struct NUVNetioConfigurator *self,
                                        const struct NUVNetioInterfaceSnapshot *snapshot);

/**
 * @brief The unicast locators on which a resource of the given port can be reached.
 *
 * Reads the snapshot: no system call, no allocation. UDPv4 before UDPv6, each in the order of the
 * interfaces. Loopback addresses are listed only when there is no other address of any of the
 * enabled transports, or when they are asked for.
 *
 * @param enabled         the aliases wanted; null or an empty list means every registered one.
 * @param port            put into each locator.
 * @param includeLoopback non-zero to list loopback addresses too.
 * @param locatorsOut     room for @p maximum locators; further ones are left out.
 * @return the number of locators written.
 */
NUV_INT32 NUVNetioConfigurator_getUnicastLocators(struct NUVNetioConfigurator *self,
                                                  const struct NUVNetioAliasList *enabled,
                                                  KOLS_Transport_Port_t port, int includeLoopback,
                                                  struct NUVNetioLocator *locatorsOut,
                                                  NUV_INT32 maximum);

/**
 * @brief Which network an address is on, of those of the interface addresses that may be used.
 *
 * Reads the snapshot: no system call, no allocation. Where networks lie within one another it is
 * on the smallest.
 * @return the same number, 0 or more, for all addresses of one network as long as the interfaces
 * are as they were; -1 when it is on none.
 */
NUV_INT32 NUVNetioConfigurator_findNetwork(struct NUVNetioConfigurator *self,
                                           const struct NUVNetioLocator *locator);

/**
 * @brief The registered transports among those wanted.
 * @param enabled null or an empty list means every registered one.
 * @param out     receives their aliases.
 */
void NUVNetioConfigurator_getEnabledAliases(const struct NUVNetioConfigurator *self,
                                            const struct NUVNetioAliasList *enabled,
                                            struct NUVNetioAliasList *out);

/** A message that was received. */
struct NUVNetioMessage {
    const NUV_UINT8 *data; /**< valid during the call only */
    NUV_UINT32 length;
    struct NUVNetioLocator source;
    KOLS_Transport_ClassId_t transport;
    KOLS_Transport_Port_t port; /**< the port that it arrived at */
    NUV_UINT32 interfaceIndex;  /**< that it arrived on, when it was sent to a group; 0: unknown */
    /** A number that no other datagram of the runtime has, the same for all who get it; from 1. */
    NUV_UINT64 arrival;
};

/** Callbacks of a receive resource, each may be null; they come on the reactor's thread. */
struct NUVNetioReceiveListener {
    /** A message arrived. One that was received before the release may still come after it. */
    void (*onMessage)(void *param, const struct NUVNetioMessage *message,
                      struct REDAWorker *worker);
    /** The listener is called no more. Only if the release answered that this would come. */
    void (*onClosed)(void *param, struct REDAWorker *worker);
    void *param;
};

struct NUVNetioReceiveResource;

/**
 * @brief Opens the sockets for one receive port and has the reactor serve them.
 *
 * A unicast port is bound to the wildcard address without address reuse, so that only one resource
 * in all processes holds it; when interfaces are restricted, each allowed address and loopback is
 * bound instead, or none at all. A multicast group is bound with address reuse and joined on every
 * usable interface, also on those that appear later, by as many sockets as the kernel's limits of
 * memberships ask for. An interface that refuses is a warning, a group that none joins is one, each
 * said once. The loopback interface is joined while there is no other. A group's port cannot be a
 * unicast port. The sockets of a group and port are shared by all resources of the runtime: a
 * datagram is received once and handed to each whose interfaces it came by.
 *
 * @param locator  transport, port (1 to 65535) and, for multicast, the group; the address of a
 *                 unicast locator does not matter here.
 * @param listener copied.
 * @return null when a unicast port is taken (one local-status message says so) or on any other
 * failure (one error message).
 */
struct NUVNetioReceiveResource *NUVNetioConfigurator_openReceiveResource(
    struct NUVNetioConfigurator *self, const struct NUVNetioLocator *locator,
    const struct NUVNetioReceiveListener *listener, struct REDAWorker *worker);

/**
 * @brief Makes sure that the resource receives for this locator's address.
 * Does something only when interfaces are restricted and the address is new. Non-zero on success; 0
 * when the address is none of an allowed interface or could not be bound, after a message.
 */
int NUVNetioReceiveResource_cover(struct NUVNetioReceiveResource *self,
                                  const struct NUVNetioLocator *locator, struct REDAWorker *worker);

/**
 * @brief Sends one message from the port of a unicast resource, and never waits for room.
 *
 * A message to a group goes over every interface that groups are joined on. Where interfaces are
 * restricted it leaves from an address of the interface, or from the one that is nearest to the
 * destination. A resource may be sent from by several threads, also while it covers an address.
 *
 * @param destination of the resource's transport.
 * @return how many datagrams the network took; 0 when it took none, after one warning that is not
 * repeated within a second, and errno tells why. EADDRNOTAVAIL: the resource has no address to send
 * from to there; EOPNOTSUPP: it is that of a group.
 */
int NUVNetioReceiveResource_send(struct NUVNetioReceiveResource *self,
                                 const struct NUVNetioLocator *destination, const NUV_UINT8 *data,
                                 NUV_UINT32 length, struct REDAWorker *worker);

/**
 * @brief Closes a resource, which must not be used any more.
 *
 * Its ports are free when this returns: they may be reserved again at once. Waits for a message
 * that another thread is just sending from there.
 * @return non-zero when its listener is called no more; 0 when the reactor is just handing it a
 * message: then onClosed comes when that is done, and the listener's param must stay until then.
 */
int NUVNetioReceiveResource_release(struct NUVNetioReceiveResource *self,
                                    struct REDAWorker *worker);

/** Why a receive port could not be opened. */
struct NUVNetioFailure {
    struct NUVNetioLocator locator;
    const char *step; /**< what could not be done, as "open a socket"; null: there is no memory */
    int error;        /**< the error number of the system */
};

/** Room that the longest text of a failure needs, terminator included. */
#define NUV_NETIO_FAILURE_STRING_SIZE 256

/**
 * Writes a failure as text: "udpv4 port 7410 is taken", or what could not be done and why. What
 * passes @p size is cut.
 */
void NUVNetioFailure_toString(const struct NUVNetioFailure *self, char *text, size_t size);

/** Non-zero when the process or the system has run out of descriptors or memory. */
int NUVNetioFailure_isShortage(const struct NUVNetioFailure *self);

/**
 * @brief Begins an attempt at opening several receive ports, which lasts until endAttempt.
 *
 * Within an attempt a failure other than a taken port is said once, however many ports it meets.
 * @param quiet non-zero: nothing is said of any failure.
 */
void NUVNetioConfigurator_beginAttempt(struct NUVNetioConfigurator *self, int quiet);
void NUVNetioConfigurator_endAttempt(struct NUVNetioConfigurator *self);

/** Notes a failure to reserve a port, and says it unless the attempt forbids it. */
void NUVNetioConfigurator_noteFailure(struct NUVNetioConfigurator *self,
                                      const struct NUVNetioFailure *failure);

/**
 * @brief The failure that best explains why the attempt, or the one that ended last, did not
 * succeed: the first that is no taken port, or else the last.
 * @return non-zero; 0 when nothing failed, and then @p out is left as it was.
 */
int NUVNetioConfigurator_getFailure(struct NUVNetioConfigurator *self, struct NUVNetioFailure *out);

/**
 * @brief Sends one message to a locator, from a socket that is opened for the first message of its
 * transport and kept. A message to a group goes over every interface that groups are joined on.
 * While the kernel's send buffer is full it waits, up to 100 ms for each message.
 * @return how many datagrams the kernel took (a refusal of some interfaces is a warning); 0 when it
 * took none, after an error message. Neither is repeated within a second.
 */
int NUVNetioConfigurator_send(struct NUVNetioConfigurator *self,
                              const struct NUVNetioLocator *destination, const NUV_UINT8 *data,
                              NUV_UINT32 length, struct REDAWorker *worker);

/** As NUVNetioConfigurator_send, but never waits: a full send buffer refuses the message. */
int NUVNetioConfigurator_trySend(struct NUVNetioConfigurator *self,
                                 const struct NUVNetioLocator *destination, const NUV_UINT8 *data,
                                 NUV_UINT32 length, struct REDAWorker *worker);

#ifdef __cplusplus
}
#endif

#endif
