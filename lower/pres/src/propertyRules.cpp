// SPDX-License-Identifier: Apache-2.0
// What a property may not be.
#include "propertyRules.h"

#include "propertyStore.h"

namespace {

/**
 * An identity word as it was asked for. 0 leaves it to the system, and so asks for what there is;
 * so does the word that the participant was made with.
 */
long long asked_word(NUV_UINT32 next, NUV_UINT32 current, NUV_UINT32 running) {
    return next == 0 || next == current ? running : next;
}

} // namespace

PRESPropertyExcess PRESParticipantProperty_findExcessI(const PRESParticipantProperty *self) {
    const PRESParticipantParameter &parameter = self->parameter;
    const PRESParticipantResourceLimits &limits = parameter.resourceLimits;
    const PRESPropertyExcess parts[] = {
        {"resource_limits.participant_user_data_max_length", "octets of user data",
         parameter.userData._length, limits.userDataMaxLength},
        {"resource_limits.participant_property_list_max_length", "properties",
         parameter.propertyList.data._length, limits.propertyListMaxLength},
        {"resource_limits.participant_property_string_max_length",
         "bytes of property names and values",
         static_cast<long long>(PRESPropertyList_getStringSizeI(&parameter.propertyList)),
         limits.propertyStringMaxLength},
        {"partition", "characters of partition names",
         static_cast<long long>(PRESParticipantProperty_getPartitionLengthI(self)),
         PRES_PARTITION_BUFFER_SIZE - 1},
    };
    for (const PRESPropertyExcess &part : parts) {
        if (part.length > part.allowed) {
            return part;
        }
    }
    return {nullptr, nullptr, 0, 0};
}

PRESPropertyChange
PRESParticipantProperty_findForbiddenChangeI(const PRESParticipantProperty *current,
                                             const PRESParticipantProperty *next) {
    const PRESParticipantParameter &is = current->parameter;
    const PRESParticipantParameter &asked = next->parameter;
    const NUVOsapiRtpsGuidPrefix &prefix = current->facadeProperty.parent.guidPrefix;
    const NUVOsapiRtpsGuidPrefix &asked_prefix = next->facadeProperty.parent.guidPrefix;

    const PRESPropertyChange settings[] = {
        {"domain id", is.domainId, asked.domainId},
        {"GUID prefix: host id", prefix.hostId, asked_prefix.hostId},
        {"GUID prefix: app id", prefix.appId, asked_prefix.appId},
        {"GUID prefix: instance id", prefix.instanceId, asked_prefix.instanceId},
        {"wire_protocol.rtps_host_id", prefix.hostId,
         asked_word(asked.requestedHostId, is.requestedHostId, prefix.hostId)},
        {"wire_protocol.rtps_app_id", prefix.appId,
         asked_word(asked.requestedAppId, is.requestedAppId, prefix.appId)},
        {"wire_protocol.rtps_instance_id", prefix.instanceId,
         asked_word(asked.requestedInstanceId, is.requestedInstanceId, prefix.instanceId)},
        {"wire_protocol.participant_id", is.participantIndex, asked.participantIndex},
        {"product version: major", is.productVersion.major, asked.productVersion.major},
        {"product version: minor", is.productVersion.minor, asked.productVersion.minor},
        {"product version: release", is.productVersion.release, asked.productVersion.release},
        {"product version: revision", is.productVersion.revision, asked.productVersion.revision},
        {"transport_builtin.mask", is.transportBuiltinMask, asked.transportBuiltinMask},
        {"resource_limits.transport_info_list_max_length",
         is.resourceLimits.transportInfoListMaxLength,
         asked.resourceLimits.transportInfoListMaxLength},
        {"resource_limits.participant_user_data_max_length", is.resourceLimits.userDataMaxLength,
         asked.resourceLimits.userDataMaxLength},
        {"resource_limits.participant_property_list_max_length",
         is.resourceLimits.propertyListMaxLength, asked.resourceLimits.propertyListMaxLength},
        {"resource_limits.participant_property_string_max_length",
         is.resourceLimits.propertyStringMaxLength, asked.resourceLimits.propertyStringMaxLength},
    };
    for (const PRESPropertyChange &setting : settings) {
        if (setting.current != setting.asked) {
            return setting;
        }
    }
    return {nullptr, 0, 0};
}
