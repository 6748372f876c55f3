// SPDX-License-Identifier: Apache-2.0
#include "pres/pres_participantProperty.h"

#include <cstring>

#include "fixture.h"

namespace {

const PRESParticipantParameter &DEFAULT = PARTICIPANT_PROPERTY_DEFAULT.parameter;

TEST(ParticipantProperty, DefaultHasNoVariableParts) {
    EXPECT_EQ(DEFAULT.userData._buffer, nullptr);
    EXPECT_EQ(DEFAULT.userData._length, 0u);
    EXPECT_EQ(DEFAULT.propertyList.data._buffer, nullptr);
    EXPECT_EQ(DEFAULT.propertyList.data._length, 0u);
    EXPECT_EQ(DEFAULT.propertyList.strings._buffer, nullptr);
    EXPECT_EQ(DEFAULT.partitionQosPolicy.name.str, nullptr);
    EXPECT_EQ(PARTICIPANT_PROPERTY_DEFAULT.facadeProperty.parent.receiver
                  .processMessageTimeBasedLoggingExplicitPorts,
              nullptr);
}

TEST(ParticipantProperty, DefaultHasNoLocators) {
    EXPECT_EQ(
        PRESLocatorQosPolicy_compare(&DEFAULT.defaultUnicastLocator, &LOCATOR_QOS_POLICY_DEFAULT),
        0);
    EXPECT_EQ(DEFAULT.metatrafficUnicastLocator.count, 0);
    EXPECT_EQ(DEFAULT.defaultMulticastLocator.count, 0);
    EXPECT_EQ(DEFAULT.metatrafficMulticastLocator.count, 0);
    EXPECT_EQ(DEFAULT.metatrafficMulticastLocator.locatorList[3].transport, -1);
}

TEST(ParticipantProperty, DefaultNeverLogsForTime) {
    const COMMENDFacadeProperty &facade = PARTICIPANT_PROPERTY_DEFAULT.facadeProperty.parent;
    EXPECT_TRUE(NUVNtpTime_isInfinite(&facade.sender.sendTimeBasedLoggingThreshold));
    EXPECT_TRUE(NUVNtpTime_isInfinite(&facade.receiver.processMessageTimeBasedLoggingThreshold));
    EXPECT_TRUE(NUVNtpTime_isInfinite(&PARTICIPANT_PROPERTY_DEFAULT.authenticationTimeThreshold));
}

TEST(ParticipantProperty, DefaultTakesTheFirstFreeIndexAndAGeneratedIdentity) {
    EXPECT_EQ(DEFAULT.domainId, 0);
    EXPECT_EQ(DEFAULT.participantIndex, -1);
    EXPECT_EQ(DEFAULT.requestedHostId, 0u);
    EXPECT_EQ(DEFAULT.requestedAppId, 0u);
    EXPECT_EQ(DEFAULT.requestedInstanceId, 0u);
}

TEST(ParticipantProperty, DefaultLimitsAndEnabling) {
    EXPECT_EQ(DEFAULT.resourceLimits.transportInfoListMaxLength, 12);
    EXPECT_EQ(DEFAULT.resourceLimits.userDataMaxLength, 256);
    EXPECT_EQ(DEFAULT.resourceLimits.propertyListMaxLength, 32);
    EXPECT_EQ(DEFAULT.resourceLimits.propertyStringMaxLength, 2048);
    EXPECT_EQ(DEFAULT.autoenableCreatedEntities, 1);
    EXPECT_TRUE(NUVNtpTime_isInfinite(&DEFAULT.reachabilityLeaseDuration));
}

TEST(ParticipantProperty, PartitionBufferIsLentAsTheEmptyText) {
    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;
    char buffer[PRES_PARTITION_BUFFER_SIZE];
    std::memset(buffer, 'x', sizeof buffer);
    PRESParticipantProperty_setPartitionBuffer(&property, buffer);
    EXPECT_EQ(property.parameter.partitionQosPolicy.name.str, buffer);
    EXPECT_EQ(property.parameter.partitionQosPolicy.name._maximum, PRES_PARTITION_BUFFER_SIZE);
    EXPECT_STREQ(buffer, "");
}

} // namespace
