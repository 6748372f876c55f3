// SPDX-License-Identifier: Apache-2.0
// The operations of a participant's QoS as a whole.
#include "infrastructure/dds_log.h"
#include "qos/QosPolicy_internal.h"
#include "qos/policies.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

using dds::value::to_boolean;

DDS_ReturnCode_t DDS_DomainParticipantQos_initialize(DDS_DomainParticipantQos *self) {
    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    *self = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    const DDS_ReturnCode_t result = DDS_DiscoveryQosPolicy_get_defaultI(&self->discovery);
    if (result != DDS_RETCODE_OK) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "participant QoS");
    }
    return result;
}

DDS_DomainParticipantQos *DDS_DomainParticipantQos_copy(DDS_DomainParticipantQos *self,
                                                        const DDS_DomainParticipantQos *src) {
    if (DDSLog_isNull(self) || DDSLog_isNull(src)) {
        return nullptr;
    }
    return dds::value::copy(*self, *src) ? self : nullptr;
}

DDS_Boolean DDS_DomainParticipantQos_is_equal(const DDS_DomainParticipantQos *left,
                                              const DDS_DomainParticipantQos *right) {
    return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&
                      dds::value::is_equal(*left, *right));
}

DDS_ReturnCode_t DDS_DomainParticipantQos_finalize(DDS_DomainParticipantQos *self) {
    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    dds::value::finalize(*self);
    return DDS_RETCODE_OK;
}
