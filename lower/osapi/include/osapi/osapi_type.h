// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_type.h
 * @brief Basic types that every layer shares.
 */
#ifndef OSAPI_TYPE_H
#define OSAPI_TYPE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int8_t NUV_INT8;
typedef uint8_t NUV_UINT8;
typedef int16_t NUV_INT16;
typedef uint16_t NUV_UINT16;
typedef int32_t NUV_INT32;
typedef uint32_t NUV_UINT32;
typedef int64_t NUV_INT64;
typedef uint64_t NUV_UINT64;

/** Lets the compiler check the arguments of a printf-style function. */
#define NUV_PRINTF_FORMAT(formatIndex, firstArgument)                                              \
    __attribute__((format(printf, formatIndex, firstArgument)))

#ifdef __cplusplus
}
#endif

#endif
