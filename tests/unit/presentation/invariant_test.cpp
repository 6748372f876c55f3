// SPDX-License-Identifier: Apache-2.0
// What must hold of lists and entryport sets, asserted where asserts are on.
#include "support/scripted_presentation.h"

namespace {

using namespace support;

class Invariant : public ScriptedPresentation {
protected:
    void SetUp() override {
#ifdef NDEBUG
        GTEST_SKIP() << "asserts are off in this build";
#endif
    }

    DDS_DomainParticipantPresentationEntryportSet set{};
    NUVNetioAliasList aliases = {"udpv4"};
};

using InvariantDeathTest = Invariant;

TEST_F(InvariantDeathTest, AListLongerThanListsAreIsNotReserved) {
    PRESLocatorQosPolicy locators{};
    locators.count = PRES_LOCATOR_LIST_MAX + 1;
    EXPECT_DEATH((void)DDS_DomainParticipantPresentation_reserve_entryport_setI(
                     &self, &aliases, &locators, &set, worker),
                 "locators->count <= PRES_LOCATOR_LIST_MAX");
}

TEST_F(InvariantDeathTest, AListOfLessThanNothingIsNotReserved) {
    PRESLocatorQosPolicy locators{};
    locators.count = -1;
    EXPECT_DEATH((void)DDS_DomainParticipantPresentation_reserve_entryport_setI(
                     &self, &aliases, &locators, &set, worker),
                 "locators->count >= 0");
}

TEST_F(InvariantDeathTest, ASetOfMoreEntryportsThanItHoldsIsNotReleased) {
    set._count = DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX + 1;
    EXPECT_DEATH(DDS_DomainParticipantPresentation_release_entryport_setI(&self, &set, worker),
                 "entryportSet->_count <= DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX");
}

TEST_F(InvariantDeathTest, ASetOfLessThanNoEntryportsIsNotReleased) {
    set._count = -1;
    EXPECT_DEATH(DDS_DomainParticipantPresentation_release_entryport_setI(&self, &set, worker),
                 "entryportSet->_count >= 0");
}

TEST_F(InvariantDeathTest, AUserMulticastLocatorIsNotMadeOfMoreLocatorsThanThereCanBe) {
    PRESReducedLocatorQosPolicy of_discovery{};
    PRESReducedLocatorQosPolicy of_users{};
    of_discovery.count = PRES_REDUCED_LOCATOR_LIST_MAX + 1;
    EXPECT_DEATH(DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(
                     &self, &of_users, &of_discovery),
                 "metatrafficMulticastLocatorIn->count <= ");
}

TEST_F(InvariantDeathTest, AUserMulticastLocatorIsNotMadeOfLessThanNoLocators) {
    PRESReducedLocatorQosPolicy of_discovery{};
    PRESReducedLocatorQosPolicy of_users{};
    of_discovery.count = -1;
    EXPECT_DEATH(DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(
                     &self, &of_users, &of_discovery),
                 "metatrafficMulticastLocatorIn->count >= 0");
}

} // namespace
