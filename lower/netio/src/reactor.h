// The reactor: the one thread that receives, closes and runs events for every participant.
#ifndef NETIO_REACTOR_H
#define NETIO_REACTOR_H

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <span>
#include <thread>

#include "descriptor.h"
#include "osapi/osapi_ntptime.h"
#include "osapi/osapi_thread.h"
#include "reda/reda_worker.h"

struct NUVEventActiveDatabase;

namespace netio {

/** What the reactor's thread carries with it. */
struct ReactorContext {
    REDAWorker *worker;
    std::span<NUV_UINT8> buffer; // for one message
};

/** Something whose descriptor the reactor polls. */
class Pollable {
public:
    virtual void on_readable(const ReactorContext &context) = 0;

protected:
    ~Pollable() = default;
};

/** Something that is given to the reactor to be closed. */
class Returned {
public:
    /** Called once, on the reactor's thread, when no event of it is under way. May free it. */
    virtual void close_returned(REDAWorker *worker) = 0;

protected:
    ~Returned() = default;

private:
    friend class Reactor;
    Returned *next_returned_ = nullptr;
};

class Reactor {
public:
    explicit Reactor(NUVEventActiveDatabase &events) : events_(events) {}
    Reactor(const Reactor &) = delete;
    Reactor &operator=(const Reactor &) = delete;

    /** Opens what the thread needs. On failure an error has been logged. */
    bool open();
    /** Starts the thread. On failure an error has been logged. */
    bool start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers);
    /** Deals with everything handed over so far and ends the thread, if it was started. */
    void stop();

    /** Polls a descriptor from now on. On failure errno tells why. Thread-safe. */
    bool poll(int descriptor, Pollable *pollable);
    /** Polls a descriptor no more. Only while no event of it can be under way. */
    void forget(int descriptor);
    /** Has something closed by the reactor's thread, in the order of the calls. Thread-safe. */
    void give_back(Returned *returned);
    /** Whether the caller is the reactor's thread. */
    bool is_own_thread() const;
    /** See NUVNetioRuntime_flush. */
    bool flush(const NUVNtpTime &timeout);

private:
    class WakeUp final : public Pollable {
    public:
        void on_readable(const ReactorContext &context) override;
        bool open();
        void signal();
        int descriptor() const {
            return descriptor_.get();
        }

    private:
        Descriptor descriptor_;
        std::atomic<bool> signalled_{false}; // so that one wake-up costs one system call
    };

    /** What was handed over up to one moment. */
    struct HandedOver {
        Returned *first;
        NUV_UINT64 ticket;
        bool stopping;
    };

    void run();
    void poll_once(const ReactorContext &context);
    HandedOver take_handed_over();
    static void close_all(Returned *first, REDAWorker *worker);
    void answer(NUV_UINT64 ticket);

    static constexpr std::size_t LARGEST_MESSAGE = 65536; // as large as a datagram can be

    NUVEventActiveDatabase &events_;
    Descriptor epoll_;
    WakeUp wake_up_;
    NUVOsapiThread *thread_ = nullptr;
    REDAWorkerFactory *workers_ = nullptr;
    REDAWorker *worker_ = nullptr;
    std::atomic<std::thread::id> own_thread_{};

    std::mutex mutex_; // guards what follows
    std::condition_variable answered_changed_;
    Returned *first_returned_ = nullptr;
    Returned *last_returned_ = nullptr;
    NUV_UINT64 asked_ = 0;    // tickets of flush handed out
    NUV_UINT64 answered_ = 0; // the last ticket that has been dealt with
    bool stopping_ = false;

    std::array<NUV_UINT8, LARGEST_MESSAGE> buffer_;
};

} // namespace netio

#endif
