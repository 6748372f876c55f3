// SPDX-License-Identifier: Apache-2.0
/**
 * @file netio_callback.h
 * @brief Callbacks into the application, one at a time, on a thread of their own.
 *
 * What an application does in a callback may take as long as it likes: the reactor goes on
 * meanwhile. The thread is started when somebody first needs it. All operations are thread-safe.
 */
#ifndef NETIO_CALLBACK_H
#define NETIO_CALLBACK_H

#include "netio/netio_runtime.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The name of the callbacks' thread, after its factory's prefix. */
#define NUV_NETIO_CALLBACK_THREAD_NAME "callback"

/** A callback: storage of the caller's, zeroed before it is first posted. */
struct NUVNetioCallback {
    void (*onCall)(void *param, struct REDAWorker *worker);
    void *param;
    struct NUVNetioCallback *_next; /**< the runtime's */
    int _posted;                    /**< the runtime's */
};

/** Starts the thread, if that has not been done. Non-zero on success; 0 after one error message. */
int NUVNetioRuntime_startCallbacks(struct NUVNetioRuntime *self);

/**
 * @brief Has @p callback called once, soon, after those posted before it. One that is posted
 * already and has not begun is called once for both. The thread must have been started. Allocates
 * nothing and never waits for a callback.
 */
void NUVNetioRuntime_postCallback(struct NUVNetioRuntime *self, struct NUVNetioCallback *callback);

/**
 * @brief Takes a callback back. When it was taken back it is not running and will not run, unless
 * this was called from within the callback itself.
 * @return non-zero on success; 0 when it still ran after 4 s: its storage must stay, and it can be
 * taken back again.
 */
int NUVNetioRuntime_cancelCallback(struct NUVNetioRuntime *self, struct NUVNetioCallback *callback);

#ifdef __cplusplus
}
#endif

#endif
