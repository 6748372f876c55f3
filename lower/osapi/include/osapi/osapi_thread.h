// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_thread.h
 * @brief Threads over pthreads.
 */
#ifndef OSAPI_THREAD_H
#define OSAPI_THREAD_H

#include "osapi/osapi_ntptime.h"

#ifdef __cplusplus
extern "C" {
#endif

struct NUVOsapiThread;
struct NUVOsapiThreadFactory;

/** How the threads of one factory are made. */
struct NUVOsapiThreadFactoryProperty {
    /** Put before each thread's name; may be empty. The kernel shows 15 characters in all. */
    char namePrefix[16];
    /** Stack size in bytes, raised to the system's smallest; 0 for the system's default. */
    size_t stackSize;
};

/** No name prefix, the system's stack size. */
#define NUV_OSAPI_THREAD_FACTORY_PROPERTY_DEFAULT                                                  \
    { {0}, 0 }

typedef void (*NUVOsapiThreadFunction)(void *param);

/** Makes a factory, or returns null when memory runs out. @p property may be null: the default. */
struct NUVOsapiThreadFactory *
NUVOsapiThreadFactory_new(const struct NUVOsapiThreadFactoryProperty *property);

/** Deletes a factory; null is accepted. Threads that it made go on. */
void NUVOsapiThreadFactory_delete(struct NUVOsapiThreadFactory *self);

/**
 * @brief Starts a thread that runs @p function(@p param) with every signal blocked, so that the
 * application's own threads keep receiving the process's signals.
 * @return the thread, to be given to NUVOsapiThread_join exactly once, or null when it could not be
 * started: then errno tells why, ENOMEM also when the heap has no room for it.
 */
struct NUVOsapiThread *NUVOsapiThreadFactory_createThread(struct NUVOsapiThreadFactory *self,
                                                          const char *name,
                                                          NUVOsapiThreadFunction function,
                                                          void *param);

/** Waits for the thread to end and frees its handle; null is accepted. */
void NUVOsapiThread_join(struct NUVOsapiThread *self);

/** Non-zero when the calling thread is @p self. */
int NUVOsapiThread_isSelf(const struct NUVOsapiThread *self);

/**
 * Blocks the calling thread for at least @p duration by the monotonic clock (signals do not shorten
 * it).
 */
void NUVOsapiThread_sleep(const struct NUVNtpTime *duration);

#ifdef __cplusplus
}
#endif

#endif
