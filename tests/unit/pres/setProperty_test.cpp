// SPDX-License-Identifier: Apache-2.0
// A running participant's property is replaced wholly or not at all.
#include "fixture.h"

namespace {

class SetProperty : public ParticipantTest {
protected:
    void SetUp() override {
        participant = make(full_source().property);
    }
    void TearDown() override {
        unmake(participant);
    }

    int set(const PRESParticipantProperty &property) {
        reason = PRES_RETCODE_OK;
        return PRESParticipant_setProperty(participant, &reason, &property, worker);
    }

    Target get() {
        Target target;
        EXPECT_NE(PRESParticipant_getProperty(participant, &target.property, worker), 0);
        return target;
    }

    void expect_old_property() {
        const Target now = get();
        EXPECT_EQ(now.user_data(), "data");
        EXPECT_EQ(now.properties(), (std::vector<std::string>{"a=one/1", "bc=-/0"}));
        EXPECT_EQ(now.partition(), "left,right");
        EXPECT_EQ(now.property.parameter.entityName.hasName, 0);
    }

    PRESParticipant *participant = nullptr;
    int reason = PRES_RETCODE_OK;
};

Source other_source() {
    Source source;
    source.set_user_data("something else").add_property("d", "four").set_partition("up");
    source.property.parameter.entityName.hasName = 1;
    return source;
}

TEST_F(SetProperty, ReplacesEveryPart) {
    ASSERT_NE(set(other_source().property), 0);
    EXPECT_EQ(reason, PRES_RETCODE_OK);
    const Target now = get();
    EXPECT_EQ(now.user_data(), "something else");
    EXPECT_EQ(now.properties(), std::vector<std::string>{"d=four/0"});
    EXPECT_EQ(now.partition(), "up");
    EXPECT_EQ(now.property.parameter.entityName.hasName, 1);
}

TEST_F(SetProperty, PartsThatAreNotGivenBecomeEmpty) {
    ASSERT_NE(set(PARTICIPANT_PROPERTY_DEFAULT), 0);
    const Target now = get();
    EXPECT_EQ(now.user_data(), "");
    EXPECT_TRUE(now.properties().empty());
    EXPECT_EQ(now.partition(), "");
}

TEST_F(SetProperty, KeepsACopy) {
    Source source = other_source();
    ASSERT_NE(set(source.property), 0);
    source.scribble();
    const Target now = get();
    EXPECT_EQ(now.user_data(), "something else");
    EXPECT_EQ(now.properties(), std::vector<std::string>{"d=four/0"});
    EXPECT_EQ(now.partition(), "up");
}

TEST_F(SetProperty, WhatWasReadCanBeSetAgain) {
    Target target = get();
    ASSERT_NE(set(target.property), 0);
    expect_old_property();
}

// The buffers that it was read into are lent, although nothing is in them.
TEST_F(SetProperty, WhatWasReadEmptyCanBeSetAgain) {
    ASSERT_NE(set(PARTICIPANT_PROPERTY_DEFAULT), 0);
    Target target = get();
    ASSERT_NE(set(target.property), 0);
    ASSERT_NE(set(PARTICIPANT_PROPERTY_DEFAULT), 0);
}

TEST_F(SetProperty, ReplacesTheLocators) {
    ASSERT_NE(enable(participant), 0);
    Source source;
    source.property.parameter.defaultUnicastLocator = locators({8}, 7411);
    source.property.parameter.metatrafficMulticastLocator =
        locators<PRESReducedLocatorQosPolicy>({9}, 7400);
    ASSERT_NE(set(source.property), 0);
    const Target now = get();
    EXPECT_EQ(to_text(now.property.parameter.defaultUnicastLocator), "udpv4://192.0.2.8:7411");
    EXPECT_EQ(to_text(now.property.parameter.metatrafficUnicastLocator), "");
    EXPECT_EQ(to_text(now.property.parameter.metatrafficMulticastLocator),
              "udpv4://192.0.2.9:7400");
}

TEST_F(SetProperty, TheFacadeKeepsTheSettingsOfItsCreation) {
    Source source;
    char ports[] = "7410";
    COMMENDFacadeProperty &facade = source.property.facadeProperty.parent;
    facade.sender.sendTimeBasedLoggingThreshold = {1, 0};
    facade.receiver.processMessageTimeBasedLoggingExplicitPorts = ports;
    facade.jobDispatcher.executionThreadDestructionTimeout = 3;
    ASSERT_NE(set(source.property), 0);
    const Target now = get();
    const COMMENDFacadeProperty &kept = now.property.facadeProperty.parent;
    EXPECT_TRUE(NUVNtpTime_isInfinite(&kept.sender.sendTimeBasedLoggingThreshold));
    EXPECT_EQ(kept.receiver.processMessageTimeBasedLoggingExplicitPorts, nullptr);
    EXPECT_EQ(kept.jobDispatcher.executionThreadDestructionTimeout,
              COMMEND_EXECUTION_THREAD_DESTRUCTION_TIMEOUT_DEFAULT);
}

TEST_F(SetProperty, PartsAsLongAsTheLimitsAreTaken) {
    Source source;
    source.set_user_data(std::string(256, 'u')).set_partition(std::string(255, 'p'));
    for (int i = 0; i < 31; ++i) {
        source.add_property("", "");
    }
    // 31 * 2 terminators are there; the last one fills the 2048 bytes.
    source.add_property("n", std::string(2048 - 31 * 2 - 3, 'v').c_str());
    ASSERT_NE(set(source.property), 0);
    const Target now = get();
    EXPECT_EQ(now.user_data(), std::string(256, 'u'));
    EXPECT_EQ(now.properties().size(), 32u);
    EXPECT_EQ(now.property.parameter.propertyList.strings._length, 2048u);
    EXPECT_EQ(now.partition(), std::string(255, 'p'));
}

struct TooMuch {
    const char *name;
    void (*add)(Source &source);
    const char *message;
};

class InconsistentProperty : public SetProperty, public ::testing::WithParamInterface<TooMuch> {};

TEST_P(InconsistentProperty, IsRefusedAndTheOldOneStays) {
    Source source = other_source();
    GetParam().add(source);
    EXPECT_EQ(set(source.property), 0);
    EXPECT_EQ(reason, PRES_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR), std::vector<std::string>{GetParam().message});
    expect_old_property();
}

INSTANTIATE_TEST_SUITE_P(
    Has, InconsistentProperty,
    ::testing::Values(
        TooMuch{"TooMuchUserData",
                [](Source &source) { source.set_user_data(std::string(257, 'u')); },
                "resource_limits.participant_user_data_max_length: 257 octets of user data, "
                "at most 256"},
        TooMuch{"TooManyProperties",
                [](Source &source) {
                    for (int i = 0; i < 32; ++i) {
                        source.add_property("", "");
                    }
                },
                "resource_limits.participant_property_list_max_length: 33 properties, at most 32"},
        TooMuch{"PropertyTextsThatAreTooLong",
                [](Source &source) {
                    const std::size_t others = sizeof "d" + sizeof "four";
                    source.add_property("", std::string(2048 - others - 1, 'v').c_str());
                },
                "resource_limits.participant_property_string_max_length: 2049 bytes of property "
                "names and values, at most 2048"},
        TooMuch{"PartitionNamesThatAreTooLong",
                [](Source &source) { source.set_partition(std::string(256, 'p')); },
                "partition: 256 characters of partition names, at most 255"}),
    [](const auto &much) { return std::string(much.param.name); });

TEST_F(SetProperty, EachAllocationThatFailsKeepsTheOldProperty) {
    const Source source = other_source();
    const NUV_UINT64 blocks = live_blocks();
    const int failed = faults::fail_each_allocation(
        [&] { return set(source.property) != 0; },
        [&] {
            EXPECT_EQ(reason, PRES_RETCODE_OUT_OF_RESOURCES);
            EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
                      std::vector<std::string>{"out of memory for a participant's property"});
            EXPECT_EQ(live_blocks(), blocks);
            expect_old_property();
        });
    EXPECT_EQ(failed, 4); // user data, properties, their texts, partitions
    EXPECT_EQ(get().user_data(), "something else");
}

TEST_F(SetProperty, TheReplacedPropertyIsFreed) {
    const NUV_UINT64 blocks = live_blocks();
    ASSERT_NE(set(other_source().property), 0);
    EXPECT_EQ(live_blocks(), blocks);
    ASSERT_NE(set(PARTICIPANT_PROPERTY_DEFAULT), 0);
    EXPECT_EQ(live_blocks(), blocks - 4);
}

struct FixedSetting {
    const char *name;
    void (*change)(PRESParticipantProperty &property);
    const char *message;
};

class FixedAtCreation : public SetProperty, public ::testing::WithParamInterface<FixedSetting> {
protected:
    void SetUp() override {
        Source source = full_source();
        source.property.facadeProperty.parent.guidPrefix = guid.prefix;
        participant = make(source.property);
    }
};

TEST_P(FixedAtCreation, ChangingItIsRefused) {
    Source source = other_source();
    source.property.facadeProperty.parent.guidPrefix = guid.prefix;
    GetParam().change(source.property);
    EXPECT_EQ(set(source.property), 0);
    EXPECT_EQ(reason, PRES_RETCODE_IMMUTABLE_POLICY);
    EXPECT_EQ(
        messages.take(NUV_LOG_LEVEL_ERROR),
        std::vector<std::string>{GetParam().message + std::string(" in a running participant")});
    expect_old_property();
}

using Property = PRESParticipantProperty;
INSTANTIATE_TEST_SUITE_P(
    Settings, FixedAtCreation,
    ::testing::Values(
        FixedSetting{"Domain", [](Property &p) { p.parameter.domainId = 3; },
                     "domain id: 0 cannot be changed to 3"},
        FixedSetting{"HostId", [](Property &p) { p.facadeProperty.parent.guidPrefix.hostId = 5; },
                     "GUID prefix: host id: 17 cannot be changed to 5"},
        FixedSetting{"AppId", [](Property &p) { p.facadeProperty.parent.guidPrefix.appId = 5; },
                     "GUID prefix: app id: 34 cannot be changed to 5"},
        FixedSetting{"InstanceId",
                     [](Property &p) { p.facadeProperty.parent.guidPrefix.instanceId = 5; },
                     "GUID prefix: instance id: 51 cannot be changed to 5"},
        FixedSetting{"RequestedHostId", [](Property &p) { p.parameter.requestedHostId = 5; },
                     "wire_protocol.rtps_host_id: 17 cannot be changed to 5"},
        FixedSetting{"RequestedAppId", [](Property &p) { p.parameter.requestedAppId = 5; },
                     "wire_protocol.rtps_app_id: 34 cannot be changed to 5"},
        FixedSetting{"RequestedInstanceId",
                     [](Property &p) { p.parameter.requestedInstanceId = 5; },
                     "wire_protocol.rtps_instance_id: 51 cannot be changed to 5"},
        FixedSetting{"ParticipantIndex", [](Property &p) { p.parameter.participantIndex = 4; },
                     "wire_protocol.participant_id: -1 cannot be changed to 4"},
        FixedSetting{"Major", [](Property &p) { p.parameter.productVersion.major = 1; },
                     "product version: major: 0 cannot be changed to 1"},
        FixedSetting{"Minor", [](Property &p) { p.parameter.productVersion.minor = 1; },
                     "product version: minor: 0 cannot be changed to 1"},
        FixedSetting{"Release", [](Property &p) { p.parameter.productVersion.release = 1; },
                     "product version: release: 0 cannot be changed to 1"},
        FixedSetting{"Revision", [](Property &p) { p.parameter.productVersion.revision = 1; },
                     "product version: revision: 0 cannot be changed to 1"},
        FixedSetting{"Transports", [](Property &p) { p.parameter.transportBuiltinMask = 3; },
                     "transport_builtin.mask: 1 cannot be changed to 3"},
        FixedSetting{"TransportInfoLimit",
                     [](Property &p) { p.parameter.resourceLimits.transportInfoListMaxLength = 1; },
                     "resource_limits.transport_info_list_max_length: 12 cannot be changed to 1"},
        FixedSetting{
            "UserDataLimit", [](Property &p) { p.parameter.resourceLimits.userDataMaxLength = 1; },
            "resource_limits.participant_user_data_max_length: 256 cannot be changed to 1"},
        FixedSetting{
            "PropertyLimit",
            [](Property &p) { p.parameter.resourceLimits.propertyListMaxLength = 1; },
            "resource_limits.participant_property_list_max_length: 32 cannot be changed to 1"},
        FixedSetting{
            "PropertyStringLimit",
            [](Property &p) { p.parameter.resourceLimits.propertyStringMaxLength = 1; },
            "resource_limits.participant_property_string_max_length: 2048 cannot be changed to 1"}),
    [](const auto &setting) { return std::string(setting.param.name); });

class RequestedIdentity : public SetProperty {
protected:
    void SetUp() override {
        property.facadeProperty.parent.guidPrefix = guid.prefix;
        property.parameter.requestedHostId = ASKED_AT_CREATION;
        participant = make(property);
    }

    static constexpr NUV_UINT32 ASKED_AT_CREATION = 99;
    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;
};

TEST_F(RequestedIdentity, WhatWasAskedForAtCreationMayBeAskedForAgain) {
    EXPECT_NE(set(property), 0);
}

TEST_F(RequestedIdentity, TheRunningWordsMayBeAskedFor) {
    property.parameter.requestedHostId = guid.prefix.hostId;
    property.parameter.requestedAppId = guid.prefix.appId;
    property.parameter.requestedInstanceId = guid.prefix.instanceId;
    EXPECT_NE(set(property), 0);
}

TEST_F(RequestedIdentity, ZeroKeepsTheWord) {
    property.parameter.requestedHostId = 0;
    EXPECT_NE(set(property), 0);
}

} // namespace
