// SPDX-License-Identifier: Apache-2.0
// What the reactor reads, leaves alone for a while, and ends.
#include "reactor/reactor.h"

#include <algorithm>
#include <cerrno>

#include "netio_log.h"
#include "osapi/osapi_assert.h"
#include "reactor/eventDatabase.h"
#include "reactor/pause.h"

namespace netio {

namespace {

constexpr NUV_INT64 MILLISECOND = 1'000'000;

/** An endless flush would be a wait without a bound. */
constexpr NUV_INT64 LONGEST_FLUSH = 60'000 * MILLISECOND;

} // namespace

Reactor::~Reactor() {
    if (loop_ != nullptr) {
        loop_slots_->close(loop_);
    }
}

bool Reactor::open(NUVEventActiveDatabase &events, const NUVNetioLoop &loop, NUVClock &clock) {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_new";
    events_ = &events;
    if (!places_.open()) {
        NETIO_ERROR("out of memory for the reactor");
        return false;
    }
    const NUVNetioLoopHandler handler{on_readable, on_turn, this};
    clock_ = &clock;
    loop_slots_ = &loop;
    loop_ = loop.open(loop.param, &handler);
    return loop_ != nullptr;
}

bool Reactor::start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers) {
    is_started_ = loop_slots_->start(loop_, threads, workers) != 0;
    return is_started_;
}

bool Reactor::stop() {
    if (!is_started_) {
        return true;
    }
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    is_started_ = loop_slots_->stop(loop_) == 0;
    return !is_started_;
}

bool Reactor::watch(const Pollable &pollable) const {
    return loop_slots_->watch(loop_, pollable.socket_, WatchTable::tag_of(*pollable.place_)) != 0;
}

bool Reactor::poll(NUVNetioSocket_t socket, Pollable *pollable) {
    const std::lock_guard lock(mutex_);
    pollable->place_ = places_.add(pollable, pollable->owner_);
    if (pollable->place_ == nullptr) {
        errno = ENOMEM;
        return false;
    }
    pollable->socket_ = socket;
    pollable->pause_ = 0;
    if (!watch(*pollable)) {
        places_.remove(pollable->place_);
        pollable->place_ = nullptr;
        return false;
    }
    return true;
}

void Reactor::forget(Pollable *pollable) {
    const std::lock_guard lock(mutex_);
    if (pollable->place_ != nullptr) {
        places_.remove(pollable->place_);
        pollable->place_ = nullptr;
        loop_slots_->unwatch(loop_, pollable->socket_);
        (void)paused_.remove(pollable);
    }
}

bool Reactor::end(Owner *owner) {
    if (reading_.load() != owner && calling_.load() != owner) {
        return true;
    }
    {
        const std::lock_guard lock(mutex_);
        ending_.append(owner);
    }
    // What the loop was at may have ended meanwhile, and with it the turn.
    if (!is_within_turn()) {
        (void)loop_slots_->wakeUp(loop_);
    }
    return false;
}

bool Reactor::flush(const NUVNtpTime &timeout) {
    if (is_within_turn()) {
        return false; // it would wait for itself
    }
    const NUV_INT64 duration = std::min(NUVNtpTime_toNanoseconds(&timeout), LONGEST_FLUSH);
    std::unique_lock lock(mutex_);
    const NUV_UINT64 ticket = ++asked_;
    (void)loop_slots_->wakeUp(loop_); // one that fails shows in the time that passes
    const auto is_answered = [this, ticket] { return answered_ >= ticket; };
    if (has_thread()) {
        return changed_.wait_for(lock, std::chrono::nanoseconds(duration), is_answered);
    }
    lock.unlock();
    loop_slots_->run(loop_, 0);
    lock.lock();
    return is_answered();
}

void Reactor::on_readable(void *param, NUV_UINT64 tag, REDAWorker *worker) {
    auto *self = static_cast<Reactor *>(param);
    NUV_ASSERT(self->is_within_turn());
    Pollable *const pollable = self->begin_reading(tag);
    if (pollable != nullptr) {
        self->end_reading(pollable, pollable->on_readable({worker, self->buffer_}));
    }
}

/** Null when it was forgotten since the loop was told of it. */
Pollable *Reactor::begin_reading(NUV_UINT64 tag) {
    const WatchTable::Place &place = places_.place_of(tag);
    reading_.store(place.owner.load());
    if (!WatchTable::is_current(place, tag)) {
        reading_.store(nullptr);
        return nullptr;
    }
    return place.pollable.load();
}

void Reactor::end_reading(Pollable *pollable, bool went_well) {
    if (went_well) {
        if (pollable->is_failing()) {
            pollable->pause_ = 0;
        }
    } else {
        const std::lock_guard lock(mutex_);
        if (pollable->place_ != nullptr) {
            loop_slots_->unwatch(loop_, pollable->socket_);
            pause(pollable, now());
            paused_.prepend(pollable);
            events_->post_at(&resume_, pollable->paused_until_);
        }
    }
    reading_.store(nullptr);
}

void Reactor::pause(Pollable *pollable, NUV_INT64 now) {
    pollable->pause_ = longer_pause(pollable->pause_);
    pollable->paused_until_ = now + pollable->pause_;
}

/** Has those watched again whose time has come. */
void Reactor::resume(void *param, REDAWorker * /*worker*/) {
    auto *self = static_cast<Reactor *>(param);
    const std::lock_guard lock(self->mutex_);
    const NUV_INT64 now = self->now();
    LinkedList<Pollable, &Pollable::next_paused_> still_paused;
    while (Pollable *const pollable = self->paused_.take_first()) {
        if (pollable->paused_until_ > now) {
            still_paused.prepend(pollable);
        } else if (!self->watch(*pollable)) {
            pause(pollable, now);
            still_paused.prepend(pollable);
        }
    }
    self->paused_ = still_paused;
    for (const Pollable *one = still_paused.first(); one != nullptr; one = one->next_paused_) {
        self->events_->post_at(&self->resume_, one->paused_until_);
    }
}

int Reactor::on_turn(void *param, REDAWorker *worker) {
    auto *self = static_cast<Reactor *>(param);
    NUV_ASSERT(self->is_within_turn());
    const HandedOver handed_over = self->take_handed_over();
    self->events_->run_due(worker);
    end_all(handed_over.first, worker);
    self->answer(handed_over.ticket);
    return handed_over.stopping ? 0 : 1;
}

Reactor::HandedOver Reactor::take_handed_over() {
    const std::lock_guard lock(mutex_);
    const HandedOver handed_over{ending_.first(), asked_, stopping_};
    ending_ = {};
    return handed_over;
}

void Reactor::end_all(Owner *first, REDAWorker *worker) {
    while (first != nullptr) {
        Owner *const next = first->next_ending_;
        first->on_ended(worker);
        first = next;
    }
}

void Reactor::answer(NUV_UINT64 ticket) {
    const std::lock_guard lock(mutex_);
    if (answered_ != ticket) {
        answered_ = ticket;
        changed_.notify_all();
    }
}

} // namespace netio
