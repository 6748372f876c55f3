// SPDX-License-Identifier: Apache-2.0
// The callbacks into the application, and the thread that runs them.
#ifndef NETIO_CALLBACKS_H
#define NETIO_CALLBACKS_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "netio/event_activeDatabase.h"
#include "netio/netio_callback.h"
#include "reactor/linkedList.h"
#include "reactor/workerThread.h"

namespace netio {

/** Thread-safe, but for the end. No lock is held while a callback runs. */
class Callbacks {
public:
    /** @param events run the callbacks where there is to be no thread. */
    explicit Callbacks(NUVEventActiveDatabase &events)
        : events_(events), run_event_{run_within_turn, this, 0, nullptr, 0} {}
    Callbacks(const Callbacks &) = delete;
    Callbacks &operator=(const Callbacks &) = delete;

    /** Starts the thread, unless it runs. On failure an error has been logged. */
    bool start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers);
    /** From now on they run within turns of the reactor's loop, which has no thread either. */
    void start_without_thread() {
        has_thread_ = false;
    }
    /** Ends the thread, if it was started. False after an error when a callback does not return. */
    bool stop();

    void post(NUVNetioCallback *callback);
    /** False when it still runs after the longest wait. */
    bool cancel(NUVNetioCallback *callback);

private:
    void run();
    static void run_within_turn(void *param, REDAWorker *worker);
    NUVNetioCallback *wait_for_next(std::unique_lock<std::mutex> &lock);
    NUVNetioCallback *take_first();
    void call(NUVNetioCallback *callback, std::unique_lock<std::mutex> &lock, REDAWorker *worker);
    void remove(NUVNetioCallback *callback);

    NUVEventActiveDatabase &events_;
    NUVEvent run_event_;
    bool has_thread_ = true;
    WorkerThread thread_{NUV_NETIO_CALLBACK_THREAD_NAME};
    std::mutex start_mutex_; // one start at a time
    std::mutex mutex_;       // guards what follows
    std::condition_variable changed_;
    LinkedList<NUVNetioCallback, &NUVNetioCallback::_next> posted_;
    NUVNetioCallback *running_ = nullptr;
    std::thread::id runner_; // the thread, or whose turn is running them
    bool stopping_ = false;
};

} // namespace netio

#endif
