// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstring>

#include "participant_qos.h"
#include "qos/DomainParticipantQos_internal.h"

namespace {

using faults::fail_each_allocation;

/** The conversions between a QoS and a property of the presentation participant. */
class PropertyConversionTest : public ParticipantQosTest {
protected:
    PropertyConversionTest() {
        PRESParticipantProperty_setPartitionBuffer(&property_, partition_names_.data());
    }

    ~PropertyConversionTest() override {
        free_property_list();
    }

    void free_property_list() {
        NUVOsapiHeap_freeArray(parameter_.propertyList.data._buffer);
        parameter_.propertyList.data = {0, 0, nullptr};
    }

    DDS_ReturnCode_t to_property() {
        return DDS_DomainParticipantQos_to_participant_property(&qos_, &property_);
    }

    PRESParticipantProperty property_ = PRES_PARTICIPANT_PROPERTY_DEFAULT;
    PRESParticipantParameter &parameter_ = property_.parameter;
    std::array<char, PRES_PARTITION_BUFFER_SIZE> partition_names_;
};

TEST_F(PropertyConversionTest, DefaultQosIsTheDefaultProperty) {
    faults::fail_allocation(1);
    EXPECT_EQ(to_property(), DDS_RETCODE_OK);
    EXPECT_FALSE(faults::happened());
    const PRESParticipantParameter plain = PRES_PARTICIPANT_PARAMETER_DEFAULT;
    EXPECT_EQ(parameter_.userData._length, 0u);
    EXPECT_EQ(parameter_.propertyList.data._length, 0u);
    EXPECT_EQ(parameter_.propertyList.data._buffer, nullptr);
    EXPECT_STREQ(parameter_.partitionQosPolicy.name.str, "");
    EXPECT_EQ(parameter_.entityName.hasName, 0);
    EXPECT_EQ(parameter_.entityName.hasRoleName, 0);
    EXPECT_EQ(parameter_.reachabilityLeaseDuration.sec, plain.reachabilityLeaseDuration.sec);
    EXPECT_EQ(parameter_.reachabilityLeaseDuration.frac, plain.reachabilityLeaseDuration.frac);
    EXPECT_EQ(parameter_.autoenableCreatedEntities, plain.autoenableCreatedEntities);
    EXPECT_EQ(parameter_.transportBuiltinMask, plain.transportBuiltinMask);
    EXPECT_EQ(parameter_.participantIndex, plain.participantIndex);
    EXPECT_EQ(parameter_.requestedHostId, plain.requestedHostId);
    EXPECT_EQ(parameter_.requestedAppId, plain.requestedAppId);
    EXPECT_EQ(parameter_.requestedInstanceId, plain.requestedInstanceId);
    EXPECT_EQ(parameter_.builtinDiscoveryPlugins, plain.builtinDiscoveryPlugins);
    const auto &limits = parameter_.resourceLimits;
    EXPECT_EQ(limits.transportInfoListMaxLength, plain.resourceLimits.transportInfoListMaxLength);
    EXPECT_EQ(limits.userDataMaxLength, plain.resourceLimits.userDataMaxLength);
    EXPECT_EQ(limits.propertyListMaxLength, plain.resourceLimits.propertyListMaxLength);
    EXPECT_EQ(limits.propertyStringMaxLength, plain.resourceLimits.propertyStringMaxLength);
}

TEST_F(PropertyConversionTest, EveryPolicyThatAPropertyCarriesIsPut) {
    fill();
    EXPECT_EQ(to_property(), DDS_RETCODE_OK);
    EXPECT_EQ(parameter_.userData._length, 3u);
    EXPECT_EQ(parameter_.userData._buffer, qos_.user_data.value._buffer);
    EXPECT_EQ(parameter_.autoenableCreatedEntities, 0);
    EXPECT_EQ(parameter_.participantIndex, 3);
    EXPECT_EQ(parameter_.requestedHostId, 11u);
    EXPECT_EQ(parameter_.requestedAppId, 12u);
    EXPECT_EQ(parameter_.requestedInstanceId, 13u);
    EXPECT_EQ(parameter_.transportBuiltinMask, 3u);
    EXPECT_EQ(parameter_.reachabilityLeaseDuration.sec, 5);
    EXPECT_EQ(parameter_.reachabilityLeaseDuration.frac, 0x40000000u);
    EXPECT_EQ(parameter_.builtinDiscoveryPlugins, 0x10u);
    EXPECT_EQ(parameter_.resourceLimits.transportInfoListMaxLength, 1);
    EXPECT_EQ(parameter_.resourceLimits.userDataMaxLength, 100);
    EXPECT_EQ(parameter_.resourceLimits.propertyListMaxLength, 5);
    EXPECT_EQ(parameter_.resourceLimits.propertyStringMaxLength, 500);
    EXPECT_EQ(parameter_.entityName.hasName, 1);
    EXPECT_STREQ(parameter_.entityName.name, "name");
    EXPECT_EQ(parameter_.entityName.hasRoleName, 1);
    EXPECT_STREQ(parameter_.entityName.roleName, "role");
    EXPECT_STREQ(partition_names_.data(), "one,two");
}

TEST_F(PropertyConversionTest, PropertyListIsAnArrayThatBorrowsTheStrings) {
    fill();
    EXPECT_EQ(to_property(), DDS_RETCODE_OK);
    const PRESPropertySequence &list = parameter_.propertyList.data;
    ASSERT_EQ(list._length, 2u);
    EXPECT_EQ(list._maximum, 2u);
    EXPECT_EQ(list._buffer[0].name, qos_.property.value._buffer[0].name);
    EXPECT_EQ(list._buffer[0].value, qos_.property.value._buffer[0].value);
    EXPECT_EQ(list._buffer[0].propagate, 1);
    EXPECT_EQ(list._buffer[1].propagate, 0);
}

TEST_F(PropertyConversionTest, WithoutMemoryThePropertyListIsEmptyAndOneErrorSaysSo) {
    fill();
    faults::fail_allocation(1);
    EXPECT_EQ(to_property(), DDS_RETCODE_OUT_OF_RESOURCES);
    const Message message = take_message();
    EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(message.name, "DDS_LOG_OUT_OF_RESOURCES_s");
    EXPECT_EQ(parameter_.propertyList.data._buffer, nullptr);
    EXPECT_EQ(parameter_.propertyList.data._length, 0u);
    EXPECT_EQ(parameter_.propertyList.data._maximum, 0u);
    EXPECT_STREQ(partition_names_.data(), "one,two");
}

TEST_F(PropertyConversionTest, PartitionNamesNeedABuffer) {
    fill();
    parameter_.partitionQosPolicy.name = {0, nullptr};
    EXPECT_EQ(to_property(), DDS_RETCODE_OK);
    EXPECT_EQ(parameter_.partitionQosPolicy.name.str, nullptr);
}

TEST_F(PropertyConversionTest, PartitionNamesThatDoNotFitAreAnError) {
    append(qos_.partition.name, std::string(254, 'x').c_str());
    append(qos_.partition.name, "");
    EXPECT_EQ(to_property(), DDS_RETCODE_OK);
    EXPECT_EQ(std::string(partition_names_.data()), std::string(254, 'x') + ",");
    append(qos_.partition.name, "");
    EXPECT_EQ(to_property(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(take_message().body, "partition.name: the names joined by ',' are too long; allowed "
                                   "are at most 255 characters");
    EXPECT_STREQ(partition_names_.data(), "");
}

TEST_F(PropertyConversionTest, NamesThatDoNotFitAreAnError) {
    set(qos_.participant_name.name, std::string(256, 'x').c_str());
    EXPECT_EQ(to_property(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(take_message().body,
              "participant_name.name has 256 characters; allowed are at most 255");
    EXPECT_EQ(parameter_.entityName.hasName, 0);
    EXPECT_STREQ(parameter_.entityName.name, "");
}

TEST_F(PropertyConversionTest, ANullPartitionNameIsAnEmptyOne) {
    append(qos_.partition.name, "a");
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&qos_.partition.name, 2, 2));
    EXPECT_EQ(to_property(), DDS_RETCODE_OK);
    EXPECT_STREQ(partition_names_.data(), "a,");
}

TEST_F(PropertyConversionTest, ARoleNameThatDoesNotFitIsAnError) {
    set(qos_.participant_name.role_name, std::string(256, 'x').c_str());
    EXPECT_EQ(to_property(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(take_message().body,
              "participant_name.role_name has 256 characters; allowed are at most 255");
    EXPECT_EQ(parameter_.entityName.hasRoleName, 0);
}

TEST_F(PropertyConversionTest, WhatTheQosDoesNotCoverStays) {
    parameter_.domainId = 7;
    parameter_.productVersion.major = 9;
    parameter_.defaultUnicastLocator.count = 1;
    property_.facadeProperty.parent.jobDispatcher.executionThreadDestructionTimeout = 33;
    fill();
    EXPECT_EQ(to_property(), DDS_RETCODE_OK);
    EXPECT_EQ(parameter_.domainId, 7);
    EXPECT_EQ(parameter_.productVersion.major, 9);
    EXPECT_EQ(parameter_.defaultUnicastLocator.count, 1);
    EXPECT_EQ(property_.facadeProperty.parent.jobDispatcher.executionThreadDestructionTimeout, 33);
}

/** The QoS that is left when what a property does not carry is taken from another. */
void take_what_no_property_carries(DDS_DomainParticipantQos &to,
                                   const DDS_DomainParticipantQos &from) {
    ASSERT_NE(DDS_TransportUnicastQosPolicy_copy(&to.default_unicast, &from.default_unicast),
              nullptr);
    ASSERT_NE(
        DDS_TransportMulticastMappingQosPolicy_copy(&to.multicast_mapping, &from.multicast_mapping),
        nullptr);
    ASSERT_NE(DDS_DiscoveryQosPolicy_copy(&to.discovery, &from.discovery), nullptr);
    to.wire_protocol.rtps_well_known_ports = from.wire_protocol.rtps_well_known_ports;
    to.wire_protocol.rtps_reserved_port_mask = from.wire_protocol.rtps_reserved_port_mask;
    to.discovery_config.lease_duration = from.discovery_config.lease_duration;
    to.discovery_config.announcement_period = from.discovery_config.announcement_period;
    to.discovery_config.initial_announcements = from.discovery_config.initial_announcements;
    to.discovery_config.initial_announcement_period =
        from.discovery_config.initial_announcement_period;
    ASSERT_TRUE(
        DDS_String_replace(&to.discovery_config.domain_tag, from.discovery_config.domain_tag));
    to.resource_limits.remote_participants_max = from.resource_limits.remote_participants_max;
}

TEST_F(PropertyConversionTest, AQosComesBackAsItWas) {
    fill();
    ASSERT_EQ(to_property(), DDS_RETCODE_OK);
    DDS_DomainParticipantQos back = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    EXPECT_EQ(DDS_DomainParticipantQos_from_participant_property(&back, &property_),
              DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&back, &qos_), DDS_BOOLEAN_FALSE);
    take_what_no_property_carries(back, qos_);
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&back, &qos_), DDS_BOOLEAN_TRUE);
    DDS_DomainParticipantQos_finalize(&back);
}

TEST_F(PropertyConversionTest, TheDefaultQosComesBackAsItWas) {
    ASSERT_EQ(to_property(), DDS_RETCODE_OK);
    DDS_DomainParticipantQos back;
    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&back), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantQos_from_participant_property(&back, &property_),
              DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantQos_is_equal(&back, &qos_), DDS_BOOLEAN_TRUE);
    DDS_DomainParticipantQos_finalize(&back);
}

TEST_F(PropertyConversionTest, ReadingTouchesNothingThatNoPropertyCarries) {
    fill();
    DDS_DomainParticipantQos before = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    ASSERT_NE(DDS_DomainParticipantQos_copy(&before, &qos_), nullptr);
    EXPECT_EQ(DDS_DomainParticipantQos_from_participant_property(&qos_, &property_),
              DDS_RETCODE_OK);
    EXPECT_EQ(
        DDS_TransportUnicastQosPolicy_is_equal(&qos_.default_unicast, &before.default_unicast),
        DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_TransportMulticastMappingQosPolicy_is_equal(&qos_.multicast_mapping,
                                                              &before.multicast_mapping),
              DDS_BOOLEAN_TRUE);
    EXPECT_EQ(DDS_DiscoveryQosPolicy_is_equal(&qos_.discovery, &before.discovery),
              DDS_BOOLEAN_TRUE);
    EXPECT_EQ(qos_.wire_protocol.rtps_well_known_ports.port_base, 7500);
    EXPECT_EQ(qos_.wire_protocol.rtps_reserved_port_mask, 15);
    DDS_DomainParticipantQos_finalize(&before);
}

TEST_F(PropertyConversionTest, PartsWithoutABufferBecomeEmpty) {
    fill();
    parameter_.partitionQosPolicy.name = {0, nullptr};
    parameter_.userData = {0, 5, nullptr};
    parameter_.propertyList.data = {0, 5, nullptr};
    EXPECT_EQ(DDS_DomainParticipantQos_from_participant_property(&qos_, &property_),
              DDS_RETCODE_OK);
    EXPECT_EQ(qos_.user_data.value._length, 0);
    EXPECT_EQ(qos_.property.value._length, 0);
    EXPECT_EQ(qos_.partition.name._length, 0);
    EXPECT_EQ(qos_.participant_name.name, nullptr);
}

TEST_F(PropertyConversionTest, PartitionNamesAreSplit) {
    const auto split = [this](const char *joined) {
        std::strcpy(partition_names_.data(), joined);
        EXPECT_EQ(DDS_DomainParticipantQos_from_participant_property(&qos_, &property_),
                  DDS_RETCODE_OK);
        std::vector<std::string> names;
        for (DDS_Long i = 0; i < qos_.partition.name._length; ++i) {
            names.emplace_back(qos_.partition.name._buffer[i]);
        }
        return names;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(split(""), Names{});
    EXPECT_EQ(split("a"), Names{"a"});
    EXPECT_EQ(split("a,bc"), (Names{"a", "bc"}));
    EXPECT_EQ(split(",a"), (Names{"", "a"}));
    EXPECT_EQ(split("a,"), (Names{"a", ""}));
    EXPECT_EQ(split(","), (Names{"", ""}));
}

TEST_F(PropertyConversionTest, ReadingWithoutMemoryLeavesThePolicyAndSaysSo) {
    fill();
    ASSERT_EQ(to_property(), DDS_RETCODE_OK);
    DDS_DomainParticipantQos back;
    const auto read_back = [&] {
        back = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
        return DDS_DomainParticipantQos_from_participant_property(&back, &property_);
    };
    const int failures = fail_each_allocation(read_back, [&](auto result, const auto &failed) {
        EXPECT_EQ(result, failed.empty() ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES);
        if (!failed.empty()) {
            EXPECT_EQ(take_message().name, "DDS_LOG_OUT_OF_RESOURCES_s");
            const int empty =
                (back.user_data.value._length == 0) + (back.property.value._length == 0) +
                (back.partition.name._length == 0) + (back.participant_name.name == nullptr);
            EXPECT_EQ(empty, 1);
        }
        DDS_DomainParticipantQos_finalize(&back);
    });
    EXPECT_EQ(failures, 13);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(PropertyConversionTest, NullIsAFailedPrecondition) {
    EXPECT_EQ(DDS_DomainParticipantQos_to_participant_property(nullptr, &property_),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"src == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_to_participant_property(&qos_, nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"dst == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_from_participant_property(nullptr, &property_),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"qos == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_from_participant_property(&qos_, nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"property == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_setup_presentation_qosI(&qos_, nullptr, 1, 1, 1),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"property == ((void *)0)\"");
    EXPECT_EQ(DDS_DomainParticipantQos_finalize_presentation_qosI(nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"property == ((void *)0)\"");
}

/** The buffers that a property is given to be read into. */
class PresentationBuffersTest : public PropertyConversionTest {
protected:
    DDS_ReturnCode_t setup(DDS_Long user_data, DDS_Long properties, DDS_Long strings) {
        return DDS_DomainParticipantQos_setup_presentation_qosI(&qos_, &property_, user_data,
                                                                properties, strings);
    }

    void expect_no_buffers() {
        EXPECT_EQ(parameter_.userData._buffer, nullptr);
        EXPECT_EQ(parameter_.userData._maximum, 0u);
        EXPECT_EQ(parameter_.propertyList.data._buffer, nullptr);
        EXPECT_EQ(parameter_.propertyList.data._maximum, 0u);
        EXPECT_EQ(parameter_.propertyList.strings._buffer, nullptr);
        EXPECT_EQ(parameter_.propertyList.strings._maximum, 0u);
    }
};

TEST_F(PresentationBuffersTest, HaveTheGivenSizes) {
    ASSERT_EQ(setup(10, 3, 100), DDS_RETCODE_OK);
    EXPECT_EQ(parameter_.userData._maximum, 10u);
    EXPECT_EQ(parameter_.userData._length, 0u);
    EXPECT_EQ(parameter_.propertyList.data._maximum, 3u);
    EXPECT_EQ(parameter_.propertyList.data._length, 0u);
    EXPECT_EQ(parameter_.propertyList.strings._maximum, 100u);
    EXPECT_EQ(parameter_.propertyList.strings._length, 0u);
    std::memset(parameter_.userData._buffer, 1, 10);
    parameter_.propertyList.data._buffer[2] = {nullptr, nullptr, 0};
    std::memset(parameter_.propertyList.strings._buffer, 1, 100);
    EXPECT_EQ(DDS_DomainParticipantQos_finalize_presentation_qosI(&property_), DDS_RETCODE_OK);
    expect_no_buffers();
}

TEST_F(PresentationBuffersTest, NoneIsMadeForALimitOf0) {
    faults::fail_allocation(1);
    EXPECT_EQ(setup(0, 0, 0), DDS_RETCODE_OK);
    EXPECT_FALSE(faults::happened());
    expect_no_buffers();
}

TEST_F(PresentationBuffersTest, ANegativeLimitIsRefused) {
    EXPECT_EQ(setup(-1, 1, 1), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(setup(1, -1, 1), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(setup(1, 1, -1), DDS_RETCODE_BAD_PARAMETER);
    expect_no_buffers();
}

TEST_F(PresentationBuffersTest, AllAreMadeOrNone) {
    EXPECT_EQ(fail_each_allocation([this] {
                  const DDS_ReturnCode_t result = setup(10, 3, 100);
                  if (result != DDS_RETCODE_OK) {
                      EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES);
                      expect_no_buffers();
                  }
                  return result == DDS_RETCODE_OK;
              }),
              3);
    DDS_DomainParticipantQos_finalize_presentation_qosI(&property_);
}

TEST_F(PresentationBuffersTest, FinalizingWithoutBuffersIsHarmless) {
    EXPECT_EQ(DDS_DomainParticipantQos_finalize_presentation_qosI(&property_), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantQos_finalize_presentation_qosI(&property_), DDS_RETCODE_OK);
    expect_no_buffers();
    EXPECT_EQ(parameter_.partitionQosPolicy.name.str, partition_names_.data());
}

} // namespace
