// The thread that runs callbacks into the application.
#ifndef NETIO_CALLBACK_THREAD_H
#define NETIO_CALLBACK_THREAD_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "netio/netio_callback.h"
#include "reactor/workerThread.h"

namespace netio {

/** Thread-safe, but for the end. No lock is held while a callback runs. */
class CallbackThread {
public:
    CallbackThread() = default;
    CallbackThread(const CallbackThread &) = delete;
    CallbackThread &operator=(const CallbackThread &) = delete;

    /** Starts the thread, unless it runs. On failure an error has been logged. */
    bool start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers);
    /** Ends the thread, if it was started. False after an error when a callback does not return. */
    bool stop();

    void post(NUVNetioCallback *callback);
    /** False when it still runs after the longest wait. */
    bool cancel(NUVNetioCallback *callback);

private:
    void run();
    NUVNetioCallback *take_next(std::unique_lock<std::mutex> &lock);
    void remove(NUVNetioCallback *callback);

    WorkerThread thread_{NUV_NETIO_CALLBACK_THREAD_NAME};
    std::mutex start_mutex_; // one start at a time
    std::mutex mutex_;       // guards what follows
    std::condition_variable changed_;
    NUVNetioCallback *first_ = nullptr;
    NUVNetioCallback *running_ = nullptr;
    std::thread::id runner_;
    bool stopping_ = false;
};

} // namespace netio

#endif
