// SPDX-License-Identifier: Apache-2.0
// The callbacks into the application, and the thread that runs them.
#include "reactor/callbacks.h"

#include "netio_log.h"
#include "reactor/eventDatabase.h"

namespace netio {

bool Callbacks::start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers) {
    const std::lock_guard lock(start_mutex_);
    return !has_thread_ || thread_.is_started() ||
           thread_.start(
               threads, workers, [](void *param) { static_cast<Callbacks *>(param)->run(); }, this);
}

bool Callbacks::stop() {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_delete";
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

void Callbacks::post(NUVNetioCallback *callback) {
    const std::lock_guard lock(mutex_);
    if (callback->_posted != 0) {
        return;
    }
    posted_.append(callback);
    callback->_posted = 1;
    if (has_thread_) {
        changed_.notify_all();
    } else {
        events_.post(&run_event_, NUV_NTP_TIME_ZERO);
    }
}

bool Callbacks::cancel(NUVNetioCallback *callback) {
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

void Callbacks::run() {
    std::unique_lock lock(mutex_);
    runner_ = std::this_thread::get_id();
    while (NUVNetioCallback *const callback = wait_for_next(lock)) {
        call(callback, lock, thread_.worker());
    }
}

void Callbacks::run_within_turn(void *param, REDAWorker *worker) {
    auto *self = static_cast<Callbacks *>(param);
    std::unique_lock lock(self->mutex_);
    self->runner_ = std::this_thread::get_id();
    while (NUVNetioCallback *const callback = self->take_first()) {
        self->call(callback, lock, worker);
    }
    self->runner_ = {};
}

/** Null at the end. */
NUVNetioCallback *Callbacks::wait_for_next(std::unique_lock<std::mutex> &lock) {
    changed_.wait(lock, [this] { return stopping_ || !posted_.is_empty(); });
    return stopping_ ? nullptr : take_first();
}

/** Null when there is none. */
NUVNetioCallback *Callbacks::take_first() {
    NUVNetioCallback *const callback = posted_.take_first();
    if (callback != nullptr) {
        callback->_posted = 0;
    }
    return callback;
}

void Callbacks::call(NUVNetioCallback *callback, std::unique_lock<std::mutex> &lock,
                     REDAWorker *worker) {
    running_ = callback;
    const auto on_call = callback->onCall;
    void *const param = callback->param;
    lock.unlock();
    on_call(param, worker); // it may free the callback
    lock.lock();
    running_ = nullptr;
    changed_.notify_all();
}

/** Nothing happens when it is not posted. */
void Callbacks::remove(NUVNetioCallback *callback) {
    if (posted_.remove(callback)) {
        callback->_posted = 0;
    }
}

} // namespace netio
