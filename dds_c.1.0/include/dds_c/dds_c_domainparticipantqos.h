// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_domainparticipantqos.h
 * @brief The QoS of a participant (DDS 1.4 2.2.3).
 */
#ifndef DDS_C_DOMAIN_PARTICIPANT_QOS_H
#define DDS_C_DOMAIN_PARTICIPANT_QOS_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_qospolicy.h"

DDS_C_API_BEGIN

/**
 * @brief All policies of a participant.
 *
 * It starts as DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER or through
 * DDS_DomainParticipantQos_initialize and is given back with DDS_DomainParticipantQos_finalize. It
 * owns what its policies own. Operations on different records may run at the same time; a record
 * that one thread changes must not be used by another.
 */
typedef struct DDS_DomainParticipantQos {
    struct DDS_UserDataQosPolicy user_data;
    struct DDS_EntityFactoryQosPolicy entity_factory;
    struct DDS_WireProtocolQosPolicy wire_protocol;
    struct DDS_TransportBuiltinQosPolicy transport_builtin;
    struct DDS_TransportUnicastQosPolicy default_unicast;
    struct DDS_TransportMulticastMappingQosPolicy multicast_mapping;
    struct DDS_DiscoveryQosPolicy discovery;
    struct DDS_DiscoveryConfigQosPolicy discovery_config;
    struct DDS_DomainParticipantResourceLimitsQosPolicy resource_limits;
    struct DDS_PropertyQosPolicy property;
    struct DDS_EntityNameQosPolicy participant_name;
    struct DDS_PartitionQosPolicy partition;
} DDS_DomainParticipantQos;

/**
 * @brief The initializer of a QoS: each policy's own default.
 * It allocates nothing, and so has neither initial peers nor a multicast receive address;
 * DDS_DomainParticipantQos_initialize adds them.
 */
#define DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER                                                     \
    {                                                                                              \
        DDS_USER_DATA_QOS_POLICY_INITIALIZER, DDS_ENTITY_FACTORY_QOS_POLICY_INITIALIZER,           \
            DDS_WIRE_PROTOCOL_QOS_POLICY_INITIALIZER,                                              \
            DDS_TRANSPORT_BUILTIN_QOS_POLICY_INITIALIZER,                                          \
            DDS_TRANSPORT_UNICAST_QOS_POLICY_INITIALIZER,                                          \
            DDS_TRANSPORT_MULTICAST_MAPPING_QOS_POLICY_INITIALIZER,                                \
            DDS_DISCOVERY_QOS_POLICY_INITIALIZER, DDS_DISCOVERY_CONFIG_QOS_POLICY_INITIALIZER,     \
            DDS_DOMAIN_PARTICIPANT_RESOURCE_LIMITS_QOS_POLICY_INITIALIZER,                         \
            DDS_PROPERTY_QOS_POLICY_INITIALIZER, DDS_ENTITY_NAME_QOS_POLICY_INITIALIZER,           \
            DDS_PARTITION_QOS_POLICY_INITIALIZER                                                   \
    }

/**
 * @brief Makes storage without a value the default QoS: each policy's default, the initial peers
 * "239.255.0.1" and "127.0.0.1", the multicast receive address "239.255.0.1".
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER for a null @p self;
 * DDS_RETCODE_OUT_OF_RESOURCES: then @p self is as its initializer and owns nothing. A failure is
 * logged.
 */
DDS_ReturnCode_t DDS_DomainParticipantQos_initialize(struct DDS_DomainParticipantQos *self);

/**
 * @brief Makes @p self a deep copy of @p src, in the storage that it has when everything fits
 * there.
 * @return @p self; null when memory runs out or, which is logged, an argument is null. On failure
 * @p self is as it was.
 */
struct DDS_DomainParticipantQos *
DDS_DomainParticipantQos_copy(struct DDS_DomainParticipantQos *self,
                              const struct DDS_DomainParticipantQos *src);

/** True when every policy is equal. A null argument is an error, which is logged: false. */
DDS_Boolean DDS_DomainParticipantQos_is_equal(const struct DDS_DomainParticipantQos *left,
                                              const struct DDS_DomainParticipantQos *right);

/**
 * @brief Frees what the policies own; the record may be initialized or copied into again.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER for a null @p self, which is logged.
 */
DDS_ReturnCode_t DDS_DomainParticipantQos_finalize(struct DDS_DomainParticipantQos *self);

/**
 * @brief Checks each policy against its ranges and the limits that other policies set.
 *
 * The first thing that is wrong is logged in one error line: the setting, its value, what is
 * allowed. The well-known ports and the values of "dds." properties are checked when a participant
 * is created and enabled.
 *
 * @param self not null; else the error is logged.
 * @return DDS_BOOLEAN_TRUE when a participant may have this QoS.
 */
DDS_Boolean DDS_DomainParticipantQos_is_consistent(const struct DDS_DomainParticipantQos *self);

DDS_C_API_END

#endif
