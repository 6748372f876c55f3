// SPDX-License-Identifier: Apache-2.0
// The posted events, which the turns of the reactor run.
#ifndef NETIO_EVENT_DATABASE_H
#define NETIO_EVENT_DATABASE_H

#include <condition_variable>
#include <mutex>
#include <thread>

#include "netio/event_activeDatabase.h"
#include "reactor/linkedList.h"
#include "reactor/reactor.h"

struct NUVEventActiveDatabase final {
public:
    explicit NUVEventActiveDatabase(netio::Reactor &reactor) : reactor_(reactor) {}
    NUVEventActiveDatabase(const NUVEventActiveDatabase &) = delete;
    NUVEventActiveDatabase &operator=(const NUVEventActiveDatabase &) = delete;

    void post(NUVEvent *event, const NUVNtpTime &delay);
    /** The same, for a time of the reactor's clock. */
    void post_at(NUVEvent *event, NUV_INT64 deadline);
    bool cancel(NUVEvent *event);

    /** Runs the events that are due now. Within a turn only. */
    void run_due(REDAWorker *worker);

private:
    void insert(NUVEvent *event);
    void remove(NUVEvent *event);
    NUVEvent *take_first_until(NUV_INT64 time);
    void arm();

    netio::Reactor &reactor_;

    std::mutex mutex_; // guards what follows
    std::condition_variable ended_;
    NUV_INT64 armed_for_ = 0; // the deadline that the timer is set to; 0 for none
    netio::LinkedList<NUVEvent, &NUVEvent::_next> posted_; // in the order of their deadlines
    NUVEvent *running_ = nullptr;
    std::thread::id runner_;
};

#endif
