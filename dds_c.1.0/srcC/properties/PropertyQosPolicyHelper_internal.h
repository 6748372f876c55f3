// SPDX-License-Identifier: Apache-2.0
/**
 * @file PropertyQosPolicyHelper_internal.h
 * @brief Typed lookups of properties. Thread-safe; allocates nothing, logs nothing.
 *
 * Each is true only when the property exists and its whole value is well-formed; otherwise the
 * output is left as it was.
 */
#ifndef PROPERTIES_PROPERTY_QOS_POLICY_HELPER_INTERNAL_H
#define PROPERTIES_PROPERTY_QOS_POLICY_HELPER_INTERNAL_H

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "osapi/osapi_ntptime.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A decimal number of 32 bits without sign. */
DDS_Boolean DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(
    const struct DDS_PropertyQosPolicy *policy, DDS_UnsignedLong *out, const char *name);

/** A decimal number of 32 bits with an optional sign. */
DDS_Boolean
DDS_PropertyQosPolicyHelper_lookup_integer_property(const struct DDS_PropertyQosPolicy *policy,
                                                    DDS_Long *out, const char *name);

/** Seconds with an optional decimal fraction ("0.125"), or "infinite". */
DDS_Boolean
DDS_PropertyQosPolicyHelper_lookup_duration_property(const struct DDS_PropertyQosPolicy *policy,
                                                     struct NUVNtpTime *out, const char *name);

#ifdef __cplusplus
}
#endif

#endif
