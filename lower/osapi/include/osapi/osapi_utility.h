// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_utility.h
 * @brief Bounded string operations. All are thread-safe and allocate nothing. A null string is
 * refused like one that does not fit.
 */
#ifndef OSAPI_UTILITY_H
#define OSAPI_UTILITY_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Copies a string when it fits.
 * @param dst       destination with room for @p maxLength characters and the terminator.
 * @param maxLength most characters that may be copied, the terminator not counted.
 * @param src       terminated source; read at most to its character @p maxLength + 1.
 * @return @p dst, or null when @p src is longer; then @p dst is left as it was.
 */
char *NUVOsapiUtility_strcpy(char *dst, size_t maxLength, const char *src);

/**
 * @brief Appends at most @p count characters of a string when they fit.
 * @param dst       terminated destination with room for @p maxLength characters and the terminator.
 * @param maxLength most characters that @p dst may hold, the terminator not counted.
 * @param src       terminated source.
 * @param count     most characters to take from @p src.
 * @return @p dst, or null when the result would be too long; then @p dst is left as it was.
 */
char *NUVOsapiUtility_strncat(char *dst, size_t maxLength, const char *src, size_t count);

/**
 * @brief Formats into a buffer, always terminated when @p size is not 0.
 * @return the number of characters that the whole text has, as snprintf; negative on error.
 */
int NUVOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...)
    NUV_PRINTF_FORMAT(3, 4);

#ifdef __cplusplus
}
#endif

#endif
