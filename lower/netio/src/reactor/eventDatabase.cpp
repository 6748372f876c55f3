// Timed events: a list in the order of the deadlines, and a timer set to the first of them.
#include "reactor/eventDatabase.h"

#include <cerrno>
#include <limits>

#include <sys/timerfd.h>

#include "netio_log.h"

namespace {

NUV_INT64 read_clock() {
    NUVClock *clock = NUVClock_getMonotonic();
    return clock->getNanoseconds(clock);
}

/** What passes the end of time becomes it: such an event never runs. */
NUV_INT64 deadline_after(const NUVNtpTime &delay) {
    const NUV_INT64 nanoseconds = NUVNtpTime_toNanoseconds(&delay);
    const NUV_INT64 now = read_clock();
    if (nanoseconds <= 0) {
        return now;
    }
    return nanoseconds > std::numeric_limits<NUV_INT64>::max() - now
               ? std::numeric_limits<NUV_INT64>::max()
               : now + nanoseconds;
}

} // namespace

bool NUVEventActiveDatabase::open(netio::Reactor &reactor) {
    timer_ =
        netio::Descriptor::of_opened(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!timer_.is_open() || !reactor.poll(timer_.get(), this)) {
        const int error = errno;
        NETIO_ERROR("cannot open the timer of events: %s (%s)", netio::error_description(error),
                    netio::error_name(error));
        return false;
    }
    return true;
}

void NUVEventActiveDatabase::post(NUVEvent *event, const NUVNtpTime &delay) {
    const NUV_INT64 deadline = deadline_after(delay);
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
    if (first_ == nullptr) {
        return;
    }
    runner_ = std::this_thread::get_id();
    // Read once: an event that posts itself anew does not keep the reactor from its other work.
    const NUV_INT64 now = read_clock();
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

bool NUVEventActiveDatabase::on_readable(const netio::ReactorContext & /*context*/) {
    // The events themselves run at the end of each batch. A timer that was set to another time
    // meanwhile has nothing to read, which is as well.
    NUV_UINT64 expirations = 0;
    return read(timer_.get(), &expirations, sizeof expirations) >= 0 || errno == EAGAIN;
}

/** Behind those with the same deadline. */
void NUVEventActiveDatabase::insert(NUVEvent *event) {
    NUVEvent **place = &first_;
    while (*place != nullptr && (*place)->_deadline <= event->_deadline) {
        place = &(*place)->_next;
    }
    event->_next = *place;
    event->_posted = 1;
    *place = event;
}

/** Nothing happens when the event is not posted. */
void NUVEventActiveDatabase::remove(NUVEvent *event) {
    for (NUVEvent **place = &first_; *place != nullptr; place = &(*place)->_next) {
        if (*place == event) {
            *place = event->_next;
            event->_next = nullptr;
            event->_posted = 0;
            return;
        }
    }
}

NUVEvent *NUVEventActiveDatabase::take_first_until(NUV_INT64 time) {
    NUVEvent *const event = first_;
    if (event == nullptr || event->_deadline > time) {
        return nullptr;
    }
    remove(event);
    return event;
}

/** Sets the timer to the first deadline. One that is left set for nothing only wakes in vain. */
void NUVEventActiveDatabase::arm() {
    constexpr NUV_INT64 NANOSECONDS_PER_SECOND = 1'000'000'000;
    if (first_ == nullptr || first_->_deadline == armed_for_) {
        return;
    }
    armed_for_ = first_->_deadline;
    itimerspec when{};
    when.it_value.tv_sec = armed_for_ / NANOSECONDS_PER_SECOND;
    when.it_value.tv_nsec = armed_for_ % NANOSECONDS_PER_SECOND;
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &when, nullptr);
}

void NUVEventActiveDatabase_postEvent(struct NUVEventActiveDatabase *self, struct NUVEvent *event,
                                      const struct NUVNtpTime *delay) {
    self->post(event, *delay);
}

int NUVEventActiveDatabase_cancelEvent(struct NUVEventActiveDatabase *self,
                                       struct NUVEvent *event) {
    return static_cast<int>(self->cancel(event));
}
