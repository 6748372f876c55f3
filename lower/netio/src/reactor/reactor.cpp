// The reactor's thread and what others hand over to it.
#include "reactor/reactor.h"

#include <algorithm>
#include <cerrno>

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include "netio/netio_runtime.h"
#include "netio_log.h"
#include "reactor/eventDatabase.h"

namespace netio {

namespace {

constexpr NUV_INT64 MILLISECOND = 1'000'000;

/** How long what fails is left alone: doubled each time until it succeeds. */
constexpr NUV_INT64 FIRST_PAUSE = 10 * MILLISECOND;
constexpr NUV_INT64 LONGEST_PAUSE = 1000 * MILLISECOND;

/** An endless flush would be a wait without a bound. */
constexpr NUV_INT64 LONGEST_FLUSH = 60'000 * MILLISECOND;

NUV_INT64 read_clock() {
    NUVClock *clock = NUVClock_getMonotonic();
    return clock->getNanoseconds(clock);
}

NUV_INT64 longer_pause(NUV_INT64 pause) {
    return pause == 0 ? FIRST_PAUSE : std::min(2 * pause, LONGEST_PAUSE);
}

NUV_UINT64 to_tag(const REDAWeakReference &reference) {
    return NUV_UINT64{reference._index} << 32 | reference._referentEpochAtCreation;
}

} // namespace

bool Reactor::WakeUp::open() {
    descriptor_ = Descriptor::of_opened(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return descriptor_.is_open();
}

bool Reactor::WakeUp::signal() {
    if (signalled_.exchange(true)) {
        return true;
    }
    const NUV_UINT64 one = 1;
    if (write(descriptor_.get(), &one, sizeof one) < 0) {
        signalled_.store(false);
        return false;
    }
    return true;
}

bool Reactor::WakeUp::on_readable(const ReactorContext & /*context*/) {
    NUV_UINT64 count = 0;
    const bool was_read = read(descriptor_.get(), &count, sizeof count) >= 0;
    // Before what was handed over is taken: whoever hands over more from here on signals anew. An
    // exchange rather than a store, so that what came before the signal is seen.
    signalled_.exchange(false);
    return was_read;
}

Reactor::~Reactor() {
    REDAWeakReferenceManager_delete(references_);
}

bool Reactor::open() {
    references_ = REDAWeakReferenceManager_new();
    if (references_ == nullptr) {
        NETIO_ERROR("out of memory for the reactor");
        return false;
    }
    epoll_ = Descriptor::of_opened(epoll_create1(EPOLL_CLOEXEC));
    if (!epoll_.is_open() || !wake_up_.open() || !poll(wake_up_.descriptor(), &wake_up_)) {
        const int error = errno;
        NETIO_ERROR("cannot open the reactor's epoll instance and eventfd: %s (%s)",
                    error_description(error), error_name(error));
        return false;
    }
    return true;
}

bool Reactor::start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers) {
    return thread_.start(
        threads, workers, [](void *param) { static_cast<Reactor *>(param)->run(); }, this);
}

bool Reactor::stop() {
    if (!thread_.is_started()) {
        return true;
    }
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
    }
    const int error = wake_up_.signal() ? 0 : errno;
    if (thread_.join()) {
        return true;
    }
    if (error != 0) {
        NETIO_ERROR("the thread '%s' cannot be woken, and so not be ended: %s (%s)",
                    NUV_NETIO_REACTOR_THREAD_NAME, error_description(error), error_name(error));
    } else {
        NETIO_ERROR("the thread '%s' does not end: it has not answered for %lld s",
                    NUV_NETIO_REACTOR_THREAD_NAME, static_cast<long long>(LONGEST_WAIT.count()));
    }
    return false;
}

bool Reactor::add_to_epoll(const Pollable &pollable) const {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = to_tag(pollable.reference_);
    return epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, pollable.descriptor_, &event) == 0;
}

void Reactor::remove_from_epoll(const Pollable &pollable) const {
    // Closing alone would not do: a child of the process may still have the descriptor.
    epoll_event unused{};
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, pollable.descriptor_, &unused);
}

bool Reactor::poll(int descriptor, Pollable *pollable) {
    const std::lock_guard lock(mutex_);
    if (REDAWeakReferenceManager_createReference(references_, pollable, &pollable->reference_) ==
        0) {
        errno = ENOMEM;
        return false;
    }
    pollable->descriptor_ = descriptor;
    pollable->pause_ = 0;
    if (!add_to_epoll(*pollable)) {
        REDAWeakReferenceManager_invalidate(references_, &pollable->reference_);
        return false;
    }
    return true;
}

void Reactor::forget(Pollable *pollable) {
    const std::lock_guard lock(mutex_);
    if (REDAWeakReferenceManager_invalidate(references_, &pollable->reference_) != 0) {
        remove_from_epoll(*pollable);
        unpause(pollable);
    }
}

bool Reactor::end(Owner *owner) {
    const std::lock_guard lock(mutex_);
    if (reading_ == nullptr || reading_->owner_ != owner) {
        return true;
    }
    // The thread comes by after the event that it is at: it need not be woken.
    if (last_ending_ != nullptr) {
        last_ending_->next_ending_ = owner;
    } else {
        first_ending_ = owner;
    }
    last_ending_ = owner;
    return false;
}

bool Reactor::is_own_thread() const {
    return own_thread_.load() == std::this_thread::get_id();
}

bool Reactor::flush(const NUVNtpTime &timeout) {
    if (is_own_thread()) {
        return false; // it would wait for itself
    }
    std::unique_lock lock(mutex_);
    const NUV_UINT64 ticket = ++asked_;
    (void)wake_up_.signal(); // one that fails shows in the time that passes
    const std::chrono::nanoseconds duration(
        std::min(NUVNtpTime_toNanoseconds(&timeout), LONGEST_FLUSH));
    return changed_.wait_for(lock, duration, [this, ticket] { return answered_ >= ticket; });
}

void Reactor::run() {
    own_thread_.store(std::this_thread::get_id());
    REDAWorker *const worker = thread_.worker();
    const ReactorContext context{worker, buffer_};
    for (bool last = false; !last;) {
        poll_once(context);
        const HandedOver handed_over = take_handed_over();
        last = handed_over.stopping;
        events_.run_due(worker);
        end_all(handed_over.first, worker);
        answer(handed_over.ticket);
    }
}

void Reactor::poll_once(const ReactorContext &context) {
    std::array<epoll_event, 32> events{};
    const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()),
                                 milliseconds_until_resumption());
    if (count < 0) {
        if (errno != EINTR) { // a signal came, which concerns nobody here
            note_poll_failure(errno);
        }
        return;
    }
    poll_pause_ = 0;
    resume_paused();
    for (int i = 0; i < count; ++i) {
        read_one(events[static_cast<std::size_t>(i)].data.u64, context);
    }
}

/** Said once, and tried again after a pause, which the end of the thread cuts short. */
void Reactor::note_poll_failure(int error) {
    if (poll_pause_ == 0) {
        NETIO_ERROR("cannot poll the receive ports: %s (%s)", error_description(error),
                    error_name(error));
    }
    poll_pause_ = longer_pause(poll_pause_);
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::nanoseconds(poll_pause_), [this] { return stopping_; });
}

void Reactor::read_one(NUV_UINT64 tag, const ReactorContext &context) {
    Pollable *const pollable = begin_reading(tag);
    if (pollable != nullptr) {
        end_reading(pollable, pollable->on_readable(context));
    }
}

/** Null when it was forgotten since the kernel told of it. */
Pollable *Reactor::begin_reading(NUV_UINT64 tag) {
    const std::lock_guard lock(mutex_);
    const REDAWeakReference reference{references_, static_cast<NUV_UINT32>(tag >> 32),
                                      static_cast<REDAEpoch>(tag)};
    auto *const pollable =
        static_cast<Pollable *>(REDAWeakReferenceManager_getReferent(references_, &reference));
    reading_ = pollable;
    return pollable;
}

void Reactor::end_reading(Pollable *pollable, bool went_well) {
    const std::lock_guard lock(mutex_);
    reading_ = nullptr;
    if (went_well) {
        pollable->pause_ = 0;
        return;
    }
    if (REDAWeakReferenceManager_getReferent(references_, &pollable->reference_) == pollable) {
        remove_from_epoll(*pollable);
        pause(pollable, read_clock());
        pollable->next_paused_ = first_paused_;
        first_paused_ = pollable;
    }
}

void Reactor::pause(Pollable *pollable, NUV_INT64 now) {
    pollable->pause_ = longer_pause(pollable->pause_);
    pollable->paused_until_ = now + pollable->pause_;
}

/** Nothing happens when it is not paused. */
void Reactor::unpause(Pollable *pollable) {
    for (Pollable **place = &first_paused_; *place != nullptr; place = &(*place)->next_paused_) {
        if (*place == pollable) {
            *place = pollable->next_paused_;
            return;
        }
    }
}

void Reactor::resume_paused() {
    const std::lock_guard lock(mutex_);
    const NUV_INT64 now = first_paused_ != nullptr ? read_clock() : 0;
    for (Pollable **place = &first_paused_; *place != nullptr;) {
        Pollable *const pollable = *place;
        if (pollable->paused_until_ > now) {
            place = &pollable->next_paused_;
        } else if (add_to_epoll(*pollable)) {
            *place = pollable->next_paused_;
        } else {
            pause(pollable, now);
            place = &pollable->next_paused_;
        }
    }
}

/** As epoll_wait takes it: -1 for no end. */
int Reactor::milliseconds_until_resumption() {
    const std::lock_guard lock(mutex_);
    if (first_paused_ == nullptr) {
        return -1;
    }
    NUV_INT64 first = first_paused_->paused_until_;
    for (const Pollable *one = first_paused_; one != nullptr; one = one->next_paused_) {
        first = std::min(first, one->paused_until_);
    }
    const NUV_INT64 left = std::clamp(first - read_clock(), NUV_INT64{0}, LONGEST_PAUSE);
    return static_cast<int>((left + MILLISECOND - 1) / MILLISECOND);
}

Reactor::HandedOver Reactor::take_handed_over() {
    const std::lock_guard lock(mutex_);
    const HandedOver handed_over{first_ending_, asked_, stopping_};
    first_ending_ = nullptr;
    last_ending_ = nullptr;
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
