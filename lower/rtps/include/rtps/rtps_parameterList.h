// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_parameterList.h
 * @brief Parameter lists (DDSI-RTPS 9.4.2.11, 9.6.4), as payload with an encapsulation header
 * (10.2) and as inline QoS without one.
 */
#ifndef RTPS_PARAMETER_LIST_H
#define RTPS_PARAMETER_LIST_H

#include "rtps/rtps_refusal.h"
#include "rtps/rtps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define RTPS_ENCAPSULATION_SIZE 4
#define RTPS_ENCAPSULATION_PL_CDR_BE 0x0002u
#define RTPS_ENCAPSULATION_PL_CDR_LE 0x0003u

/** Which parameter it is. Ids with the bit RTPS_PID_VENDOR_SPECIFIC belong to vendors. */
typedef NUV_UINT16 RTPSParameterId;

#define RTPS_PID_VENDOR_SPECIFIC 0x8000u
/** Who does not know it refuses the whole list. No part of the ids below. */
#define RTPS_PID_MUST_UNDERSTAND 0x4000u

#define RTPS_PID_PAD 0x0000u
#define RTPS_PID_SENTINEL 0x0001u
#define RTPS_PID_PARTICIPANT_LEASE_DURATION 0x0002u
#define RTPS_PID_DOMAIN_ID 0x000Fu
#define RTPS_PID_DOMAIN_TAG 0x0014u /**< always with RTPS_PID_MUST_UNDERSTAND: 0x4014 */
#define RTPS_PID_PROTOCOL_VERSION 0x0015u
#define RTPS_PID_VENDORID 0x0016u
#define RTPS_PID_USER_DATA 0x002Cu
#define RTPS_PID_DEFAULT_UNICAST_LOCATOR 0x0031u
#define RTPS_PID_METATRAFFIC_UNICAST_LOCATOR 0x0032u
#define RTPS_PID_METATRAFFIC_MULTICAST_LOCATOR 0x0033u
#define RTPS_PID_EXPECTS_INLINE_QOS 0x0043u
#define RTPS_PID_DEFAULT_MULTICAST_LOCATOR 0x0048u
#define RTPS_PID_PARTICIPANT_GUID 0x0050u
#define RTPS_PID_BUILTIN_ENDPOINT_SET 0x0058u
#define RTPS_PID_PROPERTY_LIST 0x0059u
#define RTPS_PID_ENTITY_NAME 0x0062u
#define RTPS_PID_KEY_HASH 0x0070u
#define RTPS_PID_STATUS_INFO 0x0071u
#define RTPS_PID_BUILTIN_ENDPOINT_QOS 0x0077u

/** The octets of the longest value of a parameter: the largest length that is a multiple of four.
 */
#define RTPS_PARAMETER_VALUE_MAX 65532u

struct RTPSParameter {
    RTPSParameterId id; /**< without RTPS_PID_MUST_UNDERSTAND */
    NUV_INT32 mustUnderstand;
    struct RTPSOctets value; /**< with what it is padded with to a multiple of four */
};

/** Goes through a parameter list, which must stay as it is meanwhile. */
struct RTPSParameterListReader {
    enum RTPSRefusal refusal; /**< why the rest was not read; RTPS_ACCEPTED as long as all was */
    enum RTPSByteOrder byteOrder;
    NUV_INT32 isAtEnd;      /**< its sentinel has been read */
    struct RTPSOctets rest; /**< after the end of the list: what follows its sentinel */
};

/** Begins to go through a list without encapsulation header, such as inline QoS. */
void RTPSParameterListReader_initialize(struct RTPSParameterListReader *self,
                                        struct RTPSOctets list, enum RTPSByteOrder byteOrder);

/**
 * @brief Begins to go through a list with an encapsulation header, which tells its byte order.
 * The options in that header are of no use here: a list ends with its sentinel.
 * @return RTPS_ACCEPTED, or RTPS_REFUSED_ENCAPSULATION; then there are no parameters.
 */
enum RTPSRefusal RTPSParameterListReader_initializePayload(struct RTPSParameterListReader *self,
                                                           struct RTPSOctets payload);

/**
 * @brief The next parameter, known or not, except for PID_PAD.
 * @return non-zero with a parameter; 0 at the sentinel and where the list is invalid: then
 * @p refusal of the reader is RTPS_REFUSED_LENGTH or RTPS_REFUSED_NO_SENTINEL.
 */
int RTPSParameterListReader_next(struct RTPSParameterListReader *self, struct RTPSParameter *out);

/**
 * @brief Puts a parameter list together in room that is lent.
 *
 * What does not fit is counted, but not written; so who only wants to know the length lends no
 * room.
 */
struct RTPSParameterListWriter {
    NUV_UINT8 *buffer; /**< may be null when the capacity is 0 */
    size_t capacity;   /**< octets */
    enum RTPSByteOrder byteOrder;
    /**
     * Octets of the list, of which as many as fit are there; RTPS_SIZE_IMPOSSIBLE when a value was
     * too long for any list.
     */
    size_t length;
};

/** Begins a list without encapsulation header. @p buffer must stay as long as the writer. */
void RTPSParameterListWriter_initialize(struct RTPSParameterListWriter *self, NUV_UINT8 *buffer,
                                        size_t capacity, enum RTPSByteOrder byteOrder);

/** Begins a list with an encapsulation header, PL_CDR_BE or PL_CDR_LE. */
void RTPSParameterListWriter_initializePayload(struct RTPSParameterListWriter *self,
                                               NUV_UINT8 *buffer, size_t capacity,
                                               enum RTPSByteOrder byteOrder);

/**
 * @brief Adds a parameter.
 * @param id    may have RTPS_PID_MUST_UNDERSTAND.
 * @param value in the list's byte order; padded with zeros to a multiple of four.
 */
void RTPSParameterListWriter_add(struct RTPSParameterListWriter *self, RTPSParameterId id,
                                 struct RTPSOctets value);

/**
 * @brief Ends the list with its sentinel.
 * @return the octets of the list. More than there is room for: it is not there as a whole.
 */
size_t RTPSParameterListWriter_finish(struct RTPSParameterListWriter *self);

#ifdef __cplusplus
}
#endif

#endif
