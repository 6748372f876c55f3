// SPDX-License-Identifier: Apache-2.0
// The runtime's parts.
#ifndef NETIO_RUNTIME_INTERNAL_H
#define NETIO_RUNTIME_INTERNAL_H

#include <atomic>
#include <mutex>

#include "interface/interfaceListeners.h"
#include "interface/interfaceTable.h"
#include "interface/linkWatch.h"
#include "netio/netio_runtime.h"
#include "reactor/callbacks.h"
#include "reactor/eventDatabase.h"
#include "reactor/reactor.h"
#include "socket/groupTable.h"

struct NUVNetioRuntime final : public netio::Pollable {
public:
    NUVNetioRuntime(const NUVNetioRuntimeProperty &property, NUVOsapiThreadFactory *threads,
                    REDAWorkerFactory *workers);
    NUVNetioRuntime(const NUVNetioRuntime &) = delete;
    NUVNetioRuntime &operator=(const NUVNetioRuntime &) = delete;

    /** Opens and starts everything. On failure an error has been logged. */
    bool open();
    /** Ends the threads. False after an error when one of them does not end in time. */
    bool stop();
    /** Starts the thread of callbacks, unless it runs. On failure an error has been logged. */
    bool start_callbacks() {
        return callbacks.start(threads_, workers_);
    }

    /** Lists the interfaces again and tells the listeners. */
    bool renew_interfaces(REDAWorker *worker);
    /** A share in a group, which follows the interfaces. Null after a failure was noted. */
    NUVNetioReceiveResource *join_group(NUVNetioConfigurator &configurator,
                                        const NUVNetioLocator &locator,
                                        const NUVNetioReceiveListener &listener);
    /** See NUVNetioRuntime_noteInterfaceEvent. */
    void note_interface_event();
    /** The network of a class; null where there is none. */
    const NUVNetioTransport *find_network(const NUVNetioTransportClass &its_class) const;
    NUVClock *clock() const {
        return property_.clock;
    }
    /** The newest snapshot, after the kernel's events so far; none when memory runs out. */
    netio::HeldSnapshot acquire_interfaces();

    /** The kernel's link and address events. */
    bool on_readable(const netio::ReactorContext &context) override;

    netio::Reactor reactor;
    NUVEventActiveDatabase events;
    netio::InterfaceTable interfaces;
    netio::InterfaceListeners listeners;
    netio::GroupTable groups;
    netio::Callbacks callbacks;
    REDARepetitions repetitions{};
    NUV_UINT64 arrivals = 0; // datagrams that have been received; the reactor's
    std::atomic<NUV_UINT64> lost_datagrams{0};

private:
    bool start_interfaces();
    void warn_of_failed_listing(netio::Listing listing);
    bool watches_kernel() const;
    void follow_source(NUVNetioRuntime *runtime) const;
    void watch_links();
    bool open_watch();
    static void watch_again(void *param, REDAWorker *worker);
    bool take_link_events();
    static void settle(void *param, REDAWorker *worker);
    void join_later_if_short();
    static void join_again(void *param, REDAWorker *worker);

    const NUVNetioRuntimeProperty property_;
    NUVOsapiThreadFactory *const threads_;
    REDAWorkerFactory *const workers_;
    std::mutex watch_mutex_; // so that no thread finds the events gone and not yet noted; guards
    netio::LinkWatch watch_;
    std::atomic<bool> listing_fails_{false};
    NUVEvent settled_;                       // the end of a burst of events
    NUVEvent rewatch_;                       // the next try to open the watch
    NUVEvent rejoin_;                        // the next try of groups that have met a shortage
    std::atomic<NUV_INT32> rejoin_pause_{0}; // before that, in seconds; 0 when there is none
};

#endif
