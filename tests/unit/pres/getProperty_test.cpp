// SPDX-License-Identifier: Apache-2.0
// A participant keeps a deep copy of its property and gives copies out.
#include <utility>

#include "fixture.h"

namespace {

const std::vector<std::string> FULL_LIST = {"a=one/1", "bc=-/0"};
constexpr std::size_t FULL_BYTES = sizeof "a" + sizeof "one" + sizeof "bc";

class GetProperty : public ParticipantTest {
protected:
    void TearDown() override {
        if (participant != nullptr) {
            unmake(participant);
        }
    }

    int get(Target &target) {
        return PRESParticipant_getProperty(participant, &target.property, worker);
    }

    PRESParticipant *participant = nullptr;
};

class GetFullProperty : public GetProperty {
protected:
    void SetUp() override {
        participant = make(full_source().property);
    }
};

TEST_F(GetFullProperty, GivesTheVariablePartsOut) {
    Target target;
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(target.user_data(), "data");
    EXPECT_EQ(target.properties(), FULL_LIST);
    EXPECT_EQ(target.property.parameter.propertyList.strings._length, FULL_BYTES);
    EXPECT_EQ(target.partition(), "left,right");
}

TEST_F(GetFullProperty, BuffersThatAreJustLargeEnoughSuffice) {
    Target target({4, 2, FULL_BYTES, sizeof "left,right"});
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(target.user_data(), "data");
    EXPECT_EQ(target.properties(), FULL_LIST);
    EXPECT_EQ(target.partition(), "left,right");
}

TEST_F(GetFullProperty, KeepsTheBuffersAndTheirSizes) {
    Target target({4, 2, FULL_BYTES, sizeof "left,right"});
    const PRESParticipantParameter before = target.property.parameter;
    ASSERT_NE(get(target), 0);
    const PRESParticipantParameter &after = target.property.parameter;
    EXPECT_EQ(after.userData._buffer, before.userData._buffer);
    EXPECT_EQ(after.userData._maximum, 4u);
    EXPECT_EQ(after.propertyList.data._buffer, before.propertyList.data._buffer);
    EXPECT_EQ(after.propertyList.data._maximum, 2u);
    EXPECT_EQ(after.propertyList.strings._buffer, before.propertyList.strings._buffer);
    EXPECT_EQ(after.propertyList.strings._maximum, FULL_BYTES);
    EXPECT_EQ(after.partitionQosPolicy.name.str, before.partitionQosPolicy.name.str);
    EXPECT_EQ(after.partitionQosPolicy.name._maximum, NUV_INT32{sizeof "left,right"});
}

TEST_F(GetFullProperty, ABufferThatIsTooSmallFailsAndLeavesTheOutputAsItWas) {
    const Target::Sizes too_small[] = {
        {3, 2, FULL_BYTES, 256},
        {4, 1, FULL_BYTES, 256},
        {4, 2, FULL_BYTES - 1, 256},
        {4, 2, FULL_BYTES, sizeof "left,right" - 1},
    };
    for (const Target::Sizes &sizes : too_small) {
        Target target(sizes);
        target.property.parameter.domainId = 55;
        EXPECT_EQ(get(target), 0);
        EXPECT_EQ(target.property.parameter.domainId, 55);
        EXPECT_EQ(target.property.parameter.userData._length, 77u);
        EXPECT_EQ(target.property.parameter.userData._buffer[0], 0);
        EXPECT_EQ(target.property.parameter.propertyList.data._length, 77u);
        EXPECT_EQ(target.partition(), "");
    }
}

TEST_F(GetFullProperty, APartitionBufferOfNegativeSizeIsTooSmall) {
    Target target;
    target.property.parameter.partitionQosPolicy.name._maximum = -1;
    EXPECT_EQ(get(target), 0);
}

TEST_F(GetFullProperty, PartsWithoutABufferAreLeftOut) {
    Target target({0, 0, 0, 0});
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(target.property.parameter.userData._length, 0u);
    EXPECT_EQ(target.property.parameter.userData._buffer, nullptr);
    EXPECT_EQ(target.property.parameter.propertyList.data._length, 0u);
    EXPECT_EQ(target.property.parameter.propertyList.data._buffer, nullptr);
    EXPECT_EQ(target.property.parameter.propertyList.strings._length, 0u);
    EXPECT_EQ(target.property.parameter.partitionQosPolicy.name.str, nullptr);
}

TEST_F(GetFullProperty, APropertyListNeedsBothOfItsBuffers) {
    for (const Target::Sizes &sizes :
         {Target::Sizes{4, 2, 0, 256}, Target::Sizes{4, 0, FULL_BYTES, 256}}) {
        Target target(sizes);
        ASSERT_NE(get(target), 0);
        EXPECT_EQ(target.user_data(), "data");
        EXPECT_EQ(target.property.parameter.propertyList.data._length, 0u);
        EXPECT_EQ(target.property.parameter.propertyList.strings._length, 0u);
    }
}

TEST_F(GetFullProperty, WhatIsGivenOutIsACopy) {
    Target first;
    ASSERT_NE(get(first), 0);
    first.property.parameter.userData._buffer[0] = '#';
    first.property.parameter.propertyList.strings._buffer[0] = '#';
    first.property.parameter.partitionQosPolicy.name.str[0] = '#';
    Target second;
    ASSERT_NE(get(second), 0);
    EXPECT_EQ(second.user_data(), "data");
    EXPECT_EQ(second.properties(), FULL_LIST);
    EXPECT_EQ(second.partition(), "left,right");
}

TEST_F(GetProperty, WhatIsKeptIsACopy) {
    Source source = full_source();
    participant = make(source.property);
    source.scribble();
    Target target;
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(target.user_data(), "data");
    EXPECT_EQ(target.properties(), FULL_LIST);
    EXPECT_EQ(target.partition(), "left,right");
}

TEST_F(GetProperty, PartsThatWereNotGivenAreEmpty) {
    participant = make();
    Target target;
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(target.user_data(), "");
    EXPECT_TRUE(target.properties().empty());
    EXPECT_EQ(target.property.parameter.propertyList.strings._length, 0u);
    EXPECT_EQ(target.partition(), "");
}

TEST_F(GetProperty, PropertiesWithoutAnyTextAreKept) {
    Source source;
    source.add_property(nullptr, nullptr, 1);
    participant = make(source.property);
    Target target;
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(target.properties(), std::vector<std::string>{"-=-/1"});
}

TEST_F(GetProperty, APartitionTextThatFillsItsBufferUnterminatedIsReadToTheEndOfTheBuffer) {
    Source source;
    source.set_partition("abcd");
    source.property.parameter.partitionQosPolicy.name._maximum = 3;
    participant = make(source.property);
    Target target;
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(target.partition(), "abc");
}

TEST_F(GetProperty, APartitionBufferOfNoSizeIsTheEmptyText) {
    for (const NUV_INT32 size : {0, -1}) {
        Source source;
        source.set_partition("abcd");
        source.property.parameter.partitionQosPolicy.name._maximum = size;
        participant = make(source.property);
        Target target;
        ASSERT_NE(get(target), 0);
        EXPECT_EQ(target.partition(), "");
        unmake(std::exchange(participant, nullptr));
    }
}

TEST_F(GetProperty, GivesThePlainPartsOut) {
    Source source;
    int token = 0;
    PRESParticipantParameter &parameter = source.property.parameter;
    parameter.domainId = 7;
    parameter.productVersion = {1, 2, 3, 4};
    parameter.entityName.hasName = 1;
    parameter.entityName.name[0] = 'n';
    parameter.defaultUnicastLocator = locators({1}, 7411);
    parameter.metatrafficUnicastLocator = locators({1, 2}, 7410);
    parameter.defaultMulticastLocator = locators<PRESReducedLocatorQosPolicy>({3}, 7401);
    parameter.metatrafficMulticastLocator = locators<PRESReducedLocatorQosPolicy>({4}, 7400);
    parameter.securityTokens = {&token, nullptr, &token};
    parameter.securityProtectionInfo = {1, 2};
    parameter.participantIndex = 5;
    source.property.authenticationTimeThreshold = {3, 0};
    source.property.directedWriteGuidSerializationKind = 2;
    source.property.facadeProperty.parent.guidPrefix = {1, 2, 3};

    participant = make(source.property);
    Target target;
    ASSERT_NE(get(target), 0);
    const PRESParticipantParameter &out = target.property.parameter;
    EXPECT_EQ(out.domainId, 7);
    EXPECT_EQ(out.productVersion.revision, 4);
    EXPECT_EQ(out.entityName.hasName, 1);
    EXPECT_STREQ(out.entityName.name, "n");
    EXPECT_EQ(to_text(out.defaultUnicastLocator), "udpv4://192.0.2.1:7411");
    EXPECT_EQ(to_text(out.metatrafficUnicastLocator),
              "udpv4://192.0.2.1:7410, udpv4://192.0.2.2:7410");
    EXPECT_EQ(to_text(out.defaultMulticastLocator), "udpv4://192.0.2.3:7401");
    EXPECT_EQ(to_text(out.metatrafficMulticastLocator), "udpv4://192.0.2.4:7400");
    EXPECT_EQ(out.securityTokens.identityToken, &token);
    EXPECT_EQ(out.securityTokens.permissionsToken, nullptr);
    EXPECT_EQ(out.securityTokens.identityStatusToken, &token);
    EXPECT_EQ(out.securityProtectionInfo.pluginBitmask, 2u);
    EXPECT_EQ(out.participantIndex, 5);
    EXPECT_EQ(target.property.authenticationTimeThreshold.sec, 3);
    EXPECT_EQ(target.property.directedWriteGuidSerializationKind, 2);
    EXPECT_EQ(target.property.facadeProperty.parent.guidPrefix.instanceId, 3u);
}

TEST_F(GetProperty, DoesNotKeepTheHostNamesOfLocators) {
    Source source;
    PRESParticipantParameter &in = source.property.parameter;
    in.defaultUnicastLocator = in.metatrafficUnicastLocator = locators({1});
    in.defaultMulticastLocator = in.metatrafficMulticastLocator =
        locators<PRESReducedLocatorQosPolicy>({1});
    in.defaultUnicastLocator.locatorList[0].hostname = "host";
    in.metatrafficUnicastLocator.locatorList[0].hostname = "host";
    in.defaultMulticastLocator.locatorList[0].hostname = "host";
    in.metatrafficMulticastLocator.locatorList[0].hostname = "host";
    participant = make(source.property);
    Target target;
    ASSERT_NE(get(target), 0);
    const PRESParticipantParameter &out = target.property.parameter;
    EXPECT_EQ(out.defaultUnicastLocator.locatorList[0].hostname, nullptr);
    EXPECT_EQ(out.metatrafficUnicastLocator.locatorList[0].hostname, nullptr);
    EXPECT_EQ(out.defaultMulticastLocator.locatorList[0].hostname, nullptr);
    EXPECT_EQ(out.metatrafficMulticastLocator.locatorList[0].hostname, nullptr);
}

TEST_F(GetProperty, DoesNotGiveTheTrackedPortsOut) {
    char ports[] = "7410";
    Source source;
    source.property.facadeProperty.parent.receiver.processMessageTimeBasedLoggingExplicitPorts =
        ports;
    participant = make(source.property);
    ASSERT_NE(participant, nullptr);
    Target target;
    target.property.facadeProperty.parent.receiver.processMessageTimeBasedLoggingExplicitPorts =
        ports;
    ASSERT_NE(get(target), 0);
    EXPECT_EQ(
        target.property.facadeProperty.parent.receiver.processMessageTimeBasedLoggingExplicitPorts,
        nullptr);
}

} // namespace
