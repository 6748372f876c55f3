// SPDX-License-Identifier: Apache-2.0
// The reactor: reads whatever has something to be read, for every participant, as its loop has it.
#ifndef NETIO_REACTOR_H
#define NETIO_REACTOR_H

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <span>

#include "netio/event_activeDatabase.h"
#include "netio/netio_loop.h"
#include "osapi/osapi_ntptime.h"
#include "reactor/linkedList.h"
#include "reactor/watchTable.h"

namespace netio {

/** What is at hand within a turn of the loop. */
struct ReactorContext {
    REDAWorker *worker;
    std::span<NUV_UINT8> buffer; // for one message
};

/** Something that goes when the last call for it, or for what it owns, has ended. */
class Owner {
public:
    /** Called once, within a turn, when no call for it is under way. May free it. */
    virtual void on_ended(REDAWorker *worker) = 0;

protected:
    ~Owner() = default;

private:
    friend class Reactor;
    Owner *next_ending_ = nullptr;
};

/** Something whose socket the loop watches. */
class Pollable {
public:
    /**
     * Reads what there is, within a turn. False when it could not: the reactor then backs off from
     * the socket for a while, longer each time until it succeeds.
     */
    virtual bool on_readable(const ReactorContext &context) = 0;

    Pollable(const Pollable &) = delete;
    Pollable &operator=(const Pollable &) = delete;

protected:
    /** An owner lives as long as calls for what it owns are under way; see Reactor::end. */
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
    NUVNetioSocket_t socket_ = NUV_NETIO_SOCKET_NONE;
    WatchTable::Place *place_ = nullptr; // null while it is not watched
    std::atomic<NUV_INT64> pause_{0}; // nanoseconds it is left alone after its last failure, or 0
    NUV_INT64 paused_until_ = 0;
    Pollable *next_paused_ = nullptr;
};

/**
 * What is read is found, and what it is handed on to is called, without a lock: the reactor says
 * what it is at by pointers that others only compare, and looks again whether that has not been
 * forgotten meanwhile. Either it sees that, or who forgets it sees that the reactor is at it.
 */
class Reactor {
public:
    Reactor() : resume_{resume, this, 0, nullptr, 0} {}
    Reactor(const Reactor &) = delete;
    Reactor &operator=(const Reactor &) = delete;

    ~Reactor();

    /** Opens the loop, whose turns run the events. On failure an error has been logged. */
    bool open(NUVEventActiveDatabase &events, const NUVNetioLoop &loop, NUVClock &clock);
    /** Starts the loop. On failure an error has been logged. */
    bool start(NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers);
    /**
     * Ends the loop, if it was started, after what it is at. False after an error when it does not
     * answer in time: it may still use everything that it was given.
     */
    bool stop();

    /** Watches a socket from now on. On failure errno tells why. Thread-safe, as what follows. */
    bool poll(NUVNetioSocket_t socket, Pollable *pollable);
    /** Begins no call for it any more; one may be under way. Before the socket is closed. */
    void forget(Pollable *pollable);
    /**
     * Ends an owner, whose pollables have all been forgotten, and which nobody finds to call any
     * more. True: no call is under way, and the caller may free it. False: the reactor is at it
     * just now, and calls on_ended when that is done.
     */
    bool end(Owner *owner);

    /** While there is one, the owner that is called for is kept as one that is read for is. */
    class Call;

    /** Whether the caller is within a turn. */
    bool is_within_turn() const {
        return loop_ != nullptr && loop_slots_->isWithin(loop_) != 0;
    }
    /** Whether the loop has a thread of its own; else whoever waits lets it run. */
    bool has_thread() const {
        return loop_slots_->run == nullptr;
    }
    /** See NUVNetioRuntime_flush. */
    bool flush(const NUVNtpTime &timeout);

    NUV_INT64 now() const {
        return clock_->getNanoseconds(clock_);
    }
    /** The time of the timer, at which there is to be a turn. */
    void set_timer(NUV_INT64 nanoseconds) {
        loop_slots_->setTimer(loop_, nanoseconds);
    }

private:
    /** What was handed over up to one moment. */
    struct HandedOver {
        Owner *first;
        NUV_UINT64 ticket;
        bool stopping;
    };

    static void on_readable(void *param, NUV_UINT64 tag, REDAWorker *worker);
    static int on_turn(void *param, REDAWorker *worker);
    Pollable *begin_reading(NUV_UINT64 tag);
    void end_reading(Pollable *pollable, bool went_well);
    bool watch(const Pollable &pollable) const;
    static void pause(Pollable *pollable, NUV_INT64 now);
    static void resume(void *param, REDAWorker *worker);
    HandedOver take_handed_over();
    static void end_all(Owner *first, REDAWorker *worker);
    void answer(NUV_UINT64 ticket);

    static constexpr std::size_t LARGEST_MESSAGE = 65536; // as large as a datagram can be

    NUVEventActiveDatabase *events_ = nullptr; // run by each turn
    NUVEvent resume_;                          // the next try at what was left alone
    const NUVNetioLoop *loop_slots_ = nullptr;
    void *loop_ = nullptr;
    NUVClock *clock_ = nullptr;
    bool is_started_ = false;

    WatchTable places_;
    std::atomic<const Owner *> reading_{nullptr}; // whose pollable the loop is at
    std::atomic<const Owner *> calling_{nullptr}; // whom it is just calling, besides

    std::mutex mutex_; // guards what follows, and changes of the places
    std::condition_variable changed_;
    LinkedList<Pollable, &Pollable::next_paused_> paused_;
    LinkedList<Owner, &Owner::next_ending_> ending_;
    NUV_UINT64 asked_ = 0;    // tickets of flush handed out
    NUV_UINT64 answered_ = 0; // the last ticket that has been dealt with
    bool stopping_ = false;

    std::array<NUV_UINT8, LARGEST_MESSAGE> buffer_;
};

/** Within a turn, one at a time. */
class Reactor::Call {
public:
    /** Says whom it is about to call; whether that is still to be called is to be asked then. */
    Call(Reactor &reactor, const Owner *owner) : reactor_(reactor) {
        reactor_.calling_.store(owner);
    }
    ~Call() {
        reactor_.calling_.store(nullptr);
    }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

private:
    Reactor &reactor_;
};

} // namespace netio

#endif
