// SPDX-License-Identifier: Apache-2.0
// Timed events: a list in the order of the deadlines, and a timer set to the first of them.
#include "reactor/eventDatabase.h"

#include <limits>

#include "reactor/workerThread.h"

namespace {

/** What passes the end of time becomes it: such an event never runs. */
NUV_INT64 deadline_after(NUV_INT64 now, const NUVNtpTime &delay) {
    const NUV_INT64 nanoseconds = NUVNtpTime_toNanoseconds(&delay);
    if (nanoseconds <= 0) {
        return now;
    }
    return nanoseconds > std::numeric_limits<NUV_INT64>::max() - now
               ? std::numeric_limits<NUV_INT64>::max()
               : now + nanoseconds;
}

} // namespace

void NUVEventActiveDatabase::post(NUVEvent *event, const NUVNtpTime &delay) {
    post_at(event, deadline_after(reactor_.now(), delay));
}

void NUVEventActiveDatabase::post_at(NUVEvent *event, NUV_INT64 deadline) {
    const std::lock_guard lock(mutex_);
    if (event->_posted != 0) {
        if (event->_deadline <= deadline) {
            return;
        }
        remove(event);
    }
    event->_deadline = deadline;
    insert(event);
    arm();
}

bool NUVEventActiveDatabase::cancel(NUVEvent *event) {
    std::unique_lock lock(mutex_);
    remove(event);
    if (runner_ == std::this_thread::get_id()) {
        return true; // from within an event: if it is this one it ends by itself
    }
    const bool ended =
        ended_.wait_for(lock, netio::LONGEST_WAIT, [this, event] { return running_ != event; });
    remove(event); // it may have posted itself while it ran
    return ended;
}

void NUVEventActiveDatabase::run_due(REDAWorker *worker) {
    std::unique_lock lock(mutex_);
    if (posted_.is_empty()) {
        armed_for_ = 0; // whoever posts for the same time, where it stands still, sets it anew
        return;
    }
    runner_ = std::this_thread::get_id();
    // Read once: an event that posts itself anew does not keep the reactor from its other work.
    const NUV_INT64 now = reactor_.now();
    if (armed_for_ <= now) {
        armed_for_ = 0; // the timer has run out
    }
    while (NUVEvent *event = take_first_until(now)) {
        running_ = event;
        const auto on_time = event->onTime;
        void *const param = event->param;
        lock.unlock();
        on_time(param, worker); // it may free the event
        lock.lock();
        running_ = nullptr;
        ended_.notify_all();
    }
    runner_ = {};
    arm();
}

/** Behind those with the same deadline. */
void NUVEventActiveDatabase::insert(NUVEvent *event) {
    posted_.insert_before(
        event, [event](const NUVEvent *other) { return other->_deadline > event->_deadline; });
    event->_posted = 1;
}

/** Nothing happens when the event is not posted. */
void NUVEventActiveDatabase::remove(NUVEvent *event) {
    if (posted_.remove(event)) {
        event->_posted = 0;
    }
}

NUVEvent *NUVEventActiveDatabase::take_first_until(NUV_INT64 time) {
    if (posted_.is_empty() || posted_.first()->_deadline > time) {
        return nullptr;
    }
    NUVEvent *const event = posted_.take_first();
    event->_posted = 0;
    return event;
}

/** Sets the timer to the first deadline. One that is left set for nothing only wakes in vain. */
void NUVEventActiveDatabase::arm() {
    if (!posted_.is_empty() && posted_.first()->_deadline != armed_for_) {
        armed_for_ = posted_.first()->_deadline;
        reactor_.set_timer(armed_for_);
    }
}

void NUVEventActiveDatabase_postEvent(NUVEventActiveDatabase *self, NUVEvent *event,
                                      const NUVNtpTime *delay) {
    self->post(event, *delay);
}

int NUVEventActiveDatabase_cancelEvent(NUVEventActiveDatabase *self, NUVEvent *event) {
    return static_cast<int>(self->cancel(event));
}
