// The posted events and the timer that wakes the reactor for them.
#ifndef NETIO_EVENT_DATABASE_H
#define NETIO_EVENT_DATABASE_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "netio/event_activeDatabase.h"
#include "reactor/descriptor.h"
#include "reactor/reactor.h"

struct NUVEventActiveDatabase final : public netio::Pollable {
public:
    NUVEventActiveDatabase() = default;
    NUVEventActiveDatabase(const NUVEventActiveDatabase &) = delete;
    NUVEventActiveDatabase &operator=(const NUVEventActiveDatabase &) = delete;

    /** Opens the timer and has it polled. On failure an error has been logged. */
    bool open(netio::Reactor &reactor);

    void post(NUVEvent *event, const NUVNtpTime &delay);
    bool cancel(NUVEvent *event);

    /** Runs the events that are due now. On the reactor's thread only. */
    void run_due(REDAWorker *worker);
    bool on_readable(const netio::ReactorContext &context) override;

private:
    void insert(NUVEvent *event);
    void remove(NUVEvent *event);
    NUVEvent *take_first_until(NUV_INT64 time);
    void arm();

    std::mutex mutex_; // guards what follows
    std::condition_variable ended_;
    netio::Descriptor timer_;
    NUV_INT64 armed_for_ = 0;   // the deadline that the timer is set to; 0 for none
    NUVEvent *first_ = nullptr; // in the order of their deadlines
    NUVEvent *running_ = nullptr;
    std::thread::id runner_;
};

#endif
