// SPDX-License-Identifier: Apache-2.0
// What --show-qos prints.
#include <algorithm>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "output.h"

using nlohmann::json;
using testing::HasSubstr;

namespace {

class ShownQos : public testing::Test {
protected:
    ~ShownQos() override {
        EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos), DDS_RETCODE_OK);
    }

    void set_user_data(const std::string &octets) {
        EXPECT_TRUE(DDS_OctetSeq_from_array(&qos.user_data.value,
                                            reinterpret_cast<const DDS_Octet *>(octets.data()),
                                            static_cast<DDS_Long>(octets.size())));
    }
    void add_property(const char *name, const char *value, DDS_Boolean propagate) {
        EXPECT_EQ(
            DDS_PropertyQosPolicyHelper_assert_property(&qos.property, name, value, propagate),
            DDS_RETCODE_OK);
    }
    void add_unicast(DDS_Long port, const char *transport) {
        DDS_TransportUnicastSettingsSeq &settings = qos.default_unicast.value;
        const DDS_Long last = DDS_TransportUnicastSettingsSeq_get_length(&settings);

        ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&settings, last + 1, last + 1));
        DDS_TransportUnicastSettings_t *const added =
            DDS_TransportUnicastSettingsSeq_get_reference(&settings, last);

        added->receive_port = port;
        EXPECT_TRUE(DDS_StringSeq_append(&added->transports, transport));
    }
    void add_mapping(const char *address, const char *expression) {
        DDS_TransportMulticastMappingSeq &mappings = qos.multicast_mapping.value;

        ASSERT_TRUE(DDS_TransportMulticastMappingSeq_ensure_length(&mappings, 1, 1));
        DDS_TransportMulticastMapping_t *const added =
            DDS_TransportMulticastMappingSeq_get_reference(&mappings, 0);

        EXPECT_TRUE(DDS_StringSeq_append(&added->addresses, address));
        EXPECT_TRUE(DDS_String_replace(&added->topic_expression, expression));
    }

    std::string text() const {
        return as_text(QosShown{7, 3, &qos});
    }
    json object() const {
        return json::parse(as_json(QosShown{7, 3, &qos}));
    }

    DDS_DomainParticipantQos qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

TEST_F(ShownQos, HasALineForEachField) {
    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&qos), DDS_RETCODE_OK);

    EXPECT_EQ(text(), "user_data.value: \"\"\n"
                      "entity_factory.autoenable_created_entities: true\n"
                      "wire_protocol.participant_id: -1\n"
                      "wire_protocol.rtps_host_id: 0\n"
                      "wire_protocol.rtps_app_id: 0\n"
                      "wire_protocol.rtps_instance_id: 0\n"
                      "wire_protocol.rtps_well_known_ports.port_base: 7400\n"
                      "wire_protocol.rtps_well_known_ports.domain_id_gain: 250\n"
                      "wire_protocol.rtps_well_known_ports.participant_id_gain: 2\n"
                      "wire_protocol.rtps_well_known_ports.builtin_multicast_port_offset: 0\n"
                      "wire_protocol.rtps_well_known_ports.builtin_unicast_port_offset: 10\n"
                      "wire_protocol.rtps_well_known_ports.user_multicast_port_offset: 1\n"
                      "wire_protocol.rtps_well_known_ports.user_unicast_port_offset: 11\n"
                      "wire_protocol.rtps_reserved_port_mask: builtin_unicast, builtin_multicast, "
                      "user_unicast\n"
                      "transport_builtin.mask: udpv4\n"
                      "default_unicast.value: none\n"
                      "multicast_mapping.value: none\n"
                      "discovery.enabled_transports: none\n"
                      "discovery.initial_peers: 239.255.0.1, 127.0.0.1\n"
                      "discovery.multicast_receive_addresses: 239.255.0.1\n"
                      "discovery_config.locator_reachability_lease_duration: infinite\n"
                      "discovery_config.builtin_discovery_plugins: spdp\n"
                      "discovery_config.lease_duration: 20\n"
                      "discovery_config.announcement_period: 4\n"
                      "discovery_config.initial_announcements: 5\n"
                      "discovery_config.initial_announcement_period: 0.1\n"
                      "discovery_config.domain_tag: none\n"
                      "resource_limits.transport_info_list_max_length: 12\n"
                      "resource_limits.participant_user_data_max_length: 256\n"
                      "resource_limits.participant_property_list_max_length: 32\n"
                      "resource_limits.participant_property_string_max_length: 2048\n"
                      "resource_limits.remote_participants_max: 4096\n"
                      "property.value: none\n"
                      "participant_name.name: none\n"
                      "participant_name.role_name: none\n"
                      "partition.name: none\n");
}

TEST_F(ShownQos, IsOneObjectOfThePoliciesInJson) {
    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&qos), DDS_RETCODE_OK);
    const std::string line = as_json(QosShown{7, 3, &qos});

    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(json::parse(line), json::parse(R"({
        "event": "qos", "domain": 7, "index": 3,
        "user_data": {"value": ""},
        "entity_factory": {"autoenable_created_entities": true},
        "wire_protocol": {
            "participant_id": -1, "rtps_host_id": 0, "rtps_app_id": 0, "rtps_instance_id": 0,
            "rtps_well_known_ports": {
                "port_base": 7400, "domain_id_gain": 250, "participant_id_gain": 2,
                "builtin_multicast_port_offset": 0, "builtin_unicast_port_offset": 10,
                "user_multicast_port_offset": 1, "user_unicast_port_offset": 11},
            "rtps_reserved_port_mask": ["builtin_unicast", "builtin_multicast", "user_unicast"]},
        "transport_builtin": {"mask": ["udpv4"]},
        "default_unicast": {"value": []},
        "multicast_mapping": {"value": []},
        "discovery": {
            "enabled_transports": [], "initial_peers": ["239.255.0.1", "127.0.0.1"],
            "multicast_receive_addresses": ["239.255.0.1"]},
        "discovery_config": {
            "locator_reachability_lease_duration": "infinite",
            "builtin_discovery_plugins": ["spdp"],
            "lease_duration": 20, "announcement_period": 4, "initial_announcements": 5,
            "initial_announcement_period": 0.1, "domain_tag": null},
        "resource_limits": {
            "transport_info_list_max_length": 12, "participant_user_data_max_length": 256,
            "participant_property_list_max_length": 32,
            "participant_property_string_max_length": 2048, "remote_participants_max": 4096},
        "property": {"value": []},
        "participant_name": {"name": null, "role_name": null},
        "partition": {"name": []}})"));
}

TEST_F(ShownQos, HasPrintableUserDataAsText) {
    set_user_data("c, d~");
    EXPECT_THAT(text(), HasSubstr("user_data.value: c, d~\n"));
    EXPECT_EQ(object()["user_data"]["value"], "c, d~");
}

TEST_F(ShownQos, HasOtherUserDataAsHexadecimalDigits) {
    set_user_data({'a', '\0', '\x7F', '\xE4'});
    EXPECT_THAT(text(), HasSubstr("user_data.value: 0x61007fe4\n"));
    EXPECT_EQ(object()["user_data"]["value"], "0x61007fe4");
}

TEST_F(ShownQos, DoesNotLetATextPassForHexadecimalDigits) {
    set_user_data("0xff");
    EXPECT_EQ(object()["user_data"]["value"], "0x30786666");
}

TEST_F(ShownQos, HasTheWordsOfMasks) {
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_USER_MULTICAST;
    qos.transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_ALL;
    qos.discovery_config.builtin_discovery_plugins =
        DDS_DISCOVERYCONFIG_BUILTIN_PLUGIN_MASK_ALL | 0x40u;

    EXPECT_THAT(text(), HasSubstr("wire_protocol.rtps_reserved_port_mask: user_multicast\n"));
    EXPECT_THAT(text(), HasSubstr("transport_builtin.mask: udpv4, udpv6\n"));
    EXPECT_THAT(text(),
                HasSubstr("discovery_config.builtin_discovery_plugins: spdp, spdp2, 0x40\n"));
}

TEST_F(ShownQos, HasNoWordForAnEmptyMask) {
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_NONE;
    EXPECT_THAT(text(), HasSubstr("wire_protocol.rtps_reserved_port_mask: none\n"));
    EXPECT_EQ(object()["wire_protocol"]["rtps_reserved_port_mask"], json::array());
}

TEST_F(ShownQos, HasDurationsInSeconds) {
    qos.discovery_config.locator_reachability_lease_duration = {5, 0};
    EXPECT_THAT(text(), HasSubstr("locator_reachability_lease_duration: 5\n"));
    qos.discovery_config.locator_reachability_lease_duration = {2, 250000000};
    EXPECT_THAT(text(), HasSubstr("locator_reachability_lease_duration: 2.25\n"));
    EXPECT_EQ(object()["discovery_config"]["locator_reachability_lease_duration"], 2.25);
}

TEST_F(ShownQos, HasThreeLinesForAProperty) {
    add_property("a.b", "c=d", DDS_BOOLEAN_TRUE);
    add_property("e", "", DDS_BOOLEAN_FALSE);

    EXPECT_THAT(text(), HasSubstr("property.value[0].name: a.b\n"
                                  "property.value[0].value: c=d\n"
                                  "property.value[0].propagate: true\n"
                                  "property.value[1].name: e\n"
                                  "property.value[1].value: \"\"\n"
                                  "property.value[1].propagate: false\n"));
    EXPECT_EQ(object()["property"]["value"][0],
              json({{"name", "a.b"}, {"value", "c=d"}, {"propagate", true}}));
}

TEST_F(ShownQos, HasTheFieldsOfEachUnicastSetting) {
    add_unicast(9000, "udpv4");
    add_unicast(0, "udpv6");

    EXPECT_THAT(text(), HasSubstr("default_unicast.value[0].transports: udpv4\n"
                                  "default_unicast.value[0].receive_port: 9000\n"
                                  "default_unicast.value[1].transports: udpv6\n"
                                  "default_unicast.value[1].receive_port: 0\n"));
    EXPECT_EQ(object()["default_unicast"]["value"][0],
              json({{"transports", {"udpv4"}}, {"receive_port", 9000}}));
}

TEST_F(ShownQos, HasTheFieldsOfAMulticastMapping) {
    add_mapping("239.255.1.1", "A*");

    EXPECT_THAT(text(), HasSubstr("multicast_mapping.value[0].addresses: 239.255.1.1\n"
                                  "multicast_mapping.value[0].topic_expression: A*\n"));
    EXPECT_EQ(object()["multicast_mapping"]["value"][0],
              json({{"addresses", {"239.255.1.1"}}, {"topic_expression", "A*"}}));
}

TEST_F(ShownQos, HasTheNamesOfPartitionsJoined) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "a"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "b"));

    EXPECT_THAT(text(), HasSubstr("partition.name: a, b\n"));
    EXPECT_EQ(object()["partition"]["name"], json({"a", "b"}));
}

TEST_F(ShownQos, KeepsATextWithControlCharactersInOneLine) {
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.name, "a\nb\x7F"));
    EXPECT_THAT(text(), HasSubstr("participant_name.name: a\\x0ab\\x7f\n"));
    EXPECT_EQ(object()["participant_name"]["name"], "a\nb\x7F");
}

TEST_F(ShownQos, SteersNoTerminal) {
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.name, "\u009B2J\u202E"));
    EXPECT_THAT(text(), HasSubstr("participant_name.name: \\xc2\\x9b2J\\xe2\\x80\\xae\n"));
}

TEST_F(ShownQos, IsPrintableAsciiAsJson) {
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.name, "\x1b\x7F\u009B\u202E\u6771\xFF"));
    const std::string line = as_json(QosShown{0, 0, &qos});

    EXPECT_TRUE(std::all_of(line.begin(), line.end() - 1, [](char character) {
        return character >= ' ' && character <= '~';
    })) << line;
    EXPECT_EQ(json::parse(line)["participant_name"]["name"], "\x1b\x7F\u009B\u202E\u6771\uFFFD");
}

TEST_F(ShownQos, HasTextsThatAreNotUtf8) {
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.role_name, "\xE4"));
    EXPECT_THAT(text(), HasSubstr("participant_name.role_name: \\xe4\n"));
    EXPECT_EQ(object()["participant_name"]["role_name"], "\uFFFD");
}

} // namespace
