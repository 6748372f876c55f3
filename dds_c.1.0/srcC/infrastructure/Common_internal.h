// SPDX-License-Identifier: Apache-2.0
/**
 * @file Common_internal.h
 * @brief Basic types in the terms of the presentation layer. Thread-safe; allocates nothing.
 */
#ifndef INFRASTRUCTURE_COMMON_INTERNAL_H
#define INFRASTRUCTURE_COMMON_INTERNAL_H

#include "dds_c/dds_c_common.h"
#include "dds_c/dds_c_productversion.h"
#include "pres/pres_participant.h"

#ifdef __cplusplus
extern "C" {
#endif

/** True when @p self, which is finite, is a quarter of @p whole at most. Both are valid. */
DDS_Boolean DDS_Duration_is_quarterI(const struct DDS_Duration_t *self,
                                     const struct DDS_Duration_t *whole);

/** True when @p self is shorter than @p other. Both are valid. */
DDS_Boolean DDS_Duration_is_shorterI(const struct DDS_Duration_t *self,
                                     const struct DDS_Duration_t *other);

/** Converts a duration to NTP time, rounded to the nearest 2^-32 s; infinite becomes infinite. */
void DDS_Duration_to_ntp_time(const struct DDS_Duration_t *self, struct NUVNtpTime *out);

/** Converts NTP time to a duration, rounded to the nearest nanosecond; infinite becomes infinite.
 */
void DDS_Duration_from_ntp_time(struct DDS_Duration_t *self, const struct NUVNtpTime *time);

/** The presentation layer's status kinds for the statuses of a mask that it has. */
PRESStatusKindMask DDS_StatusMask_get_presentation_maskI(DDS_StatusMask mask);

/** The return code for a presentation fail reason; DDS_RETCODE_ERROR for an unknown one. */
DDS_ReturnCode_t DDS_ReturnCode_from_presentation_return_codeI(int failReason);

/**
 * @brief Converts a version.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER for a null argument, which is logged.
 */
DDS_ReturnCode_t
DDS_ProductVersion_to_presentation_qos_policy(const struct DDS_ProductVersion_t *self,
                                              struct PRESProductVersion *out);

#ifdef __cplusplus
}
#endif

#endif
