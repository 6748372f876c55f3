// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_common.h
 * @brief Basic types: integers, return codes, durations, times and status masks (DDS 1.4 2.2.1.1,
 * 2.2.4).
 *
 * All functions are thread-safe and allocate nothing.
 */
#ifndef DDS_C_COMMON_H
#define DDS_C_COMMON_H

#include <stddef.h>
#include <stdint.h>

#include "dds_c/dds_c_api.h"

DDS_C_API_BEGIN

typedef int32_t DDS_Long;
typedef uint32_t DDS_UnsignedLong;
typedef int64_t DDS_LongLong;
typedef uint64_t DDS_UnsignedLongLong;
typedef uint8_t DDS_Octet;

/** A truth value: DDS_BOOLEAN_TRUE or DDS_BOOLEAN_FALSE. */
typedef unsigned char DDS_Boolean;
#define DDS_BOOLEAN_FALSE ((DDS_Boolean)0)
#define DDS_BOOLEAN_TRUE ((DDS_Boolean)1)

/** Identifies a domain; 0 or more (DDS 1.4 2.2.1.2.2). */
typedef DDS_Long DDS_DomainId_t;

/** What an operation returns (DDS 1.4 2.2.1.1). */
typedef enum DDS_ReturnCode_t {
    DDS_RETCODE_OK = 0,                   /**< done */
    DDS_RETCODE_ERROR = 1,                /**< not done, for a reason that has no code */
    DDS_RETCODE_UNSUPPORTED = 2,          /**< the operation is not supported */
    DDS_RETCODE_BAD_PARAMETER = 3,        /**< an argument is not valid */
    DDS_RETCODE_PRECONDITION_NOT_MET = 4, /**< not possible in the present state */
    DDS_RETCODE_OUT_OF_RESOURCES = 5,     /**< memory or another resource ran out */
    DDS_RETCODE_NOT_ENABLED = 6,          /**< the entity is not enabled yet */
    DDS_RETCODE_IMMUTABLE_POLICY = 7,     /**< a policy may not change any more */
    DDS_RETCODE_INCONSISTENT_POLICY = 8,  /**< policies contradict each other or their ranges */
    DDS_RETCODE_ALREADY_DELETED = 9,      /**< the entity is deleted already */
    DDS_RETCODE_TIMEOUT = 10,             /**< time ran out */
    DDS_RETCODE_NO_DATA = 11,             /**< there is nothing to return */
    DDS_RETCODE_ILLEGAL_OPERATION = 12,   /**< not possible on this kind of object */
    DDS_RETCODE_NOT_ALLOWED_BY_SECURITY = 1000 /**< security forbids it */
} DDS_ReturnCode_t;

/**
 * @brief The name of a return code, as "DDS_RETCODE_OK".
 * @return a constant; "DDS_RETCODE_UNKNOWN" when @p code is no return code.
 */
const char *DDS_ReturnCode_to_string(DDS_ReturnCode_t code);

/** A length of time (DDS 1.4 2.3.2, Duration_t). */
typedef struct DDS_Duration_t {
    DDS_Long sec;             /**< seconds, 0 or more */
    DDS_UnsignedLong nanosec; /**< nanoseconds, 0 to 999,999,999 */
} DDS_Duration_t;

#define DDS_DURATION_ZERO_SEC 0
#define DDS_DURATION_ZERO_NSEC 0u
#define DDS_DURATION_INFINITE_SEC 0x7FFFFFFF
#define DDS_DURATION_INFINITE_NSEC 0x7FFFFFFFu

/** The initializer of the duration zero. */
#define DDS_DURATION_ZERO                                                                          \
    { DDS_DURATION_ZERO_SEC, DDS_DURATION_ZERO_NSEC }
/** The initializer of the infinite duration. */
#define DDS_DURATION_INFINITE                                                                      \
    { DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC }

/**
 * @brief Tells whether a duration is infinite: its seconds are DDS_DURATION_INFINITE_SEC, or its
 * nanoseconds are DDS_DURATION_INFINITE_NSEC or 0xFFFFFFFF.
 * @param self not null; else the result is DDS_BOOLEAN_FALSE and the error is logged.
 */
DDS_Boolean DDS_Duration_is_infinite(const struct DDS_Duration_t *self);

/**
 * @brief Tells whether a duration is infinite or within its ranges: seconds of 0 or more,
 * nanoseconds below 1,000,000,000.
 * @param self not null; else the result is DDS_BOOLEAN_FALSE and the error is logged.
 */
DDS_Boolean DDS_Duration_is_valid(const struct DDS_Duration_t *self);

/**
 * @brief A point of time by the wall clock, since 1970-01-01T00:00:00Z (DDS 1.4 2.3.2, Time_t).
 * Seconds have 64 bits, which last beyond 2038.
 */
typedef struct DDS_Time_t {
    DDS_LongLong sec;
    DDS_UnsignedLong nanosec; /**< nanoseconds, 0 to 999,999,999 */
} DDS_Time_t;

#define DDS_TIME_INVALID_SEC (-1)
#define DDS_TIME_INVALID_NSEC 0xFFFFFFFFu

/** The initializer of a time that is none. */
#define DDS_TIME_INVALID                                                                           \
    { DDS_TIME_INVALID_SEC, DDS_TIME_INVALID_NSEC }

/** A set of statuses (DDS 1.4 2.2.4.1). */
typedef DDS_UnsignedLong DDS_StatusMask;

/** A topic was asked for under a name that exists with another type (DDS 1.4 2.2.4.1). */
#define DDS_INCONSISTENT_TOPIC_STATUS 1u
/** No status. */
#define DDS_STATUS_MASK_NONE 0u
/** Every status. */
#define DDS_STATUS_MASK_ALL 0xFFFFFFFFu

DDS_C_API_END

#endif
