// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_types.h
 * @brief What all of the codec is made of: views of octets and texts, byte order, version, time.
 *
 * The codec of DDSI-RTPS 2.5: octets in, views out, and back. A view lies within the octets that it
 * was read from and is good as long as these are. Nothing outside the octets handed in is read,
 * nothing outside the room handed in is written, neither has to be aligned, and nothing is
 * allocated. All functions are thread-safe on objects of their own.
 */
#ifndef RTPS_TYPES_H
#define RTPS_TYPES_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Octets that somebody else owns. */
struct RTPSOctets {
    const NUV_UINT8 *data; /**< may be null when the length is 0 */
    size_t length;
};

/** A text that somebody else owns. */
struct RTPSText {
    const char *text;  /**< terminated where it has been read; null when there is none */
    NUV_UINT32 length; /**< characters, the terminator not counted */
};

/** How numbers are represented; the values are those of the endianness flag. */
enum RTPSByteOrder { RTPS_BIG_ENDIAN = 0, RTPS_LITTLE_ENDIAN = 1 };

/** What a function that writes answers when no room would be enough. */
#define RTPS_SIZE_IMPOSSIBLE SIZE_MAX

struct RTPSProtocolVersion {
    NUV_UINT8 major;
    NUV_UINT8 minor;
};

/** The version that is spoken here. */
#define RTPS_PROTOCOL_VERSION                                                                      \
    { 2, 5 }

struct RTPSVendorId {
    NUV_UINT8 octets[2];
};

/** VENDORID_UNKNOWN, which is also ours. */
#define RTPS_VENDOR_ID_UNKNOWN                                                                     \
    {                                                                                              \
        { 0, 0 }                                                                                   \
    }

/**
 * @brief A point of time, since 1970-01-01T00:00:00Z (DDSI-RTPS 9.3.2.1, Time_t).
 *
 * Unlike the seconds of a duration, which is a NUVNtpTime, these have no sign: they last until
 * 2106.
 */
struct RTPSTime {
    NUV_UINT32 seconds;
    NUV_UINT32 fraction; /**< in units of 2^-32 s */
};

#define RTPS_TIME_INVALID                                                                          \
    { 0xFFFFFFFFu, 0xFFFFFFFFu }

/** Non-zero unless @p time is RTPS_TIME_INVALID. */
int RTPSTime_isValid(const struct RTPSTime *time);

/** Less than, equal to or greater than 0 as @p left is before, the same as or after @p right. */
int RTPSTime_compare(const struct RTPSTime *left, const struct RTPSTime *right);

/**
 * @p nanoseconds since 1970, as the wall clock tells them, rounded to the nearest unit; what is
 * before 1970 or after 2106 is RTPS_TIME_INVALID.
 */
struct RTPSTime RTPSTime_fromNanoseconds(NUV_INT64 nanoseconds);

#ifdef __cplusplus
}
#endif

#endif
