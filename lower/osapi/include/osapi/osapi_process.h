// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_process.h
 * @brief What a library needs to know of the process and the thread that call it.
 */
#ifndef OSAPI_PROCESS_H
#define OSAPI_PROCESS_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief A number that is another one in each process that is forked from this one, so that what
 * was made before a fork is recognised after it. Never 0. Costs no system call. Thread-safe.
 *
 * Noticed is what goes through fork() of the C library, once this has been called.
 */
NUV_UINT32 NUVOsapiProcess_getGeneration(void);

/** Room for the name of a program, terminator included. */
#define NUV_OSAPI_PROGRAM_NAME_SIZE 256
/** Room for the name of a host, terminator included. */
#define NUV_OSAPI_HOST_NAME_SIZE 65

/** What a process is, for those who look at the system. Names that cannot be read are empty. */
struct NUVOsapiProcessIdentity {
    NUV_INT32 pid;
    char program[NUV_OSAPI_PROGRAM_NAME_SIZE]; /**< of its executable, without the directory */
    char host[NUV_OSAPI_HOST_NAME_SIZE];       /**< of the host that it runs on */
};

/** Reads what the calling process is now. Allocates nothing. Thread-safe. */
void NUVOsapiProcess_identify(struct NUVOsapiProcessIdentity *out);

/**
 * @brief Holds off the cancellation of the calling thread: whoever is cancelled inside a call of
 * the library would leave its locks locked.
 * @return what NUVOsapiThread_releaseCancellation takes.
 */
int NUVOsapiThread_holdCancellation(void);

/** Restores what the matching hold has found. */
void NUVOsapiThread_releaseCancellation(int held);

#ifdef __cplusplus
}

namespace osapi {

/** Holds off the cancellation of the calling thread for as long as it lives. */
class CancellationHold {
public:
    CancellationHold() : held_(NUVOsapiThread_holdCancellation()) {}
    ~CancellationHold() {
        NUVOsapiThread_releaseCancellation(held_);
    }
    CancellationHold(const CancellationHold &) = delete;
    CancellationHold &operator=(const CancellationHold &) = delete;

private:
    const int held_;
};

} // namespace osapi
#endif

#endif
