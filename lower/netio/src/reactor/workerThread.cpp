// SPDX-License-Identifier: Apache-2.0
// A thread of the runtime's, with its worker.
#include "reactor/workerThread.h"

#include <cerrno>

#include "netio_log.h"

namespace netio {

bool WorkerThread::start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers,
                         NUVOsapiThreadFunction function, void *param) {
    workers_ = workers;
    function_ = function;
    param_ = param;
    worker_ = REDAWorkerFactory_createWorker(workers, name_);
    if (worker_ == nullptr) {
        NETIO_ERROR("out of memory for the worker of the thread '%s'", name_);
        return false;
    }
    thread_ = NUVOsapiThreadFactory_createThread(
        threads, name_, [](void *self) { static_cast<WorkerThread *>(self)->run(); }, this);
    if (thread_ == nullptr) {
        const int error = errno;
        NETIO_ERROR("cannot start the thread '%s': %s (%s)", name_, error_description(error),
                    error_name(error));
        REDAWorkerFactory_destroyWorker(workers_, worker_);
        worker_ = nullptr;
        return false;
    }
    return true;
}

void WorkerThread::run() {
    function_(param_);
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    changed_.notify_all();
}

bool WorkerThread::join() {
    {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, LONGEST_WAIT, [this] { return has_ended_; })) {
            return false;
        }
    }
    NUVOsapiThread_join(thread_);
    thread_ = nullptr;
    REDAWorkerFactory_destroyWorker(workers_, worker_);
    worker_ = nullptr;
    return true;
}

} // namespace netio
