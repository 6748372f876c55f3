// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_inlineQos.h
 * @brief What the inline QoS of a DATA says of an instance (DDSI-RTPS 9.6.4.8, 9.6.4.9).
 */
#ifndef RTPS_INLINE_QOS_H
#define RTPS_INLINE_QOS_H

#include "rtps/rtps_guid.h"
#include "rtps/rtps_refusal.h"
#include "rtps/rtps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define RTPS_STATUS_INFO_DISPOSED 0x1u
#define RTPS_STATUS_INFO_UNREGISTERED 0x2u
#define RTPS_STATUS_INFO_FILTERED 0x4u

struct RTPSInlineQos {
    NUV_INT32 hasKeyHash;
    NUV_UINT8 keyHash[RTPS_KEY_HASH_SIZE]; /**< all 0 when there is none */
    NUV_UINT32 statusInfo;                 /**< RTPS_STATUS_INFO_*; 0 when there is none */
};

/**
 * @brief Reads inline QoS. Of a parameter that is there several times the last counts; those that
 * the record has no place for are skipped, unless they must be understood.
 * @param out written on success only.
 */
enum RTPSRefusal RTPSInlineQos_read(struct RTPSOctets inlineQos, enum RTPSByteOrder byteOrder,
                                    struct RTPSInlineQos *out);

/**
 * @brief Writes inline QoS: the key hash if there is one, the status unless it is 0.
 * @return the octets it has; when they are more than @p capacity it is not there as a whole.
 */
size_t RTPSInlineQos_write(const struct RTPSInlineQos *self, enum RTPSByteOrder byteOrder,
                           NUV_UINT8 *buffer, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif
