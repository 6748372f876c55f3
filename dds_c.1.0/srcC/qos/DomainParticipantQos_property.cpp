// SPDX-License-Identifier: Apache-2.0
// A participant's QoS put into the property of the presentation participant, and read back.
#include "infrastructure/Common_internal.h"
#include "infrastructure/dds_log.h"
#include "osapi/osapi_utility.h"
#include "qos/DomainParticipantQos_internal.h"
#include "qos/policies.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

/* ---- To a property -------------------------------------------------------------------------- */

namespace {

namespace putting {

constexpr const char *LOG_METHOD = "DDS_DomainParticipantQos_to_participant_property";

bool put_property_list(const DDS_PropertySeq &src, PRESPropertySequence &dst) {
    dst = {0, 0, nullptr};
    if (src._length == 0) {
        return true;
    }
    if (!NUVOsapiHeap_allocateArray(&dst._buffer, src._length, struct PRESProperty)) {
        dst._buffer = nullptr;
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, "property list");
        return false;
    }
    dst._maximum = static_cast<NUV_UINT32>(src._length);
    dst._length = dst._maximum;
    for (DDS_Long i = 0; i < src._length; ++i) {
        const DDS_Property_t &property = src._buffer[i];
        dst._buffer[i] = {property.name, property.value, property.propagate};
    }
    return true;
}

/** Joins the names by ',' in the buffer that the property was lent. */
bool put_partition(const DDS_StringSeq &src, PRESPartitionQosPolicy &dst) {
    if (dst.name.str == nullptr || dst.name._maximum <= 0) {
        return true;
    }
    char *joined = dst.name.str;
    const auto room = static_cast<size_t>(dst.name._maximum) - 1;
    joined[0] = '\0';
    for (DDS_Long i = 0; i < src._length; ++i) {
        const char *name = src._buffer[i] == nullptr ? "" : src._buffer[i];
        if ((i > 0 && NUVOsapiUtility_strncat(joined, room, ",", 1) == nullptr) ||
            NUVOsapiUtility_strncat(joined, room, name, std::strlen(name)) == nullptr) {
            joined[0] = '\0';
            DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                        "partition.name: the names joined by ',' are too long; allowed are at most "
                        "%zu characters",
                        room);
            return false;
        }
    }
    return true;
}

bool put_name(const char *setting, const char *src, NUV_INT32 &hasName, char *dst) {
    hasName = src != nullptr;
    dst[0] = '\0';
    if (hasName && NUVOsapiUtility_strcpy(dst, PRES_ENTITY_NAME_SIZE - 1, src) == nullptr) {
        hasName = 0;
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE,
                    "%s has %zu characters; allowed are at most %d", setting, std::strlen(src),
                    PRES_ENTITY_NAME_SIZE - 1);
        return false;
    }
    return true;
}

void put_user_data(const DDS_OctetSeq &src, PRESOctetSequence &dst) {
    const auto length = static_cast<NUV_UINT32>(src._length);
    dst = {length, length, src._buffer};
}

void put_resource_limits(const DDS_DomainParticipantResourceLimitsQosPolicy &src,
                         PRESParticipantResourceLimits &dst) {
    dst.transportInfoListMaxLength = src.transport_info_list_max_length;
    dst.userDataMaxLength = src.participant_user_data_max_length;
    dst.propertyListMaxLength = src.participant_property_list_max_length;
    dst.propertyStringMaxLength = src.participant_property_string_max_length;
}

} // namespace putting

} // namespace

DDS_ReturnCode_t
DDS_DomainParticipantQos_to_participant_property(const DDS_DomainParticipantQos *src,
                                                 PRESParticipantProperty *dst) {
    if (DDSLog_isNull(src) || DDSLog_isNull(dst)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    PRESParticipantParameter &parameter = dst->parameter;
    putting::put_user_data(src->user_data.value, parameter.userData);
    parameter.autoenableCreatedEntities = src->entity_factory.autoenable_created_entities;
    parameter.participantIndex = src->wire_protocol.participant_id;
    parameter.requestedHostId = src->wire_protocol.rtps_host_id;
    parameter.requestedAppId = src->wire_protocol.rtps_app_id;
    parameter.requestedInstanceId = src->wire_protocol.rtps_instance_id;
    parameter.transportBuiltinMask = src->transport_builtin.mask;
    DDS_Duration_to_ntp_time(&src->discovery_config.locator_reachability_lease_duration,
                             &parameter.reachabilityLeaseDuration);
    parameter.builtinDiscoveryPlugins = src->discovery_config.builtin_discovery_plugins;
    putting::put_resource_limits(src->resource_limits, parameter.resourceLimits);

    PRESEntityNameQosPolicy &names = parameter.entityName;
    const bool is_name_put = putting::put_name("participant_name.name", src->participant_name.name,
                                               names.hasName, names.name);
    const bool is_role_put =
        putting::put_name("participant_name.role_name", src->participant_name.role_name,
                          names.hasRoleName, names.roleName);
    const bool is_partition_put =
        putting::put_partition(src->partition.name, parameter.partitionQosPolicy);
    if (!putting::put_property_list(src->property.value, parameter.propertyList.data)) {
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return is_name_put && is_role_put && is_partition_put ? DDS_RETCODE_OK
                                                          : DDS_RETCODE_INCONSISTENT_POLICY;
}

/* ---- From a property ------------------------------------------------------------------------ */

namespace {

/** Says that a policy could not be copied. */
bool report(const char *LOG_METHOD, bool is_copied, const char *policy) {
    if (!is_copied) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, policy);
    }
    return is_copied;
}

bool take_user_data(DDS_OctetSeq &dst, const PRESOctetSequence &src) {
    const DDS_Long length = src._buffer == nullptr ? 0 : static_cast<DDS_Long>(src._length);
    return dds::value::copy(dst, DDS_OctetSeq{src._buffer, length, length});
}

bool take_property_list(DDS_PropertySeq &dst, const PRESPropertySequence &src) {
    const NUV_UINT32 length = src._buffer == nullptr ? 0 : src._length;
    DDS_PropertySeq taken = DDS_SEQUENCE_INITIALIZER;
    for (NUV_UINT32 i = 0; i < length; ++i) {
        const PRESProperty &property = src._buffer[i];
        DDS_Property_t fresh{};
        if (!dds::value::duplicate(fresh,
                                   DDS_Property_t{const_cast<char *>(property.name),
                                                  const_cast<char *>(property.value),
                                                  dds::value::to_boolean(property.propagate)}) ||
            !dds::value::append(taken, fresh)) {
            dds::value::finalize(fresh);
            dds::value::finalize(taken);
            return false;
        }
    }
    dds::value::finalize(dst);
    dst = taken;
    return true;
}

bool append_name(DDS_StringSeq &names, const char *text, size_t length) {
    char *name = DDS_String_alloc(length);
    if (name == nullptr) {
        return false;
    }
    std::memcpy(name, text, length);
    name[length] = '\0';
    if (!dds::value::append(names, name)) {
        DDS_String_free(name);
        return false;
    }
    return true;
}

/** Splits the joined names; an empty text has none. */
bool take_partition(DDS_StringSeq &dst, const PRESPartitionQosPolicy &src) {
    DDS_StringSeq taken = DDS_SEQUENCE_INITIALIZER;
    const char *rest = src.name.str;
    while (rest != nullptr && (rest[0] != '\0' || taken._length > 0)) {
        const char *comma = std::strchr(rest, ',');
        const size_t length =
            comma == nullptr ? std::strlen(rest) : static_cast<size_t>(comma - rest);
        if (!append_name(taken, rest, length)) {
            dds::value::finalize(taken);
            return false;
        }
        rest = comma == nullptr ? nullptr : comma + 1;
    }
    dds::value::finalize(dst);
    dst = taken;
    return true;
}

bool take_names(DDS_EntityNameQosPolicy &dst, const PRESEntityNameQosPolicy &src) {
    return dds::value::copy(
        dst, DDS_EntityNameQosPolicy{src.hasName ? const_cast<char *>(src.name) : nullptr,
                                     src.hasRoleName ? const_cast<char *>(src.roleName) : nullptr});
}

void take_resource_limits(DDS_DomainParticipantResourceLimitsQosPolicy &dst,
                          const PRESParticipantResourceLimits &src) {
    dst.transport_info_list_max_length = src.transportInfoListMaxLength;
    dst.participant_user_data_max_length = src.userDataMaxLength;
    dst.participant_property_list_max_length = src.propertyListMaxLength;
    dst.participant_property_string_max_length = src.propertyStringMaxLength;
}

} // namespace

DDS_ReturnCode_t
DDS_DomainParticipantQos_from_participant_property(DDS_DomainParticipantQos *qos,
                                                   const PRESParticipantProperty *property) {
    if (DDSLog_isNull(qos) || DDSLog_isNull(property)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    const PRESParticipantParameter &parameter = property->parameter;
    qos->entity_factory.autoenable_created_entities =
        dds::value::to_boolean(parameter.autoenableCreatedEntities);
    qos->wire_protocol.participant_id = parameter.participantIndex;
    qos->wire_protocol.rtps_host_id = parameter.requestedHostId;
    qos->wire_protocol.rtps_app_id = parameter.requestedAppId;
    qos->wire_protocol.rtps_instance_id = parameter.requestedInstanceId;
    qos->transport_builtin.mask = parameter.transportBuiltinMask;
    DDS_Duration_from_ntp_time(&qos->discovery_config.locator_reachability_lease_duration,
                               &parameter.reachabilityLeaseDuration);
    qos->discovery_config.builtin_discovery_plugins = parameter.builtinDiscoveryPlugins;
    take_resource_limits(qos->resource_limits, parameter.resourceLimits);

    bool is_copied =
        report(__func__, take_user_data(qos->user_data.value, parameter.userData), "user_data");
    is_copied &= report(
        __func__, take_property_list(qos->property.value, parameter.propertyList.data), "property");
    is_copied &= report(__func__, take_partition(qos->partition.name, parameter.partitionQosPolicy),
                        "partition");
    is_copied &= report(__func__, take_names(qos->participant_name, parameter.entityName),
                        "participant_name");
    return is_copied ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES;
}

/* ---- Buffers to read a property into -------------------------------------------------------- */

DDS_ReturnCode_t DDS_DomainParticipantQos_setup_presentation_qosI(
    const DDS_DomainParticipantQos * /*qos*/, PRESParticipantProperty *property, DDS_Long maxLength,
    DDS_Long maxPropertyLength, DDS_Long maxPropertyStringLength) {
    if (DDSLog_isNull(property)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    auto &userData = property->parameter.userData;
    auto &properties = property->parameter.propertyList.data;
    auto &strings = property->parameter.propertyList.strings;
    userData = {0, 0, nullptr};
    properties = {0, 0, nullptr};
    strings = {0, 0, nullptr};
    if (maxLength < 0 || maxPropertyLength < 0 || maxPropertyStringLength < 0) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    const bool is_allocated =
        (maxLength == 0 || NUVOsapiHeap_allocateArray(&userData._buffer, maxLength, NUV_UINT8)) &&
        (maxPropertyLength == 0 ||
         NUVOsapiHeap_allocateArray(&properties._buffer, maxPropertyLength, struct PRESProperty)) &&
        (maxPropertyStringLength == 0 ||
         NUVOsapiHeap_allocateArray(&strings._buffer, maxPropertyStringLength, char));
    if (!is_allocated) {
        (void)DDS_DomainParticipantQos_finalize_presentation_qosI(property);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    userData._maximum = static_cast<NUV_UINT32>(maxLength);
    properties._maximum = static_cast<NUV_UINT32>(maxPropertyLength);
    strings._maximum = static_cast<NUV_UINT32>(maxPropertyStringLength);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t
DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty *property) {
    if (DDSLog_isNull(property)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    auto &userData = property->parameter.userData;
    auto &properties = property->parameter.propertyList.data;
    auto &strings = property->parameter.propertyList.strings;
    NUVOsapiHeap_freeArray(userData._buffer);
    NUVOsapiHeap_freeArray(properties._buffer);
    NUVOsapiHeap_freeArray(strings._buffer);
    userData = {0, 0, nullptr};
    properties = {0, 0, nullptr};
    strings = {0, 0, nullptr};
    return DDS_RETCODE_OK;
}
