// SPDX-License-Identifier: Apache-2.0
// The receive ports of a facade, and who has reserved them.
#include "entryportTable.h"

#include <cerrno>
#include <new>

#include "commend_log.h"
#include "osapi/osapi_assert.h"
#include "osapi/osapi_heap.h"
#include "reda/reda_exclusiveArea.h"

namespace commend {

namespace {

/** How long the end of a facade waits for a message that is being handed on. */
constexpr NUVNtpTime LONGEST_CLOSE = {1, 0};

/**
 * What tells receive resources apart: a port is received at on all of the host's addresses, but
 * only from one multicast group.
 */
bool has_same_resource(const NUVNetioLocator &left, const NUVNetioLocator &right) {
    const bool left_is_group = NUVNetioLocator_isMulticast(&left) != 0;
    const bool right_is_group = NUVNetioLocator_isMulticast(&right) != 0;
    if (left_is_group || right_is_group) {
        return NUVNetioLocator_isSame(&left, &right) != 0;
    }
    return left.transport == right.transport && left.port == right.port;
}

} // namespace

EntryportTable::~EntryportTable() {
    NUVOsapiHeap_freeStructure(spare_);
    REDAWeakReferenceManager_delete(references_);
    REDAExclusiveArea_delete(area_);
}

bool EntryportTable::open() {
    constexpr const char *LOG_METHOD = "COMMENDFacade_new";
    area_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_FACADE, "facade");
    references_ = REDAWeakReferenceManager_new();
    if (area_ == nullptr || references_ == nullptr) {
        COMMEND_ERROR("out of memory for the table of receive ports");
        return false;
    }
    return true;
}

bool EntryportTable::close(REDAWorker *worker) {
    if (area_ == nullptr) {
        return true;
    }
    {
        const reda::ExclusiveAreaGuard guard(area_, worker);
        is_closed_ = true;
        for (Entryport *entryport = first_; entryport != nullptr;) {
            Entryport *const next = entryport->next;
            if (entryport->reservations != 0) {
                release(entryport, worker);
            }
            entryport = next;
        }
    }
    return flush(LONGEST_CLOSE, worker);
}

bool EntryportTable::reserve(const NUVNetioLocator &locator, REDAWeakReference *out,
                             REDAWorker *worker) {
    const reda::ExclusiveAreaGuard guard(area_, worker);
    Entryport *const shared = find_shared(locator);
    if (shared == nullptr) {
        return reserve_new(locator, out, worker);
    }
    if (REDAWeakReferenceManager_createReference(references_, shared, out) == 0) {
        note_no_memory(locator);
        return false;
    }
    if (NUVNetioReceiveResource_cover(shared->resource, &locator, worker) == 0) {
        REDAWeakReferenceManager_invalidate(references_, out);
        *out = REDA_WEAK_REFERENCE_INVALID;
        return false;
    }
    ++shared->reservations;
    return true;
}

/** One whose last reservation is gone is not shared any more: it is closed. */
Entryport *EntryportTable::find_shared(const NUVNetioLocator &locator) {
    Entryport *entryport = first_;
    while (entryport != nullptr &&
           (entryport->reservations == 0 || !has_same_resource(entryport->locator, locator))) {
        entryport = entryport->next;
    }
    return entryport;
}

/** The port is opened last: when memory runs out nobody else finds it taken for nothing. */
bool EntryportTable::reserve_new(const NUVNetioLocator &locator, REDAWeakReference *out,
                                 REDAWorker *worker) {
    Entryport *const entryport = make_entryport(locator);
    if (entryport == nullptr ||
        REDAWeakReferenceManager_createReference(references_, entryport, out) == 0) {
        note_no_memory(locator);
        spare_ = entryport;
        return false;
    }
    if (!open_resource(entryport, worker)) {
        REDAWeakReferenceManager_invalidate(references_, out);
        *out = REDA_WEAK_REFERENCE_INVALID;
        spare_ = entryport;
        return false;
    }
    entryport->reservations = 1;
    entryport->next = first_;
    first_ = entryport;
    return true;
}

/** As the layer below says it, which says it once of all the ports of an attempt. */
void EntryportTable::note_no_memory(const NUVNetioLocator &locator) {
    const NUVNetioFailure failure{locator, nullptr, ENOMEM};
    NUVNetioConfigurator_noteFailure(configurator_, &failure);
}

Entryport *EntryportTable::make_entryport(const NUVNetioLocator &locator) {
    Entryport *entryport = spare_;
    spare_ = nullptr;
    if (entryport == nullptr) {
        NUVOsapiHeap_allocateStructure(&entryport, struct Entryport);
    }
    if (entryport == nullptr) {
        return nullptr;
    }
    new (entryport) Entryport{this, nullptr, locator, receiver_.tracks(locator.port), 0, nullptr};
    entryport->locator.hostname = nullptr; // it belongs to the caller and is not needed
    return entryport;
}

bool EntryportTable::open_resource(Entryport *entryport, REDAWorker *worker) {
    const NUVNetioReceiveListener listener{on_message, on_closed, entryport};
    entryport->resource = NUVNetioConfigurator_openReceiveResource(
        configurator_, &entryport->locator, &listener, worker);
    return entryport->resource != nullptr;
}

bool EntryportTable::give_back(const REDAWeakReference &reservation, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard guard(area_, worker);
    if (is_closed_) { // has given back every reservation
        return false;
    }
    auto *entryport =
        static_cast<Entryport *>(REDAWeakReferenceManager_getReferent(references_, &reservation));
    if (entryport == nullptr) {
        return false;
    }
    NUV_ASSERT(entryport->reservations > 0 && entryport->resource != nullptr);
    REDAWeakReferenceManager_invalidate(references_, &reservation);
    if (entryport->reservations > 1) {
        --entryport->reservations;
    } else {
        release(entryport, worker);
    }
    return true;
}

/** Its port is free; what the reactor is just at stays in the table until that is done. */
void EntryportTable::release(Entryport *entryport, REDAWorker *worker) {
    NUVNetioReceiveResource *const resource = entryport->resource;
    entryport->reservations = 0;
    entryport->resource = nullptr;
    if (NUVNetioReceiveResource_release(resource, worker) != 0) {
        forget(entryport);
        NUVOsapiHeap_freeStructure(entryport);
    }
}

bool EntryportTable::has_reserved(const NUVNetioLocator &locator, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard guard(area_, worker);
    return find_shared(locator) != nullptr;
}

/** Within the area: so nobody closes the port meanwhile. To send never waits. */
std::optional<NUV_INT32> EntryportTable::send_from(KOLS_Transport_Port_t port,
                                                   const NUVNetioLocator &destination,
                                                   std::span<const NUV_UINT8> message,
                                                   REDAWorker *worker) {
    NUVNetioLocator from = NUV_NETIO_LOCATOR_INVALID; // its address does not matter
    from.transport = destination.transport;
    from.port = port;
    const reda::ExclusiveAreaGuard guard(area_, worker);
    const Entryport *const entryport = find_shared(from);
    if (entryport == nullptr) {
        return std::nullopt;
    }
    return NUVNetioReceiveResource_send(entryport->resource, &destination, message.data(),
                                        static_cast<NUV_UINT32>(message.size()), worker);
}

bool EntryportTable::has_open(KOLS_Transport_ClassId_t transport, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard guard(area_, worker);
    const Entryport *entryport = first_;
    while (entryport != nullptr && transport != KOLS_TRANSPORT_CLASSID_INVALID &&
           entryport->locator.transport != transport) {
        entryport = entryport->next;
    }
    return entryport != nullptr;
}

bool EntryportTable::flush(const NUVNtpTime &timeout, REDAWorker *worker) {
    bool closing = false;
    {
        const reda::ExclusiveAreaGuard guard(area_, worker);
        for (const Entryport *entryport = first_; entryport != nullptr;
             entryport = entryport->next) {
            closing = closing || entryport->reservations == 0;
        }
    }
    return !closing ||
           NUVNetioRuntime_flush(NUVNetioConfigurator_getRuntime(configurator_), &timeout) != 0;
}

void EntryportTable::add_statistics(COMMENDFacadeStatistics *out, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard guard(area_, worker);
    out->entryports = 0;
    out->receiveResources = 0;
    for (const Entryport *entryport = first_; entryport != nullptr; entryport = entryport->next) {
        out->entryports += entryport->reservations;
        ++out->receiveResources;
    }
}

void EntryportTable::on_message(void *param, const NUVNetioMessage *message, REDAWorker *worker) {
    // Without the area: what the listener does may take long. The entryport stays until on_closed.
    const auto *entryport = static_cast<const Entryport *>(param);
    entryport->table->receiver_.receive(*message, entryport->tracked, worker);
}

void EntryportTable::on_closed(void *param, REDAWorker *worker) {
    auto *entryport = static_cast<Entryport *>(param);
    {
        // Once the area is left the table may be gone: its owner waits only for the entryports.
        const reda::ExclusiveAreaGuard guard(entryport->table->area_, worker);
        entryport->table->forget(entryport);
    }
    NUVOsapiHeap_freeStructure(entryport);
}

void EntryportTable::forget(Entryport *entryport) {
    Entryport **place = &first_;
    while (*place != entryport) {
        place = &(*place)->next;
    }
    *place = entryport->next;
}

} // namespace commend
