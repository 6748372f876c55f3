// SPDX-License-Identifier: Apache-2.0
#include "participant_qos.h"

#include <functional>

namespace {

using faults::fail_each_allocation;

TEST_F(ParticipantQosTest, DefaultIsThatOfEachPolicy) {
    EXPECT_EQ(qos_.user_data.value._length, 0);
    EXPECT_EQ(qos_.entity_factory.autoenable_created_entities, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(qos_.wire_protocol.participant_id, -1);
    EXPECT_EQ(qos_.wire_protocol.rtps_host_id, 0u);
    EXPECT_EQ(qos_.wire_protocol.rtps_app_id, 0u);
    EXPECT_EQ(qos_.wire_protocol.rtps_instance_id, 0u);
    EXPECT_EQ(qos_.wire_protocol.rtps_well_known_ports.port_base, 7400);
    EXPECT_EQ(qos_.wire_protocol.rtps_reserved_port_mask, 7);
    EXPECT_EQ(qos_.transport_builtin.mask, 1u);
    EXPECT_EQ(qos_.default_unicast.value._length, 0);
    EXPECT_EQ(qos_.multicast_mapping.value._length, 0);
    EXPECT_EQ(qos_.discovery.enabled_transports._length, 0);
    ASSERT_EQ(qos_.discovery.initial_peers._length, 2);
    EXPECT_STREQ(qos_.discovery.initial_peers._buffer[0], "239.255.0.1");
    EXPECT_STREQ(qos_.discovery.initial_peers._buffer[1], "127.0.0.1");
    ASSERT_EQ(qos_.discovery.multicast_receive_addresses._length, 1);
    EXPECT_STREQ(qos_.discovery.multicast_receive_addresses._buffer[0], "239.255.0.1");
    EXPECT_EQ(qos_.discovery_config.locator_reachability_lease_duration.sec, 0x7FFFFFFF);
    EXPECT_EQ(qos_.discovery_config.locator_reachability_lease_duration.nanosec, 0x7FFFFFFFu);
    EXPECT_EQ(qos_.discovery_config.builtin_discovery_plugins, 1u);
    EXPECT_EQ(qos_.discovery_config.lease_duration.sec, 20);
    EXPECT_EQ(qos_.discovery_config.announcement_period.sec, 4);
    EXPECT_EQ(qos_.discovery_config.initial_announcements, 5);
    EXPECT_EQ(qos_.discovery_config.initial_announcement_period.nanosec, 100000000u);
    EXPECT_EQ(qos_.discovery_config.domain_tag, nullptr);
    EXPECT_EQ(qos_.resource_limits.transport_info_list_max_length, 12);
    EXPECT_EQ(qos_.resource_limits.participant_user_data_max_length, 256);
    EXPECT_EQ(qos_.resource_limits.participant_property_list_max_length, 32);
    EXPECT_EQ(qos_.resource_limits.participant_property_string_max_length, 2048);
    EXPECT_EQ(qos_.resource_limits.remote_participants_max, 4096);
    EXPECT_EQ(qos_.property.value._length, 0);
    EXPECT_EQ(qos_.participant_name.name, nullptr);
    EXPECT_EQ(qos_.participant_name.role_name, nullptr);
    EXPECT_EQ(qos_.partition.name._length, 0);
}

TEST_F(ParticipantQosTest, InitializerOwnsNothing) {
    DDS_DomainParticipantQos plain = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&qos_, &plain), DDS_BOOLEAN_FALSE);
    DDS_DiscoveryQosPolicy_finalize(&qos_.discovery);
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&qos_, &plain), DDS_BOOLEAN_TRUE);
    // Not finalized: the test would see a block that it left behind.
}

TEST_F(ParticipantQosTest, InitializingFailsWithoutMemoryAndLeavesTheInitializer) {
    const DDS_DomainParticipantQos plain = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    DDS_DomainParticipantQos qos;
    EXPECT_EQ(fail_each_allocation([&] {
                  const DDS_ReturnCode_t result = DDS_DomainParticipantQos_initialize(&qos);
                  if (result != DDS_RETCODE_OK) {
                      EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES);
                      EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&qos, &plain), 1);
                      const Message message = take_message();
                      EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
                      EXPECT_EQ(message.module, NUV_LOG_MODULE_DDS);
                      EXPECT_EQ(message.function, "DDS_DomainParticipantQos_initialize");
                      EXPECT_EQ(message.name, "DDS_LOG_OUT_OF_RESOURCES_s");
                      EXPECT_EQ(message.body, "out of resources: participant QoS");
                  }
                  return result == DDS_RETCODE_OK;
              }),
              6);
    EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos), DDS_RETCODE_OK);
}

TEST_F(ParticipantQosTest, EachPolicyCountsForEquality) {
    DDS_DomainParticipantQos original = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    ASSERT_NE(DDS_DomainParticipantQos_copy(&original, &qos_), nullptr);
    const std::function<void()> changes[] = {
        [this] { ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos_.user_data.value, 1, 1)); },
        [this] { qos_.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE; },
        [this] { qos_.wire_protocol.participant_id = 0; },
        [this] { qos_.transport_builtin.mask = 2; },
        [this] { add_settings("udpv4", 0); },
        [this] { add_mapping("239.255.1.1", "*"); },
        [this] { append(qos_.discovery.initial_peers, "host"); },
        [this] { qos_.discovery_config.builtin_discovery_plugins = 0x10; },
        [this] { qos_.resource_limits.participant_user_data_max_length = 1; },
        [this] { add_property("a", "1", DDS_BOOLEAN_FALSE); },
        [this] { set(qos_.participant_name.role_name, "role"); },
        [this] { append(qos_.partition.name, "one"); },
    };
    for (const auto &change : changes) {
        EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&qos_, &original), DDS_BOOLEAN_TRUE);
        change();
        EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&qos_, &original), DDS_BOOLEAN_FALSE);
        ASSERT_NE(DDS_DomainParticipantQos_copy(&qos_, &original), nullptr);
    }
    DDS_DomainParticipantQos_finalize(&original);
}

TEST_F(ParticipantQosTest, CopyIsEqualAndDeep) {
    fill();
    DDS_DomainParticipantQos copy = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    EXPECT_EQ(DDS_DomainParticipantQos_copy(&copy, &qos_), &copy);
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&copy, &qos_), DDS_BOOLEAN_TRUE);
    EXPECT_NE(copy.participant_name.name, qos_.participant_name.name);
    DDS_DomainParticipantQos_finalize(&copy);
}

TEST_F(ParticipantQosTest, CopyingTwiceAllocatesOnce) {
    fill();
    DDS_DomainParticipantQos copy = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    ASSERT_NE(DDS_DomainParticipantQos_copy(&copy, &qos_), nullptr);
    faults::fail_allocation(1);
    EXPECT_EQ(DDS_DomainParticipantQos_copy(&copy, &qos_), &copy);
    EXPECT_FALSE(faults::happened());
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&copy, &qos_), DDS_BOOLEAN_TRUE);
    DDS_DomainParticipantQos_finalize(&copy);
}

TEST_F(ParticipantQosTest, AFailedCopyLeavesTheDestination) {
    fill();
    DDS_DomainParticipantQos former;
    DDS_DomainParticipantQos copy;
    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&former), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&copy), DDS_RETCODE_OK);
    const support::HeapWatch since;
    const int allocations = fail_each_allocation([&] {
        const bool is_done = DDS_DomainParticipantQos_copy(&copy, &qos_) != nullptr;
        if (!is_done) {
            EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&copy, &former), 1);
            EXPECT_EQ(since.change(), support::Blocks());
        }
        return is_done;
    });
    EXPECT_GT(allocations, 20);
    DDS_DomainParticipantQos_finalize(&copy);
    DDS_DomainParticipantQos_finalize(&former);
}

TEST_F(ParticipantQosTest, NullIsAFailedPrecondition) {
    EXPECT_EQ(DDS_DomainParticipantQos_initialize(nullptr), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_finalize(nullptr), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_copy(nullptr, &qos_), nullptr);
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_copy(&qos_, nullptr), nullptr);
    expect_precondition("\"src == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(nullptr, &qos_), DDS_BOOLEAN_FALSE);
    expect_precondition("\"left == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&qos_, nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"right == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_is_consistent(nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"self == ((void *)0)\"");
}

} // namespace
