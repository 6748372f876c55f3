// SPDX-License-Identifier: Apache-2.0
/**
 * @file netio_runtime.h
 * @brief What all participants of a process share: the reactor thread, its timers, the interfaces.
 *
 * The runtime has one thread, the reactor (epoll). It receives for every open resource, runs timed
 * events and watches the kernel's link and address events. A second one is started for callbacks
 * when they are first needed (netio_callback.h). Whoever makes a runtime may have it turned in
 * another way, by another clock and on other networks. All operations are thread-safe unless they
 * say otherwise.
 */
#ifndef NETIO_RUNTIME_H
#define NETIO_RUNTIME_H

#include "netio/netio_interface.h"
#include "netio/netio_loop.h"
#include "netio/netio_transport.h"
#include "osapi/osapi_thread.h"
#include "reda/reda_repetition.h"
#include "reda/reda_worker.h"

#ifdef __cplusplus
extern "C" {
#endif

struct NUVNetioRuntime;

struct NUVNetioRuntimeProperty {
    /** Where interface addresses come from. */
    struct NUVNetioInterfaceSource interfaceSource;
    /**
     * Non-zero to follow what becomes of the interfaces: as far as the source tells, else by the
     * kernel's link and address events; where it can't follow these: one warning. 0 with another
     * loop than the kernel's, which has no way to wait for them, unless the source tells.
     */
    int watchInterfaces;
    /** How long a burst of interface events may last before it is acted on. */
    struct NUVNtpTime interfaceSettleTime;
    /** The networks that there are, one of a class, in any order; null: none. Borrowed. */
    const struct NUVNetioTransport *transports[NUV_NETIO_TRANSPORTS_MAX];
    /** What turns the runtime. */
    const struct NUVNetioLoop *loop;
    /**
     * The time that events, pauses and limits of repetition go by; null: the monotonic clock, by
     * which the kernel's loop waits.
     */
    struct NUVClock *clock;
};

/** The kernel's interfaces, watched, settled for 20 ms; its transports and its loop. */
extern const struct NUVNetioRuntimeProperty NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;

/**
 * @brief Makes the runtime, takes the first snapshot of the interfaces and starts the reactor.
 * @param property null for the default.
 * @param threadFactory makes the reactor's thread; borrowed, must outlive the runtime.
 * @param workerFactory makes the reactor's worker; borrowed, must outlive the runtime.
 * @return null on failure, after one error message; nothing is left open.
 */
struct NUVNetioRuntime *NUVNetioRuntime_new(const struct NUVNetioRuntimeProperty *property,
                                            struct NUVOsapiThreadFactory *threadFactory,
                                            struct REDAWorkerFactory *workerFactory);

/**
 * @brief Ends the runtime's threads and frees everything.
 * All configurators must be gone. Not to be called from one of its threads. Null is accepted.
 * @return non-zero on success; 0, after one error message, when a thread did not end within 4 s.
 * Then it may still use the runtime and the factories, which all must stay.
 */
int NUVNetioRuntime_delete(struct NUVNetioRuntime *self);

/** Non-zero on the reactor's own thread, where nobody may wait for the reactor. */
int NUVNetioRuntime_isReactorThread(const struct NUVNetioRuntime *self);

/**
 * @brief Waits until the reactor has dealt with everything that was handed to it before the call.
 * No longer than a minute, whatever @p timeout.
 * @return non-zero when it has; 0 when @p timeout passed first, or on the reactor's own thread.
 */
int NUVNetioRuntime_flush(struct NUVNetioRuntime *self, const struct NUVNtpTime *timeout);

/**
 * @brief The newest snapshot of the interfaces, retained for the caller.
 *
 * Events of the kernel that the reactor has not seen yet are taken into account: when there are
 * any, the interfaces are listed again first. (Listeners are told when the events have settled.)
 * @return null when memory runs out; when the listing fails otherwise, the former snapshot.
 */
const struct NUVNetioInterfaceSnapshot *
NUVNetioRuntime_acquireInterfaces(struct NUVNetioRuntime *self);

/**
 * @brief Notes that the interfaces may have changed, as an event of the kernel does: who asks for
 * them has them listed, and the listeners are told when the burst has settled. For those who know
 * of changes that the kernel does not tell of.
 */
void NUVNetioRuntime_noteInterfaceEvent(struct NUVNetioRuntime *self);

/**
 * @brief Lists the interfaces again, joins multicast groups on those that appeared and tells the
 * listeners when anything changed. What a settled burst of kernel events does by itself.
 * While another thread is telling the listeners, that one tells them of this change too.
 * @return non-zero on success; 0 when the interfaces could not be listed, after one warning: the
 * old snapshot stays.
 */
int NUVNetioRuntime_renewInterfaces(struct NUVNetioRuntime *self, struct REDAWorker *worker);

/**
 * The limit of repetition for what traffic and the network cause, shared by all that use the
 * runtime: however many participants a sender reaches, it makes one line a second of a kind. Lives
 * as long as the runtime.
 */
struct REDARepetitions *NUVNetioRuntime_getRepetitions(struct NUVNetioRuntime *self);

/**
 * How many datagrams the runtime's sockets have lost, since nobody received them in time, as far as
 * what was received after them has told. Rises only.
 */
NUV_UINT64 NUVNetioRuntime_getLostDatagrams(const struct NUVNetioRuntime *self);

/** The clock that the runtime goes by. */
struct NUVClock *NUVNetioRuntime_getClock(struct NUVNetioRuntime *self);

/**
 * Told, on the reactor's thread or that of renewInterfaces, that the interfaces changed, with the
 * newest snapshot, which is valid during the call.
 */
struct NUVNetioInterfaceListener {
    void (*onInterfacesChanged)(void *param, const struct NUVNetioInterfaceSnapshot *snapshot,
                                struct REDAWorker *worker);
    void *param;
    struct NUVNetioInterfaceListener *_next; /**< the runtime's */
};

/** Adds a listener, whose storage is the caller's and must stay until it has been removed. */
void NUVNetioRuntime_addInterfaceListener(struct NUVNetioRuntime *self,
                                          struct NUVNetioInterfaceListener *listener);

/**
 * @brief Removes a listener. When it was removed it is not running and will not run again, unless
 * this was called from within the listener itself. The caller must hold no lock that the listener
 * takes.
 * @return non-zero on success; 0 when it still ran after 4 s: its storage must stay, and it can be
 * removed again.
 */
int NUVNetioRuntime_removeInterfaceListener(struct NUVNetioRuntime *self,
                                            struct NUVNetioInterfaceListener *listener);

#ifdef __cplusplus
}
#endif

#endif
