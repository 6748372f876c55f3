// SPDX-License-Identifier: Apache-2.0
// A loop with a thread of its own, which waits by epoll.
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <new>
#include <thread>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>

#include "netio/netio_loop.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"
#include "reactor/descriptor.h"
#include "reactor/pause.h"
#include "reactor/workerThread.h"

namespace {

using netio::Descriptor;

/** Tags of the loop's own. Others name a place, of which there are never as many. */
constexpr NUV_UINT64 OWN_TAG = UINT64_MAX;

class KernelLoop {
public:
    explicit KernelLoop(const NUVNetioLoopHandler &handler) : handler_(handler) {}
    KernelLoop(const KernelLoop &) = delete;
    KernelLoop &operator=(const KernelLoop &) = delete;

    /** On failure an error has been logged. */
    bool open();
    bool start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers);
    bool stop();

    bool watch(int descriptor, NUV_UINT64 tag, NUV_UINT32 events = EPOLLIN) const;
    void unwatch(int descriptor) const;
    void set_timer(NUV_INT64 nanoseconds) const;
    bool wake_up();
    bool is_within() const {
        return own_thread_.load() == std::this_thread::get_id();
    }

private:
    void run();
    void wait_once(REDAWorker *worker);
    void note_failure(int error);

    const NUVNetioLoopHandler handler_;
    Descriptor epoll_;
    Descriptor wake_up_;
    Descriptor timer_;
    std::atomic<bool> is_woken_{false}; // so that one wake-up costs one system call
    netio::WorkerThread thread_{NUV_NETIO_REACTOR_THREAD_NAME};
    std::atomic<std::thread::id> own_thread_{};
    NUV_INT64 pause_ = 0; // after the last wait, which failed; the thread's own

    std::mutex mutex_; // guards what follows
    std::condition_variable stopped_;
    bool stopping_ = false;
};

bool KernelLoop::open() {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_new";
    // By edges, so that nobody has to read what these two count.
    constexpr NUV_UINT32 BY_EDGES = EPOLLIN | EPOLLET;
    epoll_ = Descriptor::of_opened(epoll_create1(EPOLL_CLOEXEC));
    if (epoll_.is_open()) {
        wake_up_ = Descriptor::of_opened(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }
    if (!wake_up_.is_open() || !watch(wake_up_.get(), OWN_TAG, BY_EDGES)) {
        const int error = errno;
        NETIO_ERROR("cannot open the reactor's epoll instance and eventfd: %s (%s)",
                    netio::error_description(error), netio::error_name(error));
        return false;
    }
    timer_ = Descriptor::of_opened(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!timer_.is_open() || !watch(timer_.get(), OWN_TAG, BY_EDGES)) {
        const int error = errno;
        NETIO_ERROR("cannot open the timer of events: %s (%s)", netio::error_description(error),
                    netio::error_name(error));
        return false;
    }
    return true;
}

bool KernelLoop::start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers) {
    return thread_.start(
        threads, workers, [](void *param) { static_cast<KernelLoop *>(param)->run(); }, this);
}

bool KernelLoop::stop() {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_delete";
    if (!thread_.is_started()) {
        return true;
    }
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        stopped_.notify_all();
    }
    const int error = wake_up() ? 0 : errno;
    if (thread_.join()) {
        return true;
    }
    if (error != 0) {
        NETIO_ERROR("the thread '%s' cannot be woken, and so not be ended: %s (%s)",
                    NUV_NETIO_REACTOR_THREAD_NAME, netio::error_description(error),
                    netio::error_name(error));
    } else {
        NETIO_ERROR("the thread '%s' does not end: it has not answered for %lld s",
                    NUV_NETIO_REACTOR_THREAD_NAME,
                    static_cast<long long>(netio::LONGEST_WAIT.count()));
    }
    return false;
}

bool KernelLoop::watch(int descriptor, NUV_UINT64 tag, NUV_UINT32 events) const {
    epoll_event event{};
    event.events = events;
    event.data.u64 = tag;
    return epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void KernelLoop::unwatch(int descriptor) const {
    // Closing alone would not do: a child of the process may still have the descriptor.
    epoll_event unused{};
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, &unused);
}

void KernelLoop::set_timer(NUV_INT64 nanoseconds) const {
    constexpr NUV_INT64 NANOSECONDS_PER_SECOND = 1'000'000'000;
    itimerspec when{};
    when.it_value.tv_sec = nanoseconds / NANOSECONDS_PER_SECOND;
    when.it_value.tv_nsec = nanoseconds % NANOSECONDS_PER_SECOND;
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &when, nullptr);
}

bool KernelLoop::wake_up() {
    if (is_woken_.exchange(true)) {
        return true;
    }
    const NUV_UINT64 one = 1;
    if (write(wake_up_.get(), &one, sizeof one) < 0) {
        is_woken_.store(false);
        return false;
    }
    return true;
}

void KernelLoop::run() {
    own_thread_.store(std::this_thread::get_id());
    REDAWorker *const worker = thread_.worker();
    do {
        wait_once(worker);
    } while (handler_.onTurn(handler_.param, worker) != 0);
}

void KernelLoop::wait_once(REDAWorker *worker) {
    std::array<epoll_event, 32> events{};
    const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), -1);
    // Before what was handed over is taken: whoever hands over more from here on wakes anew. An
    // exchange rather than a store, so that what came before the wake-up is seen.
    const int error = errno;
    is_woken_.exchange(false);
    if (count < 0) {
        if (error != EINTR) { // a signal came, which concerns nobody here
            note_failure(error);
        }
        return;
    }
    pause_ = 0;
    for (int i = 0; i < count; ++i) {
        const NUV_UINT64 tag = events[static_cast<std::size_t>(i)].data.u64;
        if (tag != OWN_TAG) {
            handler_.onReadable(handler_.param, tag, worker);
        }
    }
}

/** Said once, and tried again after a pause, which the end of the thread cuts short. */
void KernelLoop::note_failure(int error) {
    if (pause_ == 0) {
        NETIO_ERROR("cannot poll the receive ports: %s (%s)", netio::error_description(error),
                    netio::error_name(error));
    }
    pause_ = netio::longer_pause(pause_);
    std::unique_lock lock(mutex_);
    stopped_.wait_for(lock, std::chrono::nanoseconds(pause_), [this] { return stopping_; });
}

KernelLoop *loop_of(void *loop) {
    return static_cast<KernelLoop *>(loop);
}

void close_loop(void *loop) {
    if (loop != nullptr) {
        loop_of(loop)->~KernelLoop();
        NUVOsapiHeap_freeStructure(loop);
    }
}

void *open_loop(void * /*param*/, const NUVNetioLoopHandler *handler) {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_new";
    KernelLoop *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, class KernelLoop);
    if (self == nullptr) {
        NETIO_ERROR("out of memory for the reactor");
        return nullptr;
    }
    new (self) KernelLoop(*handler);
    if (!self->open()) {
        close_loop(self);
        return nullptr;
    }
    return self;
}

int start_loop(void *loop, NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers) {
    return static_cast<int>(loop_of(loop)->start(threads, workers));
}

int stop_loop(void *loop) {
    return static_cast<int>(loop_of(loop)->stop());
}

int watch(void *loop, NUVNetioSocket_t socket, NUV_UINT64 tag) {
    return static_cast<int>(loop_of(loop)->watch(static_cast<int>(socket), tag));
}

void unwatch(void *loop, NUVNetioSocket_t socket) {
    loop_of(loop)->unwatch(static_cast<int>(socket));
}

void set_timer(void *loop, NUV_INT64 nanoseconds) {
    loop_of(loop)->set_timer(nanoseconds);
}

int wake_up(void *loop) {
    return static_cast<int>(loop_of(loop)->wake_up());
}

int is_within(const void *loop) {
    return static_cast<int>(static_cast<const KernelLoop *>(loop)->is_within());
}

} // namespace

const NUVNetioLoop NUV_NETIO_LOOP_KERNEL = {
    open_loop, close_loop, start_loop, stop_loop, watch,   unwatch,
    set_timer, wake_up,    is_within,  nullptr,   nullptr,
};
