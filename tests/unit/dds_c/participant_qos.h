// SPDX-License-Identifier: Apache-2.0
// A participant QoS in which nothing is left at its default.
#pragma once

#include "dds_c/dds_c_domainparticipantqos.h"
#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "messages.h"

class ParticipantQosTest : public MessageTest {
protected:
    ParticipantQosTest() {
        EXPECT_EQ(DDS_DomainParticipantQos_initialize(&qos_), DDS_RETCODE_OK);
    }

    ~ParticipantQosTest() override {
        DDS_DomainParticipantQos_finalize(&qos_);
    }

    /** Sets every policy to something else than its default. */
    void fill() {
        const DDS_Octet octets[] = {1, 2, 3};
        ASSERT_TRUE(DDS_OctetSeq_from_array(&qos_.user_data.value, octets, 3));
        qos_.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
        qos_.wire_protocol.participant_id = 3;
        qos_.wire_protocol.rtps_host_id = 11;
        qos_.wire_protocol.rtps_app_id = 12;
        qos_.wire_protocol.rtps_instance_id = 13;
        qos_.wire_protocol.rtps_well_known_ports.port_base = 7500;
        qos_.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_ALL;
        qos_.transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_ALL;
        add_settings("udpv4", 7777);
        add_mapping("239.255.1.1", "*");
        append(qos_.discovery.enabled_transports, "udpv4");
        append(qos_.discovery.initial_peers, "192.0.2.1:7410");
        append(qos_.discovery.multicast_receive_addresses, "ff05::1");
        qos_.discovery_config.locator_reachability_lease_duration = {5, 250000000};
        qos_.discovery_config.builtin_discovery_plugins = DDS_DISCOVERYCONFIG_BUILTIN_SPDP2;
        qos_.discovery_config.lease_duration = {8, 0};
        qos_.discovery_config.announcement_period = {2, 0};
        qos_.discovery_config.initial_announcements = 3;
        qos_.discovery_config.initial_announcement_period = {0, 5000000};
        set(qos_.discovery_config.domain_tag, "tag");
        qos_.resource_limits = {1, 100, 5, 500, 7};
        add_property("a", "1", DDS_BOOLEAN_TRUE);
        add_property("b", "2", DDS_BOOLEAN_FALSE);
        set(qos_.participant_name.name, "name");
        set(qos_.participant_name.role_name, "role");
        append(qos_.partition.name, "one");
        append(qos_.partition.name, "two");
    }

    static void append(DDS_StringSeq &sequence, const char *text) {
        ASSERT_TRUE(DDS_StringSeq_append(&sequence, text));
    }

    static void set(char *&text, const char *value) {
        ASSERT_TRUE(DDS_String_replace(&text, value));
    }

    void add_settings(const char *transport, DDS_Long port) {
        DDS_TransportUnicastSettingsSeq *settings = &qos_.default_unicast.value;
        const DDS_Long i = settings->_length;
        ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(settings, i + 1, i + 1));
        settings->_buffer[i].receive_port = port;
        append(settings->_buffer[i].transports, transport);
    }

    void add_mapping(const char *address, const char *expression) {
        DDS_TransportMulticastMappingSeq *mappings = &qos_.multicast_mapping.value;
        const DDS_Long i = mappings->_length;
        ASSERT_TRUE(DDS_TransportMulticastMappingSeq_ensure_length(mappings, i + 1, i + 1));
        append(mappings->_buffer[i].addresses, address);
        set(mappings->_buffer[i].topic_expression, expression);
    }

    void add_property(const char *name, const char *value, DDS_Boolean propagate) {
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos_.property, name, value, propagate),
                  DDS_RETCODE_OK);
    }

    DDS_DomainParticipantQos qos_;
};
