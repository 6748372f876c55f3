// SPDX-License-Identifier: Apache-2.0
/**
 * @file pres_security.h
 * @brief What a participant's security plugins tell the presentation layer (DDS Security 8.4.2).
 */
#ifndef PRES_SECURITY_H
#define PRES_SECURITY_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** RTPS messages are protected. */
#define PRES_PARTICIPANT_SECURITY_RTPS_PROTECTED 0x1u
/** RTPS messages are protected with a pre-shared key. */
#define PRES_PARTICIPANT_SECURITY_RTPS_PRESHARED_KEY_PROTECTED 0x10u

struct PRESParticipantSecurityProtectionInfo {
    NUV_UINT32 bitmask;
    NUV_UINT32 pluginBitmask;
};

struct PRESParticipantSecurityAlgorithmInfo {
    NUV_UINT32 digitalSignatureMask;
    NUV_UINT32 keyEstablishmentMask;
    NUV_UINT32 symmetricCipherMask;
};

struct PRESParticipantSecurityVendorProtectionInfo {
    NUV_UINT32 bitmask;
};

/** Identity and permissions tokens, as references that the plugins own. */
struct PRESParticipantSecurityTokens {
    const void *identityToken;
    const void *permissionsToken;
    const void *identityStatusToken;
};

struct PRESParticipantSecurityAttributes {
    struct PRESParticipantSecurityProtectionInfo protectionInfo;
    struct PRESParticipantSecurityAlgorithmInfo algorithmInfo;
    struct PRESParticipantSecurityVendorProtectionInfo securityVendorProtectionInfo;
};

struct PRESParticipantSecurity {
    struct PRESParticipantSecurityAttributes attributes;
    void *plugins; /**< not owned */
};

#ifdef __cplusplus
}
#endif

#endif
