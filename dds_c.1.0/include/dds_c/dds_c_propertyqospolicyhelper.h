// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_propertyqospolicyhelper.h
 * @brief Operations on single properties of a DDS_PropertyQosPolicy.
 *
 * Names are compared by their characters. A null argument is an error: the operation then does
 * nothing and returns DDS_RETCODE_BAD_PARAMETER, null or 0. An operation that fails says why in one
 * line of the log. Operations on different policies may run at the same time; a policy that one
 * thread changes must not be used by another.
 */
#ifndef DDS_C_PROPERTY_QOS_POLICY_HELPER_H
#define DDS_C_PROPERTY_QOS_POLICY_HELPER_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_qospolicy.h"

DDS_C_API_BEGIN

/**
 * @brief Adds a property that the policy doesn't have yet.
 * @param name      not null, not empty; copied.
 * @param value     not null; copied.
 * @param propagate DDS_BOOLEAN_TRUE when others are to learn of it by discovery, else
 *                  DDS_BOOLEAN_FALSE.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER; DDS_RETCODE_PRECONDITION_NOT_MET when the
 * policy has the property; DDS_RETCODE_OUT_OF_RESOURCES. On failure nothing has changed.
 */
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_property(struct DDS_PropertyQosPolicy *policy,
                                                          const char *name, const char *value,
                                                          DDS_Boolean propagate);

/**
 * @brief Adds a property, or gives the one of this name another value.
 * @return as DDS_PropertyQosPolicyHelper_add_property, but for DDS_RETCODE_PRECONDITION_NOT_MET. On
 * failure nothing has changed.
 */
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_assert_property(struct DDS_PropertyQosPolicy *policy,
                                                             const char *name, const char *value,
                                                             DDS_Boolean propagate);

/**
 * @brief Removes a property; the others keep their order.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER; DDS_RETCODE_PRECONDITION_NOT_MET when the
 * policy doesn't have it.
 */
DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_remove_property(struct DDS_PropertyQosPolicy *policy,
                                                             const char *name);

/**
 * @brief Finds a property.
 * @return the property, the policy's own, valid until the policy changes; null when there is none.
 */
struct DDS_Property_t *
DDS_PropertyQosPolicyHelper_lookup_property(const struct DDS_PropertyQosPolicy *policy,
                                            const char *name);

/** The number of properties. */
DDS_Long
DDS_PropertyQosPolicyHelper_get_number_of_properties(const struct DDS_PropertyQosPolicy *policy);

DDS_C_API_END

#endif
