// The thread that runs callbacks into the application.
#include "reactor/callbackThread.h"

#include "netio_log.h"

namespace netio {

bool CallbackThread::start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers) {
    const std::lock_guard lock(start_mutex_);
    return thread_.is_started() ||
           thread_.start(
               threads, workers, [](void *param) { static_cast<CallbackThread *>(param)->run(); },
               this);
}

bool CallbackThread::stop() {
    if (!thread_.is_started()) {
        return true;
    }
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
    }
    if (!thread_.join()) {
        NETIO_ERROR("the thread '%s' does not end: a callback has not returned for %lld s",
                    NUV_NETIO_CALLBACK_THREAD_NAME, static_cast<long long>(LONGEST_WAIT.count()));
        return false;
    }
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
        on_call(param, thread_.worker());
        lock.lock();
        running_ = nullptr;
        changed_.notify_all();
    }
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
