// SPDX-License-Identifier: Apache-2.0
// What the enclosing participant asks of the record: lists, counts and multicast reservations.
#include <algorithm>
#include <utility>

#include "pres/pres_participant.h"
#include "support/running_presentation.h"
#include "support/scripted_presentation.h"

namespace {

using namespace support;

/** Its four lists, and as many entryports, are all different. */
class EnclosingView : public ScriptedPresentation {
protected:
    EnclosingView() {
        self._cachedDefaultUnicastLocator =
            locatorsOf({"udpv4://192.0.2.1:1", "udpv4://192.0.2.1:2", "udpv4://192.0.2.1:3"});
        self._cachedMetatrafficUnicastLocator =
            locatorsOf({"udpv4://192.0.2.2:4", "udpv4://192.0.2.2:5"});
        self._cachedDefaultMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:6"});
        self._cachedMetatrafficMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.2:7"});
        self._reserveUserUnicast._count = 3;
        self._reserveMetaUnicast._count = 2;
        self._reserveEntryportMetaMulticastWR = someReference(10);
        self._reserveEntryportUserMulticastWR = someReference(11);
    }

    std::string list(DDS_DomainParticipantPresentationLocatorKindI kind) const {
        return describe(*DDS_DomainParticipantPresentation_get_locatorsI(&self, kind));
    }

    DDS_Long count(DDS_DomainParticipantPresentationLocatorKindI kind) const {
        return DDS_DomainParticipantPresentation_get_reserved_countI(&self, kind);
    }

    DDS_DomainParticipantPresentationLocatorsI copy() const {
        DDS_DomainParticipantPresentationLocatorsI locators;
        DDS_DomainParticipantPresentation_copy_locatorsI(&self, &locators);
        return locators;
    }

    DDS_Boolean has(const DDS_DomainParticipantPresentationLocatorsI &locators) const {
        return DDS_DomainParticipantPresentation_has_locatorsI(&self, &locators);
    }
};

TEST_F(EnclosingView, FindsEachListByItsKind) {
    EXPECT_EQ(list(DDS_DEFAULT_UNICAST_LOCATORS),
              "{udpv4://192.0.2.1:1, udpv4://192.0.2.1:2, udpv4://192.0.2.1:3}");
    EXPECT_EQ(list(DDS_METATRAFFIC_UNICAST_LOCATORS), "{udpv4://192.0.2.2:4, udpv4://192.0.2.2:5}");
    EXPECT_EQ(list(DDS_DEFAULT_MULTICAST_LOCATORS), "{udpv4://239.255.0.1:6}");
    EXPECT_EQ(list(DDS_METATRAFFIC_MULTICAST_LOCATORS), "{udpv4://239.255.0.2:7}");
}

TEST_F(EnclosingView, CountsTheEntryportsOfEachUnicastList) {
    EXPECT_EQ(count(DDS_DEFAULT_UNICAST_LOCATORS), 3);
    EXPECT_EQ(count(DDS_METATRAFFIC_UNICAST_LOCATORS), 2);
    self._reserveUserUnicast._count = 1;
    self._reserveMetaUnicast._count = 0;
    EXPECT_EQ(count(DDS_DEFAULT_UNICAST_LOCATORS), 1);
    EXPECT_EQ(count(DDS_METATRAFFIC_UNICAST_LOCATORS), 0);
}

TEST_F(EnclosingView, CountsNoMoreEntryportsThanThereAreLocators) {
    self._cachedDefaultUnicastLocator.count = 2;
    self._cachedMetatrafficUnicastLocator.count = 1;
    EXPECT_EQ(count(DDS_DEFAULT_UNICAST_LOCATORS), 2);
    EXPECT_EQ(count(DDS_METATRAFFIC_UNICAST_LOCATORS), 1);
}

TEST_F(EnclosingView, CopiesTheListsThatFollowTheNetwork) {
    const DDS_DomainParticipantPresentationLocatorsI locators = copy();
    EXPECT_EQ(describe(locators.defaultUnicast), list(DDS_DEFAULT_UNICAST_LOCATORS));
    EXPECT_EQ(describe(locators.metatrafficUnicast), list(DDS_METATRAFFIC_UNICAST_LOCATORS));
    EXPECT_EQ(describe(locators.metatrafficMulticast), list(DDS_METATRAFFIC_MULTICAST_LOCATORS));
}

TEST_F(EnclosingView, HasTheListsThatItCopied) {
    EXPECT_EQ(has(copy()), DDS_BOOLEAN_TRUE);
}

TEST_F(EnclosingView, HasNoListThatDiffersInOneLocator) {
    DDS_DomainParticipantPresentationLocatorsI other = copy();
    other.defaultUnicast.locatorList[2].port = 9;
    EXPECT_EQ(has(other), DDS_BOOLEAN_FALSE);
    other = copy();
    other.metatrafficUnicast.count = 1;
    EXPECT_EQ(has(other), DDS_BOOLEAN_FALSE);
    other = copy();
    other.metatrafficMulticast.locatorList[0].port = 9;
    EXPECT_EQ(has(other), DDS_BOOLEAN_FALSE);
}

TEST_F(EnclosingView, HasNotWhatComparesAsUnequalEitherWay) {
    for (int nth = 1; nth <= 3; ++nth) {
        for (const int difference : {-1, 2}) {
            int compared = 0;
            recorder.replace("PRESLocatorQosPolicy_compare",
                             [&](const PRESLocatorQosPolicy *, const PRESLocatorQosPolicy *) {
                                 return ++compared == nth ? difference : 0;
                             });
            EXPECT_EQ(has(copy()), DDS_BOOLEAN_FALSE) << nth << ' ' << difference;
            EXPECT_EQ(compared, nth);
        }
    }
}

// ---- the lists of an update, without the update

class EnclosingComputation : public EnclosingView {
protected:
    DDS_Boolean compute(DDS_Long participantIndex) {
        return DDS_DomainParticipantPresentation_compute_locatorsI(&self, participantIndex, &found,
                                                                   worker);
    }

    DDS_DomainParticipantPresentationLocatorsI found{};
};

TEST_F(EnclosingComputation, AsksForTheListsAsAnUpdateDoes) {
    Recording calls(recorder);
    EXPECT_EQ(compute(3), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(calls.text(),
              lines({
                  "DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, &locators, "
                  "16, 5, 3, ports, &aliases, configurator, 0, worker)",
                  "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, "
                  "ports, 16, 5, 3, configurator, worker)",
                  "DDS_DiscoveryQosPolicy_to_multicast_locators(discovery, &locators, &aliases, "
                  "ports, 1, 5, configurator, worker)",
              }));
    EXPECT_EQ(describe(found.defaultUnicast),
              "{udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667}");
    EXPECT_EQ(describe(found.metatrafficUnicast),
              "{udpv4://192.0.2.1:8666, udpv4://192.0.2.2:8666}");
    EXPECT_EQ(describe(found.metatrafficMulticast),
              "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650}");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(EnclosingComputation, ChangesNothingInTheRecord) {
    const DDS_DomainParticipantPresentationLocatorsI before = copy();
    EXPECT_EQ(compute(3), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(has(before), DDS_BOOLEAN_TRUE);
}

class EnclosingComputationFault : public EnclosingComputation,
                                  public testing::WithParamInterface<const char *> {};

TEST_P(EnclosingComputationFault, EndsIt) {
    recorder.fail(GetParam(), {.result = DDS_RETCODE_OUT_OF_RESOURCES});
    Recording calls(recorder);
    EXPECT_EQ(compute(3), DDS_BOOLEAN_FALSE);
    ASSERT_FALSE(calls.calls().empty());
    EXPECT_EQ(calls.calls().back().rfind(GetParam(), 0), 0u) << calls.text();
}

INSTANTIATE_TEST_SUITE_P(OfACall, EnclosingComputationFault,
                         testing::Values("DDS_TransportUnicastQosPolicy_to_default_locators",
                                         "DDS_DiscoveryQosPolicy_to_unicast_locators",
                                         "DDS_DiscoveryQosPolicy_to_multicast_locators"));

// ---- the multicast reservations

TEST_F(EnclosingView, LendsItsMulticastReservationsAndTakesThemBack) {
    DDS_DomainParticipantPresentationMulticastEntryportsI taken{};
    DDS_DomainParticipantPresentation_take_multicast_entryportsI(&self, &taken);
    EXPECT_EQ(describe(taken.metatraffic), "{manager, 10, 1}");
    EXPECT_EQ(describe(taken.user), "{manager, 11, 1}");
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{invalid}");
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{invalid}");

    DDS_DomainParticipantPresentation_put_multicast_entryportsI(&self, &taken);
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{manager, 10, 1}");
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{manager, 11, 1}");
}

// ---- whether what is announced is served

/** A participant that announces the record's lists, each locator of which has an entryport. */
class EnclosingService : public RunningPresentation {
protected:
    void SetUp() override {
        RunningPresentation::SetUp();
        start();
        self._cachedDefaultUnicastLocator = locatorsOf({"udpv4://192.0.2.10:1"});
        self._cachedMetatrafficUnicastLocator =
            locatorsOf({"udpv4://192.0.2.10:2", "udpv4://192.0.2.10:3"});
        self._cachedMetatrafficMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:4"});
        self._reserveUserUnicast._count = 1;
        self._reserveMetaUnicast._count = 2;
        self._reserveEntryportMetaMulticastWR = ScriptedPresentation::someReference(0);
        announce();
    }

    void TearDown() override {
        self._reserveUserUnicast._count = 0;
        self._reserveMetaUnicast._count = 0;
        self._reserveEntryportMetaMulticastWR = REDA_WEAK_REFERENCE_INVALID;
        RunningPresentation::TearDown();
    }

    /** Has the participant announce the record's lists. */
    void announce() {
        PRESParticipantProperty property = running();
        property.parameter.defaultUnicastLocator = self._cachedDefaultUnicastLocator;
        property.parameter.metatrafficUnicastLocator = self._cachedMetatrafficUnicastLocator;
        property.parameter.metatrafficMulticastLocator = self._cachedMetatrafficMulticastLocator;
        int failReason = PRES_RETCODE_OK;
        ASSERT_TRUE(PRESParticipant_setProperty(self.participant, &failReason, &property, worker));
    }

    DDS_Boolean isServed() {
        return DDS_DomainParticipantPresentation_are_locators_servedI(&self, worker);
    }
};

TEST_F(EnclosingService, IsWholeWhenEachLocatorHasItsEntryport) {
    EXPECT_EQ(isServed(), DDS_BOOLEAN_TRUE);
}

TEST_F(EnclosingService, IsAskedOfTheParticipantForTheCallersWorker) {
    Recording calls(recorder);
    EXPECT_EQ(isServed(), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(calls.text(),
              lines({"PRESParticipant_hasLocators(participant, self._cachedDefaultUnicastLocator, "
                     "self._cachedMetatrafficUnicastLocator, "
                     "self._cachedMetatrafficMulticastLocator, worker)"}));
}

TEST_F(EnclosingService, LacksAUserEntryport) {
    self._reserveUserUnicast._count = 0;
    EXPECT_EQ(isServed(), DDS_BOOLEAN_FALSE);
}

TEST_F(EnclosingService, LacksAMetatrafficEntryport) {
    self._reserveMetaUnicast._count = 1;
    EXPECT_EQ(isServed(), DDS_BOOLEAN_FALSE);
}

TEST_F(EnclosingService, LacksTheMulticastEntryport) {
    self._reserveEntryportMetaMulticastWR = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_EQ(isServed(), DDS_BOOLEAN_FALSE);
}

TEST_F(EnclosingService, LacksTheMulticastEntryportOfSeveralLocators) {
    self._cachedMetatrafficMulticastLocator =
        reducedLocatorsOf({"udpv4://239.255.0.1:4", "udpv4://239.255.0.2:4"});
    self._reserveEntryportMetaMulticastWR = REDA_WEAK_REFERENCE_INVALID;
    announce();
    EXPECT_EQ(isServed(), DDS_BOOLEAN_FALSE);
}

TEST_F(EnclosingService, NeedsNoMulticastEntryportWithoutAMulticastLocator) {
    self._cachedMetatrafficMulticastLocator.count = 0;
    self._reserveEntryportMetaMulticastWR = REDA_WEAK_REFERENCE_INVALID;
    announce();
    EXPECT_EQ(isServed(), DDS_BOOLEAN_TRUE);
}

TEST_F(EnclosingService, DoesNotLookAtTheUserMulticastEntryport) {
    self._reserveEntryportUserMulticastWR = REDA_WEAK_REFERENCE_INVALID;
    EXPECT_EQ(isServed(), DDS_BOOLEAN_TRUE);
}

TEST_F(EnclosingService, IsNotThatOfListsThatAreNotAnnounced) {
    self._cachedDefaultUnicastLocator.locatorList[0].port = 9;
    EXPECT_EQ(isServed(), DDS_BOOLEAN_FALSE);
    announce();
    self._cachedMetatrafficUnicastLocator.locatorList[1].port = 9;
    EXPECT_EQ(isServed(), DDS_BOOLEAN_FALSE);
    announce();
    self._cachedMetatrafficMulticastLocator.locatorList[0].port = 9;
    EXPECT_EQ(isServed(), DDS_BOOLEAN_FALSE);
}

} // namespace
