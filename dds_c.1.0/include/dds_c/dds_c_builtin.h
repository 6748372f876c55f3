// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_builtin.h
 * @brief What a participant knows of others (DDS 1.4 2.2.5, DDSI-RTPS 8.5.3.2), and what names
 * them.
 *
 * Operations on different records may run at the same time; a record that one thread changes must
 * not be used by another. A null argument is an error, which is logged.
 */
#ifndef DDS_C_BUILTIN_H
#define DDS_C_BUILTIN_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_common.h"
#include "dds_c/dds_c_locator.h"
#include "dds_c/dds_c_qospolicy.h"
#include "dds_c/dds_c_sequence.h"

DDS_C_API_BEGIN

/** The globally unique identity of an entity (DDSI-RTPS 9.3.1): prefix, then entity id. */
typedef struct DDS_GUID_t {
    DDS_Octet value[16];
} DDS_GUID_t;

/** Names an entity that a participant knows (DDS 1.4 2.2.2.1): the octets of its GUID. */
typedef struct DDS_InstanceHandle_t {
    DDS_Octet value[16];
} DDS_InstanceHandle_t;

/** The initializer of the handle that names nothing. */
#define DDS_HANDLE_NIL                                                                             \
    {                                                                                              \
        { 0u }                                                                                     \
    }

/** A sequence of handles. */
DDS_SEQUENCE(DDS_InstanceHandleSeq, struct DDS_InstanceHandle_t);

/** True when both name the same. */
DDS_Boolean DDS_InstanceHandle_is_equal(const struct DDS_InstanceHandle_t *left,
                                        const struct DDS_InstanceHandle_t *right);

/** True when it names nothing. */
DDS_Boolean DDS_InstanceHandle_is_nil(const struct DDS_InstanceHandle_t *self);

/** The key of a builtin topic (DDSI-RTPS 9.6.3.3): the octets of the GUID of what it is about. */
typedef struct DDS_BuiltinTopicKey_t {
    DDS_Octet value[16];
} DDS_BuiltinTopicKey_t;

/** Who made an implementation of RTPS (DDSI-RTPS 9.3.1.3); {0, 0}: it does not say. */
typedef struct DDS_VendorId_t {
    DDS_Octet value[2];
} DDS_VendorId_t;

/** A version of the protocol (DDSI-RTPS 9.3.1.4). */
typedef struct DDS_ProtocolVersion_t {
    DDS_Octet major;
    DDS_Octet minor;
} DDS_ProtocolVersion_t;

/** What a participant says of itself, and what is known of it besides. */
typedef struct DDS_ParticipantBuiltinTopicData {
    struct DDS_BuiltinTopicKey_t key;
    struct DDS_UserDataQosPolicy user_data;
    struct DDS_GUID_t guid;
    struct DDS_VendorId_t rtps_vendor_id;
    struct DDS_ProtocolVersion_t rtps_protocol_version;
    DDS_DomainId_t domain_id;   /**< the domain that it says, or else that it was heard in */
    DDS_Boolean says_domain_id; /**< true when it says so itself; older ones do not */
    char *domain_tag;           /**< null when it has none */
    char *participant_name;     /**< null when it has none */
    /** Properties that it lets others know, each with @p propagate set. */
    struct DDS_PropertyQosPolicy property;
    struct DDS_LocatorSeq metatraffic_unicast_locators;
    struct DDS_LocatorSeq metatraffic_multicast_locators;
    struct DDS_LocatorSeq default_unicast_locators;
    struct DDS_LocatorSeq default_multicast_locators;
    /** How long it is known after it was last heard; infinite until it says that it leaves. */
    struct DDS_Duration_t lease_duration;
    /** When it was first and last heard, by the wall clock; DDS_TIME_INVALID once it is gone. */
    struct DDS_Time_t first_heard;
    struct DDS_Time_t last_heard;
    /**
     * Where its last announcement came from. DDS_LOCATOR_INVALID for a participant of this process,
     * and once it is gone.
     */
    struct DDS_Locator_t source;
    DDS_Boolean is_local; /**< true for a participant of this process, until it is gone */
    /**
     * True when it has said something to this participant alone, or by unicast from another host: a
     * sign that what this one says reaches it, if it has not this one's address as a peer. False
     * for a participant of this process, and once it is gone.
     */
    DDS_Boolean has_addressed;
} DDS_ParticipantBuiltinTopicData;

/** The initializer of data that says nothing. */
#define DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER                                             \
    {                                                                                              \
        {{0u}}, DDS_USER_DATA_QOS_POLICY_INITIALIZER, {{0u}}, {{0u, 0u}}, {0u, 0u}, 0,             \
            DDS_BOOLEAN_FALSE, NULL, NULL, DDS_PROPERTY_QOS_POLICY_INITIALIZER,                    \
            DDS_SEQUENCE_INITIALIZER, DDS_SEQUENCE_INITIALIZER, DDS_SEQUENCE_INITIALIZER,          \
            DDS_SEQUENCE_INITIALIZER, DDS_DURATION_ZERO, DDS_TIME_INVALID, DDS_TIME_INVALID,       \
            DDS_LOCATOR_INVALID, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_FALSE                              \
    }

/** Makes storage without a value the one of the initializer. Allocates nothing. */
void DDS_ParticipantBuiltinTopicData_initialize(struct DDS_ParticipantBuiltinTopicData *self);

/** Frees what it owns; its sequences are then empty and its strings null. */
void DDS_ParticipantBuiltinTopicData_finalize(struct DDS_ParticipantBuiltinTopicData *self);

/**
 * @brief Makes @p self (initialized) a deep copy of @p src, in the storage that it has when
 * everything fits there.
 * @return the copy, or null when memory runs out; then @p self is as it was.
 */
struct DDS_ParticipantBuiltinTopicData *
DDS_ParticipantBuiltinTopicData_copy(struct DDS_ParticipantBuiltinTopicData *self,
                                     const struct DDS_ParticipantBuiltinTopicData *src);

/** True when both say the same, strings and sequences by what is in them. */
DDS_Boolean
DDS_ParticipantBuiltinTopicData_is_equal(const struct DDS_ParticipantBuiltinTopicData *left,
                                         const struct DDS_ParticipantBuiltinTopicData *right);

/** What has become of another participant. */
typedef enum DDS_DiscoveredParticipantChange {
    DDS_DISCOVERED_PARTICIPANT_CAME = 0, /**< it is known from now on */
    DDS_DISCOVERED_PARTICIPANT_CHANGED,  /**< it says something else of itself */
    DDS_DISCOVERED_PARTICIPANT_LEFT,     /**< it said that it leaves */
    /** Its lease ran out, another participant has its place, or it is ignored from now on. */
    DDS_DISCOVERED_PARTICIPANT_LOST
} DDS_DiscoveredParticipantChange;

/** Why an announcement was not taken. The values count up from 0. */
typedef enum DDS_DiscoveryRefusal {
    DDS_DISCOVERY_REFUSED_DOMAIN_ID = 0, /**< it is of another domain */
    DDS_DISCOVERY_REFUSED_DOMAIN_TAG,    /**< it has another domain tag */
    DDS_DISCOVERY_REFUSED_STALE,         /**< an older one that came late */
    DDS_DISCOVERY_REFUSED_IGNORED,       /**< its participant is ignored */
    DDS_DISCOVERY_REFUSED_FORGED,        /**< from elsewhere than where its participant lives */
    DDS_DISCOVERY_REFUSED_FULL,          /**< no room, or too many from one address */
    DDS_DISCOVERY_REFUSED_ECHO,          /**< what a participant of this process said itself */
    DDS_DISCOVERY_REFUSED_NO_MEMORY,     /**< memory ran out */
    DDS_DISCOVERY_REFUSED_LEASE,         /**< a lease of zero or less */
    DDS_DISCOVERY_REFUSED_GUID,          /**< no GUID, one of no participant, or not the sender's */
    DDS_DISCOVERY_REFUSED_MUST_UNDERSTAND, /**< a parameter that must be understood and is not */
    DDS_DISCOVERY_REFUSED_MALFORMED        /**< octets that are no announcement */
} DDS_DiscoveryRefusal;

/** How many reasons there are. */
#define DDS_DISCOVERY_REFUSAL_COUNT 12

/**
 * @brief A reason in words, as "it is of another domain".
 * @return a constant; "unknown reason" when @p refusal is none.
 */
const char *DDS_DiscoveryRefusal_to_string(DDS_DiscoveryRefusal refusal);

/** What a participant's discovery has done since it was created. All counts but the first rise
 * only. */
typedef struct DDS_DiscoveryStatistics {
    DDS_UnsignedLongLong known; /**< participants that it knows now */
    /** Datagrams with an announcement, or with the word that it leaves. */
    DDS_UnsignedLongLong announcements_sent;
    DDS_UnsignedLongLong announcements_received; /**< from others, whatever became of them */
    /** Of these, those that were not taken: at each DDS_DiscoveryRefusal how many. */
    DDS_UnsignedLongLong refused[DDS_DISCOVERY_REFUSAL_COUNT];
    DDS_UnsignedLongLong came;    /**< newcomers */
    DDS_UnsignedLongLong changed; /**< participants that said something else of themselves */
    DDS_UnsignedLongLong left;    /**< participants that said that they leave */
    DDS_UnsignedLongLong lost;    /**< leases that ran out, participants replaced or ignored */
    /** Answers to those who ask for builtin endpoints that there are not. */
    DDS_UnsignedLongLong heartbeats_sent;
} DDS_DiscoveryStatistics;

DDS_C_API_END

#endif
