// The reactor: the one thread that receives and runs events for every participant.
#ifndef NETIO_REACTOR_H
#define NETIO_REACTOR_H

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <span>
#include <thread>

#include "netio/netio_runtime.h"
#include "osapi/osapi_ntptime.h"
#include "osapi/osapi_thread.h"
#include "reactor/descriptor.h"
#include "reactor/workerThread.h"
#include "reda/reda_weakReference.h"
#include "reda/reda_worker.h"

struct NUVEventActiveDatabase;

namespace netio {

/** What the reactor's thread carries with it. */
struct ReactorContext {
    REDAWorker *worker;
    std::span<NUV_UINT8> buffer; // for one message
};

/** Something that goes when the last event of what it owns has ended. */
class Owner {
public:
    /** Called once, on the reactor's thread, when no event of it is under way. May free it. */
    virtual void on_ended(REDAWorker *worker) = 0;

protected:
    ~Owner() = default;

private:
    friend class Reactor;
    Owner *next_ending_ = nullptr;
};

/** Something whose descriptor the reactor polls. */
class Pollable {
public:
    /**
     * Reads what there is, on the reactor's thread. False when it could not: the reactor then backs
     * off from the descriptor for a while, longer each time until it succeeds.
     */
    virtual bool on_readable(const ReactorContext &context) = 0;

    Pollable(const Pollable &) = delete;
    Pollable &operator=(const Pollable &) = delete;

protected:
    /** An owner lives as long as events of what it owns are under way; see Reactor::end. */
    explicit Pollable(const Owner *owner = nullptr) : owner_(owner) {}
    ~Pollable() = default;

    /** Whether the last reading failed; so that a lasting failure is said once. */
    bool is_failing() const {
        return pause_ != 0;
    }

private:
    friend class Reactor;
    const Owner *const owner_;
    // The reactor's:
    int descriptor_ = -1;
    REDAWeakReference reference_ = REDA_WEAK_REFERENCE_INVALID;
    std::atomic<NUV_INT64> pause_{0}; // nanoseconds it is left alone after its last failure, or 0
    NUV_INT64 paused_until_ = 0;
    Pollable *next_paused_ = nullptr;
};

class Reactor {
public:
    explicit Reactor(NUVEventActiveDatabase &events) : events_(events) {}
    Reactor(const Reactor &) = delete;
    Reactor &operator=(const Reactor &) = delete;

    ~Reactor();

    /** Opens what the thread needs. On failure an error has been logged. */
    bool open();
    /** Starts the thread. On failure an error has been logged. */
    bool start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers);
    /**
     * Ends the thread, if it was started, after the event that it is at. False after an error when
     * it does not answer in time: it may still use everything that it was given.
     */
    bool stop();

    /** Polls a descriptor from now on. On failure errno tells why. Thread-safe. */
    bool poll(int descriptor, Pollable *pollable);
    /**
     * Begins no event of it any more; one may still be under way. Before the descriptor is closed.
     * Thread-safe.
     */
    void forget(Pollable *pollable);
    /**
     * Ends what owns pollables that have all been forgotten. True: nothing of it is under way, and
     * the caller may free it. False: the reactor is at one of them just now, and calls on_ended
     * when it is done with it. Thread-safe.
     */
    bool end(Owner *owner);
    /** Whether the caller is the reactor's thread. */
    bool is_own_thread() const;
    /** See NUVNetioRuntime_flush. */
    bool flush(const NUVNtpTime &timeout);

private:
    class WakeUp final : public Pollable {
    public:
        bool on_readable(const ReactorContext &context) override;
        bool open();
        /** False when the thread could not be woken; then errno tells why. */
        bool signal();
        int descriptor() const {
            return descriptor_.get();
        }

    private:
        Descriptor descriptor_;
        std::atomic<bool> signalled_{false}; // so that one wake-up costs one system call
    };

    /** What was handed over up to one moment. */
    struct HandedOver {
        Owner *first;
        NUV_UINT64 ticket;
        bool stopping;
    };

    void run();
    void poll_once(const ReactorContext &context);
    void read_one(NUV_UINT64 tag, const ReactorContext &context);
    void note_poll_failure(int error);
    Pollable *begin_reading(NUV_UINT64 tag);
    void end_reading(Pollable *pollable, bool went_well);
    bool add_to_epoll(const Pollable &pollable) const;
    void remove_from_epoll(const Pollable &pollable) const;
    static void pause(Pollable *pollable, NUV_INT64 now);
    void unpause(Pollable *pollable);
    void resume_paused();
    int milliseconds_until_resumption();
    HandedOver take_handed_over();
    static void end_all(Owner *first, REDAWorker *worker);
    void answer(NUV_UINT64 ticket);

    static constexpr std::size_t LARGEST_MESSAGE = 65536; // as large as a datagram can be

    NUVEventActiveDatabase &events_;
    Descriptor epoll_;
    WakeUp wake_up_;
    WorkerThread thread_{NUV_NETIO_REACTOR_THREAD_NAME};
    std::atomic<std::thread::id> own_thread_{};
    NUV_INT64 poll_pause_ = 0; // as that of a pollable, for the polling itself; the thread's own

    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    // An event names its pollable by this, never by its address: that may have gone meanwhile.
    REDAWeakReferenceManager *references_ = nullptr;
    const Pollable *reading_ = nullptr; // the one that the thread is at
    Pollable *first_paused_ = nullptr;
    Owner *first_ending_ = nullptr;
    Owner *last_ending_ = nullptr;
    NUV_UINT64 asked_ = 0;    // tickets of flush handed out
    NUV_UINT64 answered_ = 0; // the last ticket that has been dealt with
    bool stopping_ = false;

    std::array<NUV_UINT8, LARGEST_MESSAGE> buffer_;
};

} // namespace netio

#endif
