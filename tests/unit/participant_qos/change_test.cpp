// SPDX-License-Identifier: Apache-2.0
// What may change in the QoS of a participant, and what is fixed.
#include <functional>
#include <utility>

#include "dds_c/dds_c_string.h"
#include "domain/DomainParticipant_internal.h"
#include "fixture.h"
#include "support/describe.h"

namespace {

using Errors = std::vector<std::string>;
using support::Message;
using support::Messages;

class Change : public ParticipantQos {
protected:
    void expectTaken() {
        EXPECT_EQ(set(), DDS_RETCODE_OK);
        EXPECT_EQ(log.messages(), Messages());
        expectQos(qos);
    }
};

// ---- changeable

TEST_F(Change, OfNothingIsTaken) {
    create();
    expectTaken();
}

TEST_F(Change, OfUserDataIsTaken) {
    create();
    qos.setUserData({1, 2, 3});
    expectTaken();
    qos.setUserData({});
    expectTaken();
}

TEST_F(Change, OfPartitionsIsTaken) {
    create();
    qos.addPartition("one");
    qos.addPartition("two");
    expectTaken();
}

TEST_F(Change, OfTheEntityFactoryTakesEffect) {
    create();
    const auto isNewTopicEnabled = [this] {
        DDS_Topic *topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");
        const bool isEnabled = PRESTopic_isEnabled(reinterpret_cast<PRESTopic *>(topic)) != 0;
        EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
        return isEnabled;
    };
    ASSERT_TRUE(isNewTopicEnabled());
    qos->entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    expectTaken();
    EXPECT_FALSE(isNewTopicEnabled());
}

TEST_F(Change, OfTheLeaseAndThePeriodIsTaken) {
    create();
    qos->discovery_config.lease_duration = {60, 5};
    expectTaken();
    qos->discovery_config.announcement_period = {1, 5};
    expectTaken();
}

TEST_F(Change, OfInitialPeersIsTaken) {
    create();
    qos.addPeer("192.0.2.1");
    expectTaken();
}

TEST_F(Change, OfAPropertyOfTheApplicationIsTaken) {
    qos.setProperty("color", "green");
    create();
    qos.setProperty("color", "blue");
    qos.setProperty("size", "3");
    expectTaken();
    qos.removeProperties();
    expectTaken();
}

TEST_F(Change, OfPropertiesLeavesFixedOnesInPlace) {
    qos.setProperty("dds.domain_participant.max_announced_locator_list_size", "8");
    create();
    qos.setProperty("color", "blue");
    expectTaken();
}

TEST_F(Change, OfTheIdentityToZeroKeepsTheIdentity) {
    qos->wire_protocol.rtps_host_id = 0x01020304u;
    create();
    DDS_GUID_t before;
    DDS_GUID_t after;
    ASSERT_EQ(DDS_DomainParticipant_get_guid(participant, &before), DDS_RETCODE_OK);
    qos->wire_protocol.rtps_host_id = 0;
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DomainParticipant_get_guid(participant, &after), DDS_RETCODE_OK);
    EXPECT_EQ(std::vector<DDS_Octet>(before.value, before.value + 16),
              std::vector<DDS_Octet>(after.value, after.value + 16));
}

TEST_F(Change, OfTheIdentityToTheRunningWordsIsTaken) {
    create();
    DDS_GUID_t guid;
    ASSERT_EQ(DDS_DomainParticipant_get_guid(participant, &guid), DDS_RETCODE_OK);
    const auto word = [&guid](int i) {
        return static_cast<DDS_UnsignedLong>(guid.value[i]) << 24 |
               static_cast<DDS_UnsignedLong>(guid.value[i + 1]) << 16 |
               static_cast<DDS_UnsignedLong>(guid.value[i + 2]) << 8 | guid.value[i + 3];
    };
    qos->wire_protocol.rtps_host_id = word(0);
    qos->wire_protocol.rtps_app_id = word(4);
    qos->wire_protocol.rtps_instance_id = word(8);
    expectTaken();
}

TEST_F(Change, IsTakenBeforeTheParticipantIsEnabled) {
    create(false);
    qos.setUserData({1, 2, 3});
    expectTaken();
    EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_OK);
    expectQos(qos);
}

TEST_F(Change, TouchesNeitherLocatorsNorSockets) {
    create();
    const std::vector<std::string> before = locators();
    const std::set<std::string> sockets = support::openSockets();
    qos.setUserData({1, 2, 3});
    qos.addPeer("192.0.2.1");
    expectTaken();
    EXPECT_EQ(locators(), before);
    EXPECT_EQ(support::openSockets(), sockets);
}

TEST_F(Change, OfOneParticipantLeavesOthersAlone) {
    Qos unchanged;
    ASSERT_NE(DDS_DomainParticipantQos_copy(unchanged.get(), qos.get()), nullptr);
    create();
    DDS_DomainParticipant *other = participant;
    create();
    qos.setUserData({1});
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    std::swap(participant, other);
    expectQos(unchanged);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, other), DDS_RETCODE_OK);
}

// ---- fixed

struct Fixed {
    const char *name;
    const char *message; ///< what the log calls it
    std::function<void(Qos &)> change;
};

void PrintTo(const Fixed &fixed, std::ostream *out) {
    *out << fixed.name;
}

void addMapping(Qos &qos) {
    DDS_TransportMulticastMappingSeq &mappings = qos->multicast_mapping.value;
    ASSERT_TRUE(DDS_TransportMulticastMappingSeq_ensure_length(&mappings, 1, 1));
    ASSERT_TRUE(DDS_StringSeq_append(&mappings._buffer[0].addresses, "239.255.1.1"));
    ASSERT_TRUE(DDS_String_replace(&mappings._buffer[0].topic_expression, "*"));
}

void addUnicastSetting(Qos &qos) {
    DDS_TransportUnicastSettingsSeq &settings = qos->default_unicast.value;
    ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&settings, 1, 1));
    ASSERT_TRUE(DDS_StringSeq_append(&settings._buffer[0].transports, "udpv4"));
}

const char *const TIMEOUT =
    "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout";

/** Each begins with a participant that has the property TIMEOUT "5" and user data. */
const Fixed FIXED[] = {
    {"Index", "wire_protocol.participant_id",
     [](Qos &qos) { qos->wire_protocol.participant_id = 7; }},
    {"HostId", "wire_protocol", [](Qos &qos) { qos->wire_protocol.rtps_host_id = 1; }},
    {"AppId", "wire_protocol", [](Qos &qos) { qos->wire_protocol.rtps_app_id = 1; }},
    {"InstanceId", "wire_protocol", [](Qos &qos) { qos->wire_protocol.rtps_instance_id = 1; }},
    {"PortBase", "wire_protocol.rtps_well_known_ports",
     [](Qos &qos) { ++qos->wire_protocol.rtps_well_known_ports.port_base; }},
    {"DomainIdGain", "wire_protocol.rtps_well_known_ports",
     [](Qos &qos) { ++qos->wire_protocol.rtps_well_known_ports.domain_id_gain; }},
    {"ParticipantIdGain", "wire_protocol.rtps_well_known_ports",
     [](Qos &qos) { ++qos->wire_protocol.rtps_well_known_ports.participant_id_gain; }},
    {"BuiltinMulticastOffset", "wire_protocol.rtps_well_known_ports",
     [](Qos &qos) { ++qos->wire_protocol.rtps_well_known_ports.builtin_multicast_port_offset; }},
    {"BuiltinUnicastOffset", "wire_protocol.rtps_well_known_ports",
     [](Qos &qos) { ++qos->wire_protocol.rtps_well_known_ports.builtin_unicast_port_offset; }},
    {"UserMulticastOffset", "wire_protocol.rtps_well_known_ports",
     [](Qos &qos) { ++qos->wire_protocol.rtps_well_known_ports.user_multicast_port_offset; }},
    {"UserUnicastOffset", "wire_protocol.rtps_well_known_ports",
     [](Qos &qos) { ++qos->wire_protocol.rtps_well_known_ports.user_unicast_port_offset; }},
    {"ReservedPorts", "wire_protocol.rtps_reserved_port_mask",
     [](Qos &qos) {
         qos->wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_ALL;
     }},
    {"Transports", "transport_builtin",
     [](Qos &qos) { qos->transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_ALL; }},
    {"DefaultUnicast", "default_unicast", addUnicastSetting},
    {"MulticastMapping", "multicast_mapping", addMapping},
    {"EnabledTransports", "discovery.enabled_transports",
     [](Qos &qos) {
         ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.enabled_transports, "udpv4"));
     }},
    {"MulticastReceiveAddresses", "discovery.multicast_receive_addresses",
     [](Qos &qos) { DDS_StringSeq_finalize(&qos->discovery.multicast_receive_addresses); }},
    {"ReachabilityLease", "discovery_config.locator_reachability_lease_duration",
     [](Qos &qos) {
         qos->discovery_config.locator_reachability_lease_duration = {5, 0};
     }},
    {"DiscoveryPlugins", "discovery_config.builtin_discovery_plugins",
     [](Qos &qos) {
         qos->discovery_config.builtin_discovery_plugins = DDS_DISCOVERYCONFIG_BUILTIN_SPDP2;
     }},
    {"InitialAnnouncements", "discovery_config.initial_announcements",
     [](Qos &qos) { ++qos->discovery_config.initial_announcements; }},
    {"InitialAnnouncementPeriod", "discovery_config.initial_announcement_period",
     [](Qos &qos) { ++qos->discovery_config.initial_announcement_period.nanosec; }},
    {"DomainTag", "discovery_config.domain_tag",
     [](Qos &qos) { ASSERT_TRUE(DDS_String_replace(&qos->discovery_config.domain_tag, "tag")); }},
    {"RemoteParticipantsLimit", "resource_limits",
     [](Qos &qos) { ++qos->resource_limits.remote_participants_max; }},
    {"TransportInfoLimit", "resource_limits",
     [](Qos &qos) { ++qos->resource_limits.transport_info_list_max_length; }},
    {"UserDataLimit", "resource_limits",
     [](Qos &qos) { ++qos->resource_limits.participant_user_data_max_length; }},
    {"PropertyListLimit", "resource_limits",
     [](Qos &qos) { ++qos->resource_limits.participant_property_list_max_length; }},
    {"PropertyStringLimit", "resource_limits",
     [](Qos &qos) { ++qos->resource_limits.participant_property_string_max_length; }},
    {"Name", "participant_name",
     [](Qos &qos) { ASSERT_TRUE(DDS_String_replace(&qos->participant_name.name, "somebody")); }},
    {"RoleName", "participant_name",
     [](Qos &qos) { ASSERT_TRUE(DDS_String_replace(&qos->participant_name.role_name, "role")); }},
    {"PropagationOfAProperty", TIMEOUT,
     [](Qos &qos) {
         DDS_PropertyQosPolicyHelper_lookup_property(&qos->property, TIMEOUT)->propagate =
             DDS_BOOLEAN_TRUE;
     }},
    {"ValueOfAProperty", TIMEOUT, [](Qos &qos) { qos.setProperty(TIMEOUT, "6"); }},
    {"PropertyThatIsRemoved", TIMEOUT, [](Qos &qos) { qos.removeProperties(); }},
    {"PropertyThatIsAdded", "dds.transport.allow_interfaces",
     [](Qos &qos) { qos.setProperty("dds.transport.allow_interfaces", "lo"); }},
    {"PropertyOfNoMeaning", "dds.", [](Qos &qos) { qos.setProperty("dds.", ""); }},
};

class FixedPolicy : public Change, public testing::WithParamInterface<Fixed> {
protected:
    void SetUp() override {
        Change::SetUp();
        qos.setProperty(TIMEOUT, "5");
        qos.setUserData({1, 2, 3});
    }

    /** Refused by one line that names the setting, and nothing has changed. */
    void expectRefused() {
        Qos before;
        ASSERT_NE(DDS_DomainParticipantQos_copy(before.get(), qos.get()), nullptr);
        const std::vector<std::string> locatorsBefore = locators();
        GetParam().change(qos);
        qos.setUserData({9}); // must not be taken over
        const support::HeapWatch unchanged;
        EXPECT_EQ(set(), DDS_RETCODE_IMMUTABLE_POLICY);
        EXPECT_EQ(unchanged.change(), support::Blocks());
        EXPECT_EQ(errors(), Errors({std::string("immutable policy: ") + GetParam().message}));
        EXPECT_EQ(log.messages().size(), 1u);
        EXPECT_EQ(locators(), locatorsBefore);
        expectQos(before);

        // It is as it was for later changes too.
        before.setUserData({4});
        EXPECT_EQ(DDS_DomainParticipant_set_qos(participant, before.get()), DDS_RETCODE_OK);
        expectQos(before);
    }
};

TEST_P(FixedPolicy, IsRefused) {
    create();
    expectRefused();
}

TEST_P(FixedPolicy, IsRefusedBeforeTheParticipantIsEnabled) {
    create(false);
    expectRefused();
}

INSTANTIATE_TEST_SUITE_P(Of, FixedPolicy, testing::ValuesIn(FIXED),
                         [](const testing::TestParamInfo<Fixed> &fixed) {
                             return fixed.param.name;
                         });

/** Settings that are equal up to a later one. */
class LaterUnicastSetting : public Change {
protected:
    void SetUp() override {
        Change::SetUp();
        DDS_TransportUnicastSettingsSeq &settings = qos->default_unicast.value;
        ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&settings, 2, 2));
        create();
    }

    void expectRefused() {
        EXPECT_EQ(set(), DDS_RETCODE_IMMUTABLE_POLICY);
        EXPECT_EQ(errors(), Errors({"immutable policy: default_unicast"}));
    }
};

TEST_F(LaterUnicastSetting, CannotHaveAnotherPort) {
    qos->default_unicast.value._buffer[1].receive_port = 7777;
    expectRefused();
}

TEST_F(LaterUnicastSetting, CannotHaveOtherTransports) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos->default_unicast.value._buffer[1].transports, "udpv4"));
    expectRefused();
}

TEST_F(Change, ToALoneEmptyPartitionIsOneToNone) {
    qos.addPartition("one");
    create();
    DDS_StringSeq_finalize(&qos->partition.name);
    qos.addPartition("");
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    ASSERT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(out->partition.name._length, 0);
}

TEST_F(Change, OfTheNameToAnEmptyOneIsRefused) {
    create();
    ASSERT_TRUE(DDS_String_replace(&qos->participant_name.name, ""));
    EXPECT_EQ(set(), DDS_RETCODE_IMMUTABLE_POLICY);
    EXPECT_EQ(errors(), Errors({"immutable policy: participant_name"}));
}

TEST_F(Change, AnEmptyNameIsReadBackAsOne) {
    ASSERT_TRUE(DDS_String_replace(&qos->participant_name.name, ""));
    create();
    ASSERT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_STREQ(out->participant_name.name, "");
    EXPECT_EQ(out->participant_name.role_name, nullptr);
}

// ---- inconsistent

TEST_F(Change, ToMoreUserDataThanTheLimitIsInconsistent) {
    create();
    Qos before;
    ASSERT_NE(DDS_DomainParticipantQos_copy(before.get(), qos.get()), nullptr);
    qos.setUserData(std::vector<DDS_Octet>(257, 1));
    EXPECT_EQ(set(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(errors().size(), 1u);
    expectQos(before);
}

TEST_F(Change, ToUserDataOfTheLimitIsTaken) {
    create();
    qos.setUserData(std::vector<DDS_Octet>(256, 1));
    expectTaken();
}

TEST_F(Change, ToMorePropertiesThanTheLimitIsInconsistent) {
    create();
    for (int i = 0; i < 33; ++i) {
        qos.setProperty(("p" + std::to_string(i)).c_str(), "1");
    }
    EXPECT_EQ(set(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(errors().size(), 1u);
}

TEST_F(Change, ToPartitionsThatAreTooLongIsInconsistent) {
    create();
    qos.addPartition(std::string(256, 'p').c_str());
    EXPECT_EQ(set(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(errors().size(), 1u);
}

TEST_F(Change, ToAPartitionWithACommaIsInconsistent) {
    create();
    qos.addPartition("one,two");
    EXPECT_EQ(set(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(errors().size(), 1u);
}

TEST_F(Change, IsLookedAtForConsistencyBeforeAnythingElse) {
    create();
    qos.setUserData(std::vector<DDS_Octet>(257, 1));
    qos->transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_ALL;
    EXPECT_EQ(set(), DDS_RETCODE_INCONSISTENT_POLICY);
}

// ---- null

TEST_F(Change, RefusesNull) {
    create();
    const auto precondition = [](const char *file, const char *function, const char *argument) {
        return Message{.level = NUV_LOG_LEVEL_FATAL,
                       .file = file,
                       .function = function,
                       .name = "NUV_LOG_PRECONDITION_FAILURE_s",
                       .text =
                           std::string("precondition failed: \"") + argument + " == ((void *)0)\""};
    };
    EXPECT_EQ(DDS_DomainParticipant_get_qos(nullptr, out.get()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_get_qos(participant, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_set_qos(nullptr, qos.get()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_set_qos(participant, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DomainParticipant_update_locators(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(
        log.messages(),
        Messages(
            {precondition("DomainParticipant_qos.cpp", "DDS_DomainParticipant_get_qos", "self"),
             precondition("DomainParticipant_qos.cpp", "DDS_DomainParticipant_get_qos", "qos"),
             precondition("DomainParticipant_qos.cpp", "DDS_DomainParticipant_set_qos", "self"),
             precondition("DomainParticipant_qos.cpp", "DDS_DomainParticipant_set_qos", "qos"),
             precondition("DomainParticipant_locators.cpp", "DDS_DomainParticipant_update_locators",
                          "self")}));
}

} // namespace
