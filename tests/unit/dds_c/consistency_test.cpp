// SPDX-License-Identifier: Apache-2.0
#include "participant_qos.h"

namespace {

class ConsistencyTest : public ParticipantQosTest {
protected:
    DDS_Boolean is_consistent() {
        return DDS_DomainParticipantQos_is_consistent(&qos_);
    }

    void expect_consistent() {
        EXPECT_EQ(is_consistent(), DDS_BOOLEAN_TRUE);
        EXPECT_TRUE(messages_.empty()) << messages_.front().body;
        messages_.clear();
    }

    /** Checks that the QoS is refused with one error line of this text. */
    void expect_refused(const std::string &text) {
        EXPECT_EQ(is_consistent(), DDS_BOOLEAN_FALSE);
        const Message message = take_message();
        EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
        EXPECT_EQ(message.module, NUV_LOG_MODULE_DDS);
        EXPECT_EQ(message.function, "DDS_DomainParticipantQos_is_consistent");
        EXPECT_EQ(message.name, "NUV_LOG_INCONSISTENT_QOS_TEMPLATE");
        EXPECT_EQ(message.body, text);
    }

    static std::string text_of_length(size_t length) {
        return std::string(length, 'x');
    }
};

TEST_F(ConsistencyTest, DefaultIsConsistent) {
    expect_consistent();
}

TEST_F(ConsistencyTest, AFullQosIsConsistent) {
    fill();
    expect_consistent();
}

TEST_F(ConsistencyTest, InitializerIsConsistent) {
    const DDS_DomainParticipantQos plain = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    EXPECT_EQ(DDS_DomainParticipantQos_is_consistent(&plain), DDS_BOOLEAN_TRUE);
}

TEST_F(ConsistencyTest, WhatIsNotLoggedIsRefusedAllTheSame) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    qos_.wire_protocol.participant_id = -2;
    EXPECT_EQ(is_consistent(), DDS_BOOLEAN_FALSE);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(ConsistencyTest, TransportInfoLimitIsWithin0To100) {
    DDS_Long &limit = qos_.resource_limits.transport_info_list_max_length;
    for (DDS_Long allowed : {0, 100}) {
        limit = allowed;
        expect_consistent();
    }
    limit = 101;
    expect_refused("resource_limits.transport_info_list_max_length is 101; allowed is 0 to 100");
    limit = -1;
    expect_refused("resource_limits.transport_info_list_max_length is -1; allowed is 0 to 100");
}

TEST_F(ConsistencyTest, LimitsAreWithinWhatAnAnnouncementHolds) {
    using Limits = DDS_DomainParticipantResourceLimitsQosPolicy;
    const struct {
        DDS_Long Limits::*limit;
        const char *name;
        DDS_Long largest;
    } limits[] = {
        {&Limits::participant_user_data_max_length, "participant_user_data_max_length", 65528},
        {&Limits::participant_property_list_max_length, "participant_property_list_max_length",
         4095},
        {&Limits::participant_property_string_max_length, "participant_property_string_max_length",
         65520}};
    for (const auto &[limit, name, largest] : limits) {
        DDS_Long &value = qos_.resource_limits.*limit;
        for (DDS_Long allowed : {0, largest}) {
            value = allowed;
            expect_consistent();
        }
        for (DDS_Long refused : {-1, largest + 1, 0x7FFFFFFF}) {
            value = refused;
            expect_refused(std::string("resource_limits.") + name + " is " +
                           std::to_string(refused) + "; allowed is 0 to " +
                           std::to_string(largest));
        }
        value = 0;
    }
}

TEST_F(ConsistencyTest, BooleansAre0Or1) {
    qos_.entity_factory.autoenable_created_entities = 2;
    expect_refused("entity_factory.autoenable_created_entities is 2; allowed are 0 and 1");
    qos_.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    add_property("a", "1", DDS_BOOLEAN_TRUE);
    expect_consistent();
    qos_.property.value._buffer[0].propagate = 255;
    expect_refused("property.value[0].propagate of \"a\" is 255; allowed are 0 and 1");
}

TEST_F(ConsistencyTest, UserDataKeepsItsLimit) {
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos_.user_data.value, 256, 256));
    expect_consistent();
    qos_.resource_limits.participant_user_data_max_length = 255;
    expect_refused("user_data.value has 256 octets; allowed by "
                   "resource_limits.participant_user_data_max_length are at most 255");
}

TEST_F(ConsistencyTest, ParticipantIdIsAutomaticOrNotNegative) {
    qos_.wire_protocol.participant_id = 0x7FFFFFFF;
    expect_consistent();
    qos_.wire_protocol.participant_id = -2;
    expect_refused("wire_protocol.participant_id is -2; allowed is -1 or more");
}

TEST_F(ConsistencyTest, WellKnownPortsAreNotCheckedHere) {
    qos_.wire_protocol.rtps_well_known_ports = {-1, 0, -5, 70000, -1, 0, 99999};
    expect_consistent();
}

TEST_F(ConsistencyTest, MasksHaveKnownBitsOnly) {
    qos_.wire_protocol.rtps_reserved_port_mask = 15;
    qos_.transport_builtin.mask = 3;
    qos_.discovery_config.builtin_discovery_plugins = 0x11;
    expect_consistent();
    qos_.wire_protocol.rtps_reserved_port_mask = 16;
    expect_refused("wire_protocol.rtps_reserved_port_mask is 0x10; allowed are the bits of 0xf");
    qos_.wire_protocol.rtps_reserved_port_mask = -1;
    expect_refused(
        "wire_protocol.rtps_reserved_port_mask is 0xffffffff; allowed are the bits of 0xf");
    qos_.wire_protocol.rtps_reserved_port_mask = 0;
    qos_.transport_builtin.mask = 4;
    expect_refused("transport_builtin.mask is 0x4; allowed are the bits of 0x3");
    qos_.transport_builtin.mask = 1;
    qos_.discovery_config.builtin_discovery_plugins = 2;
    expect_refused(
        "discovery_config.builtin_discovery_plugins is 0x2; allowed are the bits of 0x11");
    qos_.discovery_config.builtin_discovery_plugins = 0;
    expect_consistent();
}

TEST_F(ConsistencyTest, ParticipantHasAtLeastOneTransport) {
    qos_.transport_builtin.mask = 0;
    expect_refused(
        "transport_builtin.mask is 0x0; allowed are the bits of 0x3, at least one of them");
}

TEST_F(ConsistencyTest, DiscoveryUsesAtLeastOneOfTheParticipantsTransports) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos_.discovery.enabled_transports, "udpv6"));
    expect_refused("discovery.enabled_transports names \"udpv6\"; allowed are transports of "
                   "transport_builtin.mask, which is 0x1");
    qos_.transport_builtin.mask = 2;
    expect_consistent();
    qos_.transport_builtin.mask = 1;
    ASSERT_TRUE(DDS_StringSeq_append(&qos_.discovery.enabled_transports, "udpv4"));
    expect_consistent();
}

TEST_F(ConsistencyTest, UnicastSettingsNameKnownTransportsAndPorts) {
    add_settings("udpv4", 0);
    add_settings("udpv6", 65535);
    expect_consistent();
    qos_.default_unicast.value._buffer[1].receive_port = 65536;
    expect_refused("default_unicast.value.receive_port is 65536; allowed is 0 to 65535");
    qos_.default_unicast.value._buffer[1].receive_port = -1;
    expect_refused("default_unicast.value.receive_port is -1; allowed is 0 to 65535");
    qos_.default_unicast.value._buffer[1].receive_port = 1;
    append(qos_.default_unicast.value._buffer[0].transports, "tcpv4");
    expect_refused("default_unicast.value.transports names \"tcpv4\"; allowed are udpv4 and udpv6");
}

TEST_F(ConsistencyTest, ANullTransportIsUnknown) {
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&qos_.discovery.enabled_transports, 1, 1));
    expect_refused("discovery.enabled_transports names \"\"; allowed are udpv4 and udpv6");
}

TEST_F(ConsistencyTest, AnAliasIsOneElement) {
    append(qos_.discovery.enabled_transports, "udpv4,udpv6");
    expect_refused(
        "discovery.enabled_transports names \"udpv4,udpv6\"; allowed are udpv4 and udpv6");
}

TEST_F(ConsistencyTest, MappingsHaveMulticastAddressesAndAnExpression) {
    add_mapping("239.255.1.1", "A*");
    expect_consistent();
    set(qos_.multicast_mapping.value._buffer[0].topic_expression, nullptr);
    expect_refused("multicast_mapping.value[0].topic_expression is empty; allowed is an "
                   "expression for topic names");
    append(qos_.multicast_mapping.value._buffer[0].addresses, "192.0.2.1");
    expect_refused("multicast_mapping.value.addresses has \"192.0.2.1\"; allowed are numeric "
                   "multicast addresses without port");
}

TEST_F(ConsistencyTest, PeersAreWellFormed) {
    for (const char *peer :
         {"192.0.2.1", "192.0.2.1:7410", "udpv4://192.0.2.1:7410", "udpv6://[fd00::2]:7410",
          "a.example.org", "a.example.org:7410", "udpv4://a.example.org"}) {
        append(qos_.discovery.initial_peers, peer);
    }
    expect_consistent();
    append(qos_.discovery.initial_peers, "udpv4://");
    expect_refused("discovery.initial_peers has \"udpv4://\"; allowed are ADDRESS, ADDRESS:PORT, "
                   "udpv4://ADDRESS:PORT, udpv6://[ADDRESS]:PORT and host names");
    set(qos_.discovery.initial_peers._buffer[0], nullptr);
    expect_refused("discovery.initial_peers has \"\"; allowed are ADDRESS, ADDRESS:PORT, "
                   "udpv4://ADDRESS:PORT, udpv6://[ADDRESS]:PORT and host names");
}

TEST_F(ConsistencyTest, ALongTextIsShownInPart) {
    append(qos_.discovery.enabled_transports, text_of_length(5000).c_str());
    expect_refused("discovery.enabled_transports names \"" + text_of_length(128) +
                   "\"; allowed are udpv4 and udpv6");
}

TEST_F(ConsistencyTest, ReceiveAddressesAreMulticastAddressesWithoutPort) {
    DDS_StringSeq &addresses = qos_.discovery.multicast_receive_addresses;
    append(addresses, "ff05::1");
    expect_consistent();
    ASSERT_TRUE(DDS_StringSeq_set_length(&addresses, 0));
    expect_consistent();
    for (const char *address :
         {"127.0.0.1", "a.example.org", "239.255.0.1:7400", "fd00::2", "239.255.0", ""}) {
        append(addresses, address);
        expect_refused(std::string("discovery.multicast_receive_addresses has \"") + address +
                       "\"; allowed are numeric multicast addresses without port");
        ASSERT_TRUE(DDS_StringSeq_set_length(&addresses, 0));
    }
}

TEST_F(ConsistencyTest, ReceiveAddressesAreWiderThanOneLink) {
    DDS_StringSeq &addresses = qos_.discovery.multicast_receive_addresses;
    ASSERT_TRUE(DDS_StringSeq_set_length(&addresses, 0));
    for (const char *address : {"ff00::1", "ff03::1", "ff0e::1", "ff15::1", "224.0.0.2"}) {
        append(addresses, address);
        expect_consistent();
        ASSERT_TRUE(DDS_StringSeq_set_length(&addresses, 0));
    }
    const std::pair<const char *, const char *> refused[] = {{"ff01::1", "interface"},
                                                             {"ff31::8000:1", "interface"},
                                                             {"ff02::1", "link"},
                                                             {"udpv6://[ff12::1]", "link"}};
    for (const auto &[address, scope] : refused) {
        append(addresses, "239.255.0.1");
        append(addresses, address);
        expect_refused(std::string("discovery.multicast_receive_addresses has \"") + address +
                       "\", a group of " + scope +
                       "-local scope; allowed are IPv6 groups of wider scope, as ff03::/16 and "
                       "ff05::/16");
        ASSERT_TRUE(DDS_StringSeq_set_length(&addresses, 0));
    }
}

TEST_F(ConsistencyTest, ThereAreAtMost4ReceiveAddresses) {
    DDS_StringSeq &addresses = qos_.discovery.multicast_receive_addresses;
    for (const char *address : {"239.255.0.2", "239.255.0.3", "239.255.0.4"}) {
        append(addresses, address);
    }
    expect_consistent();
    append(addresses, "239.255.0.5");
    expect_refused("the length of discovery.multicast_receive_addresses is 5; allowed is 0 to 4");
}

TEST_F(ConsistencyTest, LeaseIsPositive) {
    DDS_Duration_t &lease = qos_.discovery_config.locator_reachability_lease_duration;
    for (DDS_Duration_t allowed : {DDS_Duration_t{0, 1}, DDS_Duration_t{1, 0},
                                   DDS_Duration_t{5, 999999999}, DDS_Duration_t{5, 0xFFFFFFFF}}) {
        lease = allowed;
        expect_consistent();
    }
    const std::string allowed = "; allowed is infinite, or more than 0 with at most 999999999 ns";
    const std::string name = "discovery_config.locator_reachability_lease_duration is ";
    lease = {0, 0};
    expect_refused(name + "0 s and 0 ns" + allowed);
    lease = {-1, 0};
    expect_refused(name + "-1 s and 0 ns" + allowed);
    lease = {5, 1000000000};
    expect_refused(name + "5 s and 1000000000 ns" + allowed);
}

TEST_F(ConsistencyTest, ThereAreAtMost64Peers) {
    ASSERT_TRUE(DDS_StringSeq_set_length(&qos_.discovery.initial_peers, 0));
    for (int i = 0; i < 64; ++i) {
        append(qos_.discovery.initial_peers, "192.0.2.1");
    }
    expect_consistent();
    append(qos_.discovery.initial_peers, "192.0.2.1");
    expect_refused("the length of discovery.initial_peers is 65; allowed is 0 to 64");
}

TEST_F(ConsistencyTest, LeaseOfTheParticipantIsPositive) {
    DDS_Duration_t &lease = qos_.discovery_config.lease_duration;
    qos_.discovery_config.announcement_period = {0, 1};
    for (DDS_Duration_t allowed : {DDS_Duration_t{0, 4}, DDS_Duration_t{0x7FFFFFFE, 999999999},
                                   DDS_Duration_t DDS_DURATION_INFINITE}) {
        lease = allowed;
        expect_consistent();
    }
    lease = {0, 0};
    expect_refused("discovery_config.lease_duration is 0 s and 0 ns; allowed is infinite, or more "
                   "than 0 with at most 999999999 ns");
}

TEST_F(ConsistencyTest, PeriodsOfAnnouncementsAreFinite) {
    const std::pair<DDS_Duration_t *, std::string> periods[] = {
        {&qos_.discovery_config.announcement_period, "discovery_config.announcement_period"},
        {&qos_.discovery_config.initial_announcement_period,
         "discovery_config.initial_announcement_period"}};
    const std::string allowed = "; allowed is more than 0, not infinite, with at most 999999999 ns";
    qos_.discovery_config.lease_duration = DDS_DURATION_INFINITE;
    for (const auto &[period, name] : periods) {
        *period = {0x7FFFFFFE, 999999999};
        expect_consistent();
        *period = {0, 0};
        expect_refused(name + " is 0 s and 0 ns" + allowed);
        *period = {-1, 0};
        expect_refused(name + " is -1 s and 0 ns" + allowed);
        *period = {1, 1000000000};
        expect_refused(name + " is 1 s and 1000000000 ns" + allowed);
        *period = DDS_DURATION_INFINITE;
        expect_refused(name + " is 2147483647 s and 2147483647 ns" + allowed);
        *period = {0, 1};
        expect_consistent();
    }
}

TEST_F(ConsistencyTest, PeriodIsAtMostAQuarterOfTheLease) {
    qos_.discovery_config.lease_duration = {10, 2};
    qos_.discovery_config.announcement_period = {2, 500000000};
    expect_consistent();
    qos_.discovery_config.announcement_period = {2, 500000001};
    expect_refused("discovery_config.announcement_period is 2 s and 500000001 ns; allowed is at "
                   "most a quarter of discovery_config.lease_duration, which is 10 s and 2 ns");
}

TEST_F(ConsistencyTest, InitialAnnouncementsAreWithin0To100) {
    DDS_Long &announcements = qos_.discovery_config.initial_announcements;
    for (DDS_Long allowed : {0, 100}) {
        announcements = allowed;
        expect_consistent();
    }
    for (DDS_Long refused : {-1, 101}) {
        announcements = refused;
        expect_refused("discovery_config.initial_announcements is " + std::to_string(refused) +
                       "; allowed is 0 to 100");
    }
}

TEST_F(ConsistencyTest, DomainTagHasAtMost255Characters) {
    set(qos_.discovery_config.domain_tag, "");
    expect_consistent();
    set(qos_.discovery_config.domain_tag, text_of_length(255).c_str());
    expect_consistent();
    set(qos_.discovery_config.domain_tag, text_of_length(256).c_str());
    expect_refused("discovery_config.domain_tag has 256 characters (\"" + text_of_length(128) +
                   "...\"); allowed are at most 255");
}

TEST_F(ConsistencyTest, RemoteParticipantsAreWithin0To1000000) {
    DDS_Long &limit = qos_.resource_limits.remote_participants_max;
    for (DDS_Long allowed : {0, 1000000}) {
        limit = allowed;
        expect_consistent();
    }
    for (DDS_Long refused : {-1, 1000001}) {
        limit = refused;
        expect_refused("resource_limits.remote_participants_max is " + std::to_string(refused) +
                       "; allowed is 0 to 1000000");
    }
}

TEST_F(ConsistencyTest, PropertyListKeepsItsLimit) {
    qos_.resource_limits.participant_property_list_max_length = 1;
    add_property("a", "1", DDS_BOOLEAN_FALSE);
    expect_consistent();
    add_property("b", "2", DDS_BOOLEAN_FALSE);
    expect_refused("property.value has 2 properties; allowed by "
                   "resource_limits.participant_property_list_max_length are at most 1");
}

TEST_F(ConsistencyTest, PropertyTextsKeepTheirLimit) {
    add_property("name", "value", DDS_BOOLEAN_FALSE);
    add_property("b", "", DDS_BOOLEAN_FALSE);
    qos_.resource_limits.participant_property_string_max_length = 14; // 5 + 6 + 2 + 1
    expect_consistent();
    qos_.resource_limits.participant_property_string_max_length = 13;
    expect_refused("property.value has 14 bytes of text; allowed by "
                   "resource_limits.participant_property_string_max_length are at most 13");
}

TEST_F(ConsistencyTest, PropertiesHaveNamesAndValues) {
    add_property("a", "1", DDS_BOOLEAN_FALSE);
    add_property("b", "2", DDS_BOOLEAN_FALSE);
    set(qos_.property.value._buffer[1].value, nullptr);
    expect_refused("property.value[1].value of \"b\" is null; allowed is a text");
    set(qos_.property.value._buffer[1].name, nullptr);
    expect_refused("property.value[1].name is empty; allowed is a name");
    set(qos_.property.value._buffer[1].name, "a");
    set(qos_.property.value._buffer[1].value, "2");
    expect_refused("property.value[1].name is \"a\" again; allowed is each name once");
}

TEST_F(ConsistencyTest, ValuesOfTheLibrarysPropertiesAreNotCheckedHere) {
    add_property("dds.domain_participant.max_announced_locator_list_size", "17", DDS_BOOLEAN_FALSE);
    expect_consistent();
}

TEST_F(ConsistencyTest, NamesHaveAtMost255Characters) {
    set(qos_.participant_name.name, text_of_length(255).c_str());
    set(qos_.participant_name.role_name, text_of_length(255).c_str());
    expect_consistent();
    set(qos_.participant_name.role_name, text_of_length(256).c_str());
    expect_refused("participant_name.role_name has 256 characters (\"" + text_of_length(128) +
                   "...\"); allowed are at most 255");
    set(qos_.participant_name.name, text_of_length(256).c_str());
    expect_refused("participant_name.name has 256 characters (\"" + text_of_length(128) +
                   "...\"); allowed are at most 255");
}

TEST_F(ConsistencyTest, PartitionNamesHaveNoComma) {
    append(qos_.partition.name, "");
    append(qos_.partition.name, "a.b*");
    expect_consistent();
    append(qos_.partition.name, "a,b");
    expect_refused("partition.name[2] is \"a,b\"; allowed are texts without ','");
    set(qos_.partition.name._buffer[2], nullptr);
    expect_refused("partition.name[2] is \"\"; allowed are texts without ','");
}

TEST_F(ConsistencyTest, PartitionNamesHaveAtMost255CharactersTogether) {
    append(qos_.partition.name, text_of_length(127).c_str());
    append(qos_.partition.name, text_of_length(127).c_str());
    expect_consistent();
    append(qos_.partition.name, "");
    expect_refused("partition.name has 256 characters when joined by ','; allowed are at most 255");
}

} // namespace
