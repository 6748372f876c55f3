// SPDX-License-Identifier: Apache-2.0
// The receive ports of a participant: its index, what it keeps for itself, what it tries for.
#include <algorithm>
#include <span>

#include "domain/DomainParticipant_ports.h"
#include "infrastructure/dds_log.h"
#include "osapi/osapi_assert.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

const NUVNetioAliasList ANY_TRANSPORT = {""};

bool is_kept(const DDS_DomainParticipant *self, const NUVNetioLocator &port) {
    const std::span kept(self->keptPorts, (size_t)self->keptPortCount);

    return std::any_of(kept.begin(), kept.end(), [&](const auto &one) {
        return one.transport == port.transport && one.port == port.port;
    });
}

/** Keeps the ports of a list with entryports. False when memory runs out. */
bool keep_ports_of(DDS_DomainParticipant *self,
                   enum DDS_DomainParticipantPresentationLocatorKindI kind, REDAWorker *worker) {
    const PRESLocatorQosPolicy *locators =
        DDS_DomainParticipantPresentation_get_locatorsI(&self->presentation, kind);
    const DDS_Long reserved =
        DDS_DomainParticipantPresentation_get_reserved_countI(&self->presentation, kind);

    for (const NUVNetioLocator &locator : std::span(locators->locatorList, (size_t)reserved)) {
        DDS_DomainParticipantKeptPortI kept = {locator.transport, locator.port,
                                               REDA_WEAK_REFERENCE_INVALID};

        if (self->keptPortCount == DDS_DOMAIN_PARTICIPANT_KEPT_PORTS_MAX ||
            is_kept(self, locator)) {
            continue;
        }
        if (!DDS_DomainParticipantPresentation_reserve_entryportI(
                &self->presentation, &kept.entryportWR, &ANY_TRANSPORT, &locator, worker)) {
            return false;
        }
        self->keptPorts[self->keptPortCount++] = kept;
    }
    return true;
}

namespace enabling {

constexpr const char *LOG_METHOD = "DDS_DomainParticipant_enable";

void report_no_index(const DDS_DomainParticipant *self) {
    NUVNetioFailure failure;
    char reason[NUV_NETIO_FAILURE_STRING_SIZE];

    if (NUVNetioConfigurator_getFailure(self->configurator, &failure)) {
        NUVNetioFailure_toString(&failure, reason, sizeof(reason));
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_ENABLE_TEMPLATE,
                    "the participant gets no index in domain %d: %s", self->domainId, reason);
    }
}

void report_no_locator() {
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_FAILED_TO_ENABLE_TEMPLATE,
                "the property dds.domain_participant.max_announced_locator_list_size is 0, "
                "which leaves the participant no locator: allowed are 1 to %d",
                DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX);
}

} // namespace enabling

} // namespace

int DDS_DomainParticipant_keep_portsI(DDS_DomainParticipant *self, REDAWorker *worker) {
    return static_cast<int>(keep_ports_of(self, DDS_METATRAFFIC_UNICAST_LOCATORS, worker) &&
                            keep_ports_of(self, DDS_DEFAULT_UNICAST_LOCATORS, worker));
}

void DDS_DomainParticipant_release_indexI(DDS_DomainParticipant *self, REDAWorker *worker) {
    for (auto &kept : std::span(self->keptPorts, (size_t)self->keptPortCount)) {
        DDS_DomainParticipantPresentation_release_entryportI(&self->presentation, &kept.entryportWR,
                                                             worker);
    }
    self->keptPortCount = 0;
    DDS_DomainParticipantPresentation_release_participant_index_entryports(&self->presentation,
                                                                           worker);
    self->participantIndex = -1;
}

DDS_ReturnCode_t DDS_DomainParticipant_reserve_indexI(DDS_DomainParticipant *self,
                                                      REDAWorker *worker) {
    NUV_ASSERT(self->participantIndex == -1);
    DDS_Long participantIndex = self->qos.wire_protocol.participant_id;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    {
        const PortAttempt attempt(self, PortAttempt::SAID);

        result = DDS_DomainParticipantPresentation_reserve_participant_index_entryports(
            &self->presentation, &participantIndex, worker);
    }
    if (result == DDS_RETCODE_OK) {
        self->participantIndex = participantIndex;
    } else if (result != DDS_RETCODE_NO_DATA) {
        enabling::report_no_index(self);
    } else {
        if (DDS_DomainParticipantPresentation_get_max_locator_list_size(&self->presentation) > 0) {
            return DDS_RETCODE_OK;
        }
        enabling::report_no_locator();
    }
    return result;
}

TrialPorts::TrialPorts(DDS_DomainParticipant *participant, REDAWorker *callWorker)
    : self(participant), worker(callWorker) {}

TrialPorts::~TrialPorts() {
    release();
}

template <class LocatorPolicy>
bool TrialPorts::reserve(const LocatorPolicy &locators) {
    for (const NUVNetioLocator &locator : std::span(locators.locatorList, (size_t)locators.count)) {
        if (count == entryports.size() ||
            !DDS_DomainParticipantPresentation_reserve_entryportI(
                &self->presentation, &entryports[count], &ANY_TRANSPORT, &locator, worker)) {
            return false;
        }
        ++count;
    }
    return true;
}

bool TrialPorts::reserve_for_update() {
    DDS_DomainParticipantPresentationLocatorsI locators;

    return compute(self->participantIndex, &locators) && reserve(locators.defaultUnicast) &&
           reserve(locators.metatrafficUnicast) && reserve(locators.metatrafficMulticast);
}

bool TrialPorts::reserve_for_index() {
    const DDS_Long fixed = self->qos.wire_protocol.participant_id;
    const DDS_Long last = fixed >= 0 ? fixed
                                     : DDS_DomainParticipantPresentation_get_max_participant_indexI(
                                           &self->qos.wire_protocol.rtps_well_known_ports);

    for (DDS_Long index = std::max(fixed, 0); index <= last; ++index) {
        if (reserve_index(index)) {
            return true;
        }
        release();
    }
    return false;
}

/** What the search reserves for one index, as far as the QoS asks for it. */
bool TrialPorts::reserve_index(DDS_Long index) {
    const DDS_RtpsReservedPortKindMask kinds = self->qos.wire_protocol.rtps_reserved_port_mask;
    DDS_DomainParticipantPresentationLocatorsI locators;
    PRESReducedLocatorQosPolicy userMulticast = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;

    if (!compute(index, &locators)) {
        return false;
    }
    DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(
        &self->presentation, &userMulticast, &locators.metatrafficMulticast);
    if ((kinds & (DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST | DDS_RTPS_RESERVED_PORT_USER_UNICAST)) ==
            0 &&
        self->qos.wire_protocol.participant_id < 0) {
        /* One port claims the index; the lists begin with the lowest transport. */
        locators.metatrafficUnicast.count = std::min(locators.metatrafficUnicast.count, 1);
        if (!reserve(locators.metatrafficUnicast)) {
            return false;
        }
    }
    return ((kinds & DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST) == 0 ||
            reserve(locators.metatrafficUnicast)) &&
           ((kinds & DDS_RTPS_RESERVED_PORT_USER_UNICAST) == 0 ||
            reserve(locators.defaultUnicast)) &&
           ((kinds & DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST) == 0 ||
            reserve(locators.metatrafficMulticast)) &&
           ((kinds & DDS_RTPS_RESERVED_PORT_USER_MULTICAST) == 0 || reserve(userMulticast));
}

/** Ports that are none have been reported by whoever asked for them. */
bool TrialPorts::compute(DDS_Long index, DDS_DomainParticipantPresentationLocatorsI *locators) {
    return DDS_RtpsWellKnownPorts_isUnicastValid(&self->qos.wire_protocol.rtps_well_known_ports,
                                                 self->domainId, index) &&
           DDS_DomainParticipantPresentation_compute_locatorsI(&self->presentation, index, locators,
                                                               worker);
}

void TrialPorts::release() {
    for (; count > 0; --count) {
        DDS_DomainParticipantPresentation_release_entryportI(&self->presentation,
                                                             &entryports[count - 1], worker);
    }
}
