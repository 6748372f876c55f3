// The thread that runs callbacks into the application.
#include "callbackThread.h"

#include <cerrno>

#include "netio_log.h"
#include "reactor.h"

namespace netio {

bool CallbackThread::start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers) {
    const std::lock_guard lock(start_mutex_);
    if (thread_ != nullptr) {
        return true;
    }
    workers_ = workers;
    worker_ = REDAWorkerFactory_createWorker(workers, NUV_NETIO_CALLBACK_THREAD_NAME);
    if (worker_ == nullptr) {
        NETIO_ERROR("out of memory for the worker of callbacks");
        return false;
    }
    thread_ = NUVOsapiThreadFactory_createThread(
        threads, NUV_NETIO_CALLBACK_THREAD_NAME,
        [](void *param) { static_cast<CallbackThread *>(param)->run(); }, this);
    if (thread_ == nullptr) {
        const int error = errno;
        NETIO_ERROR("cannot start the thread of callbacks: %s (%s)", error_description(error),
                    error_name(error));
        REDAWorkerFactory_destroyWorker(workers_, worker_);
        worker_ = nullptr;
        return false;
    }
    return true;
}

bool CallbackThread::stop() {
    if (thread_ == nullptr) {
        return true;
    }
    {
        std::unique_lock lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
        if (!changed_.wait_for(lock, LONGEST_WAIT, [this] { return ended_; })) {
            NETIO_ERROR("the thread '%s' does not end: a callback has not returned for %lld s",
                        NUV_NETIO_CALLBACK_THREAD_NAME,
                        static_cast<long long>(LONGEST_WAIT.count()));
            return false;
        }
    }
    NUVOsapiThread_join(thread_);
    thread_ = nullptr;
    REDAWorkerFactory_destroyWorker(workers_, worker_);
    worker_ = nullptr;
    return true;
}

void CallbackThread::post(NUVNetioCallback *callback) {
    const std::lock_guard lock(mutex_);
    if (callback->_posted != 0) {
        return;
    }
    NUVNetioCallback **place = &first_;
    while (*place != nullptr) {
        place = &(*place)->_next;
    }
    callback->_next = nullptr;
    callback->_posted = 1;
    *place = callback;
    changed_.notify_all();
}

bool CallbackThread::cancel(NUVNetioCallback *callback) {
    std::unique_lock lock(mutex_);
    remove(callback);
    if (runner_ == std::this_thread::get_id()) {
        return true; // from within a callback: if it is this one it ends by itself
    }
    const bool ended =
        changed_.wait_for(lock, LONGEST_WAIT, [this, callback] { return running_ != callback; });
    remove(callback); // it may have been posted while it ran
    return ended;
}

void CallbackThread::run() {
    std::unique_lock lock(mutex_);
    runner_ = std::this_thread::get_id();
    while (NUVNetioCallback *const callback = take_next(lock)) {
        running_ = callback;
        const auto on_call = callback->onCall;
        void *const param = callback->param;
        lock.unlock();
        on_call(param, worker_);
        lock.lock();
        running_ = nullptr;
        changed_.notify_all();
    }
    ended_ = true;
    changed_.notify_all();
}

/** Waits for one; null at the end. */
NUVNetioCallback *CallbackThread::take_next(std::unique_lock<std::mutex> &lock) {
    changed_.wait(lock, [this] { return stopping_ || first_ != nullptr; });
    NUVNetioCallback *const callback = stopping_ ? nullptr : first_;
    if (callback != nullptr) {
        remove(callback);
    }
    return callback;
}

/** Nothing happens when it is not posted. */
void CallbackThread::remove(NUVNetioCallback *callback) {
    for (NUVNetioCallback **place = &first_; *place != nullptr; place = &(*place)->_next) {
        if (*place == callback) {
            *place = callback->_next;
            callback->_next = nullptr;
            callback->_posted = 0;
            return;
        }
    }
}

} // namespace netio
