// SPDX-License-Identifier: Apache-2.0
// The domains of a runtime, and what is asked of their participants.
#include <mutex>
#include <new>

#include "disc_log.h"
#include "participant.h"

using disc::Domain;
using disc::Known;
using disc::Lookup;

/** A domain is there as long as it has participants. */
struct DISCDiscovery {
public:
    explicit DISCDiscovery(NUVNetioRuntime *runtime)
        : runtime_(runtime), secret_(make_secret(runtime)), unasked_(secret_) {}
    DISCDiscovery(const DISCDiscovery &) = delete;
    DISCDiscovery &operator=(const DISCDiscovery &) = delete;

    /** One user more. Null when memory runs out. */
    Domain *acquire(NUV_INT32 id);
    void release(Domain *domain);
    /** Frees a search of a participant that is no more, and releases its domain: later if need be.
     */
    void release_with(Lookup *lookup, REDAWorker *worker);
    /** The same for those that were under way then. */
    void release_ended(REDAWorker *worker);
    /** Waits for those that still are. False when one does not end. */
    bool release_left_behind();

private:
    static NUV_UINT64 make_secret(NUVNetioRuntime *runtime);

    NUVNetioRuntime *const runtime_;
    const NUV_UINT64 secret_;
    disc::Unasked unasked_;
    void free(Lookup *lookup);
    Lookup *take_left_behind();

    std::mutex mutex_; // guards what follows, and how many users a domain has
    Domain *first_ = nullptr;
    Lookup *left_behind_ = nullptr;
};

namespace {

/** How often somebody who waits looks. */
constexpr NUV_INT64 LOOK_PERIOD = disc::MILLISECOND;

void free_domain(Domain *domain) {
    domain->~Domain();
    NUVOsapiHeap_freeStructure(domain);
}

void free_participant(DISCParticipant *participant) {
    participant->~DISCParticipant();
    NUVOsapiHeap_freeStructure(participant);
}

/** What the wall clock showed when the runtime's showed @p time. */
NUV_INT64 wall_time_of(const Domain &domain, NUV_INT64 time) {
    NUVClock *const clock = NUVClock_getRealtime();
    return clock->getNanoseconds(clock) - (domain.now() - time);
}

NUV_INT32 domain_of(PRESParticipant *participant, REDAWorker *worker) {
    PRESParticipantProperty property = PRES_PARTICIPANT_PROPERTY_DEFAULT;
    (void)PRESParticipant_getProperty(participant, &property, worker); // nothing is too long
    return property.parameter.domainId;
}

} // namespace

/** Of random bits and the moment, neither of which anybody is told. */
NUV_UINT64 DISCDiscovery::make_secret(NUVNetioRuntime *runtime) {
    NUVOsapiRtpsGuid unused;
    NUVOsapiRtpsGuid_generate(&unused);
    NUVClock *const clock = NUVNetioRuntime_getClock(runtime);
    return disc::Hash(static_cast<NUV_UINT64>(clock->getNanoseconds(clock)))
        .add(unused.prefix.hostId)
        .add(unused.prefix.appId)
        .add(unused.prefix.instanceId)
        .value();
}

Domain *DISCDiscovery::acquire(NUV_INT32 id) {
    const std::lock_guard lock(mutex_);
    Domain *domain = first_;
    while (domain != nullptr && domain->id != id) {
        domain = domain->next;
    }
    if (domain == nullptr) {
        NUVOsapiHeap_allocateStructure(&domain, class disc::Domain);
        if (domain == nullptr) {
            return nullptr;
        }
        new (domain) Domain(runtime_, id, unasked_, secret_);
        if (!domain->open()) {
            free_domain(domain);
            return nullptr;
        }
        domain->next = first_;
        first_ = domain;
    }
    ++domain->users;
    return domain;
}

void DISCDiscovery::release(Domain *domain) {
    constexpr const char *LOG_METHOD = "DISCParticipant_delete";
    {
        const std::lock_guard lock(mutex_);
        if (--domain->users != 0) {
            return;
        }
        Domain **place = &first_;
        while (*place != domain) {
            place = &(*place)->next;
        }
        *place = domain->next;
    }
    if (domain->close()) {
        free_domain(domain);
    } else {
        DISC_ERROR("the thread '%s' does not answer: what it knows of domain %d stays",
                   NUV_NETIO_REACTOR_THREAD_NAME, domain->id);
    }
}

void DISCDiscovery::free(Lookup *lookup) {
    Domain &domain = lookup->domain;
    lookup->~Lookup();
    NUVOsapiHeap_freeStructure(lookup);
    release(&domain);
}

Lookup *DISCDiscovery::take_left_behind() {
    const std::lock_guard lock(mutex_);
    return std::exchange(left_behind_, nullptr);
}

void DISCDiscovery::release_with(Lookup *lookup, REDAWorker *worker) {
    bool is_over = false;
    {
        const Domain::Visit visit(lookup->domain, worker);
        is_over = lookup->is_over();
    }
    if (is_over) {
        free(lookup);
        return;
    }
    const std::lock_guard lock(mutex_);
    lookup->next = left_behind_;
    left_behind_ = lookup;
}

void DISCDiscovery::release_ended(REDAWorker *worker) {
    for (Lookup *lookup = take_left_behind(); lookup != nullptr;) {
        release_with(std::exchange(lookup, lookup->next), worker);
    }
}

bool DISCDiscovery::release_left_behind() {
    Lookup *lookup = take_left_behind();
    while (lookup != nullptr && lookup->end()) {
        free(std::exchange(lookup, lookup->next));
    }
    const std::lock_guard lock(mutex_);
    left_behind_ = lookup;
    return lookup == nullptr;
}

DISCDiscovery *DISCDiscovery_new(NUVNetioRuntime *runtime, REDAWorker * /*worker*/) {
    DISCDiscovery *self = nullptr;
    NUVOsapiHeap_allocateStructure(&self, struct DISCDiscovery);
    if (self == nullptr) {
        DISC_ERROR("out of memory for discovery");
        return nullptr;
    }
    return new (self) DISCDiscovery(runtime);
}

void DISCDiscovery_delete(DISCDiscovery *self) {
    if (self == nullptr) {
        return;
    }
    if (!self->release_left_behind()) {
        DISC_ERROR("the thread '%s' is still at the addresses of peers of a participant that is no "
                   "more: what it uses stays",
                   NUV_NETIO_CALLBACK_THREAD_NAME);
        return;
    }
    self->~DISCDiscovery();
    NUVOsapiHeap_freeStructure(self);
}

DISCParticipant *DISCParticipant_new(DISCDiscovery *discovery, PRESParticipant *participant,
                                     const DISCParticipantProperty *property,
                                     const DISCParticipantListener *listener, REDAWorker *worker) {
    discovery->release_ended(worker);
    Domain *const domain = discovery->acquire(domain_of(participant, worker));
    DISCParticipant *self = nullptr;
    if (domain != nullptr) {
        NUVOsapiHeap_allocateStructure(&self, struct DISCParticipant);
    }
    if (self == nullptr) {
        DISC_ERROR("out of memory for the discovery of a participant");
        if (domain != nullptr) {
            discovery->release(domain);
        }
        return nullptr;
    }
    new (self) DISCParticipant(*discovery, *domain, participant);
    bool is_added = false;
    if (self->open(*property, listener)) {
        const Domain::Visit visit(*domain, worker);
        is_added = domain->add(self);
    }
    if (!is_added) {
        DISC_ERROR("out of memory for the discovery of a participant");
        free_participant(self);
        discovery->release(domain);
        return nullptr;
    }
    if (!self->add_endpoints(worker)) {             // which has said why
        (void)DISCParticipant_delete(self, worker); // nothing is being received yet
        return nullptr;
    }
    return self;
}

int DISCParticipant_delete(DISCParticipant *self, REDAWorker *worker) {
    if (self == nullptr) {
        return 1;
    }
    Domain &domain = self->domain();
    DISCDiscovery &discovery = self->discovery();
    {
        const Domain::Visit visit(domain, worker);
        self->stop();
    }
    if (!self->remove_endpoints(worker)) {
        DISC_ERROR("the thread '%s' is still at what a participant has received or says",
                   NUV_NETIO_REACTOR_THREAD_NAME);
        return 0;
    }
    Lookup *lookup = nullptr;
    {
        const Domain::Visit visit(domain, worker);
        domain.remove(self);
        lookup = self->give_up_lookup();
    }
    free_participant(self);
    discovery.release_ended(worker);
    if (lookup != nullptr) {
        discovery.release_with(lookup, worker);
    } else {
        discovery.release(&domain);
    }
    return 1;
}

int DISCParticipant_setPeers(DISCParticipant *self, const NUVNetioPeer *peers, NUV_UINT32 count,
                             REDAWorker *worker) {
    if (count > DISC_PEERS_MAX) {
        DISC_ERROR("%u peers: allowed are %d", count, DISC_PEERS_MAX);
        return 0;
    }
    const std::span given(peers, count);
    const bool has_names = std::any_of(given.begin(), given.end(), disc::has_name);
    if (has_names && NUVNetioRuntime_startCallbacks(self->domain().runtime()) == 0) {
        return 0; // which has said why
    }
    const Domain::Visit visit(self->domain(), worker);
    if (!self->set_peers(given)) {
        DISC_ERROR("out of memory for the peers of a participant");
        return 0;
    }
    return 1;
}

void DISCParticipant_setLease(DISCParticipant *self, const NUVNtpTime *leaseDuration,
                              const NUVNtpTime *announcementPeriod, REDAWorker *worker) {
    const Domain::Visit visit(self->domain(), worker);
    self->change_lease(*leaseDuration, *announcementPeriod);
}

void DISCParticipant_assertLiveliness(DISCParticipant *self, REDAWorker *worker) {
    const Domain::Visit visit(self->domain(), worker);
    self->announce_soon();
}

NUV_UINT32 DISCParticipant_listRemotes(DISCParticipant *self, NUVOsapiRtpsGuidPrefix *buffer,
                                       NUV_UINT32 maximum, REDAWorker *worker) {
    Domain &domain = self->domain();
    const Domain::Visit visit(domain, worker);
    NUV_UINT32 count = 0;
    for (std::size_t slot = 0; slot < domain.table.slots(); ++slot) {
        const Known *const known = domain.table.at(slot);
        if (known != nullptr && self->view_of(*known).has) {
            if (count < maximum) {
                buffer[count] = known->prefix;
            }
            ++count;
        }
    }
    return count;
}

const DISCRemote *DISCParticipant_findRemote(DISCParticipant *self,
                                             const NUVOsapiRtpsGuidPrefix *prefix,
                                             DISCRemoteStatus *status, REDAWorker *worker) {
    Domain &domain = self->domain();
    const Domain::Visit visit(domain, worker);
    const Known *const known = domain.table.find(*prefix);
    if (known == nullptr || !self->view_of(*known).has) {
        return nullptr;
    }
    if (status != nullptr) {
        *status = {wall_time_of(domain, known->first_heard),
                   wall_time_of(domain, known->last_heard), known->source.locator(),
                   known->local != nullptr ? 1 : 0, self->view_of(*known).has_addressed ? 1 : 0};
    }
    return DISCRemote_retain(known->record.get());
}

int DISCParticipant_ignore(DISCParticipant *self, const NUVOsapiRtpsGuidPrefix *prefix,
                           REDAWorker *worker) {
    const Domain::Visit visit(self->domain(), worker);
    if (!self->ignore(*prefix)) {
        return 0;
    }
    self->domain().ignore(*self, *prefix);
    return 1;
}

int DISCParticipant_waitForRemotes(DISCParticipant *self, NUV_UINT32 count,
                                   const NUVNtpTime *timeout, REDAWorker *worker) {
    NUVClock *const clock = NUVClock_getMonotonic();
    const NUV_INT64 end =
        disc::later(clock->getNanoseconds(clock), NUVNtpTime_toNanoseconds(timeout));
    for (;;) {
        {
            const Domain::Visit visit(self->domain(), worker);
            if (self->known_count() >= count) {
                return 1;
            }
        }
        const NUV_INT64 now = clock->getNanoseconds(clock);
        if (now >= end) {
            return 0;
        }
        clock->sleepUntil(clock, std::min(end, now + LOOK_PERIOD));
    }
}

int DISCParticipant_takeNews(DISCParticipant *self, DISCChange *changeOut,
                             const DISCRemote **remoteOut, REDAWorker *worker) {
    const Domain::Visit visit(self->domain(), worker);
    return static_cast<int>(self->news.take(changeOut, remoteOut));
}

void DISCParticipant_getStatistics(DISCParticipant *self, DISCStatistics *out, REDAWorker *worker) {
    const Domain::Visit visit(self->domain(), worker);
    *out = self->statistics;
    out->known = self->known_count();
}
