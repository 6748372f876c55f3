// SPDX-License-Identifier: Apache-2.0
/**
 * @file pres_participantProperty.h
 * @brief The whole configuration of a presentation participant.
 *
 * A property is a plain record. Its variable parts (user data, property list, partition names) are
 * buffers lent by whoever prepares it; the presentation layer copies out of them and into them and
 * keeps none of them.
 */
#ifndef PRES_PARTICIPANT_PROPERTY_H
#define PRES_PARTICIPANT_PROPERTY_H

#include "commend/commend_facadeProperty.h"
#include "netio/netio_configurator.h"
#include "pres/pres_locatorPolicy.h"
#include "pres/pres_security.h"

#ifdef __cplusplus
extern "C" {
#endif

struct PRESProductVersion {
    NUV_UINT8 major;
    NUV_UINT8 minor;
    NUV_UINT8 release;
    NUV_UINT8 revision;
};

/** Octets in a buffer that is lent. */
struct PRESOctetSequence {
    NUV_UINT32 _maximum;
    NUV_UINT32 _length;
    NUV_UINT8 *_buffer;
};

/** One name and value. The strings belong to whoever filled the list. */
struct PRESProperty {
    const char *name;
    const char *value;
    NUV_INT32 propagate;
};

struct PRESPropertySequence {
    NUV_UINT32 _maximum;
    NUV_UINT32 _length;
    struct PRESProperty *_buffer;
};

/** A property list, and room for the texts of a list that is read back. */
struct PRESPropertyList {
    struct PRESPropertySequence data;
    /** Where the strings of a list that is read back go, one after the other, terminated. */
    struct {
        NUV_UINT32 _maximum; /**< bytes */
        NUV_UINT32 _length;
        char *_buffer;
    } strings;
};

#define PRES_PARTITION_BUFFER_SIZE 256

/** Partition names joined by ',' in a buffer that is lent. */
struct PRESPartitionQosPolicy {
    struct {
        NUV_INT32 _maximum; /**< bytes of @p str, terminator included */
        char *str;          /**< null when no buffer has been lent */
    } name;
};

#define PRES_ENTITY_NAME_SIZE 256

struct PRESEntityNameQosPolicy {
    NUV_INT32 hasName;
    NUV_INT32 hasRoleName;
    char name[PRES_ENTITY_NAME_SIZE];
    char roleName[PRES_ENTITY_NAME_SIZE];
};

struct PRESParticipantResourceLimits {
    NUV_INT32 transportInfoListMaxLength;
    NUV_INT32 userDataMaxLength;       /**< octets */
    NUV_INT32 propertyListMaxLength;   /**< properties */
    NUV_INT32 propertyStringMaxLength; /**< bytes of all names and values with their terminators */
};

/** What a participant announces of itself, and the policies that are read back with it. */
struct PRESParticipantParameter {
    NUV_INT32 domainId;
    struct PRESProductVersion productVersion;
    struct NUVNtpTime reachabilityLeaseDuration;
    struct PRESOctetSequence userData;
    struct PRESPropertyList propertyList;
    struct PRESPartitionQosPolicy partitionQosPolicy;
    struct PRESEntityNameQosPolicy entityName;
    struct PRESLocatorQosPolicy defaultUnicastLocator;
    struct PRESLocatorQosPolicy metatrafficUnicastLocator;
    struct PRESReducedLocatorQosPolicy defaultMulticastLocator;
    struct PRESReducedLocatorQosPolicy metatrafficMulticastLocator;
    struct PRESParticipantSecurityProtectionInfo securityProtectionInfo;
    struct PRESParticipantSecurityTokens securityTokens;
    struct PRESParticipantSecurityAlgorithmInfo securityAlgorithmInfo;
    struct PRESParticipantSecurityVendorProtectionInfo securityVendorProtectionInfo;
    NUV_INT32 autoenableCreatedEntities;
    NUV_UINT32 transportBuiltinMask;
    NUV_INT32 participantIndex; /**< as asked for: -1 automatic */
    NUV_UINT32 requestedHostId; /**< identity as asked for: 0 means generated */
    NUV_UINT32 requestedAppId;
    NUV_UINT32 requestedInstanceId;
    NUV_UINT32 builtinDiscoveryPlugins;
    struct PRESParticipantResourceLimits resourceLimits;
};

struct PRESParticipantProperty {
    struct COMMENDActiveFacadeProperty facadeProperty;
    struct PRESParticipantParameter parameter;
    /** Authentication that takes longer logs a warning; infinite: never. */
    struct NUVNtpTime authenticationTimeThreshold;
    /** How the GUID of a directed write is serialized: 0, 1 or 2. */
    NUV_INT32 directedWriteGuidSerializationKind;
};

#define PRES_PARTICIPANT_RESOURCE_LIMITS_DEFAULT                                                   \
    { 12, 256, 32, 2048 }

#define PRES_PARTICIPANT_PARAMETER_DEFAULT                                                         \
    {                                                                                              \
        0, {0u, 0u, 0u, 0u}, NUV_NTP_TIME_INFINITE, {0u, 0u, NULL},                                \
            {{0u, 0u, NULL}, {0u, 0u, NULL}}, {{0, NULL}}, {0, 0, {0}, {0}},                       \
            PRES_LOCATOR_QOS_POLICY_DEFAULT, PRES_LOCATOR_QOS_POLICY_DEFAULT,                      \
            PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT, PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT,      \
            {0u, 0u}, {NULL, NULL, NULL}, {0u, 0u, 0u}, {0u}, 1, 1u, -1, 0u, 0u, 0u, 1u,           \
            PRES_PARTICIPANT_RESOURCE_LIMITS_DEFAULT                                               \
    }

/** The initializer of a property. */
#define PRES_PARTICIPANT_PROPERTY_DEFAULT                                                          \
    {                                                                                              \
        COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT, PRES_PARTICIPANT_PARAMETER_DEFAULT,                \
            NUV_NTP_TIME_INFINITE, 0                                                               \
    }

/** The default property, which every temporary property starts from. */
extern const struct PRESParticipantProperty PARTICIPANT_PROPERTY_DEFAULT;

/**
 * @brief Lends a buffer for partition names to a property and makes it the empty text.
 * @param buffer room for PRES_PARTITION_BUFFER_SIZE characters; must stay as long as the property.
 */
void PRESParticipantProperty_setPartitionBuffer(struct PRESParticipantProperty *self, char *buffer);

#ifdef __cplusplus
}
#endif

#endif
