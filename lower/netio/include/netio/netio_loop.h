// SPDX-License-Identifier: Apache-2.0
/**
 * @file netio_loop.h
 * @brief What turns a runtime: it waits for sockets and for time.
 *
 * The kernel's loop has a thread of its own and waits by epoll. A simulation puts one in place that
 * has virtual time and no thread: whatever there is to do is done within its own calls.
 */
#ifndef NETIO_LOOP_H
#define NETIO_LOOP_H

#include "netio/netio_transport.h"
#include "osapi/osapi_thread.h"
#include "reda/reda_worker.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What a loop calls: one call at a time, always on the same thread. */
struct NUVNetioLoopHandler {
    /** There is something to be read on the socket that is watched by this tag. */
    void (*onReadable)(void *param, NUV_UINT64 tag, struct REDAWorker *worker);
    /**
     * To be called after each batch of the above, after a wake-up, and when the time of the timer
     * has come. Returns 0 when the loop is to end.
     */
    int (*onTurn)(void *param, struct REDAWorker *worker);
    void *param;
};

/** A kind of loops. Thread-safe unless it says otherwise. */
struct NUVNetioLoop {
    /**
     * Makes a loop, which calls nobody before it is started. Null after one error message. Not
     * thread-safe, nor are the next three.
     */
    void *(*open)(void *param, const struct NUVNetioLoopHandler *handler);
    /** Frees a loop that does not run. Null is accepted. */
    void (*close)(void *loop);
    /** Starts it, with a worker of its own. Non-zero on success; 0 after one error message. */
    int (*start)(void *loop, struct NUVOsapiThreadFactory *threadFactory,
                 struct REDAWorkerFactory *workerFactory);
    /**
     * Has onTurn called until it answers 0, and no more then. Non-zero on success, also for a loop
     * that was not started; 0, after one error message, when it did not end: it still runs.
     */
    int (*stop)(void *loop);

    /**
     * Has onReadable called while a socket has something to be read. On failure 0, and errno tells
     * why.
     */
    int (*watch)(void *loop, NUVNetioSocket_t socket, NUV_UINT64 tag);
    /** Ends that. A call for the socket may be under way, or still come. */
    void (*unwatch)(void *loop, NUVNetioSocket_t socket);
    /** Sets the one timer, to a time of the runtime's clock; an earlier setting is forgotten. */
    void (*setTimer)(void *loop, NUV_INT64 nanoseconds);
    /** Has onTurn called soon. Non-zero on success; else errno tells why. */
    int (*wakeUp)(void *loop);
    /** Non-zero within a call of the handler. */
    int (*isWithin)(const void *loop);
    /**
     * For a loop without a thread, else null: does what there is to do, and lets up to that much
     * time pass for a caller that waits. Not called within a call of the handler.
     */
    void (*run)(void *loop, NUV_INT64 nanoseconds);

    void *param; /**< of open */
};

/** One that has a thread and waits by epoll. */
extern const struct NUVNetioLoop NUV_NETIO_LOOP_KERNEL;

/** The name of its thread, after its factory's prefix. */
#define NUV_NETIO_REACTOR_THREAD_NAME "reactor"

#ifdef __cplusplus
}
#endif

#endif
