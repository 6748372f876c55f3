// SPDX-License-Identifier: Apache-2.0
/**
 * @file policies.h
 * @brief The table of policies: a row for each field of each policy of a participant.
 *
 * A row says what the field is called, which values it may have, whether it may change and whether
 * anything acts on it. All that depends on the fields is read from here: copy, equality and release
 * (infrastructure/value.h), consistency, the check of fixed policies, the warning about settings
 * without effect, and DDS_DomainParticipantQos_visit, by which others list them. A field without a
 * row does not compile.
 */
#ifndef QOS_POLICIES_H
#define QOS_POLICIES_H

#include "infrastructure/basic_values.h"
#include "pres/pres_locatorPolicy.h"
#include "qos/range.h"
#include "qos/row.h"

namespace dds::qos {

using Limits = DDS_DomainParticipantResourceLimitsQosPolicy;

} // namespace dds::qos

namespace dds::value {

using namespace dds::qos;

DDS_ELEMENT(DDS_TransportUnicastSettingsSeq, struct DDS_TransportUnicastSettings_t);
DDS_ELEMENT(DDS_TransportMulticastMappingSeq, struct DDS_TransportMulticastMapping_t);
DDS_ELEMENT(DDS_PropertySeq, struct DDS_Property_t);

// clang-format off

DDS_RECORD(DDS_DomainParticipantQos,
    DDS_ROW(user_data, Any{}, CHANGEABLE, ACTED_ON),
    DDS_ROW(entity_factory, Any{}, CHANGEABLE, ACTED_ON),
    DDS_ROW(wire_protocol, Any{}, CHANGE_BY_FIELD, ACTED_ON),
    DDS_ROW(transport_builtin, Any{}, FIXED, ACTED_ON),
    DDS_ROW(default_unicast, Any{}, FIXED_BY_PRESENTATION, ACTED_ON),
    DDS_ROW(multicast_mapping, Any{}, FIXED, without_effect(1)),
    DDS_ROW(discovery, Any{}, CHANGE_BY_FIELD, ACTED_ON),
    DDS_ROW(discovery_config, Any{}, CHANGE_BY_FIELD, USE_BY_FIELD),
    DDS_ROW(resource_limits, Ahead{Any{}}, FIXED, ACTED_ON),
    DDS_ROW(property, Any{}, CHANGE_BY_PROPERTY, ACTED_ON),
    DDS_ROW(participant_name, Any{}, FIXED, ACTED_ON),
    DDS_ROW(partition, Any{}, CHANGEABLE, without_effect(2)));

DDS_RECORD(DDS_UserDataQosPolicy,
    DDS_ROW(value, Limited{"octets", &Limits::participant_user_data_max_length}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_EntityFactoryQosPolicy,
    DDS_ROW(autoenable_created_entities, TruthValue{}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_WireProtocolQosPolicy,
    DDS_ROW(participant_id, Between{DDS_PARTICIPANT_ID_AUTO, UNLIMITED}, FIXED, AS_WHOLE),
    DDS_ROW(rtps_host_id, Any{}, FIXED_BY_PRESENTATION, AS_WHOLE),
    DDS_ROW(rtps_app_id, Any{}, FIXED_BY_PRESENTATION, AS_WHOLE),
    DDS_ROW(rtps_instance_id, Any{}, FIXED_BY_PRESENTATION, AS_WHOLE),
    DDS_ROW(rtps_well_known_ports, Any{}, FIXED, AS_WHOLE),
    DDS_ROW(rtps_reserved_port_mask,
            Bits{DDS_QOS_VALUE_RESERVED_PORTS, DDS_RTPS_RESERVED_PORT_MASK_ALL}, FIXED, AS_WHOLE));

// Checked when domain and index are known, which make ports of them.
DDS_RECORD(DDS_RtpsWellKnownPorts_t,
    DDS_ROW(port_base, Any{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(domain_id_gain, Any{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(participant_id_gain, Any{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(builtin_multicast_port_offset, Any{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(builtin_unicast_port_offset, Any{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(user_multicast_port_offset, Any{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(user_unicast_port_offset, Any{}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_TransportBuiltinQosPolicy,
    DDS_ROW(mask, Bits{DDS_QOS_VALUE_TRANSPORTS, DDS_TRANSPORTBUILTIN_MASK_ALL, false},
            AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_TransportUnicastQosPolicy,
    DDS_ROW(value, Any{}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_TransportUnicastSettings_t,
    DDS_ROW(transports, Transports{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(receive_port, Between{0, DDS_RTPS_PORT_MAX}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_TransportMulticastMappingQosPolicy,
    DDS_ROW(value, Any{}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_TransportMulticastMapping_t,
    DDS_ROW(addresses, MulticastAddresses{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(topic_expression, TopicExpression{}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_DiscoveryQosPolicy,
    DDS_ROW(enabled_transports, Transports{}, FIXED, AS_WHOLE),
    DDS_ROW(initial_peers, Ahead{Peers{DDS_INITIAL_PEERS_LENGTH_MAX}}, CHANGEABLE, AS_WHOLE),
    DDS_ROW(multicast_receive_addresses, ReceiveAddresses{PRES_REDUCED_LOCATOR_LIST_MAX}, FIXED,
            AS_WHOLE));

DDS_RECORD(DDS_DiscoveryConfigQosPolicy,
    DDS_ROW(locator_reachability_lease_duration, PositiveDuration{}, FIXED, without_effect(5)),
    DDS_ROW(builtin_discovery_plugins,
            Bits{DDS_QOS_VALUE_DISCOVERY_PLUGINS, DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_ALL},
            FIXED, without_effect(4)),
    DDS_ROW(lease_duration, PositiveDuration{}, CHANGEABLE, ACTED_ON),
    DDS_ROW(announcement_period, FiniteDuration{}, CHANGEABLE, ACTED_ON),
    DDS_ROW(initial_announcements, Between{0, DDS_INITIAL_ANNOUNCEMENTS_MAX}, FIXED, ACTED_ON),
    DDS_ROW(initial_announcement_period, FiniteDuration{}, FIXED, ACTED_ON),
    DDS_ROW(domain_tag, NameOfAtMost{DDS_DOMAIN_TAG_LENGTH_MAX}, FIXED, ACTED_ON));

DDS_RECORD(DDS_DomainParticipantResourceLimitsQosPolicy,
    DDS_ROW(transport_info_list_max_length, Between{0, DDS_TRANSPORT_INFO_LIST_LENGTH_MAX},
            AS_WHOLE, AS_WHOLE),
    DDS_ROW(participant_user_data_max_length, Between{0, DDS_USER_DATA_LENGTH_MAX},
            AS_WHOLE, AS_WHOLE),
    DDS_ROW(participant_property_list_max_length, Between{0, DDS_PROPERTY_LIST_LENGTH_MAX},
            AS_WHOLE, AS_WHOLE),
    DDS_ROW(participant_property_string_max_length, Between{0, DDS_PROPERTY_STRING_LENGTH_MAX},
            AS_WHOLE, AS_WHOLE),
    DDS_ROW(remote_participants_max, Between{0, DDS_REMOTE_PARTICIPANTS_MAX}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_PropertyQosPolicy,
    DDS_ROW(value, Limited{"properties", &Limits::participant_property_list_max_length},
            AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_Property_t,
    DDS_ROW(name, PropertyName{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(value, PropertyValue{}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(propagate, PropertyMark{}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_EntityNameQosPolicy,
    DDS_ROW(name, NameOfAtMost{DDS_ENTITY_NAME_LENGTH_MAX}, AS_WHOLE, AS_WHOLE),
    DDS_ROW(role_name, NameOfAtMost{DDS_ENTITY_NAME_LENGTH_MAX}, AS_WHOLE, AS_WHOLE));

DDS_RECORD(DDS_PartitionQosPolicy,
    DDS_ROW(name, PartitionNames{DDS_PARTITION_NAMES_LENGTH_MAX}, AS_WHOLE, AS_WHOLE));

// clang-format on

/** No name and one empty name are the same, the default partition. */
template <>
inline bool is_equal(const DDS_PartitionQosPolicy &left, const DDS_PartitionQosPolicy &right) {
    const auto is_default = [](const DDS_StringSeq &names) {
        return names._length == 0 ||
               (names._length == 1 && names._buffer[0] != nullptr && names._buffer[0][0] == '\0');
    };
    return (is_default(left.name) && is_default(right.name)) || is_equal(left.name, right.name);
}

} // namespace dds::value

#endif
