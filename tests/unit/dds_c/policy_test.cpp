// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <string>

#include "messages.h"
#include "qos/QosPolicy_internal.h"

namespace {

using faults::fail_each_allocation;

/** A policy and its operations, so that one test serves them all. */
template <typename TPolicy>
struct Operations {
    void (*initialize)(TPolicy *);
    void (*finalize)(TPolicy *);
    TPolicy *(*copy)(TPolicy *, const TPolicy *);
    DDS_Boolean (*is_equal)(const TPolicy *, const TPolicy *);
};

#define OPERATIONS(TPolicy)                                                                        \
    Operations<TPolicy> {                                                                          \
        TPolicy##_initialize, TPolicy##_finalize, TPolicy##_copy, TPolicy##_is_equal               \
    }

class PolicyTest : public MessageTest {
protected:
    /** What holds for every policy; @p changes each change one member of the default. */
    template <typename TPolicy>
    void expect_value_semantics(const Operations<TPolicy> &operations,
                                std::initializer_list<std::function<void(TPolicy &)>> changes) {
        for (const auto &change : changes) {
            TPolicy left;
            TPolicy right;
            operations.initialize(&left);
            operations.initialize(&right);
            EXPECT_EQ(operations.is_equal(&left, &right), DDS_BOOLEAN_TRUE);
            change(right);
            EXPECT_EQ(operations.is_equal(&left, &right), DDS_BOOLEAN_FALSE);
            EXPECT_EQ(operations.is_equal(&right, &left), DDS_BOOLEAN_FALSE);
            const int before = faults::allocations();
            TPolicy spare;
            operations.initialize(&spare);
            EXPECT_EQ(operations.copy(&spare, &right), &spare);
            operations.finalize(&spare);
            if (faults::allocations() > before) { // most have nothing that takes memory
                fail_each_allocation([&] {
                    const bool is_done = operations.copy(&left, &right) != nullptr;
                    EXPECT_EQ(operations.is_equal(&left, &right), is_done ? 1 : 0);
                    return is_done;
                });
            }
            EXPECT_EQ(operations.copy(&left, &right), &left);
            operations.finalize(&left);
            operations.finalize(&right);
            operations.finalize(&right);
        }
        expect_null_is_reported(operations);
    }

    template <typename TPolicy>
    void expect_null_is_reported(const Operations<TPolicy> &operations) {
        TPolicy policy;
        operations.initialize(&policy);
        operations.initialize(nullptr);
        expect_precondition("\"self == ((void *)0)\"");
        operations.finalize(nullptr);
        expect_precondition("\"self == ((void *)0)\"");
        EXPECT_EQ(operations.copy(nullptr, &policy), nullptr);
        expect_precondition("\"self == ((void *)0)\"");
        EXPECT_EQ(operations.copy(&policy, nullptr), nullptr);
        expect_precondition("\"src == ((void *)0)\"");
        EXPECT_EQ(operations.is_equal(nullptr, &policy), DDS_BOOLEAN_FALSE);
        expect_precondition("\"left == ((void *)0)\"");
        EXPECT_EQ(operations.is_equal(&policy, nullptr), DDS_BOOLEAN_FALSE);
        expect_precondition("\"right == ((void *)0)\"");
        operations.finalize(&policy);
    }

    static void set(char *&text, const char *value) {
        ASSERT_EQ(DDS_String_replace(&text, value), DDS_BOOLEAN_TRUE);
    }

    static DDS_TransportUnicastSettings_t &add_settings(DDS_TransportUnicastQosPolicy &policy) {
        const DDS_Long length = policy.value._length;
        EXPECT_EQ(DDS_TransportUnicastSettingsSeq_ensure_length(&policy.value, length + 1, 4),
                  DDS_BOOLEAN_TRUE);
        return *DDS_TransportUnicastSettingsSeq_get_reference(&policy.value, length);
    }

    static DDS_TransportMulticastMapping_t &
    add_mapping(DDS_TransportMulticastMappingQosPolicy &policy) {
        EXPECT_EQ(DDS_TransportMulticastMappingSeq_ensure_length(&policy.value, 1, 1),
                  DDS_BOOLEAN_TRUE);
        return *DDS_TransportMulticastMappingSeq_get_reference(&policy.value, 0);
    }

    static DDS_Property_t &add_property(DDS_PropertyQosPolicy &policy) {
        EXPECT_EQ(DDS_PropertySeq_ensure_length(&policy.value, 1, 1), DDS_BOOLEAN_TRUE);
        return *DDS_PropertySeq_get_reference(&policy.value, 0);
    }
};

TEST_F(PolicyTest, UserData) {
    DDS_UserDataQosPolicy policy;
    DDS_UserDataQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.value._length, 0);
    expect_value_semantics<DDS_UserDataQosPolicy>(
        OPERATIONS(DDS_UserDataQosPolicy), {[](auto &changed) {
            const DDS_Octet octets[] = {1, 2, 3};
            ASSERT_EQ(DDS_OctetSeq_from_array(&changed.value, octets, 3), DDS_BOOLEAN_TRUE);
        }});
}

TEST_F(PolicyTest, EntityFactory) {
    DDS_EntityFactoryQosPolicy policy;
    DDS_EntityFactoryQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.autoenable_created_entities, DDS_BOOLEAN_TRUE);
    expect_value_semantics<DDS_EntityFactoryQosPolicy>(
        OPERATIONS(DDS_EntityFactoryQosPolicy),
        {[](auto &changed) { changed.autoenable_created_entities = DDS_BOOLEAN_FALSE; }});
}

TEST_F(PolicyTest, WireProtocol) {
    DDS_WireProtocolQosPolicy policy;
    DDS_WireProtocolQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.participant_id, -1);
    EXPECT_EQ(policy.rtps_host_id, 0u);
    EXPECT_EQ(policy.rtps_app_id, 0u);
    EXPECT_EQ(policy.rtps_instance_id, 0u);
    EXPECT_EQ(policy.rtps_well_known_ports.port_base, 7400);
    EXPECT_EQ(policy.rtps_well_known_ports.domain_id_gain, 250);
    EXPECT_EQ(policy.rtps_well_known_ports.participant_id_gain, 2);
    EXPECT_EQ(policy.rtps_well_known_ports.builtin_multicast_port_offset, 0);
    EXPECT_EQ(policy.rtps_well_known_ports.builtin_unicast_port_offset, 10);
    EXPECT_EQ(policy.rtps_well_known_ports.user_multicast_port_offset, 1);
    EXPECT_EQ(policy.rtps_well_known_ports.user_unicast_port_offset, 11);
    EXPECT_EQ(policy.rtps_reserved_port_mask, 7);
    expect_value_semantics<DDS_WireProtocolQosPolicy>(
        OPERATIONS(DDS_WireProtocolQosPolicy),
        {[](auto &changed) { changed.participant_id = 3; },
         [](auto &changed) { changed.rtps_host_id = 1; },
         [](auto &changed) { changed.rtps_app_id = 1; },
         [](auto &changed) { changed.rtps_instance_id = 1; },
         [](auto &changed) { changed.rtps_well_known_ports.user_unicast_port_offset = 12; },
         [](auto &changed) { changed.rtps_reserved_port_mask = 0; }});
}

TEST_F(PolicyTest, TransportBuiltin) {
    DDS_TransportBuiltinQosPolicy policy;
    DDS_TransportBuiltinQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.mask, 1u);
    EXPECT_EQ(DDS_TRANSPORTBUILTIN_UDPv4, 1u);
    EXPECT_EQ(DDS_TRANSPORTBUILTIN_UDPv6, 2u);
    expect_value_semantics<DDS_TransportBuiltinQosPolicy>(
        OPERATIONS(DDS_TransportBuiltinQosPolicy),
        {[](auto &changed) { changed.mask = DDS_TRANSPORTBUILTIN_MASK_ALL; }});
}

TEST_F(PolicyTest, TransportUnicast) {
    DDS_TransportUnicastQosPolicy policy;
    DDS_TransportUnicastQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.value._length, 0);
    expect_value_semantics<DDS_TransportUnicastQosPolicy>(
        OPERATIONS(DDS_TransportUnicastQosPolicy),
        {[](auto &changed) { add_settings(changed); },
         [](auto &changed) {
             DDS_TransportUnicastSettings_t &settings = add_settings(changed);
             settings.receive_port = 7777;
             ASSERT_TRUE(DDS_StringSeq_append(&settings.transports, "udpv4"));
             ASSERT_TRUE(DDS_StringSeq_append(&settings.transports, "udpv6"));
             add_settings(changed);
         }});
}

TEST_F(PolicyTest, TransportUnicastIsComparedWithOrWithoutReceivePorts) {
    DDS_TransportUnicastQosPolicy left = DDS_TRANSPORT_UNICAST_QOS_POLICY_INITIALIZER;
    DDS_TransportUnicastQosPolicy right = DDS_TRANSPORT_UNICAST_QOS_POLICY_INITIALIZER;
    const auto is_equal = DDS_TransportUnicastQosPolicy_is_equalI;
    EXPECT_NE(is_equal(&left, &right, 1), 0);
    add_settings(left);
    EXPECT_EQ(is_equal(&left, &right, 0), 0);
    add_settings(right).receive_port = 7777;
    EXPECT_EQ(is_equal(&left, &right, 1), 0);
    EXPECT_NE(is_equal(&left, &right, 0), 0);
    left.value._buffer[0].receive_port = 7777;
    EXPECT_NE(is_equal(&left, &right, 1), 0);
    ASSERT_TRUE(DDS_StringSeq_append(&right.value._buffer[0].transports, "udpv4"));
    EXPECT_EQ(is_equal(&left, &right, 0), 0);
    EXPECT_EQ(is_equal(nullptr, &right, 1), 0);
    expect_precondition("\"left == ((void *)0)\"");
    EXPECT_EQ(is_equal(&left, nullptr, 1), 0);
    expect_precondition("\"right == ((void *)0)\"");
    DDS_TransportUnicastQosPolicy_finalize(&left);
    DDS_TransportUnicastQosPolicy_finalize(&right);
}

TEST_F(PolicyTest, TransportMulticastMapping) {
    DDS_TransportMulticastMappingQosPolicy policy;
    DDS_TransportMulticastMappingQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.value._length, 0);
    expect_value_semantics<DDS_TransportMulticastMappingQosPolicy>(
        OPERATIONS(DDS_TransportMulticastMappingQosPolicy),
        {[](auto &changed) { add_mapping(changed); },
         [](auto &changed) {
             DDS_TransportMulticastMapping_t &mapping = add_mapping(changed);
             set(mapping.topic_expression, "*");
             ASSERT_TRUE(DDS_StringSeq_append(&mapping.addresses, "239.255.1.1"));
         }});
}

TEST_F(PolicyTest, Discovery) {
    DDS_DiscoveryQosPolicy policy;
    faults::fail_allocation(1);
    DDS_DiscoveryQosPolicy_initialize(&policy);
    EXPECT_FALSE(faults::happened());
    faults::stop();
    EXPECT_EQ(policy.enabled_transports._length, 0);
    EXPECT_EQ(policy.initial_peers._length, 0);
    EXPECT_EQ(policy.multicast_receive_addresses._length, 0);
    expect_value_semantics<DDS_DiscoveryQosPolicy>(
        OPERATIONS(DDS_DiscoveryQosPolicy),
        {[](auto &changed) {
             ASSERT_TRUE(DDS_StringSeq_append(&changed.enabled_transports, "udpv4"));
         },
         [](auto &changed) { ASSERT_TRUE(DDS_StringSeq_append(&changed.initial_peers, "host")); },
         [](auto &changed) {
             ASSERT_TRUE(DDS_StringSeq_append(&changed.multicast_receive_addresses, "ff02::1"));
         }});
}

TEST_F(PolicyTest, DiscoveryDefaultHasPeersAndAReceiveAddress) {
    DDS_DiscoveryQosPolicy policy;
    const int allocations = fail_each_allocation([&policy] {
        const DDS_ReturnCode_t result = DDS_DiscoveryQosPolicy_get_defaultI(&policy);
        if (result != DDS_RETCODE_OK) {
            EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES);
            EXPECT_EQ(policy.initial_peers._buffer, nullptr);
            EXPECT_EQ(policy.multicast_receive_addresses._buffer, nullptr);
        }
        return result == DDS_RETCODE_OK;
    });
    EXPECT_EQ(allocations, 6);
    EXPECT_EQ(policy.enabled_transports._length, 0);
    ASSERT_EQ(policy.initial_peers._length, 2);
    EXPECT_STREQ(policy.initial_peers._buffer[0], "239.255.0.1");
    EXPECT_STREQ(policy.initial_peers._buffer[1], "127.0.0.1");
    ASSERT_EQ(policy.multicast_receive_addresses._length, 1);
    EXPECT_STREQ(policy.multicast_receive_addresses._buffer[0], "239.255.0.1");
    DDS_DiscoveryQosPolicy_finalize(&policy);
    EXPECT_EQ(DDS_DiscoveryQosPolicy_get_defaultI(nullptr), DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"self == ((void *)0)\"");
}

TEST_F(PolicyTest, DiscoveryConfig) {
    DDS_DiscoveryConfigQosPolicy policy;
    DDS_DiscoveryConfigQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.locator_reachability_lease_duration.sec, 0x7FFFFFFF);
    EXPECT_EQ(policy.locator_reachability_lease_duration.nanosec, 0x7FFFFFFFu);
    EXPECT_EQ(policy.builtin_discovery_plugins, 0x1u);
    EXPECT_EQ(policy.lease_duration.sec, 20);
    EXPECT_EQ(policy.lease_duration.nanosec, 0u);
    EXPECT_EQ(policy.announcement_period.sec, 4);
    EXPECT_EQ(policy.announcement_period.nanosec, 0u);
    EXPECT_EQ(policy.initial_announcements, 5);
    EXPECT_EQ(policy.initial_announcement_period.sec, 0);
    EXPECT_EQ(policy.initial_announcement_period.nanosec, 100000000u);
    EXPECT_EQ(policy.domain_tag, nullptr);
    EXPECT_EQ(DDS_DISCOVERYCONFIG_BUILTIN_SPDP, 0x1u);
    EXPECT_EQ(DDS_DISCOVERYCONFIG_BUILTIN_SPDP2, 0x10u);
    expect_value_semantics<DDS_DiscoveryConfigQosPolicy>(
        OPERATIONS(DDS_DiscoveryConfigQosPolicy),
        {[](auto &changed) {
             changed.locator_reachability_lease_duration = {5, 0};
         },
         [](auto &changed) {
             changed.locator_reachability_lease_duration = {5, 5};
         },
         [](auto &changed) { changed.builtin_discovery_plugins = 0x10; },
         [](auto &changed) { ++changed.lease_duration.sec; },
         [](auto &changed) { ++changed.announcement_period.nanosec; },
         [](auto &changed) { ++changed.initial_announcements; },
         [](auto &changed) { ++changed.initial_announcement_period.nanosec; },
         [](auto &changed) { set(changed.domain_tag, "tag"); }});
}

TEST_F(PolicyTest, ResourceLimits) {
    DDS_DomainParticipantResourceLimitsQosPolicy policy;
    DDS_DomainParticipantResourceLimitsQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.transport_info_list_max_length, 12);
    EXPECT_EQ(policy.participant_user_data_max_length, 256);
    EXPECT_EQ(policy.participant_property_list_max_length, 32);
    EXPECT_EQ(policy.participant_property_string_max_length, 2048);
    EXPECT_EQ(policy.remote_participants_max, 4096);
    expect_value_semantics<DDS_DomainParticipantResourceLimitsQosPolicy>(
        OPERATIONS(DDS_DomainParticipantResourceLimitsQosPolicy),
        {[](auto &changed) { ++changed.transport_info_list_max_length; },
         [](auto &changed) { ++changed.participant_user_data_max_length; },
         [](auto &changed) { ++changed.participant_property_list_max_length; },
         [](auto &changed) { ++changed.participant_property_string_max_length; },
         [](auto &changed) { ++changed.remote_participants_max; }});
}

TEST_F(PolicyTest, Property) {
    DDS_PropertyQosPolicy policy;
    DDS_PropertyQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.value._length, 0);
    expect_value_semantics<DDS_PropertyQosPolicy>(
        OPERATIONS(DDS_PropertyQosPolicy),
        {[](auto &changed) { add_property(changed); },
         [](auto &changed) { set(add_property(changed).name, "name"); },
         [](auto &changed) {
             set(add_property(changed).name, "name");
             set(add_property(changed).value, "value");
         }});
    DDS_PropertyQosPolicy left = DDS_PROPERTY_QOS_POLICY_INITIALIZER;
    add_property(left);
    add_property(policy).propagate = DDS_BOOLEAN_TRUE;
    EXPECT_EQ(DDS_PropertyQosPolicy_is_equal(&left, &policy), DDS_BOOLEAN_FALSE);
    DDS_PropertyQosPolicy_finalize(&left);
    DDS_PropertyQosPolicy_finalize(&policy);
}

TEST_F(PolicyTest, EntityName) {
    DDS_EntityNameQosPolicy policy;
    DDS_EntityNameQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.name, nullptr);
    EXPECT_EQ(policy.role_name, nullptr);
    expect_value_semantics<DDS_EntityNameQosPolicy>(
        OPERATIONS(DDS_EntityNameQosPolicy), {[](auto &changed) { set(changed.name, "name"); },
                                              [](auto &changed) { set(changed.role_name, "role"); },
                                              [](auto &changed) { set(changed.name, ""); }});
}

TEST_F(PolicyTest, Partition) {
    DDS_PartitionQosPolicy policy;
    DDS_PartitionQosPolicy_initialize(&policy);
    EXPECT_EQ(policy.name._length, 0);
    expect_value_semantics<DDS_PartitionQosPolicy>(
        OPERATIONS(DDS_PartitionQosPolicy),
        {[](auto &changed) { ASSERT_TRUE(DDS_StringSeq_append(&changed.name, "a")); },
         [](auto &changed) {
             ASSERT_TRUE(DDS_StringSeq_append(&changed.name, ""));
             ASSERT_TRUE(DDS_StringSeq_append(&changed.name, ""));
         }});
}

TEST_F(PolicyTest, OneEmptyPartitionIsEqualToNone) {
    DDS_PartitionQosPolicy none = DDS_PARTITION_QOS_POLICY_INITIALIZER;
    DDS_PartitionQosPolicy one = DDS_PARTITION_QOS_POLICY_INITIALIZER;
    ASSERT_TRUE(DDS_StringSeq_append(&one.name, ""));
    EXPECT_TRUE(DDS_PartitionQosPolicy_is_equal(&none, &one));
    EXPECT_TRUE(DDS_PartitionQosPolicy_is_equal(&one, &none));
    ASSERT_TRUE(DDS_String_replace(&one.name._buffer[0], "a"));
    EXPECT_FALSE(DDS_PartitionQosPolicy_is_equal(&none, &one));
    DDS_PartitionQosPolicy_finalize(&one);
}

TEST_F(PolicyTest, LeasesAreEqualWhenBothAreInfinite) {
    const DDS_Duration_t infinite[] = {
        DDS_DURATION_INFINITE, {0x7FFFFFFF, 0}, {5, 0x7FFFFFFFu}, {0, 0xFFFFFFFFu}};
    DDS_DiscoveryConfigQosPolicy left = DDS_DISCOVERY_CONFIG_QOS_POLICY_INITIALIZER;
    DDS_DiscoveryConfigQosPolicy right = DDS_DISCOVERY_CONFIG_QOS_POLICY_INITIALIZER;
    DDS_DiscoveryConfigQosPolicy finite = DDS_DISCOVERY_CONFIG_QOS_POLICY_INITIALIZER;
    finite.locator_reachability_lease_duration = {5, 0};
    for (const DDS_Duration_t &one : infinite) {
        left.locator_reachability_lease_duration = one;
        for (const DDS_Duration_t &other : infinite) {
            right.locator_reachability_lease_duration = other;
            EXPECT_TRUE(DDS_DiscoveryConfigQosPolicy_is_equal(&left, &right));
        }
        EXPECT_FALSE(DDS_DiscoveryConfigQosPolicy_is_equal(&left, &finite));
        EXPECT_FALSE(DDS_DiscoveryConfigQosPolicy_is_equal(&finite, &left));
    }
}

} // namespace
