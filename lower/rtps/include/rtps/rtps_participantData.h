// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_participantData.h
 * @brief What a participant announces of itself (DDSI-RTPS 8.5.3.2, SPDPdiscoveredParticipantData),
 * and what it says on leaving.
 */
#ifndef RTPS_PARTICIPANT_DATA_H
#define RTPS_PARTICIPANT_DATA_H

#include "osapi/osapi_guid.h"
#include "osapi/osapi_ntptime.h"
#include "rtps/rtps_locators.h"
#include "rtps/rtps_message.h"
#include "rtps/rtps_propertyList.h"
#include "rtps/rtps_refusal.h"
#include "rtps/rtps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The builtin endpoints that a participant may have (BuiltinEndpointSet_t). */
#define RTPS_BUILTIN_PARTICIPANT_ANNOUNCER 0x00000001u
#define RTPS_BUILTIN_PARTICIPANT_DETECTOR 0x00000002u
#define RTPS_BUILTIN_PUBLICATIONS_ANNOUNCER 0x00000004u
#define RTPS_BUILTIN_PUBLICATIONS_DETECTOR 0x00000008u
#define RTPS_BUILTIN_SUBSCRIPTIONS_ANNOUNCER 0x00000010u
#define RTPS_BUILTIN_SUBSCRIPTIONS_DETECTOR 0x00000020u
#define RTPS_BUILTIN_PARTICIPANT_MESSAGE_WRITER 0x00000400u
#define RTPS_BUILTIN_PARTICIPANT_MESSAGE_READER 0x00000800u
#define RTPS_BUILTIN_TOPICS_ANNOUNCER 0x10000000u
#define RTPS_BUILTIN_TOPICS_DETECTOR 0x20000000u

/** BuiltinEndpointQos_t: the reader of participant messages is a best-effort one. */
#define RTPS_BUILTIN_QOS_BEST_EFFORT_PARTICIPANT_MESSAGE_READER 0x00000001u

/** The lease of a participant that says nothing of it. */
#define RTPS_LEASE_DURATION_DEFAULT                                                                \
    { 100, 0u }

/** Its texts, user data and properties are views. */
struct RTPSParticipantData {
    struct RTPSProtocolVersion protocolVersion;
    struct RTPSVendorId vendorId;
    struct NUVOsapiRtpsGuid guid;
    struct NUVNtpTime leaseDuration; /**< above 0; infinite: it never ends */
    NUV_UINT32 availableBuiltinEndpoints;
    NUV_UINT32 builtinEndpointQos;
    NUV_INT32 hasDomainId;
    NUV_UINT32 domainId; /**< 0 without @p hasDomainId */
    NUV_INT32 expectsInlineQos;
    struct RTPSText domainTag; /**< empty when it has none, as the next four */
    struct RTPSText entityName;
    struct RTPSOctets userData;
    struct RTPSPropertyList properties;
    struct RTPSLocators metatrafficUnicast;
    struct RTPSLocators metatrafficMulticast;
    struct RTPSLocators defaultUnicast;
    struct RTPSLocators defaultMulticast;
};

/**
 * @brief Reads an announcement.
 *
 * Parameters may come in any order. Unknown ones are skipped, unless they must be understood.
 * Locators add up; of any other parameter that is there several times the last counts.
 * @param payload with its encapsulation header.
 * @param source  the sender: the participant must be it, and has its version and vendor unless it
 *                says otherwise.
 * @param ranking which locators are kept; null: the first ones.
 * @param out     means nothing after a refusal.
 */
enum RTPSRefusal RTPSParticipantData_read(struct RTPSOctets payload,
                                          const struct RTPSHeader *source,
                                          const struct RTPSLocatorRanking *ranking,
                                          struct RTPSParticipantData *out);

/**
 * @brief Writes an announcement, with its encapsulation header.
 *
 * What is empty or 0 and means the same when it is not there is left out: multicast locators,
 * builtinEndpointQos, domainId, domainTag, userData, entityName, properties.
 * @return the octets it has. More than @p capacity: it is not there as a whole;
 * RTPS_SIZE_IMPOSSIBLE: a text, user data or the properties are too long for any announcement.
 */
size_t RTPSParticipantData_write(const struct RTPSParticipantData *self,
                                 enum RTPSByteOrder byteOrder, NUV_UINT8 *buffer, size_t capacity);

/** Reads the serialized key of a participant, whose GUID that is. */
enum RTPSRefusal RTPSParticipantKey_read(struct RTPSOctets payload, struct NUVOsapiRtpsGuid *out);

/** Writes the serialized key, with its encapsulation header; the rest is as for the data. */
size_t RTPSParticipantKey_write(const struct NUVOsapiRtpsGuid *guid, enum RTPSByteOrder byteOrder,
                                NUV_UINT8 *buffer, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif
