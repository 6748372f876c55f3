#include "infrastructure/PropertyQosPolicyHelper_internal.h"

#include "infrastructure/value_fields.h"
#include "reda/reda_string.h"

#define DDS_LOG_SUBMODULE DDS_LOG_SUBMODULE_INFRASTRUCTURE
#include "infrastructure/dds_log.h"

using dds::value::to_boolean;

namespace {

bool is_given(const DDS_PropertyQosPolicy *policy, const char *name, const char *value) {
    return !DDSLog_isNull(policy) && !DDSLog_isNull(name) && !DDSLog_isNull(value) &&
           name[0] != '\0';
}

DDS_ReturnCode_t append(DDS_PropertyQosPolicy &policy, const char *name, const char *value,
                        DDS_Boolean propagate) {
    DDS_Property_t property = {DDS_String_dup(name), DDS_String_dup(value), propagate};
    if (property.name == nullptr || property.value == nullptr ||
        !dds::value::append(policy.value, property)) {
        dds::value::finalize(property);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return DDS_RETCODE_OK;
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
    if (!is_given(policy, name, value)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    if (DDS_PropertyQosPolicyHelper_lookup_property(policy, name) != nullptr) {
        return DDS_RETCODE_PRECONDITION_NOT_MET;
    }
    return append(*policy, name, value, propagate);
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assert_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name, const char *value,
                                                             DDS_Boolean propagate) {
    if (!is_given(policy, name, value)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
    if (property == nullptr) {
        return append(*policy, name, value, propagate);
    }
    if (!DDS_String_replace(&property->value, value)) {
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    property->propagate = propagate;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_remove_property(DDS_PropertyQosPolicy *policy,
                                                             const char *name) {
    if (DDSLog_isNull(policy) || DDSLog_isNull(name)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    DDS_Property_t *property = DDS_PropertyQosPolicyHelper_lookup_property(policy, name);
    if (property == nullptr) {
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
