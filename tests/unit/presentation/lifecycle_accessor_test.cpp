// SPDX-License-Identifier: Apache-2.0
// The read-only accessors of the record.
#include "support/presentation_fixture.h"

namespace {

using namespace support;

class Accessor : public PresentationFixture {};

TEST_F(Accessor, ReportsAnyNonZeroFlagAsOne) {
    self._participantIndexSpecified = 2;
    self._entryportsReserved = 0x100; // no bit of which fits into a DDS_Boolean
    self._isLocatorReachabilityDisabled = -1;

    EXPECT_EQ(DDS_DomainParticipantPresentation_is_participant_index_specified(&self), 1);
    EXPECT_EQ(DDS_DomainParticipantPresentation_are_entryports_reserved(&self), 1);
    EXPECT_EQ(DDS_DomainParticipantPresentation_is_locator_reachability_disabled(&self), 1);
}

TEST_F(Accessor, ReadsOnlyItsOwnFlag) {
    self._participantIndexSpecified = 1;
    EXPECT_EQ(DDS_DomainParticipantPresentation_is_participant_index_specified(&self), 1);
    EXPECT_EQ(DDS_DomainParticipantPresentation_are_entryports_reserved(&self), 0);
    EXPECT_EQ(DDS_DomainParticipantPresentation_is_locator_reachability_disabled(&self), 0);

    self = {};
    self._entryportsReserved = 1;
    EXPECT_EQ(DDS_DomainParticipantPresentation_is_participant_index_specified(&self), 0);
    EXPECT_EQ(DDS_DomainParticipantPresentation_are_entryports_reserved(&self), 1);
    EXPECT_EQ(DDS_DomainParticipantPresentation_is_locator_reachability_disabled(&self), 0);
}

TEST_F(Accessor, AnswersTheLocatorListSizeUnchanged) {
    self._maxLocatorListSize = -7;
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_max_locator_list_size(&self), -7);
}

TEST_F(Accessor, AnswersADefaultListSizeOfSixteenAfterInitialize) {
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_max_locator_list_size(&self), 16);
}

TEST_F(Accessor, AnswersAListSizeOfZeroWhenTheQosAsksForIt) {
    setProperty("dds.domain_participant.max_announced_locator_list_size", "0");
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_max_locator_list_size(&self), 0);
}

TEST_F(Accessor, FindsNoEntryportsReservedRightAfterInitialize) {
    self._entryportsReserved = 1;
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_are_entryports_reserved(&self), 0);
}

TEST_F(Accessor, AnswersZeroAfterFinalize) {
    arguments.participantIndexSpecified = 1;
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    self._entryportsReserved = 1;
    finalize();

    EXPECT_EQ(DDS_DomainParticipantPresentation_is_participant_index_specified(&self), 0);
    EXPECT_EQ(DDS_DomainParticipantPresentation_are_entryports_reserved(&self), 0);
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_max_locator_list_size(&self), 0);
    EXPECT_EQ(DDS_DomainParticipantPresentation_is_locator_reachability_disabled(&self), 0);
}

} // namespace
