// SPDX-License-Identifier: Apache-2.0
// Operations on single properties of a property policy, by name.
#include "properties/PropertyQosPolicyHelper_internal.h"

#include "infrastructure/dds_log.h"
#include "qos/policies.h"
#include "reda/reda_string.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::value::to_boolean;

namespace {

/** Whether a policy may have a property of this name with this mark. */
bool check(const char *LOG_METHOD, const char *name, DDS_Boolean propagate) {
    if (name[0] == '\0') {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "name is empty: allowed is the name of a property");
        return false;
    }
    if (!dds::value::is_boolean(propagate)) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE,
                    "propagate of property '%.128s' is %d: allowed are 0 and 1", name, propagate);
        return false;
    }
    return true;
}

/** False when memory runs out. */
bool append(DDS_PropertyQosPolicy &policy, const char *name, const char *value,
            DDS_Boolean propagate) {
    DDS_Property_t property = {DDS_String_dup(name), DDS_String_dup(value), propagate};
    if (property.name == nullptr || property.value == nullptr ||
        !dds::value::append(policy.value, property)) {
        dds::value::finalize(property);
        return false;
    }
    return true;
}

/** False when memory runs out. */
bool replace(DDS_Property_t &property, const char *value, DDS_Boolean propagate) {
    if (!DDS_String_replace(&property.value, value)) {
        return false;
    }
    property.propagate = propagate;
    return true;
}

/** Looks a property up and parses its value. */
template <typename T>
DDS_Boolean lookup(const DDS_PropertyQosPolicy *policy, T *out, const char *name,
                   int (*parse)(const char *, T *)) {
    const DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
    return to_boolean(property != nullptr && property->value != nullptr && !DDSLog_isNull(out) &&
                      parse(property->value, out) != 0);
}

} // namespace

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_property(DDS_PropertyQosPolicy *policy,
                                                          const char *name, const char *value,
                                                          DDS_Boolean propagate) {
    if (DDSLog_isNull(policy) || DDSLog_isNull(name) || DDSLog_isNull(value)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (!check(__func__, name, propagate)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_PropertyQosPolicyHelper_lookup_property(policy, name) != nullptr) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "cannot add property '%s': the policy has it already", name);
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    }
    if (!append(*policy, name, value, propagate)) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, name);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assert_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name, const char *value,
                                                             DDS_Boolean propagate) {
    if (DDSLog_isNull(policy) || DDSLog_isNull(name) || DDSLog_isNull(value)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (!check(__func__, name, propagate)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
    if (!(property == nullptr ? append(*policy, name, value, propagate)
                              : replace(*property, value, propagate))) {
        DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_OUT_OF_RESOURCES_s, name);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_remove_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name) {
    if (DDSLog_isNull(policy) || DDSLog_isNull(name)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
    if (property == nullptr) {
        DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                    "cannot remove property '%s': the policy does not have it", name);
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    }
    dds::value::finalize(*property);
    const DDS_Property_t *end = policy->value._buffer + policy->value._length;
    for (; property + 1 < end; ++property) {
        *property = *(property + 1);
    }
    --policy->value._length;
    return DDS_RETCODE_OK;
}

DDS_Property_t *DDS_PropertyQosPolicyHelper_lookup_property(const DDS_PropertyQosPolicy *policy,
                                                            const char *name) {
    if (DDSLog_isNull(policy) || DDSLog_isNull(name)) {
        return nullptr;
    }
    for (DDS_Long i = 0; i < policy->value._length; ++i) {
        DDS_Property_t *property = &policy->value._buffer[i];
        if (property->name != nullptr && std::strcmp(property->name, name) == 0) {
            return property;
        }
    }
    return nullptr;
}

DDS_Long DDS_PropertyQosPolicyHelper_get_number_of_properties(const DDS_PropertyQosPolicy *policy) {
    return DDSLog_isNull(policy) ? 0 : policy->value._length;
}

DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
    const DDS_PropertyQosPolicy *policy, DDS_UnsignedLong *out, const char *name) {
    return lookup(policy, out, name, REDAString_strToUnsignedLong);
}

DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_integer_property(const DDS_PropertyQosPolicy *policy,
                                                                DDS_Long *out, const char *name) {
    return lookup(policy, out, name, REDAString_strToLong);
}

DDS_Boolean
DDS_PropertyQosPolicyHelper_lookup_duration_property(const DDS_PropertyQosPolicy *policy,
                                                     NUVNtpTime *out, const char *name) {
    return lookup(policy, out, name, REDAString_strToNtpTime);
}
