// The participant index with its ports, and the locators that follow the interfaces.
#include <algorithm>
#include <span>

#include "domain/CallWorker.h"
#include "domain/CallbackMark.h"
#include "domain/ParticipantLock.h"
#include "infrastructure/Locator_internal.h"

#define DDS_LOG_SUBMODULE DDS_LOG_SUBMODULE_DOMAIN
#include "infrastructure/dds_log.h"

namespace {

bool is_kept(const struct DDS_DomainParticipant *self, const struct NUVNetioLocator &port) {
    const std::span kept(self->keptPorts, (size_t)self->keptPortCount);

    return std::any_of(kept.begin(), kept.end(), [&](const auto &one) {
        return one.transport == port.transport && one.port == port.port;
    });
}

/** Keeps the ports of a list with entryports. False when memory runs out. */
bool keep_ports_of(struct DDS_DomainParticipant *self, const struct PRESLocatorQosPolicy &locators,
                   const struct DDS_DomainParticipantPresentationEntryportSet &reserved,
                   struct REDAWorker *worker) {
    const struct NUVNetioAliasList anyTransport = {""};

    for (const struct NUVNetioLocator &locator :
         std::span(locators.locatorList, (size_t)std::min(locators.count, reserved._count))) {
        struct DDS_DomainParticipantKeptPortI kept = {locator.transport, locator.port,
                                                      REDA_WEAK_REFERENCE_INVALID};

        if (self->keptPortCount == DDS_DOMAIN_PARTICIPANT_KEPT_PORTS_MAX ||
            is_kept(self, locator)) {
            continue;
        }
        if (!DDS_DomainParticipantPresentation_reserve_entryportI(
                &self->presentation, &kept.entryportWR, &anyTransport, &locator, worker)) {
            return false;
        }
        self->keptPorts[self->keptPortCount++] = kept;
    }
    return true;
}

/** The lists whose change an application is told of. */
struct LocatorLists {
    struct PRESLocatorQosPolicy defaultUnicast;
    struct PRESLocatorQosPolicy metatrafficUnicast;
    struct PRESReducedLocatorQosPolicy metatrafficMulticast;

    explicit LocatorLists(const struct DDS_DomainParticipantPresentation &presentation)
        : defaultUnicast(presentation._cachedDefaultUnicastLocator),
          metatrafficUnicast(presentation._cachedMetatrafficUnicastLocator),
          metatrafficMulticast(presentation._cachedMetatrafficMulticastLocator) {}

    bool differ(const struct DDS_DomainParticipantPresentation &presentation) const {
        return PRESLocatorQosPolicy_compare(&defaultUnicast,
                                            &presentation._cachedDefaultUnicastLocator) != 0 ||
               PRESLocatorQosPolicy_compare(&metatrafficUnicast,
                                            &presentation._cachedMetatrafficUnicastLocator) != 0 ||
               PRESLocatorQosPolicy_compare(
                   PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&metatrafficMulticast),
                   PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                       &presentation._cachedMetatrafficMulticastLocator)) != 0;
    }
};

/**
 * The search reserves multicast ports anew. Those of a former one, which found no address, are
 * given back only then, so that they stay open in between.
 */
DDS_ReturnCode_t gain_index(struct DDS_DomainParticipant *self, struct REDAWorker *worker) {
    struct DDS_DomainParticipantPresentation *presentation = &self->presentation;
    struct REDAWeakReference meta = presentation->_reserveEntryportMetaMulticastWR;
    struct REDAWeakReference user = presentation->_reserveEntryportUserMulticastWR;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    presentation->_reserveEntryportMetaMulticastWR = REDA_WEAK_REFERENCE_INVALID;
    presentation->_reserveEntryportUserMulticastWR = REDA_WEAK_REFERENCE_INVALID;
    result = DDS_DomainParticipant_reserve_indexI(self, worker);
    DDS_DomainParticipantPresentation_release_entryportI(presentation, &meta, worker);
    DDS_DomainParticipantPresentation_release_entryportI(presentation, &user, worker);
    if (result != DDS_RETCODE_OK) {
        DDS_DomainParticipant_release_indexI(self, worker);
    }
    return result;
}

/** Updates the locators of an enabled participant, which gets its index now if it has none yet. */
DDS_ReturnCode_t follow_interfaces(struct DDS_DomainParticipant *self, struct REDAWorker *worker) {
    (void)NUVNetioConfigurator_refreshInterfaces(self->configurator, worker);
    if (self->participantIndex < 0) {
        const DDS_ReturnCode_t result = gain_index(self, worker);

        if (result != DDS_RETCODE_OK || self->participantIndex < 0) {
            return result;
        }
        /* The update below finds nothing changed any more: so this is said here. */
        (void)DDS_DomainParticipantPresentation_log_peers_and_locators(&self->presentation, worker);
    }
    const DDS_ReturnCode_t result = DDS_DomainParticipantPresentation_update_participant_locatorsI(
        &self->presentation, self, self->participantIndex, worker);

    (void)DDS_DomainParticipant_keep_portsI(self, worker); /* if not, then with the next update */
    return result;
}

/** Follows the interfaces and tells the application if that changed anything. */
DDS_ReturnCode_t update_locators(struct DDS_DomainParticipant *self, struct REDAWorker *worker) {
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    bool changed = false;

    {
        const ParticipantLock lock(self, worker);

        if (!self->isEnabled) {
            return DDS_RETCODE_NOT_ENABLED;
        }
        const LocatorLists before(self->presentation);

        result = follow_interfaces(self, worker);
        changed = before.differ(self->presentation);
    }
    if (changed && self->listener.on_locators_changed != nullptr) {
        const CallbackMark mark;

        self->listener.on_locators_changed(self->listener.listener_data, self);
    }
    return result;
}

#undef DDS_LOG_FUNCTION
#define DDS_LOG_FUNCTION "DDS_DomainParticipant_get_locators"

/** Copies locators out, if the participant is enabled and so has any. */
DDS_ReturnCode_t get_locators(struct DDS_DomainParticipant *self,
                              const struct PRESLocatorQosPolicy *list,
                              struct DDS_LocatorSeq *locators) {
    CallWorker worker(self->resources.workerFactory);
    const ParticipantLock lock(self, worker.get());
    const DDS_Long count = self->isEnabled ? list->count : 0;

    if (!DDS_LocatorSeq_ensure_length(locators, count, count)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "locators");
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    for (DDS_Long i = 0; i < count; ++i) {
        DDS_Locator_from_netio_locatorI(DDS_LocatorSeq_get_reference(locators, i),
                                        &list->locatorList[i]);
    }
    return DDS_RETCODE_OK;
}

} // namespace

#undef DDS_LOG_FUNCTION
#define DDS_LOG_FUNCTION "DDS_DomainParticipant_enable"

int DDS_DomainParticipant_keep_portsI(struct DDS_DomainParticipant *self,
                                      struct REDAWorker *worker) {
    const struct DDS_DomainParticipantPresentation &presentation = self->presentation;

    return keep_ports_of(self, presentation._cachedMetatrafficUnicastLocator,
                         presentation._reserveMetaUnicast, worker) &&
           keep_ports_of(self, presentation._cachedDefaultUnicastLocator,
                         presentation._reserveUserUnicast, worker);
}

void DDS_DomainParticipant_release_indexI(struct DDS_DomainParticipant *self,
                                          struct REDAWorker *worker) {
    for (auto &kept : std::span(self->keptPorts, (size_t)self->keptPortCount)) {
        DDS_DomainParticipantPresentation_release_entryportI(&self->presentation, &kept.entryportWR,
                                                             worker);
    }
    self->keptPortCount = 0;
    DDS_DomainParticipantPresentation_release_participant_index_entryports(&self->presentation,
                                                                           worker);
    self->participantIndex = -1;
}

DDS_ReturnCode_t DDS_DomainParticipant_reserve_indexI(struct DDS_DomainParticipant *self,
                                                      struct REDAWorker *worker) {
    DDS_Long participantIndex = self->qos.wire_protocol.participant_id;
    DDS_ReturnCode_t result =
        DDS_DomainParticipantPresentation_reserve_participant_index_entryports(
            &self->presentation, &participantIndex, worker);

    if (result == DDS_RETCODE_OK) {
        self->participantIndex = participantIndex;
    } else if (result == DDS_RETCODE_NO_DATA) {
        if (DDS_DomainParticipantPresentation_get_max_locator_list_size(&self->presentation) > 0) {
            return DDS_RETCODE_OK;
        }
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_ENABLE_TEMPLATE,
                    "the property dds.domain_participant.max_announced_locator_list_size is 0, "
                    "which leaves the participant no locator: allowed are 1 to %d",
                    DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX);
    }
    return result;
}

#undef DDS_LOG_FUNCTION
#define DDS_LOG_FUNCTION __func__

void DDS_DomainParticipant_on_interfaces_changedI(void *param, struct REDAWorker *worker) {
    (void)update_locators(static_cast<struct DDS_DomainParticipant *>(param), worker);
}

DDS_ReturnCode_t DDS_DomainParticipant_update_locators(DDS_DomainParticipant *self) {
    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    CallWorker worker(self->resources.workerFactory);
    const DDS_ReturnCode_t result = update_locators(self, worker.get());

    if (result == DDS_RETCODE_NOT_ENABLED) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "cannot update the locators: the participant is not enabled");
    }
    return result;
}

DDS_ReturnCode_t
DDS_DomainParticipant_get_default_unicast_locators(DDS_DomainParticipant *self,
                                                   struct DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(self, &self->presentation._cachedDefaultUnicastLocator, locators);
}

DDS_ReturnCode_t
DDS_DomainParticipant_get_default_multicast_locators(DDS_DomainParticipant *self,
                                                     struct DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(self,
                        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                            &self->presentation._cachedDefaultMulticastLocator),
                        locators);
}

DDS_ReturnCode_t
DDS_DomainParticipant_get_metatraffic_unicast_locators(DDS_DomainParticipant *self,
                                                       struct DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(self, &self->presentation._cachedMetatrafficUnicastLocator, locators);
}

DDS_ReturnCode_t
DDS_DomainParticipant_get_metatraffic_multicast_locators(DDS_DomainParticipant *self,
                                                         struct DDS_LocatorSeq *locators) {
    if (DDSLog_isNull(self) || DDSLog_isNull(locators)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    return get_locators(self,
                        PRESReducedLocatorQosPolicy_asConstLocatorPolicy(
                            &self->presentation._cachedMetatrafficMulticastLocator),
                        locators);
}
