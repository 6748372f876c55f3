// SPDX-License-Identifier: Apache-2.0
// The life of a presentation participant: made, enabled, shut down, deleted.
#include "participant_internal.h"

#include <cstring>
#include <new>

#include "osapi/osapi_assert.h"
#include "osapi/osapi_heap.h"
#include "pres_log.h"
#include "propertyRules.h"

using Phase = PRESParticipant::Phase;

namespace {

void free_participant(PRESParticipant *self) {
    NUV_ASSERT(self->topics == nullptr && self->phase != Phase::ENABLED);
    NUVOsapiHeap_freeArray(self->transportInfo);
    self->~PRESParticipant();
    NUVOsapiHeap_freeStructure(self);
}

/** Every message ends here until discovery reads what other participants announce. */
void take_message(void *param, const NUVNetioMessage * /*message*/, REDAWorker * /*worker*/) {
    static_cast<PRESParticipant *>(param)->messagesTaken.fetch_add(1, std::memory_order_relaxed);
}

void start_taking_messages(PRESParticipant *self, REDAWorker *worker) {
    const COMMENDMessageListener listener = {take_message, self};
    self->facade->setMessageListener(self->facade, &listener, worker);
}

void stop_taking_messages(PRESParticipant *self, REDAWorker *worker) {
    const COMMENDMessageListener nowhere = {nullptr, nullptr};
    self->facade->setMessageListener(self->facade, &nowhere, worker);
}

bool copy_transport_info(NUVNetioTransportInfo **to, const PRESSequenceTransportInfo *from) {
    if (from->_length == 0) {
        return true;
    }
    NUVOsapiHeap_allocateArray(to, from->_length, struct NUVNetioTransportInfo);
    if (*to == nullptr) {
        return false;
    }
    std::memcpy(*to, from->_buffer, from->_length * sizeof **to);
    return true;
}

/** The caller is in the participant's tableEa. */
void stop_announcing(PRESParticipant *self, REDAWorker *worker) {
    PRESParticipantDiscovery discovery{};
    {
        const reda::ExclusiveAreaGuard record(self->recordEa, worker);
        self->isAnnounced = false;
        discovery = self->discovery;
    }
    if (discovery.onShutdown != nullptr) {
        discovery.onShutdown(discovery.param, worker);
    }
}

/** What enabling hands over becomes the participant's; the array of transports as it is. */
void take_over(PRESParticipant *self, const PRESLocatorQosPolicy *default_unicast,
               const PRESLocatorQosPolicy *metatraffic_unicast,
               const PRESReducedLocatorQosPolicy *metatraffic_multicast,
               NUVNetioTransportInfo *transports, NUV_UINT32 transport_count) {
    self->property.setLocators(*default_unicast, *metatraffic_unicast, *metatraffic_multicast);
    self->transportInfo = transports;
    self->transportInfoLength = transport_count;
}

void start_announcing(PRESParticipant *self, REDAWorker *worker) {
    self->isAnnounced = true;
    if (self->discovery.onEnabled != nullptr) {
        self->discovery.onEnabled(self->discovery.param, &self->property.get(), worker);
    }
}

} // namespace

PRESParticipant *PRESParticipant_new(
    const NUVOsapiRtpsGuid *guid, NUVNetioConfigurator *configurator,
    REDAWorkerFactory * /*workerFactory*/, NUVEventActiveDatabase * /*activeDatabase*/,
    NUVClock * /*clock*/, NUVClock * /*timestampClock*/, REDAExclusiveArea *tableEa,
    REDAExclusiveArea *recordEa, REDAExclusiveArea * /*remoteObjectsEa*/,
    const COMMENDActiveFacadeThreadListener * /*threadListener*/,
    const PRESParticipantEntityFinalizeListener *finalizeListener,
    const PRESParticipantProperty *property, const PRESParticipantListener *listener,
    PRESStatusKindMask listenerMask, const PRESParticipantSecurity * /*security*/,
    NUVOsapiThreadFactory * /*recvThreadFactory*/, NUVOsapiThreadFactory * /*eventThreadFactory*/,
    NUVOsapiThreadFactory * /*asynchPubThreadFactory*/, REDAWorker *worker) {
    PRESParticipant *self = nullptr;

    if (PRESLog_isNull(worker, guid) || PRESLog_isNull(worker, tableEa) ||
        PRESLog_isNull(worker, recordEa) || PRESLog_isNull(worker, property)) {
        return nullptr;
    }
    const PRESPropertyExcess excess = PRESParticipantProperty_findExcessI(property);
    if (excess.setting != nullptr) {
        PRESLog_error(worker, "cannot create a participant: " PRES_PROPERTY_EXCESS_FORMAT,
                      PRES_PROPERTY_EXCESS_ARGUMENTS(excess));
        return nullptr;
    }
    NUVOsapiHeap_allocateStructure(&self, struct PRESParticipant);
    if (self == nullptr) {
        PRESLog_error(worker, "out of memory for a participant");
        return nullptr;
    }
    new (self) PRESParticipant();
    if (!self->property.copyFrom(*property)) {
        PRESLog_error(worker, "out of memory for a participant's property");
        free_participant(self);
        return nullptr;
    }
    self->guid = *guid;
    if (listener != nullptr) {
        self->listener = *listener;
        self->listenerMask = listenerMask;
    }
    if (finalizeListener != nullptr) {
        self->finalizeListener = *finalizeListener;
    }
    self->tableEa = tableEa;
    self->recordEa = recordEa;
    self->facade = COMMENDFacade_new(&property->facadeProperty, configurator, worker);
    if (self->facade == nullptr) { // which has said why
        free_participant(self);
        return nullptr;
    }
    return self;
}

void PRESParticipant_setDiscovery(PRESParticipant *self, const PRESParticipantDiscovery *discovery,
                                  REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    self->discovery = discovery != nullptr ? *discovery : PRESParticipantDiscovery{};
}

int PRESParticipant_enable(PRESParticipant *self, const int *enableAllEntities,
                           const PRESLocatorQosPolicy *defaultUnicastLocator,
                           const PRESLocatorQosPolicy *metatrafficUnicastLocator,
                           const PRESReducedLocatorQosPolicy *metatrafficMulticastLocator,
                           const PRESSequenceTransportInfo *transportInfo, REDAWorker *worker) {
    NUVNetioTransportInfo *transports = nullptr;
    Phase before = Phase::CREATED;

    if (!copy_transport_info(&transports, transportInfo)) {
        PRESLog_error(worker, "out of memory for the list of %u transports",
                      transportInfo->_length);
        return 0;
    }
    {
        const reda::ExclusiveAreaGuard table(self->tableEa, worker);
        before = self->phase;
        if (before == Phase::CREATED) {
            self->phase = Phase::ENABLED;
            if (enableAllEntities != nullptr && *enableAllEntities != 0) {
                PRESParticipant_enableTopicsI(self);
            }
            start_taking_messages(self, worker);
            const reda::ExclusiveAreaGuard record(self->recordEa, worker);
            take_over(self, defaultUnicastLocator, metatrafficUnicastLocator,
                      metatrafficMulticastLocator, transports, transportInfo->_length);
            transports = nullptr;
            start_announcing(self, worker);
        }
    }
    NUVOsapiHeap_freeArray(transports);
    if (before == Phase::SHUT_DOWN) {
        PRESLog_error(worker, "cannot enable a participant that was shut down");
        return 0;
    }
    return 1;
}

int PRESParticipant_isEnabled(PRESParticipant *self, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard table(self->tableEa, worker);
    return self->phase == Phase::ENABLED ? 1 : 0;
}

int PRESParticipant_hasLocators(PRESParticipant *self,
                                const PRESLocatorQosPolicy *defaultUnicastLocator,
                                const PRESLocatorQosPolicy *metatrafficUnicastLocator,
                                const PRESReducedLocatorQosPolicy *metatrafficMulticastLocator,
                                REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    const PRESParticipantParameter &has = self->property.get().parameter;
    return PRESLocatorQosPolicy_compare(&has.defaultUnicastLocator, defaultUnicastLocator) == 0 &&
                   PRESLocatorQosPolicy_compare(&has.metatrafficUnicastLocator,
                                                metatrafficUnicastLocator) == 0 &&
                   PRESLocatorQosPolicy_compare(PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                                                    &has.metatrafficMulticastLocator),
                                                PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                                                    metatrafficMulticastLocator)) == 0
               ? 1
               : 0;
}

NUV_UINT32 PRESParticipant_getTransportInfoLength(PRESParticipant *self, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    return self->transportInfoLength;
}

NUV_UINT32 PRESParticipant_getPropertyListLength(PRESParticipant *self, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    return self->property.get().parameter.propertyList.data._length;
}

void PRESParticipant_getGuid(PRESParticipant *self, NUVOsapiRtpsGuid *out) {
    *out = self->guid;
}

COMMENDFacade *PRESParticipant_getFacade(PRESParticipant *self) {
    return self->facade;
}

int PRESParticipant_preShutdownWakeup(PRESParticipant *self, int * /*failReason*/,
                                      REDAWorker *worker) {
    const reda::ExclusiveAreaGuard table(self->tableEa, worker);
    self->takesTopics = false;
    return 1;
}

int PRESParticipant_shutdown(PRESParticipant *self, int * /*failReason*/, REDAWorker *worker) {
    bool was_enabled = false;
    {
        const reda::ExclusiveAreaGuard table(self->tableEa, worker);
        was_enabled = self->phase == Phase::ENABLED;
        if (was_enabled) {
            stop_announcing(self, worker);
        }
        self->phase = Phase::SHUT_DOWN;
        self->takesTopics = false;
        if (was_enabled) {
            stop_taking_messages(self, worker);
        }
    }
    if (was_enabled) {
        PRESLog_debug(
            worker, "shut down after %llu messages",
            static_cast<unsigned long long>(self->messagesTaken.load(std::memory_order_relaxed)));
    }
    return 1;
}

int PRESParticipant_delete(PRESParticipant *self, int *failReason, REDAWorker *worker) {
    if (PRESParticipant_hasTopic(self, worker) != 0) {
        PRESLog_error(worker, "cannot delete a participant that has topics");
        *failReason = PRES_RETCODE_PRECONDITION_NOT_MET;
        return 0;
    }
    if (PRESParticipant_isEnabled(self, worker) != 0) {
        PRESLog_error(worker, "cannot delete a participant that was not shut down");
        *failReason = PRES_RETCODE_PRECONDITION_NOT_MET;
        return 0;
    }
    // The facade first: until it is gone the reactor may still be in take_message.
    if (COMMENDFacade_delete(self->facade, worker) == 0) { // which has said why
        *failReason = PRES_RETCODE_TIMEOUT;
        return 0;
    }
    free_participant(self);
    return 1;
}
