// SPDX-License-Identifier: Apache-2.0
/**
 * @file reda_string.h
 * @brief Strict parsers. Each takes the whole text or refuses it, and writes only on success. Null
 * is refused.
 */
#ifndef REDA_STRING_H
#define REDA_STRING_H

#include "osapi/osapi_ntptime.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Parses a boolean: "1", "true", "yes", "on" or "0", "false", "no", "off", in any case.
 * @return non-zero on success, with 1 or 0 in @p out.
 */
int REDAString_strToBoolean(const char *text, int *out);

/** Parses a decimal integer of 32 bits with an optional sign. Non-zero on success. */
int REDAString_strToLong(const char *text, NUV_INT32 *out);

/** Parses a decimal integer of 32 bits without sign. Non-zero on success. */
int REDAString_strToUnsignedLong(const char *text, NUV_UINT32 *out);

/**
 * @brief Parses a duration: seconds with an optional decimal fraction ("0", "2", "0.125"), or
 * "infinite". The fraction is rounded to the nearest unit of NTP time; seconds from 2147483647 on
 * are refused, since they would mean infinite. Non-zero on success.
 */
int REDAString_strToNtpTime(const char *text, struct NUVNtpTime *out);

#ifdef __cplusplus
}
#endif

#endif
