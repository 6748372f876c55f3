// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_qospolicy.h
 * @brief The QoS policies of a participant.
 *
 * A policy owns its sequences and strings. Each starts as its initializer or through
 * TPolicy_initialize, and is given back with TPolicy_finalize; zeroed storage may be finalized too.
 * Strings in it must come from DDS_String_dup or DDS_String_alloc.
 *
 * DDS_QOS_POLICY_OPERATIONS(TPolicy) declares the operations of a policy:
 *
 * - `void TPolicy_initialize(TPolicy *self)`: makes storage without a value the default, which is
 *   the one of the initializer. Allocates nothing.
 * - `void TPolicy_finalize(TPolicy *self)`: frees what the policy owns; its sequences are then
 * empty and its strings null.
 * - `TPolicy *TPolicy_copy(TPolicy *self, const TPolicy *src)`: makes @p self a deep copy of @p
 * src, in the storage that @p self has when everything fits there. The copy, or null when memory
 * runs out; then @p self is as it was.
 * - `DDS_Boolean TPolicy_is_equal(const TPolicy *left, const TPolicy *right)`: true when both mean
 *   the same. Strings are equal by their characters, a null string is equal to null only; all
 *   infinite durations are equal; a partition of one empty name is equal to one of no name.
 *
 * A null argument is an error, which is logged; the operation then does nothing and returns null or
 * DDS_BOOLEAN_FALSE. Operations on different policies may run at the same time; a policy that one
 * thread changes must not be used by another.
 */
#ifndef DDS_C_QOS_POLICY_H
#define DDS_C_QOS_POLICY_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_rtpswellknownports.h"
#include "dds_c/dds_c_string.h"

DDS_C_API_BEGIN

/** Declares the operations of a policy; see the head of this file. */
#define DDS_QOS_POLICY_OPERATIONS(TPolicy)                                                         \
    void TPolicy##_initialize(struct TPolicy *self);                                               \
    void TPolicy##_finalize(struct TPolicy *self);                                                 \
    struct TPolicy *TPolicy##_copy(struct TPolicy *self, const struct TPolicy *src);               \
    DDS_Boolean TPolicy##_is_equal(const struct TPolicy *left, const struct TPolicy *right)

/**
 * @brief Octets that the application attaches to a participant (DDS 1.4 2.2.3.1). Changeable.
 * Others learn of them by discovery.
 */
typedef struct DDS_UserDataQosPolicy {
    /** At most resource_limits.participant_user_data_max_length octets. Default: none. */
    DDS_OctetSeq value;
} DDS_UserDataQosPolicy;

#define DDS_USER_DATA_QOS_POLICY_INITIALIZER                                                       \
    { DDS_SEQUENCE_INITIALIZER }

DDS_QOS_POLICY_OPERATIONS(DDS_UserDataQosPolicy);

/** How an entity acts as a factory of others (DDS 1.4 2.2.3.20). Changeable. */
typedef struct DDS_EntityFactoryQosPolicy {
    /** True: the entities that it creates are enabled at once. Default: true. */
    DDS_Boolean autoenable_created_entities;
} DDS_EntityFactoryQosPolicy;

#define DDS_ENTITY_FACTORY_QOS_POLICY_INITIALIZER                                                  \
    { DDS_BOOLEAN_TRUE }

DDS_QOS_POLICY_OPERATIONS(DDS_EntityFactoryQosPolicy);

/** The participant index that asks for the first free one. */
#define DDS_PARTICIPANT_ID_AUTO (-1)

/** A participant's identity and ports on the wire (DDSI-RTPS 9.3.1.5, 9.6.1). */
typedef struct DDS_WireProtocolQosPolicy {
    /**
     * The participant's index in its domain on this host, 0 or more, which decides its unicast
     * ports; DDS_PARTICIPANT_ID_AUTO, the default, takes the first index whose ports are free.
     * Fixed at creation.
     */
    DDS_Long participant_id;
    /**
     * The three words of the GUID prefix (DDSI-RTPS 9.3.1.5). 0, the default, has a word generated;
     * in a change of the QoS it keeps the word. Fixed at creation.
     */
    DDS_UnsignedLong rtps_host_id;
    DDS_UnsignedLong rtps_app_id;
    DDS_UnsignedLong rtps_instance_id;
    /** Where the port numbers come from (DDSI-RTPS 9.6.1). Default: the standard ones. */
    struct DDS_RtpsWellKnownPorts_t rtps_well_known_ports;
    /** Which ports are reserved; DDS_RTPS_RESERVED_PORT_MASK_DEFAULT is the default. */
    DDS_RtpsReservedPortKindMask rtps_reserved_port_mask;
} DDS_WireProtocolQosPolicy;

#define DDS_WIRE_PROTOCOL_QOS_POLICY_INITIALIZER                                                   \
    {                                                                                              \
        DDS_PARTICIPANT_ID_AUTO, 0u, 0u, 0u, DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER,                \
            DDS_RTPS_RESERVED_PORT_MASK_DEFAULT                                                    \
    }

DDS_QOS_POLICY_OPERATIONS(DDS_WireProtocolQosPolicy);

/** A set of built-in transports. */
typedef DDS_UnsignedLong DDS_TransportBuiltinKindMask;

/** UDP over IPv4, alias "udpv4". */
#define DDS_TRANSPORTBUILTIN_UDPv4 1u
/** UDP over IPv6, alias "udpv6". */
#define DDS_TRANSPORTBUILTIN_UDPv6 2u
#define DDS_TRANSPORTBUILTIN_MASK_NONE 0u
#define DDS_TRANSPORTBUILTIN_MASK_DEFAULT DDS_TRANSPORTBUILTIN_UDPv4
#define DDS_TRANSPORTBUILTIN_MASK_ALL (DDS_TRANSPORTBUILTIN_UDPv4 | DDS_TRANSPORTBUILTIN_UDPv6)

/** The transports that a participant has. Fixed at creation. */
typedef struct DDS_TransportBuiltinQosPolicy {
    /** At least one. Default: DDS_TRANSPORTBUILTIN_MASK_DEFAULT. */
    DDS_TransportBuiltinKindMask mask;
} DDS_TransportBuiltinQosPolicy;

#define DDS_TRANSPORT_BUILTIN_QOS_POLICY_INITIALIZER                                               \
    { DDS_TRANSPORTBUILTIN_MASK_DEFAULT }

DDS_QOS_POLICY_OPERATIONS(DDS_TransportBuiltinQosPolicy);

/** One setting for receiving by unicast. */
typedef struct DDS_TransportUnicastSettings_t {
    /** Aliases of the transports to receive on, as "udpv4". None: every one that there is. */
    DDS_StringSeq transports;
    /** The port, 1 to 65535; 0 computes it from the participant's index. */
    DDS_Long receive_port;
} DDS_TransportUnicastSettings_t;

#define DDS_TRANSPORT_UNICAST_SETTINGS_INITIALIZER                                                 \
    { DDS_SEQUENCE_INITIALIZER, 0 }

/** A sequence of unicast settings. */
DDS_SEQUENCE(DDS_TransportUnicastSettingsSeq, struct DDS_TransportUnicastSettings_t);

/** Where user traffic is received by unicast. Fixed at creation. */
typedef struct DDS_TransportUnicastQosPolicy {
    /** None, the default: every transport, at the port of the participant's index. */
    DDS_TransportUnicastSettingsSeq value;
} DDS_TransportUnicastQosPolicy;

#define DDS_TRANSPORT_UNICAST_QOS_POLICY_INITIALIZER                                               \
    { DDS_SEQUENCE_INITIALIZER }

DDS_QOS_POLICY_OPERATIONS(DDS_TransportUnicastQosPolicy);

/** The multicast addresses for the topics whose names match an expression. */
typedef struct DDS_TransportMulticastMapping_t {
    /** Numeric multicast addresses without port, as "239.255.1.1". */
    DDS_StringSeq addresses;
    /** Topic names joined by ',', each with the wild cards of POSIX fnmatch. */
    char *topic_expression;
} DDS_TransportMulticastMapping_t;

#define DDS_TRANSPORT_MULTICAST_MAPPING_INITIALIZER                                                \
    { DDS_SEQUENCE_INITIALIZER, NULL }

/** A sequence of multicast mappings. */
DDS_SEQUENCE(DDS_TransportMulticastMappingSeq, struct DDS_TransportMulticastMapping_t);

/**
 * @brief Which multicast addresses the topics of a participant use. Fixed at creation.
 * Nothing acts on it yet: it is kept and read back.
 */
typedef struct DDS_TransportMulticastMappingQosPolicy {
    /** Default: none. */
    DDS_TransportMulticastMappingSeq value;
} DDS_TransportMulticastMappingQosPolicy;

#define DDS_TRANSPORT_MULTICAST_MAPPING_QOS_POLICY_INITIALIZER                                     \
    { DDS_SEQUENCE_INITIALIZER }

DDS_QOS_POLICY_OPERATIONS(DDS_TransportMulticastMappingQosPolicy);

/** The most peers of a participant. */
#define DDS_INITIAL_PEERS_LENGTH_MAX 64

/**
 * @brief How a participant finds others (DDSI-RTPS 8.5).
 *
 * The initializer and DDS_DiscoveryQosPolicy_initialize leave all three lists empty;
 * DDS_DomainParticipantQos_initialize puts the usual peers and receive addresses in.
 */
typedef struct DDS_DiscoveryQosPolicy {
    /** Aliases of the transports for discovery. None: every one that there is. */
    DDS_StringSeq enabled_transports;
    /**
     * Whom to announce to, at most 64 of them: "ADDRESS", "ADDRESS:PORT", "udpv4://ADDRESS:PORT",
     * "udpv6://[ADDRESS]:PORT", or a host name in place of the address. Without a port a group is
     * announced to at the well-known port of discovery multicast, any other address at those of the
     * participant indices from 0 to the property "dds.discovery.max_peer_index". Usually
     * "239.255.0.1" and "127.0.0.1". Changeable.
     */
    DDS_StringSeq initial_peers;
    /**
     * At most 4 numeric multicast addresses without port to receive announcements at; the first
     * one of an enabled transport is used. None: no multicast. IPv6 groups of interface-local and
     * link-local scope (ff01::/16, ff02::/16) are not allowed.
     * Usually "239.255.0.1" (DDSI-RTPS 9.6.1.4.1).
     */
    DDS_StringSeq multicast_receive_addresses;
} DDS_DiscoveryQosPolicy;

#define DDS_DISCOVERY_QOS_POLICY_INITIALIZER                                                       \
    { DDS_SEQUENCE_INITIALIZER, DDS_SEQUENCE_INITIALIZER, DDS_SEQUENCE_INITIALIZER }

DDS_QOS_POLICY_OPERATIONS(DDS_DiscoveryQosPolicy);

/** The range of DDS_DomainParticipantResourceLimitsQosPolicy.transport_info_list_max_length. */
#define DDS_TRANSPORT_INFO_LIST_LENGTH_MAX 100

/*
 * A participant announces each of the following in one parameter of a list. The length of a
 * parameter is a multiple of 4 in 16 bits (DDSI-RTPS 9.4.2.11): at most 65532 bytes.
 */

/** The most octets of user data: a parameter without the 4 bytes of their count. */
#define DDS_USER_DATA_LENGTH_MAX 65528
/** The most properties: each takes 16 bytes of a parameter at least, which begins with a count. */
#define DDS_PROPERTY_LIST_LENGTH_MAX 4095
/** The most bytes of property names and values: a parameter without the counts of one property. */
#define DDS_PROPERTY_STRING_LENGTH_MAX 65520

/** The range of DDS_DomainParticipantResourceLimitsQosPolicy.remote_participants_max. */
#define DDS_REMOTE_PARTICIPANTS_MAX 1000000

/**
 * @brief The longest variable parts that a participant may have, and how many others it may know.
 * Fixed at creation. Reading the QoS and updating the locators take buffers of these lengths for as
 * long as the call.
 *
 * User data, properties and names go into one announcement, whose largest one is that of a
 * datagram: what has no room there together is refused, whatever these limits allow.
 */
typedef struct DDS_DomainParticipantResourceLimitsQosPolicy {
    /** Transports that the participant announces, 0 to 100. Default: 12. */
    DDS_Long transport_info_list_max_length;
    /** Octets of user data, 0 to DDS_USER_DATA_LENGTH_MAX. Default: 256. */
    DDS_Long participant_user_data_max_length;
    /** Properties, 0 to DDS_PROPERTY_LIST_LENGTH_MAX. Default: 32. */
    DDS_Long participant_property_list_max_length;
    /**
     * Bytes of all property names and values with their terminators, 0 to
     * DDS_PROPERTY_STRING_LENGTH_MAX. Default: 2048.
     */
    DDS_Long participant_property_string_max_length;
    /** Other participants that it knows at a time, 0 to 1,000,000. Default: 4096. */
    DDS_Long remote_participants_max;
} DDS_DomainParticipantResourceLimitsQosPolicy;

#define DDS_DOMAIN_PARTICIPANT_RESOURCE_LIMITS_QOS_POLICY_INITIALIZER                              \
    { 12, 256, 32, 2048, 4096 }

DDS_QOS_POLICY_OPERATIONS(DDS_DomainParticipantResourceLimitsQosPolicy);

/** A set of discovery protocols. */
typedef DDS_UnsignedLong DDS_DiscoveryConfigBuiltinPluginKindMask;

/** The simple participant discovery protocol (DDSI-RTPS 8.5.3). */
#define DDS_DISCOVERYCONFIG_BUILTIN_SPDP 0x1u
/** The second version of that protocol. */
#define DDS_DISCOVERYCONFIG_BUILTIN_SPDP2 0x10u
#define DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_NONE 0u
#define DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_DEFAULT DDS_DISCOVERYCONFIG_BUILTIN_SPDP
#define DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_ALL                                                \
    (DDS_DISCOVERYCONFIG_BUILTIN_SPDP | DDS_DISCOVERYCONFIG_BUILTIN_SPDP2)

/** The range of DDS_DiscoveryConfigQosPolicy.initial_announcements. */
#define DDS_INITIAL_ANNOUNCEMENTS_MAX 100
/** The most characters of DDS_DiscoveryConfigQosPolicy.domain_tag. */
#define DDS_DOMAIN_TAG_LENGTH_MAX 255

/** The settings of discovery (DDSI-RTPS 8.5.3). Fixed at creation, except where it says so. */
typedef struct DDS_DiscoveryConfigQosPolicy {
    /**
     * How long a locator counts as reachable after it was last heard from: above 0, or infinite,
     * the default, for as long as it is announced. Nothing acts on it yet.
     */
    struct DDS_Duration_t locator_reachability_lease_duration;
    /**
     * Default: DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_DEFAULT, which is what there is. Nothing
     * acts on it yet.
     */
    DDS_DiscoveryConfigBuiltinPluginKindMask builtin_discovery_plugins;
    /**
     * How long others know the participant after they last heard of it: above 0, or infinite.
     * Default: 20 s. Changeable.
     */
    struct DDS_Duration_t lease_duration;
    /**
     * How often the participant announces itself: above 0 and not infinite, at most a quarter of
     * lease_duration. Default: 4 s. Changeable, within a quarter of the shortest lease that the
     * participant has announced so far: some of the others keep the first one.
     */
    struct DDS_Duration_t announcement_period;
    /** How many announcements follow the first one before that, 0 to 100. Default: 5. */
    DDS_Long initial_announcements;
    /** The time between these: above 0 and not infinite. Default: 100 ms. */
    struct DDS_Duration_t initial_announcement_period;
    /**
     * Participants of one domain know each other if they have the same tag: null, the default, or
     * at most 255 characters. Null is the same as the empty tag to others.
     */
    char *domain_tag;
} DDS_DiscoveryConfigQosPolicy;

#define DDS_DISCOVERY_CONFIG_QOS_POLICY_INITIALIZER                                                \
    {                                                                                              \
        DDS_DURATION_INFINITE, DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_DEFAULT, {20, 0u}, {4, 0u}, \
            5, {0, 100000000u}, NULL                                                               \
    }

DDS_QOS_POLICY_OPERATIONS(DDS_DiscoveryConfigQosPolicy);

/** A name and its value. */
typedef struct DDS_Property_t {
    char *name;  /**< not null, not empty, once in a list */
    char *value; /**< not null */
    /** DDS_BOOLEAN_TRUE: others learn of it by discovery. Else DDS_BOOLEAN_FALSE. */
    DDS_Boolean propagate;
} DDS_Property_t;

#define DDS_PROPERTY_INITIALIZER                                                                   \
    { NULL, NULL, DDS_BOOLEAN_FALSE }

/** A sequence of properties. */
DDS_SEQUENCE(DDS_PropertySeq, struct DDS_Property_t);

/**
 * @brief Named settings that have no policy of their own (DDS Security 7.2.5).
 * dds_c_propertyqospolicyhelper.h has operations on single properties.
 *
 * Those whose names begin with "dds." are read when the participant is created and are fixed then;
 * the others are the application's and changeable.
 */
typedef struct DDS_PropertyQosPolicy {
    /** At most resource_limits.participant_property_list_max_length. Default: none. */
    DDS_PropertySeq value;
} DDS_PropertyQosPolicy;

#define DDS_PROPERTY_QOS_POLICY_INITIALIZER                                                        \
    { DDS_SEQUENCE_INITIALIZER }

DDS_QOS_POLICY_OPERATIONS(DDS_PropertyQosPolicy);

/** The most characters of a name in DDS_EntityNameQosPolicy. */
#define DDS_ENTITY_NAME_LENGTH_MAX 255

/** What an entity is called, for those who look at the system. Fixed at creation. */
typedef struct DDS_EntityNameQosPolicy {
    char *name;      /**< null, the default, or at most 255 characters; others learn of it */
    char *role_name; /**< null, the default, or at most 255 characters; kept and read back */
} DDS_EntityNameQosPolicy;

#define DDS_ENTITY_NAME_QOS_POLICY_INITIALIZER                                                     \
    { NULL, NULL }

DDS_QOS_POLICY_OPERATIONS(DDS_EntityNameQosPolicy);

/** The most characters of all names in DDS_PartitionQosPolicy, joined by ','. */
#define DDS_PARTITION_NAMES_LENGTH_MAX 255

/**
 * @brief The partitions of an entity (DDS 1.4 2.2.3.13). Changeable.
 * One empty name means the same as no name, and is read back as that. Partitions are for matching
 * others: nothing acts on them yet.
 */
typedef struct DDS_PartitionQosPolicy {
    /** Names without ','; joined by ',' they have at most 255 characters. Default: none. */
    DDS_StringSeq name;
} DDS_PartitionQosPolicy;

#define DDS_PARTITION_QOS_POLICY_INITIALIZER                                                       \
    { DDS_SEQUENCE_INITIALIZER }

DDS_QOS_POLICY_OPERATIONS(DDS_PartitionQosPolicy);

DDS_C_API_END

#endif
