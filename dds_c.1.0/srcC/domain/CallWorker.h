// SPDX-License-Identifier: Apache-2.0
/**
 * @file CallWorker.h
 * @brief The worker of one public call, laid out in the call's own frame.
 */
#ifndef DOMAIN_CALL_WORKER_H
#define DOMAIN_CALL_WORKER_H

#include "osapi/osapi_process.h"
#include "reda/reda_worker.h"

/**
 * Public operations run on threads of the application, which come and go without our knowing. So
 * each call brings a worker along for its own duration: no allocation, nothing to clean up. The
 * thread is not cancelled meanwhile: it would leave locks locked.
 */
class CallWorker {
public:
    explicit CallWorker(struct REDAWorkerFactory *factory)
        : context(NUV_OSAPI_ACTIVITY_CONTEXT_DEFAULT), worker{factory, &context, "application",
                                                              nullptr} {}
    CallWorker(const CallWorker &) = delete;
    CallWorker &operator=(const CallWorker &) = delete;

    struct REDAWorker *get() {
        return &worker;
    }

private:
    const osapi::CancellationHold hold;
    struct NUVOsapiActivityContext context;
    struct REDAWorker worker;
};

#endif
