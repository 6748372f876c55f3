// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_guid.h
 * @brief GUIDs as messages carry them, and the entity ids of the standard (DDSI-RTPS 9.3.1).
 */
#ifndef RTPS_GUID_H
#define RTPS_GUID_H

#include "osapi/osapi_guid.h"

#ifdef __cplusplus
extern "C" {
#endif

#define RTPS_GUID_PREFIX_SIZE 12
#define RTPS_GUID_SIZE 16

/** Room for a key hash. That of an entity's data is its GUID. */
#define RTPS_KEY_HASH_SIZE 16

/** An entity id: its three octets of key and one of kind as one number, the first the highest. */
typedef NUV_UINT32 RTPSEntityId;

#define RTPS_ENTITYID_UNKNOWN 0x00000000u
#define RTPS_ENTITYID_PARTICIPANT NUV_OSAPI_RTPS_OBJECT_ID_PARTICIPANT
#define RTPS_ENTITYID_SEDP_BUILTIN_TOPICS_ANNOUNCER 0x000002C2u
#define RTPS_ENTITYID_SEDP_BUILTIN_TOPICS_DETECTOR 0x000002C7u
#define RTPS_ENTITYID_SEDP_BUILTIN_PUBLICATIONS_ANNOUNCER 0x000003C2u
#define RTPS_ENTITYID_SEDP_BUILTIN_PUBLICATIONS_DETECTOR 0x000003C7u
#define RTPS_ENTITYID_SEDP_BUILTIN_SUBSCRIPTIONS_ANNOUNCER 0x000004C2u
#define RTPS_ENTITYID_SEDP_BUILTIN_SUBSCRIPTIONS_DETECTOR 0x000004C7u
#define RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER 0x000100C2u
#define RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR 0x000100C7u
#define RTPS_ENTITYID_P2P_BUILTIN_PARTICIPANT_MESSAGE_WRITER 0x000200C2u
#define RTPS_ENTITYID_P2P_BUILTIN_PARTICIPANT_MESSAGE_READER 0x000200C7u

/** Writes a GUID as messages carry it. */
void RTPSGuid_toOctets(const struct NUVOsapiRtpsGuid *guid, NUV_UINT8 octets[RTPS_GUID_SIZE]);

/** The GUID that these octets are. */
struct NUVOsapiRtpsGuid RTPSGuid_fromOctets(const NUV_UINT8 octets[RTPS_GUID_SIZE]);

#ifdef __cplusplus
}
#endif

#endif
