// SPDX-License-Identifier: Apache-2.0
/**
 * @file event_activeDatabase.h
 * @brief Timed events, run one at a time by the reactor's thread.
 */
#ifndef EVENT_ACTIVE_DATABASE_H
#define EVENT_ACTIVE_DATABASE_H

#include "netio/netio_runtime.h"

#ifdef __cplusplus
extern "C" {
#endif

struct NUVEventActiveDatabase;

/** An event: storage of the caller's, zeroed before it is first posted. */
struct NUVEvent {
    void (*onTime)(void *param, struct REDAWorker *worker);
    void *param;
    NUV_INT64 _deadline;    /**< the database's */
    struct NUVEvent *_next; /**< the database's */
    int _posted;            /**< the database's */
};

/** The runtime's database; lives as long as the runtime. */
struct NUVEventActiveDatabase *NUVNetioRuntime_getEventDatabase(struct NUVNetioRuntime *self);

/**
 * @brief Has @p event run once, @p delay from now. An event that is posted already keeps its
 * earlier deadline. An infinite delay never ends. Events run in the order of their deadlines.
 * Allocates nothing. Thread-safe; also from within an event.
 */
void NUVEventActiveDatabase_postEvent(struct NUVEventActiveDatabase *self, struct NUVEvent *event,
                                      const struct NUVNtpTime *delay);

/**
 * @brief Takes an event back. When it was taken back it is not running and will not run, unless
 * this was called from within the event itself. The caller must hold no lock that the event takes.
 * @return non-zero on success; 0 when the event still ran after 4 s: its storage must stay.
 */
int NUVEventActiveDatabase_cancelEvent(struct NUVEventActiveDatabase *self, struct NUVEvent *event);

#ifdef __cplusplus
}
#endif

#endif
