// The reactor's thread and what others hand over to it.
#include "reactor.h"

#include <cerrno>
#include <chrono>

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include "eventDatabase.h"
#include "netio/netio_runtime.h"
#include "netio_log.h"

namespace netio {

bool Reactor::WakeUp::open() {
    descriptor_ = Descriptor::of_opened(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return descriptor_.is_open();
}

void Reactor::WakeUp::signal() {
    if (!signalled_.exchange(true)) {
        const NUV_UINT64 one = 1;
        // Cannot fail: the count stays far below its limit.
        [[maybe_unused]] const ssize_t written = write(descriptor_.get(), &one, sizeof one);
    }
}

void Reactor::WakeUp::on_readable(const ReactorContext & /*context*/) {
    NUV_UINT64 count = 0;
    [[maybe_unused]] const ssize_t length = read(descriptor_.get(), &count, sizeof count);
    // Before what was handed over is taken: whoever hands over more from here on signals anew. An
    // exchange rather than a store, so that what came before the signal is seen.
    signalled_.exchange(false);
}

bool Reactor::open() {
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
    workers_ = workers;
    worker_ = REDAWorkerFactory_createWorker(workers, NUV_NETIO_REACTOR_THREAD_NAME);
    if (worker_ == nullptr) {
        NETIO_ERROR("out of memory for the reactor's worker");
        return false;
    }
    thread_ = NUVOsapiThreadFactory_createThread(
        threads, NUV_NETIO_REACTOR_THREAD_NAME,
        [](void *param) { static_cast<Reactor *>(param)->run(); }, this);
    if (thread_ == nullptr) {
        NETIO_ERROR("cannot start the reactor's thread");
        REDAWorkerFactory_destroyWorker(workers_, worker_);
        worker_ = nullptr;
        return false;
    }
    return true;
}

void Reactor::stop() {
    if (thread_ == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_up_.signal();
    NUVOsapiThread_join(thread_);
    thread_ = nullptr;
    REDAWorkerFactory_destroyWorker(workers_, worker_);
    worker_ = nullptr;
}

bool Reactor::poll(int descriptor, Pollable *pollable) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = pollable;
    return epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void Reactor::forget(int descriptor) {
    // Closing alone would not do: a child of the process may still have the descriptor.
    epoll_event unused{};
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, &unused);
}

void Reactor::give_back(Returned *returned) {
    {
        const std::lock_guard lock(mutex_);
        if (last_returned_ != nullptr) {
            last_returned_->next_returned_ = returned;
        } else {
            first_returned_ = returned;
        }
        last_returned_ = returned;
    }
    wake_up_.signal();
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
    wake_up_.signal();
    const auto is_answered = [this, ticket] { return answered_ >= ticket; };
    if (NUVNtpTime_isInfinite(&timeout) != 0) {
        answered_changed_.wait(lock, is_answered);
        return true;
    }
    const std::chrono::nanoseconds duration(NUVNtpTime_toNanoseconds(&timeout));
    return answered_changed_.wait_for(lock, duration, is_answered);
}

void Reactor::run() {
    own_thread_.store(std::this_thread::get_id());
    const ReactorContext context{worker_, buffer_};
    for (bool last = false; !last;) {
        poll_once(context);
        const HandedOver handed_over = take_handed_over();
        last = handed_over.stopping;
        events_.run_due(worker_);
        close_all(handed_over.first, worker_);
        answer(handed_over.ticket);
    }
}

void Reactor::poll_once(const ReactorContext &context) {
    std::array<epoll_event, 32> events{};
    const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), -1);
    // A negative count: a signal came, which concerns nobody here.
    for (int i = 0; i < count; ++i) {
        // Valid although sockets close while this thread runs: only this thread closes them, and
        // only between two batches of events.
        auto *pollable = static_cast<Pollable *>(events[static_cast<std::size_t>(i)].data.ptr);
        pollable->on_readable(context);
    }
}

Reactor::HandedOver Reactor::take_handed_over() {
    const std::lock_guard lock(mutex_);
    const HandedOver handed_over{first_returned_, asked_, stopping_};
    first_returned_ = nullptr;
    last_returned_ = nullptr;
    return handed_over;
}

void Reactor::close_all(Returned *first, REDAWorker *worker) {
    while (first != nullptr) {
        Returned *const next = first->next_returned_;
        first->close_returned(worker);
        first = next;
    }
}

void Reactor::answer(NUV_UINT64 ticket) {
    const std::lock_guard lock(mutex_);
    if (answered_ != ticket) {
        answered_ = ticket;
        answered_changed_.notify_all();
    }
}

} // namespace netio
