// SPDX-License-Identifier: Apache-2.0
// A thread of the runtime's, with its worker.
#ifndef NETIO_WORKER_THREAD_H
#define NETIO_WORKER_THREAD_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "osapi/osapi_thread.h"
#include "reda/reda_worker.h"

namespace netio {

/** Nobody waits longer for one of these threads: nothing that they do by themselves takes as long.
 */
constexpr std::chrono::seconds LONGEST_WAIT{4};

class WorkerThread {
public:
    explicit WorkerThread(const char *name) : name_(name) {}
    WorkerThread(const WorkerThread &) = delete;
    WorkerThread &operator=(const WorkerThread &) = delete;

    /** Has it run @p function(@p param), once. On failure an error has been logged. */
    bool start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers,
               NUVOsapiThreadFunction function, void *param);
    bool is_started() const {
        return thread_ != nullptr;
    }
    /** The thread's own, while it is started. */
    REDAWorker *worker() const {
        return worker_;
    }

    /**
     * Waits until the function has returned, and ends the thread. False when that takes too long:
     * it may still use everything that it was given.
     */
    bool join();

private:
    void run();

    const char *const name_;
    NUVOsapiThread *thread_ = nullptr;
    REDAWorkerFactory *workers_ = nullptr;
    REDAWorker *worker_ = nullptr;
    NUVOsapiThreadFunction function_ = nullptr;
    void *param_ = nullptr;

    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    bool has_ended_ = false;
};

} // namespace netio

#endif
