// SPDX-License-Identifier: Apache-2.0
/**
 * @file commend_facade.h
 * @brief The communication facade of one participant: its receive ports and its sending.
 *
 * All operations are thread-safe.
 */
#ifndef COMMEND_FACADE_H
#define COMMEND_FACADE_H

#include "commend/commend_facadeProperty.h"
#include "netio/netio_configurator.h"
#include "reda/reda_exclusiveArea.h"

#ifdef __cplusplus
extern "C" {
#endif

struct COMMENDFacade;

/** Told of the threads that work for a facade. Any callback may be null. */
struct COMMENDActiveFacadeThreadListener {
    void (*onThreadStarted)(void *param, const char *threadName);
    void (*onThreadStopped)(void *param, const char *threadName);
    void *param;
};

/** Takes the RTPS messages that a facade receives; called on the reactor's thread. */
struct COMMENDMessageListener {
    void (*onMessage)(void *param, const struct NUVNetioMessage *message,
                      struct REDAWorker *worker);
    void *param;
};

/** What a facade has done so far. */
struct COMMENDFacadeStatistics {
    NUV_UINT64 messagesReceived;  /**< RTPS messages, those from itself included */
    NUV_UINT64 messagesFromSelf;  /**< carrying the participant's own GUID prefix */
    NUV_UINT64 datagramsRejected; /**< no RTPS message at all */
    NUV_UINT64 messagesSent;      /**< each counts once for each destination it was sent to */
    NUV_INT32 entryports;         /**< reservations held now */
    NUV_INT32 receiveResources;   /**< receive resources that are active */
};

/**
 * @brief A facade is called through its own slots, with itself as the first argument.
 */
struct COMMENDFacade {
    /**
     * @brief Reserves a receive port.
     *
     * Reservations of one facade for the same transport and port, and the same group where it is
     * multicast, share a receive resource. Between facades a unicast port is exclusive.
     *
     * @param entryportWROut receives the reservation; left invalid on failure.
     * @param locatorInfo    the locator, and the transports that may serve it: its own must be
     *                       among them (an empty list allows all).
     * @return non-zero on success, 0 when the port is taken or could not be opened, after a
     * message.
     */
    int (*addEntryport)(struct COMMENDFacade *self, struct REDAWeakReference *entryportWROut,
                        const struct NUVNetioLocatorInfo *locatorInfo, struct REDAWorker *worker);

    /**
     * @brief Gives a reservation back; the last one of a receive resource closes it: the port may
     * be reserved again at once, here and by others.
     * @return non-zero on success, 0 when the reference is invalid or stale.
     */
    int (*removeEntryport)(struct COMMENDFacade *self, struct REDAWeakReference *entryportWR,
                           struct REDAWorker *worker);

    /**
     * @brief Tells whether receive resources are still active: reserved, or released while the
     * reactor hands on a message that came before.
     * @param hasActiveEntryPortsOut receives 1 or 0.
     * @param transportHandle the transport asked about; null for all.
     * @return non-zero on success, 0 when the handle is none of this participant's transports; then
     * the output is left as it was.
     */
    int (*checkEntryports)(struct COMMENDFacade *self, int *hasActiveEntryPortsOut,
                           const struct REDAWeakReference *transportHandle,
                           struct REDAWorker *worker);

    /** Forgets a destination. Non-zero on success, 0 when it is not known. */
    int (*removeDestination)(struct COMMENDFacade *self, const struct NUVNetioLocator *destination,
                             struct REDAWorker *worker);

    /** Adds a destination of sendMessage, once. Non-zero on success, 0 when memory runs out. */
    int (*addDestination)(struct COMMENDFacade *self, const struct NUVNetioLocator *destination,
                          struct REDAWorker *worker);

    /**
     * @brief Sends one message to every destination. A send that takes longer than the sender's
     * time-based logging threshold logs one warning with the measured time, at most one a second
     * for all facades of the runtime.
     * @return the number of destinations that it was sent to.
     */
    // The formatter takes the name of the type for that of a macro.
    // clang-format off
    NUV_INT32 (*sendMessage)(struct COMMENDFacade *self, const NUV_UINT8 *data, NUV_UINT32 length,
                             struct REDAWorker *worker);
    // clang-format on

    /**
     * @brief Waits until none of the receive resources given back so far is active any more.
     * @return non-zero then; 0 when @p timeout passed first, or on the reactor's thread.
     */
    int (*flushEntryports)(struct COMMENDFacade *self, const struct NUVNtpTime *timeout,
                           struct REDAWorker *worker);

    /**
     * Where received messages go from now on; null members: nowhere. Copied. The former listener
     * may still be at its last message when this returns.
     */
    void (*setMessageListener)(struct COMMENDFacade *self,
                               const struct COMMENDMessageListener *listener,
                               struct REDAWorker *worker);

    void (*getStatistics)(struct COMMENDFacade *self, struct COMMENDFacadeStatistics *out,
                          struct REDAWorker *worker);
};

/**
 * @brief Makes a facade.
 * @param property     copied, strings included.
 * @param configurator borrowed; must outlive the facade.
 * @return null on failure, after one error message that names the setting that is wrong.
 */
struct COMMENDFacade *COMMENDFacade_new(const struct COMMENDActiveFacadeProperty *property,
                                        struct NUVNetioConfigurator *configurator,
                                        struct REDAWorker *worker);

/**
 * @brief Sends one message from a unicast port of the facade, so that it says where it can be
 * answered.
 *
 * From the entryport of the destination's transport and of that port, if it is reserved, else from
 * the socket of the runtime; to a group over every interface that groups are joined on. Never waits
 * for room. A send that takes longer than the sender's time-based logging threshold logs as
 * sendMessage does. May be called on the reactor's thread; enters the facade's area, so the caller
 * is in none of its level or a higher one.
 * @param port any that is no entryport of the facade, as 0, for the runtime's socket.
 * @return how many datagrams the network took; 0: none, after a message that is not repeated within
 * a second.
 */
NUV_INT32 COMMENDFacade_sendFrom(struct COMMENDFacade *self, KOLS_Transport_Port_t port,
                                 const struct NUVNetioLocator *destination, const NUV_UINT8 *data,
                                 NUV_UINT32 length, struct REDAWorker *worker);

/**
 * Non-zero when the facade holds a reservation for the locator's transport and port, and its group
 * where it is multicast. Enters the facade's area.
 */
int COMMENDFacade_hasEntryport(struct COMMENDFacade *self, const struct NUVNetioLocator *locator,
                               struct REDAWorker *worker);

/** The configurator that the facade was made with. */
struct NUVNetioConfigurator *COMMENDFacade_getConfigurator(struct COMMENDFacade *self);

/**
 * @brief Deletes a facade: gives back the reservations still held and waits until no message of it
 * is being handed on. Not to be called on the reactor's thread. Null is accepted.
 * @return non-zero on success; 0, after one error message, when a message was still being handed on
 * after 1 s: the facade exists, without any reservation, and can be deleted again.
 */
int COMMENDFacade_delete(struct COMMENDFacade *self, struct REDAWorker *worker);

#ifdef __cplusplus
}
#endif

#endif
