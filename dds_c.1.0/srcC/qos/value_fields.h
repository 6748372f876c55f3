/**
 * @file value_fields.h
 * @brief The fields of each public record, the elements of each sequence, and what is equal though
 * its fields are not.
 */
#ifndef QOS_VALUE_FIELDS_H
#define QOS_VALUE_FIELDS_H

#include "dds_c/dds_c_domainparticipantqos.h"
#include "dds_c/dds_c_locator.h"
#include "infrastructure/value.h"

namespace dds::value {

#define DDS_FIELDS(T, ...)                                                                         \
    template <>                                                                                    \
    struct Fields<T> {                                                                             \
        static constexpr auto list = std::make_tuple(__VA_ARGS__);                                 \
    }

#define DDS_ELEMENT(TSeq, T)                                                                       \
    template <>                                                                                    \
    struct ElementName<TSeq> {                                                                     \
        static constexpr const char *text = #T;                                                    \
    }

DDS_ELEMENT(DDS_StringSeq, char *);
DDS_ELEMENT(DDS_OctetSeq, DDS_Octet);
DDS_ELEMENT(DDS_LocatorSeq, struct DDS_Locator_t);
DDS_ELEMENT(DDS_TransportUnicastSettingsSeq, struct DDS_TransportUnicastSettings_t);
DDS_ELEMENT(DDS_TransportMulticastMappingSeq, struct DDS_TransportMulticastMapping_t);
DDS_ELEMENT(DDS_PropertySeq, struct DDS_Property_t);

DDS_FIELDS(DDS_Duration_t, &DDS_Duration_t::sec, &DDS_Duration_t::nanosec);

DDS_FIELDS(DDS_Locator_t, &DDS_Locator_t::kind, &DDS_Locator_t::port, &DDS_Locator_t::address);

DDS_FIELDS(DDS_RtpsWellKnownPorts_t, &DDS_RtpsWellKnownPorts_t::port_base,
           &DDS_RtpsWellKnownPorts_t::domain_id_gain,
           &DDS_RtpsWellKnownPorts_t::participant_id_gain,
           &DDS_RtpsWellKnownPorts_t::builtin_multicast_port_offset,
           &DDS_RtpsWellKnownPorts_t::builtin_unicast_port_offset,
           &DDS_RtpsWellKnownPorts_t::user_multicast_port_offset,
           &DDS_RtpsWellKnownPorts_t::user_unicast_port_offset);

DDS_FIELDS(DDS_UserDataQosPolicy, &DDS_UserDataQosPolicy::value);

DDS_FIELDS(DDS_EntityFactoryQosPolicy, &DDS_EntityFactoryQosPolicy::autoenable_created_entities);

DDS_FIELDS(DDS_WireProtocolQosPolicy, &DDS_WireProtocolQosPolicy::participant_id,
           &DDS_WireProtocolQosPolicy::rtps_host_id, &DDS_WireProtocolQosPolicy::rtps_app_id,
           &DDS_WireProtocolQosPolicy::rtps_instance_id,
           &DDS_WireProtocolQosPolicy::rtps_well_known_ports,
           &DDS_WireProtocolQosPolicy::rtps_reserved_port_mask);

DDS_FIELDS(DDS_TransportBuiltinQosPolicy, &DDS_TransportBuiltinQosPolicy::mask);

DDS_FIELDS(DDS_TransportUnicastSettings_t, &DDS_TransportUnicastSettings_t::transports,
           &DDS_TransportUnicastSettings_t::receive_port);

DDS_FIELDS(DDS_TransportUnicastQosPolicy, &DDS_TransportUnicastQosPolicy::value);

DDS_FIELDS(DDS_TransportMulticastMapping_t, &DDS_TransportMulticastMapping_t::addresses,
           &DDS_TransportMulticastMapping_t::topic_expression);

DDS_FIELDS(DDS_TransportMulticastMappingQosPolicy, &DDS_TransportMulticastMappingQosPolicy::value);

DDS_FIELDS(DDS_DiscoveryQosPolicy, &DDS_DiscoveryQosPolicy::enabled_transports,
           &DDS_DiscoveryQosPolicy::initial_peers,
           &DDS_DiscoveryQosPolicy::multicast_receive_addresses);

DDS_FIELDS(DDS_DomainParticipantResourceLimitsQosPolicy,
           &DDS_DomainParticipantResourceLimitsQosPolicy::transport_info_list_max_length,
           &DDS_DomainParticipantResourceLimitsQosPolicy::participant_user_data_max_length,
           &DDS_DomainParticipantResourceLimitsQosPolicy::participant_property_list_max_length,
           &DDS_DomainParticipantResourceLimitsQosPolicy::participant_property_string_max_length);

DDS_FIELDS(DDS_DiscoveryConfigQosPolicy,
           &DDS_DiscoveryConfigQosPolicy::locator_reachability_lease_duration,
           &DDS_DiscoveryConfigQosPolicy::builtin_discovery_plugins);

DDS_FIELDS(DDS_Property_t, &DDS_Property_t::name, &DDS_Property_t::value,
           &DDS_Property_t::propagate);

DDS_FIELDS(DDS_PropertyQosPolicy, &DDS_PropertyQosPolicy::value);

DDS_FIELDS(DDS_EntityNameQosPolicy, &DDS_EntityNameQosPolicy::name,
           &DDS_EntityNameQosPolicy::role_name);

DDS_FIELDS(DDS_PartitionQosPolicy, &DDS_PartitionQosPolicy::name);

DDS_FIELDS(DDS_DomainParticipantQos, &DDS_DomainParticipantQos::user_data,
           &DDS_DomainParticipantQos::entity_factory, &DDS_DomainParticipantQos::wire_protocol,
           &DDS_DomainParticipantQos::transport_builtin, &DDS_DomainParticipantQos::default_unicast,
           &DDS_DomainParticipantQos::multicast_mapping, &DDS_DomainParticipantQos::discovery,
           &DDS_DomainParticipantQos::discovery_config, &DDS_DomainParticipantQos::resource_limits,
           &DDS_DomainParticipantQos::property, &DDS_DomainParticipantQos::participant_name,
           &DDS_DomainParticipantQos::partition);

#undef DDS_FIELDS
#undef DDS_ELEMENT

/** All infinite durations are the same; only one of their spellings is read back. */
template <>
inline bool is_equal(const DDS_Duration_t &left, const DDS_Duration_t &right) {
    const DDS_Boolean is_infinite = DDS_Duration_is_infinite(&left);
    return is_infinite == DDS_Duration_is_infinite(&right) &&
           (is_infinite || (left.sec == right.sec && left.nanosec == right.nanosec));
}

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
