// SPDX-License-Identifier: Apache-2.0
// What a participant knows of others, as values.
#include <algorithm>
#include <functional>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "infrastructure/Builtin_internal.h"
#include "messages.h"

namespace {

using faults::fail_each_allocation;

class BuiltinTest : public MessageTest {
protected:
    ~BuiltinTest() override {
        DDS_ParticipantBuiltinTopicData_finalize(&data_);
        DDS_ParticipantBuiltinTopicData_finalize(&other_);
    }

    /** Sets every field to something else than its initializer does. */
    static void fill(DDS_ParticipantBuiltinTopicData &data) {
        const DDS_Octet octets[] = {1, 2};
        const DDS_Locator_t locator = {DDS_LOCATOR_KIND_UDPv4, 7410, {192, 0, 2, 1}};
        data.key.value[15] = 1;
        data.guid.value[15] = 1;
        data.rtps_vendor_id.value[1] = 3;
        data.rtps_protocol_version = {2, 1};
        data.domain_id = 7;
        data.says_domain_id = DDS_BOOLEAN_TRUE;
        data.lease_duration = {1, 0};
        data.first_heard = {1, 2};
        data.last_heard = {3, 4};
        data.source = locator;
        data.is_local = DDS_BOOLEAN_TRUE;
        data.has_addressed = DDS_BOOLEAN_TRUE;
        ASSERT_TRUE(DDS_OctetSeq_from_array(&data.user_data.value, octets, 2));
        ASSERT_TRUE(DDS_String_replace(&data.domain_tag, "tag"));
        ASSERT_TRUE(DDS_String_replace(&data.participant_name, "name"));
        ASSERT_EQ(
            DDS_PropertyQosPolicyHelper_add_property(&data.property, "a", "1", DDS_BOOLEAN_TRUE),
            DDS_RETCODE_OK);
        for (DDS_LocatorSeq *locators :
             {&data.metatraffic_unicast_locators, &data.metatraffic_multicast_locators,
              &data.default_unicast_locators, &data.default_multicast_locators}) {
            ASSERT_TRUE(DDS_LocatorSeq_from_array(locators, &locator, 1));
        }
    }

    DDS_ParticipantBuiltinTopicData data_ = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;
    DDS_ParticipantBuiltinTopicData other_ = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;
};

TEST_F(BuiltinTest, HandlesAreEqualByTheirOctets) {
    DDS_InstanceHandle_t left = DDS_HANDLE_NIL;
    DDS_InstanceHandle_t right = DDS_HANDLE_NIL;
    EXPECT_TRUE(DDS_InstanceHandle_is_equal(&left, &right));
    right.value[15] = 1;
    EXPECT_FALSE(DDS_InstanceHandle_is_equal(&left, &right));
}

TEST_F(BuiltinTest, TheHandleOfNothingIsNil) {
    DDS_InstanceHandle_t handle = DDS_HANDLE_NIL;
    EXPECT_TRUE(DDS_InstanceHandle_is_nil(&handle));
    handle.value[7] = 1;
    EXPECT_FALSE(DDS_InstanceHandle_is_nil(&handle));
}

TEST_F(BuiltinTest, HandlesOfParticipantsAreTheirGuids) {
    const NUVOsapiRtpsGuidPrefix prefix = {0x01020304, 0x05060708, 0x090A0B0C};
    const DDS_InstanceHandle_t expected = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 1, 0xC1}};
    DDS_InstanceHandle_t handle = DDS_HANDLE_NIL;
    NUVOsapiRtpsGuidPrefix back = {0, 0, 0};
    DDS_InstanceHandle_from_prefixI(&handle, &prefix);
    EXPECT_TRUE(DDS_InstanceHandle_is_equal(&handle, &expected));
    EXPECT_TRUE(DDS_InstanceHandle_to_prefixI(&handle, &back));
    EXPECT_TRUE(NUVOsapiRtpsGuidPrefix_isSame(&back, &prefix));
    handle.value[15] = 0xC2;
    EXPECT_FALSE(DDS_InstanceHandle_to_prefixI(&handle, &back));
}

TEST_F(BuiltinTest, ASequenceOfHandlesIsOne) {
    const DDS_InstanceHandle_t handle = {{1}};
    DDS_InstanceHandleSeq handles = DDS_SEQUENCE_INITIALIZER;
    ASSERT_TRUE(DDS_InstanceHandleSeq_from_array(&handles, &handle, 1));
    EXPECT_EQ(DDS_InstanceHandleSeq_get(&handles, 0).value[0], 1);
    DDS_InstanceHandleSeq_finalize(&handles);
}

TEST_F(BuiltinTest, InitializedDataSayNothing) {
    fill(other_);
    DDS_ParticipantBuiltinTopicData_finalize(&other_);
    DDS_ParticipantBuiltinTopicData_initialize(&other_);
    EXPECT_TRUE(DDS_ParticipantBuiltinTopicData_is_equal(&data_, &other_));
    EXPECT_EQ(data_.first_heard.sec, DDS_TIME_INVALID_SEC);
    EXPECT_EQ(data_.last_heard.nanosec, DDS_TIME_INVALID_NSEC);
    EXPECT_EQ(data_.source.kind, DDS_LOCATOR_KIND_INVALID);
}

TEST_F(BuiltinTest, EachFieldOfDataCountsForEquality) {
    using Data = DDS_ParticipantBuiltinTopicData;
    const std::function<void(Data &)> changes[] = {
        [](Data &data) { data.key.value[0] = 1; },
        [](Data &data) { ASSERT_TRUE(DDS_OctetSeq_ensure_length(&data.user_data.value, 1, 1)); },
        [](Data &data) { data.guid.value[0] = 1; },
        [](Data &data) { data.rtps_vendor_id.value[0] = 1; },
        [](Data &data) { data.rtps_protocol_version.major = 9; },
        [](Data &data) { data.rtps_protocol_version.minor = 9; },
        [](Data &data) { data.domain_id = 1; },
        [](Data &data) { data.says_domain_id = DDS_BOOLEAN_TRUE; },
        [](Data &data) { ASSERT_TRUE(DDS_String_replace(&data.domain_tag, "t")); },
        [](Data &data) { ASSERT_TRUE(DDS_String_replace(&data.participant_name, "n")); },
        [](Data &data) { ASSERT_TRUE(DDS_PropertySeq_ensure_length(&data.property.value, 1, 1)); },
        [](Data &data) {
            ASSERT_TRUE(DDS_LocatorSeq_ensure_length(&data.metatraffic_unicast_locators, 1, 1));
        },
        [](Data &data) {
            ASSERT_TRUE(DDS_LocatorSeq_ensure_length(&data.metatraffic_multicast_locators, 1, 1));
        },
        [](Data &data) {
            ASSERT_TRUE(DDS_LocatorSeq_ensure_length(&data.default_unicast_locators, 1, 1));
        },
        [](Data &data) {
            ASSERT_TRUE(DDS_LocatorSeq_ensure_length(&data.default_multicast_locators, 1, 1));
        },
        [](Data &data) { data.lease_duration.sec = 1; },
        [](Data &data) { data.first_heard.sec = 1; },
        [](Data &data) { data.last_heard.nanosec = 1; },
        [](Data &data) { data.source.port = 1; },
        [](Data &data) { data.is_local = DDS_BOOLEAN_TRUE; },
        [](Data &data) { data.has_addressed = DDS_BOOLEAN_TRUE; },
    };
    for (const auto &change : changes) {
        DDS_ParticipantBuiltinTopicData_finalize(&other_);
        DDS_ParticipantBuiltinTopicData_initialize(&other_);
        EXPECT_TRUE(DDS_ParticipantBuiltinTopicData_is_equal(&data_, &other_));
        change(other_);
        EXPECT_FALSE(DDS_ParticipantBuiltinTopicData_is_equal(&data_, &other_));
    }
}

TEST_F(BuiltinTest, ACopyOfDataIsEqualAndDeep) {
    fill(data_);
    EXPECT_EQ(DDS_ParticipantBuiltinTopicData_copy(&other_, &data_), &other_);
    EXPECT_TRUE(DDS_ParticipantBuiltinTopicData_is_equal(&data_, &other_));
    EXPECT_NE(other_.participant_name, data_.participant_name);
}

TEST_F(BuiltinTest, AFailedCopyOfDataLeavesTheDestination) {
    const DDS_ParticipantBuiltinTopicData former = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;
    fill(data_);
    EXPECT_EQ(
        fail_each_allocation([&] {
            const bool is_done = DDS_ParticipantBuiltinTopicData_copy(&other_, &data_) != nullptr;
            EXPECT_EQ(DDS_ParticipantBuiltinTopicData_is_equal(&other_, &former), is_done ? 0 : 1);
            return is_done;
        }),
        10);
}

TEST_F(BuiltinTest, NullIsAFailedPrecondition) {
    const DDS_InstanceHandle_t handle = DDS_HANDLE_NIL;
    EXPECT_FALSE(DDS_InstanceHandle_is_nil(nullptr));
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_FALSE(DDS_InstanceHandle_is_equal(nullptr, &handle));
    expect_precondition("\"left == ((void *)0)\"");
    EXPECT_FALSE(DDS_InstanceHandle_is_equal(&handle, nullptr));
    expect_precondition("\"right == ((void *)0)\"");
    DDS_ParticipantBuiltinTopicData_initialize(nullptr);
    expect_precondition("\"self == ((void *)0)\"");
    DDS_ParticipantBuiltinTopicData_finalize(nullptr);
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_ParticipantBuiltinTopicData_copy(nullptr, &data_), nullptr);
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_ParticipantBuiltinTopicData_copy(&data_, nullptr), nullptr);
    expect_precondition("\"src == ((void *)0)\"");
    EXPECT_FALSE(DDS_ParticipantBuiltinTopicData_is_equal(nullptr, &data_));
    expect_precondition("\"left == ((void *)0)\"");
    EXPECT_FALSE(DDS_ParticipantBuiltinTopicData_is_equal(&data_, nullptr));
    expect_precondition("\"right == ((void *)0)\"");
}

TEST_F(BuiltinTest, RefusalsHaveWords) {
    EXPECT_STREQ(DDS_DiscoveryRefusal_to_string(DDS_DISCOVERY_REFUSED_DOMAIN_ID),
                 "it is of another domain");
    EXPECT_STREQ(DDS_DiscoveryRefusal_to_string(DDS_DISCOVERY_REFUSED_MALFORMED),
                 "it is no announcement");
    EXPECT_STREQ(DDS_DiscoveryRefusal_to_string(
                     static_cast<DDS_DiscoveryRefusal>(DDS_DISCOVERY_REFUSAL_COUNT)),
                 "unknown reason");
}

TEST_F(BuiltinTest, StatisticsHaveEachCount) {
    DISCStatistics counts = {};
    DDS_DiscoveryStatistics statistics;
    counts.known = 1;
    counts.announcementsSent = 2;
    counts.announcementsReceived = 3;
    counts.came = 4;
    counts.changed = 5;
    counts.left = 6;
    counts.lost = 7;
    counts.heartbeatsSent = 8;
    counts.refused[DISC_REFUSED_FORGED] = 9;
    DDS_DiscoveryStatistics_from_discI(&statistics, &counts);
    EXPECT_EQ(statistics.known, 1u);
    EXPECT_EQ(statistics.announcements_sent, 2u);
    EXPECT_EQ(statistics.announcements_received, 3u);
    EXPECT_EQ(statistics.came, 4u);
    EXPECT_EQ(statistics.changed, 5u);
    EXPECT_EQ(statistics.left, 6u);
    EXPECT_EQ(statistics.lost, 7u);
    EXPECT_EQ(statistics.heartbeats_sent, 8u);
    EXPECT_EQ(statistics.refused[DDS_DISCOVERY_REFUSED_FORGED], 9u);
}

TEST_F(BuiltinTest, WhatCouldNotBeReadIsCountedByItsReason) {
    DISCStatistics counts = {};
    DDS_DiscoveryStatistics statistics;
    for (int refusal = RTPS_ACCEPTED + 1; refusal < RTPS_REFUSAL_COUNT; ++refusal) {
        counts.unreadable[refusal] = 1;
    }
    DDS_DiscoveryStatistics_from_discI(&statistics, &counts);
    EXPECT_EQ(statistics.refused[DDS_DISCOVERY_REFUSED_LEASE], 1u);
    EXPECT_EQ(statistics.refused[DDS_DISCOVERY_REFUSED_GUID], 3u);
    EXPECT_EQ(statistics.refused[DDS_DISCOVERY_REFUSED_MUST_UNDERSTAND], 1u);
    EXPECT_EQ(statistics.refused[DDS_DISCOVERY_REFUSED_MALFORMED], RTPS_REFUSAL_COUNT - 1 - 5u);
}

} // namespace
