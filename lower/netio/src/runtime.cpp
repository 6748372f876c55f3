// SPDX-License-Identifier: Apache-2.0
// The runtime: what all participants of a process share.
#include "runtime.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "configurator/attempt.h"
#include "netio_log.h"
#include "osapi/osapi_heap.h"

using netio::HeldSnapshot;
using netio::Listing;

namespace {

/** The longest pause between two tries to join groups, in seconds. */
constexpr NUV_INT32 LONGEST_JOIN_PAUSE = 30;

/** When the interfaces could not be listed or watched: until the next try. */
constexpr NUVNtpTime RETRY_DELAY = {1, 0};

} // namespace

const NUVNetioRuntimeProperty NUV_NETIO_RUNTIME_PROPERTY_DEFAULT = {
    NUV_NETIO_INTERFACE_SOURCE_KERNEL,
    1,
    {0, 0x051EB852u}, // 20 ms
    {&NUV_NETIO_TRANSPORT_UDPv4, &NUV_NETIO_TRANSPORT_UDPv6},
    &NUV_NETIO_LOOP_KERNEL,
    nullptr,
};

namespace {

NUVNetioRuntimeProperty with_clock(NUVNetioRuntimeProperty property) {
    if (property.clock == nullptr) {
        property.clock = NUVClock_getMonotonic();
    }
    return property;
}

} // namespace

NUVNetioRuntime::NUVNetioRuntime(const NUVNetioRuntimeProperty &property,
                                 NUVOsapiThreadFactory *threads, REDAWorkerFactory *workers)
    : events(reactor), groups(*this), callbacks(events), property_(with_clock(property)),
      threads_(threads), workers_(workers), settled_{settle, this, 0, nullptr, 0},
      rewatch_{watch_again, this, 0, nullptr, 0}, rejoin_{join_again, this, 0, nullptr, 0} {
    repetitions._clock = property_.clock;
}

bool NUVNetioRuntime::open() {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_new";
    if (watches_kernel() && property_.loop != &NUV_NETIO_LOOP_KERNEL) {
        NETIO_ERROR("watchInterfaces is %d: with another loop than the kernel's allowed is 0, "
                    "unless the source of the interfaces tells of changes",
                    property_.watchInterfaces);
        return false;
    }
    if (!reactor.open(events, *property_.loop, *property_.clock)) {
        return false;
    }
    if (!reactor.has_thread()) {
        callbacks.start_without_thread();
    }
    return start_interfaces() && reactor.start(threads_, workers_);
}

bool NUVNetioRuntime::stop() {
    follow_source(nullptr);
    return callbacks.stop() && reactor.stop();
}

bool NUVNetioRuntime::watches_kernel() const {
    return property_.watchInterfaces != 0 && property_.interfaceSource.follow == nullptr;
}

/** Null: it tells nobody any more. */
void NUVNetioRuntime::follow_source(NUVNetioRuntime *runtime) const {
    const NUVNetioInterfaceSource &source = property_.interfaceSource;
    if (property_.watchInterfaces != 0 && source.follow != nullptr) {
        source.follow(source.param, runtime);
    }
}

/** A failure that lasts is said once. */
void NUVNetioRuntime::warn_of_failed_listing(Listing listing) {
    const int error = errno;
    if (listing_fails_.exchange(listing != Listing::DONE)) {
        return;
    }
    if (listing == Listing::OUT_OF_MEMORY) {
        NETIO_WARNING_LIMITED(&repetitions,
                              "cannot list the network interfaces, going on with those known: "
                              "out of memory");
    } else if (listing == Listing::FAILED) {
        NETIO_WARNING_LIMITED(&repetitions,
                              "cannot list the network interfaces, going on with those known: "
                              "%s (%s)",
                              netio::error_description(error), netio::error_name(error));
    }
}

bool NUVNetioRuntime::start_interfaces() {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_new";
    // Before the listing, so that no change is missed in between.
    if (watches_kernel()) {
        watch_links();
    } else {
        follow_source(this);
    }
    const Listing listing = interfaces.start(property_.interfaceSource);
    if (listing == Listing::OUT_OF_MEMORY) {
        NETIO_ERROR("out of memory for the list of network interfaces");
        return false;
    }
    if (listing == Listing::FAILED) {
        warn_of_failed_listing(listing);
        if (property_.watchInterfaces != 0) {
            events.post(&settled_, RETRY_DELAY);
        }
    }
    return true;
}

/** Without it, as in some sandboxes, everything works but following the network by itself. */
void NUVNetioRuntime::watch_links() {
    constexpr const char *LOG_METHOD = "NUVNetioRuntime_new";
    if (!open_watch()) {
        const int error = errno;
        NETIO_WARNING("cannot watch the network interfaces, their changes go unnoticed: %s (%s)",
                      netio::error_description(error), netio::error_name(error));
        if (netio::is_shortage(error)) {
            events.post(&rewatch_, RETRY_DELAY);
        }
    }
}

/** On failure errno tells why. */
bool NUVNetioRuntime::open_watch() {
    const std::lock_guard lock(watch_mutex_);
    if (watch_.open() && reactor.poll(watch_.descriptor(), this)) {
        return true;
    }
    const int error = errno;
    watch_.close();
    errno = error;
    return false;
}

/** What was missing then may be there now. What happened meanwhile is looked up. */
void NUVNetioRuntime::watch_again(void *param, REDAWorker * /*worker*/) {
    auto *runtime = static_cast<NUVNetioRuntime *>(param);
    if (runtime->open_watch()) {
        runtime->note_interface_event();
    } else {
        runtime->events.post(&runtime->rewatch_, RETRY_DELAY);
    }
}

bool NUVNetioRuntime::on_readable(const netio::ReactorContext & /*context*/) {
    if (take_link_events()) {
        return true;
    }
    const int error = errno;
    if (!is_failing()) {
        NETIO_WARNING("cannot read the kernel's events of the network interfaces, trying again: "
                      "%s (%s)",
                      netio::error_description(error), netio::error_name(error));
    }
    return false;
}

/** False when the events cannot be read; then errno tells why, and there may have been any. */
bool NUVNetioRuntime::take_link_events() {
    const std::lock_guard lock(watch_mutex_);
    if (!watch_.is_open()) {
        // Where the kernel's events could not be had, whoever asks has the interfaces listed anew.
        if (watches_kernel()) {
            interfaces.note_news();
        }
        return true;
    }
    const netio::LinkEvents taken = watch_.take_events();
    const int error = errno;
    if (taken != netio::LinkEvents::NONE) {
        note_interface_event();
    }
    errno = error;
    return taken != netio::LinkEvents::UNREADABLE;
}

const NUVNetioTransport *
NUVNetioRuntime::find_network(const NUVNetioTransportClass &its_class) const {
    for (const NUVNetioTransport *network : property_.transports) {
        if (network != nullptr && network->transportClass->classid == its_class.classid) {
            return network;
        }
    }
    return nullptr;
}

void NUVNetioRuntime::note_interface_event() {
    interfaces.note_news();
    events.post(&settled_, property_.interfaceSettleTime);
}

void NUVNetioRuntime::settle(void *param, REDAWorker *worker) {
    auto *runtime = static_cast<NUVNetioRuntime *>(param);
    if (!runtime->renew_interfaces(worker)) {
        runtime->events.post(&runtime->settled_, RETRY_DELAY);
    }
}

NUVNetioReceiveResource *NUVNetioRuntime::join_group(NUVNetioConfigurator &configurator,
                                                     const NUVNetioLocator &locator,
                                                     const NUVNetioReceiveListener &listener) {
    NUVNetioReceiveResource *const resource = groups.join(configurator, locator, listener);
    join_later_if_short();
    return resource;
}

/** After a pause that is twice as long each time. */
void NUVNetioRuntime::join_later_if_short() {
    if (!groups.is_short()) {
        rejoin_pause_.store(0);
        return;
    }
    const NUV_INT32 pause = std::clamp(2 * rejoin_pause_.load(), NUV_INT32{1}, LONGEST_JOIN_PAUSE);
    rejoin_pause_.store(pause);
    events.post(&rejoin_, {pause, 0});
}

void NUVNetioRuntime::join_again(void *param, REDAWorker * /*worker*/) {
    auto *runtime = static_cast<NUVNetioRuntime *>(param);
    runtime->groups.follow_again();
    runtime->join_later_if_short();
}

bool NUVNetioRuntime::renew_interfaces(REDAWorker *worker) {
    const Listing listing = interfaces.renew();
    warn_of_failed_listing(listing);
    if (listing != Listing::DONE) {
        return false;
    }
    groups.follow();
    join_later_if_short();
    // Not only when this listing brought the change: acquire_interfaces tells nobody of its own.
    listeners.tell(interfaces, worker);
    return true;
}

HeldSnapshot NUVNetioRuntime::acquire_interfaces() {
    (void)take_link_events(); // the reactor says what is wrong with them
    // The listeners are told when the burst has settled: they are not to be called from here, where
    // the caller may hold its locks.
    if (interfaces.has_news()) {
        const Listing listing = interfaces.renew_for_news();
        warn_of_failed_listing(listing);
        if (listing == Listing::OUT_OF_MEMORY) {
            return {};
        }
        groups.follow();
        join_later_if_short();
    }
    return interfaces.current();
}

NUVNetioRuntime *NUVNetioRuntime_new(const NUVNetioRuntimeProperty *property,
                                     NUVOsapiThreadFactory *threadFactory,
                                     REDAWorkerFactory *workerFactory) {
    NUVNetioRuntime *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct NUVNetioRuntime);
    if (self == nullptr) {
        NETIO_ERROR("out of memory for the network runtime");
        return nullptr;
    }
    new (self) NUVNetioRuntime(property != nullptr ? *property : NUV_NETIO_RUNTIME_PROPERTY_DEFAULT,
                               threadFactory, workerFactory);
    if (!self->open()) {
        (void)NUVNetioRuntime_delete(self); // it has no thread yet
        return nullptr;
    }
    return self;
}

int NUVNetioRuntime_delete(NUVNetioRuntime *self) {
    if (self == nullptr) {
        return 1;
    }
    if (!self->stop()) {
        return 0;
    }
    self->~NUVNetioRuntime();
    NUVOsapiHeap_freeStructure(self);
    return 1;
}

int NUVNetioRuntime_isReactorThread(const NUVNetioRuntime *self) {
    return static_cast<int>(self->reactor.is_within_turn());
}

int NUVNetioRuntime_flush(NUVNetioRuntime *self, const NUVNtpTime *timeout) {
    return static_cast<int>(self->reactor.flush(*timeout));
}

const NUVNetioInterfaceSnapshot *NUVNetioRuntime_acquireInterfaces(NUVNetioRuntime *self) {
    return self->acquire_interfaces().take();
}

int NUVNetioRuntime_renewInterfaces(NUVNetioRuntime *self, REDAWorker *worker) {
    return static_cast<int>(self->renew_interfaces(worker));
}

void NUVNetioRuntime_addInterfaceListener(NUVNetioRuntime *self,
                                          NUVNetioInterfaceListener *listener) {
    self->listeners.add(listener);
}

int NUVNetioRuntime_removeInterfaceListener(NUVNetioRuntime *self,
                                            NUVNetioInterfaceListener *listener) {
    return static_cast<int>(self->listeners.remove(listener));
}

int NUVNetioRuntime_startCallbacks(NUVNetioRuntime *self) {
    return static_cast<int>(self->start_callbacks());
}

void NUVNetioRuntime_postCallback(NUVNetioRuntime *self, NUVNetioCallback *callback) {
    self->callbacks.post(callback);
}

int NUVNetioRuntime_cancelCallback(NUVNetioRuntime *self, NUVNetioCallback *callback) {
    return static_cast<int>(self->callbacks.cancel(callback));
}

void NUVNetioRuntime_noteInterfaceEvent(NUVNetioRuntime *self) {
    self->note_interface_event();
}

NUVClock *NUVNetioRuntime_getClock(NUVNetioRuntime *self) {
    return self->clock();
}

REDARepetitions *NUVNetioRuntime_getRepetitions(NUVNetioRuntime *self) {
    return &self->repetitions;
}

NUVEventActiveDatabase *NUVNetioRuntime_getEventDatabase(NUVNetioRuntime *self) {
    return &self->events;
}

NUV_UINT64 NUVNetioRuntime_getLostDatagrams(const NUVNetioRuntime *self) {
    return self->lost_datagrams.load(std::memory_order_relaxed);
}
