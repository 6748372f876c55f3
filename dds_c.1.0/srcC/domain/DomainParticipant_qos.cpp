// SPDX-License-Identifier: Apache-2.0
// The participant's QoS, read back and changed.
#include <utility>

#include <string.h>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "domain/CallWorker.h"
#include "domain/DomainParticipantFactory_internal.h"
#include "domain/DomainParticipant_internal.h"
#include "infrastructure/Common_internal.h"
#include "infrastructure/dds_log.h"
#include "properties/ParticipantProperties.h"
#include "qos/fixedPolicies.h"
#include "reda/reda_exclusiveArea.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

namespace {

/** Whether what has to be allocated to be read back is all there. */
bool has_variable_parts_of(const DDS_DomainParticipantQos *qos,
                           const DDS_DomainParticipantQos *running) {
    return DDS_UserDataQosPolicy_is_equal(&qos->user_data, &running->user_data) &&
           DDS_PropertyQosPolicy_is_equal(&qos->property, &running->property) &&
           DDS_EntityNameQosPolicy_is_equal(&qos->participant_name, &running->participant_name) &&
           DDS_PartitionQosPolicy_is_equal(&qos->partition, &running->partition);
}

/** The fields that only the enclosing participant has. False when memory runs out. */
bool take_own_fields(DDS_DomainParticipantQos *qos, const DDS_DomainParticipantQos *running) {
    DDS_DiscoveryConfigQosPolicy &config = qos->discovery_config;
    const DDS_DiscoveryConfigQosPolicy &its_config = running->discovery_config;

    config.lease_duration = its_config.lease_duration;
    config.announcement_period = its_config.announcement_period;
    config.initial_announcements = its_config.initial_announcements;
    config.initial_announcement_period = its_config.initial_announcement_period;
    qos->resource_limits.remote_participants_max = running->resource_limits.remote_participants_max;
    return DDS_String_replace(&config.domain_tag, its_config.domain_tag) != DDS_BOOLEAN_FALSE;
}

namespace setting {

constexpr const char *LOG_METHOD = "DDS_DomainParticipant_set_qos";

/** Refuses a change of what is fixed at creation, where the presentation half does not. */
bool check_fixed_policies(const DDS_DomainParticipantQos *running,
                          const DDS_DomainParticipantQos *qos) {
    dds::qos::PathText changed;

    if (changes_fixed_policy(*running, *qos, changed)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_IMMUTABLE_POLICY_s, changed.get());
        return false;
    }
    return true;
}

bool has_property(const DDS_PropertyQosPolicy *policy, const DDS_Property_t *property) {
    const DDS_Property_t *other =
        DDS_PropertyQosPolicyHelper_lookup_property(policy, property->name);

    return other != nullptr && other->propagate == property->propagate &&
           strcmp(other->value, property->value) == 0;
}

/** Whether nobody who keeps a lease that has been announced forgets the participant. */
bool check_period(const DDS_DomainParticipant *self, const DDS_DomainParticipantQos *qos) {
    const DDS_Duration_t &period = qos->discovery_config.announcement_period;

    if (DDS_Duration_is_quarterI(&period, &self->shortestLease)) {
        return true;
    }
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                "discovery_config.announcement_period is %d s and %u ns; allowed is at most a "
                "quarter of the shortest lease_duration that has been announced, which is %d s and "
                "%u ns",
                period.sec, period.nanosec, self->shortestLease.sec, self->shortestLease.nanosec);
    return false;
}

/** False, after an error, when memory runs out; then the former peers stay. */
bool change_peers(DDS_DomainParticipant *self, const DDS_DiscoveryQosPolicy *from,
                  const DDS_DiscoveryQosPolicy *to, REDAWorker *worker) {
    return DDS_DiscoveryQosPolicy_is_equal(from, to) != DDS_BOOLEAN_FALSE ||
           DDS_DomainParticipant_set_peersI(self, to, worker) != 0;
}

/** Has the lease and the period of the QoS announced, unless they are what they were. */
void change_lease(DDS_DomainParticipant *self, const DDS_DiscoveryConfigQosPolicy *former,
                  REDAWorker *worker) {
    const DDS_DiscoveryConfigQosPolicy &now = self->qos.discovery_config;

    if (DDS_DiscoveryConfigQosPolicy_is_equal(former, &now)) {
        return;
    }
    DDS_DomainParticipant_set_leaseI(self, &now, worker);
    if (self->isEnabled && DDS_Duration_is_shorterI(&now.lease_duration, &self->shortestLease)) {
        self->shortestLease = now.lease_duration;
    }
}

/** Every property of @p left that is read at creation only must be in @p right as well. */
bool check_fixed_properties(const DDS_PropertyQosPolicy *left, const DDS_PropertyQosPolicy *right) {
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(&left->value); ++i) {
        const DDS_Property_t *property = DDS_PropertySeq_get_reference(&left->value, i);

        if (is_read_at_creation(property) && !has_property(right, property)) {
            DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_IMMUTABLE_POLICY_s, property->name);
            return false;
        }
    }
    return true;
}

} // namespace setting

} // namespace

int DDS_DomainParticipant_has_propertiesI(DDS_DomainParticipant *self,
                                          const DDS_DomainParticipantQos *qos, REDAWorker *worker) {
    return static_cast<int>(
        PRESParticipant_getPropertyListLength(self->presentation.participant, worker) ==
        (NUV_UINT32)DDS_PropertySeq_get_length(&qos->property.value));
}

DDS_ReturnCode_t DDS_DomainParticipant_get_qos(DDS_DomainParticipant *self,
                                               DDS_DomainParticipantQos *qos) {
    if (DDSLog_isNull(self) || DDSLog_isNull(qos)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    CallWorker worker(self->resources.workerFactory);
    const reda::ExclusiveAreaGuard lock(self->ea, worker.get());

    const DDS_ReturnCode_t result =
        DDS_DomainParticipantPresentation_get_qos(&self->presentation, self, qos, 1, worker.get());

    /* It may return OK without the parts that it found no memory for. */
    if (result == DDS_RETCODE_OK &&
        !(has_variable_parts_of(qos, &self->qos) && take_own_fields(qos, &self->qos))) {
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return result;
}

DDS_ReturnCode_t DDS_DomainParticipant_set_qos(DDS_DomainParticipant *self,
                                               const DDS_DomainParticipantQos *qos) {
    DDS_DomainParticipantQos copy = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    if (DDSLog_isNull(self) || DDSLog_isNull(qos)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_DomainParticipantFactory_isForkedI(__func__) ||
        DDS_DomainParticipantResources_isWithinListenerI(&self->resources, __func__)) {
        return DDS_RETCODE_ILLEGAL_OPERATION;
    }
    if (!DDS_DomainParticipantQos_is_consistent(qos)) {
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    CallWorker worker(self->resources.workerFactory);
    const reda::ExclusiveAreaGuard lock(self->ea, worker.get());

    if (self->discovery == nullptr) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "the participant has been shut down: all that can be done is to delete it");
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    }
    if (!setting::check_fixed_policies(&self->qos, qos) ||
        !setting::check_fixed_properties(&qos->property, &self->qos.property) ||
        !setting::check_fixed_properties(&self->qos.property, &qos->property)) {
        return DDS_RETCODE_IMMUTABLE_POLICY;
    }
    if (!setting::check_period(self, qos)) {
        return DDS_RETCODE_INCONSISTENT_POLICY;
    }
    result = DDS_DomainParticipant_check_announcementI(self, qos, __func__);
    if (result != DDS_RETCODE_OK) {
        return result;
    }
    if (DDS_DomainParticipantQos_copy(&copy, qos) == nullptr) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_COPY_FAILURE_s, "participant QoS");
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    result = DDS_DomainParticipantPresentation_set_qos(&self->presentation, qos, worker.get());
    if (result == DDS_RETCODE_OK &&
        !DDS_DomainParticipant_has_propertiesI(self, qos, worker.get())) {
        result = DDS_RETCODE_OUT_OF_RESOURCES;
    }
    if (result == DDS_RETCODE_OK &&
        !setting::change_peers(self, &self->qos.discovery, &copy.discovery, worker.get())) {
        result = DDS_RETCODE_OUT_OF_RESOURCES;
    }
    if (result == DDS_RETCODE_OK) {
        std::swap(self->qos, copy);
        setting::change_lease(self, &copy.discovery_config, worker.get());
    } else if (result != DDS_RETCODE_IMMUTABLE_POLICY) {
        /* It may have been applied and only then have run out of memory: all or nothing. */
        (void)DDS_DomainParticipantPresentation_set_qos(&self->presentation, &self->qos,
                                                        worker.get());
    }
    (void)DDS_DomainParticipantQos_finalize(&copy);
    return result;
}
