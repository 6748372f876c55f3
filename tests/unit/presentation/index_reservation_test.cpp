// SPDX-License-Identifier: Apache-2.0
// The search for a participant index: which ports are reserved, in which order, and what is kept.
#include "index_messages.h"
#include "stack.h"
#include "support/scripted_presentation.h"

using namespace support;

namespace {

constexpr DDS_Long BUILTIN_UNICAST = DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST;
constexpr DDS_Long BUILTIN_MULTICAST = DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST;
constexpr DDS_Long USER_UNICAST = DDS_RTPS_RESERVED_PORT_USER_UNICAST;

const Filter ENTRYPORTS = only({"COMMENDFacade.*"});

using IndexReservation = ScriptedPresentation;

TEST_F(IndexReservation, MakesTheseCallsForTheFirstIndex) {
    Recording calls(recorder);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "PRESParticipant_getFacade(participant)",
            "DDS_DiscoveryQosPolicy_to_multicast_locators(discovery, &locators, &aliases, ports, "
            "1, 5, configurator, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, metaMulticast, "
            "{udpv4://239.255.0.1:8650, 0, \"multicast\"}, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, userMulticast, "
            "{udpv4://239.255.0.1:8651, 0, \"multicast\"}, worker)",
            "PRESLocatorQosPolicy_copy(cachedMetaMulticast, "
            "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650})",
            "DDS_RtpsWellKnownPorts_isUnicastValid(ports, 5, 0)",
            "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, ports, "
            "7, 5, 0, configurator, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, metaUnicast[0], "
            "{udpv4://192.0.2.1:8660, 0, \"meta\"}, worker)",
            "COMMENDFacade.addEntryport(facade, metaUnicast[1], "
            "{udpv4://192.0.2.2:8660, 0, \"meta\"}, worker)",
            "DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, &locators, 7, 5, "
            "0, ports, &aliases, configurator, 0, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, userUnicast[0], "
            "{udpv4://198.51.100.1:8661, 0, \"user\"}, worker)",
            "COMMENDFacade.addEntryport(facade, userUnicast[1], "
            "{udpv4://198.51.100.2:8661, 0, \"user\"}, worker)",
            "PRESLocatorQosPolicy_copy(cachedDefaultUnicast, "
            "{udpv4://198.51.100.1:8661, udpv4://198.51.100.2:8661})",
            "PRESLocatorQosPolicy_copy(cachedMetaUnicast, "
            "{udpv4://192.0.2.1:8660, udpv4://192.0.2.2:8660})",
        }));
    EXPECT_EQ(index, 0);
    EXPECT_EQ(log.messages(), Messages({reservedMessage(0, 5)}));
}

TEST_F(IndexReservation, OwesNothingToWhatItsFrameHeldBefore) {
    dirtyTheStack();
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(self._reserveMetaUnicast._count, 2);
}

/** Tells how many messages there are whenever locators are stored. */
class StoredLocators : public ScriptedPresentation {
protected:
    std::vector<std::size_t> messagesAtEach(DDS_ReturnCode_t expected) {
        std::vector<std::size_t> counts;
        recorder.replace("PRESLocatorQosPolicy_copy",
                         [&](PRESLocatorQosPolicy *, const PRESLocatorQosPolicy *) {
                             counts.push_back(log.messages().size());
                         });
        EXPECT_EQ(reserve(-1), expected);
        return counts;
    }
};

TEST_F(StoredLocators, OfMulticastAreThereBeforeTheRangeOfIndicesIsLookedFor) {
    self.cachedWellKnownPorts.port_base = 0; // which has none, and a message that says so
    EXPECT_EQ(messagesAtEach(DDS_RETCODE_ERROR), std::vector<std::size_t>({0}));
    EXPECT_EQ(log.messages().size(), 2u);
}

TEST_F(StoredLocators, OfUnicastComeAfterTheMessageOfTheIndex) {
    EXPECT_EQ(messagesAtEach(DDS_RETCODE_OK), std::vector<std::size_t>({0, 1, 1}));
}

TEST_F(IndexReservation, MakesTheseCallsForAnIndexThatIsPassedOver) {
    takenPorts = {8661};
    self._cachedReservedPortMask = BUILTIN_UNICAST | USER_UNICAST;
    Recording calls(recorder);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "PRESParticipant_getFacade(participant)",
            "DDS_DiscoveryQosPolicy_to_multicast_locators(discovery, &locators, &aliases, ports, "
            "1, 5, configurator, worker)",
            "PRESLocatorQosPolicy_copy(cachedMetaMulticast, "
            "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650})",
            "DDS_RtpsWellKnownPorts_isUnicastValid(ports, 5, 0)",
            "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, ports, "
            "7, 5, 0, configurator, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, metaUnicast[0], "
            "{udpv4://192.0.2.1:8660, 0, \"meta\"}, worker)",
            "COMMENDFacade.addEntryport(facade, metaUnicast[1], "
            "{udpv4://192.0.2.2:8660, 0, \"meta\"}, worker)",
            "DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, &locators, 7, 5, "
            "0, ports, &aliases, configurator, 0, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, userUnicast[0], "
            "{udpv4://198.51.100.1:8661, 0, \"user\"}, worker)",
            "PRESParticipant_getFacade(participant)", // the user set releases itself
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.removeEntryport(facade, metaUnicast[0], worker)",
            "COMMENDFacade.removeEntryport(facade, metaUnicast[1], worker)",
            "DDS_RtpsWellKnownPorts_isUnicastValid(ports, 5, 1)",
            "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, ports, "
            "7, 5, 1, configurator, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, metaUnicast[0], "
            "{udpv4://192.0.2.1:8662, 0, \"meta\"}, worker)",
            "COMMENDFacade.addEntryport(facade, metaUnicast[1], "
            "{udpv4://192.0.2.2:8662, 0, \"meta\"}, worker)",
            "DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, &locators, 7, 5, "
            "1, ports, &aliases, configurator, 0, worker)",
            "PRESParticipant_getFacade(participant)",
            "COMMENDFacade.addEntryport(facade, userUnicast[0], "
            "{udpv4://198.51.100.1:8663, 0, \"user\"}, worker)",
            "COMMENDFacade.addEntryport(facade, userUnicast[1], "
            "{udpv4://198.51.100.2:8663, 0, \"user\"}, worker)",
            "PRESLocatorQosPolicy_copy(cachedDefaultUnicast, "
            "{udpv4://198.51.100.1:8663, udpv4://198.51.100.2:8663})",
            "PRESLocatorQosPolicy_copy(cachedMetaUnicast, "
            "{udpv4://192.0.2.1:8662, udpv4://192.0.2.2:8662})",
        }));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, reservedMessage(1, 5)}));
}

TEST_F(IndexReservation, KeepsWhatItReservedAndComputedInTheRecord) {
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{manager, 0, 1}");
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{manager, 1, 1}");
    EXPECT_EQ(self._reserveMetaUnicast._count, 2);
    EXPECT_EQ(describe(self._reserveMetaUnicast._entryportWR[0]), "{manager, 2, 1}");
    EXPECT_EQ(describe(self._reserveMetaUnicast._entryportWR[1]), "{manager, 3, 1}");
    EXPECT_EQ(self._reserveUserUnicast._count, 2);
    EXPECT_EQ(describe(self._reserveUserUnicast._entryportWR[0]), "{manager, 4, 1}");
    EXPECT_EQ(describe(self._reserveUserUnicast._entryportWR[1]), "{manager, 5, 1}");
    EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator),
              "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650}");
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator),
              "{udpv4://192.0.2.1:8660, udpv4://192.0.2.2:8660}");
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
              "{udpv4://198.51.100.1:8661, udpv4://198.51.100.2:8661}");
    EXPECT_EQ(self._entryportsReserved, 1);
}

TEST_F(IndexReservation, DoesNotKeepTheUserMulticastLocators) {
    self._cachedDefaultMulticastLocator = reducedLocatorsOf({"udpv4://239.255.9.9:9"});
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(describe(self._cachedDefaultMulticastLocator), "{udpv4://239.255.9.9:9}");
}

TEST_F(IndexReservation, StartsEachComputationFromEmptyLists) {
    Texts found;
    const auto look = [&](const auto &locators, const NUVNetioAliasList &aliases) {
        std::string text = std::to_string(locators.count);
        for (const NUVNetioLocator &locator : locators.locatorList) {
            text += ' ' + std::to_string(locator.transport);
        }
        for (const char one : aliases.aliases) {
            text += one == 0 ? "" : " alias";
        }
        found.push_back(text);
        return DDS_RETCODE_OK;
    };
    recorder.replace("DDS_DiscoveryQosPolicy_to_multicast_locators",
                     [&](const DDS_DiscoveryQosPolicy *, PRESReducedLocatorQosPolicy *locators,
                         NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *, DDS_Long,
                         DDS_DomainId_t, NUVNetioConfigurator *,
                         REDAWorker *) -> DDS_ReturnCode_t { return look(*locators, *aliases); });
    recorder.replace("DDS_DiscoveryQosPolicy_to_unicast_locators",
                     [&](const DDS_DiscoveryQosPolicy *, PRESLocatorQosPolicy *locators,
                         NUVNetioAliasList *aliases, const DDS_RtpsWellKnownPorts_t *, DDS_Long,
                         DDS_DomainId_t, DDS_Long, NUVNetioConfigurator *,
                         REDAWorker *) -> DDS_ReturnCode_t { return look(*locators, *aliases); });
    recorder.replace("DDS_TransportUnicastQosPolicy_to_default_locators",
                     [&](const DDS_TransportUnicastQosPolicy *, PRESLocatorQosPolicy *locators,
                         DDS_Long, DDS_DomainId_t, DDS_Long, const DDS_RtpsWellKnownPorts_t *,
                         NUVNetioAliasList *aliases, NUVNetioConfigurator *, int,
                         REDAWorker *) -> DDS_ReturnCode_t { return look(*locators, *aliases); });
    EXPECT_EQ(reserve(-1), DDS_RETCODE_NO_DATA);
    EXPECT_EQ(found, Texts({"0 -1 -1 -1 -1", "0 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1",
                            "0 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1"}));
}

TEST_F(IndexReservation, ReservesOnlyTheFirstMulticastLocatorOfEachKind) {
    multicastAddresses = {"239.255.0.4", "239.255.0.3", "239.255.0.2", "239.255.0.1"};
    self._cachedReservedPortMask = DDS_RTPS_RESERVED_PORT_MASK_ALL;
    EXPECT_EQ(reserve(0), DDS_RETCODE_OK);
    const Texts all = held();
    ASSERT_EQ(all.size(), 6u);
    EXPECT_EQ(Texts(all.begin(), all.begin() + 2),
              Texts({"udpv4://239.255.0.4:8650", "udpv4://239.255.0.4:8651"}));
    EXPECT_EQ(self._cachedMetatrafficMulticastLocator.count, 4);
}

TEST_F(IndexReservation, ReservesNoMulticastPortWithoutMulticastLocators) {
    multicastAddresses = {};
    Recording calls(recorder, ENTRYPORTS);
    EXPECT_EQ(reserve(0), DDS_RETCODE_OK);
    EXPECT_EQ(calls.calls().size(), 4u);
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{invalid}");
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{invalid}");
    EXPECT_EQ(self._cachedMetatrafficMulticastLocator.count, 0);
}

TEST_F(IndexReservation, TakesAFixedIndexAndSaysNothing) {
    EXPECT_EQ(reserve(3), DDS_RETCODE_OK);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator),
              "{udpv4://192.0.2.1:8666, udpv4://192.0.2.2:8666}");
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
              "{udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667}");
    EXPECT_EQ(self._entryportsReserved, 1);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(IndexReservation, TakesIndexZeroWhenItIsTheFixedOne) {
    EXPECT_EQ(reserve(0), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(IndexReservation, DoesNotHoldAFixedIndexAgainstTheBound) {
    EXPECT_EQ(reserve(120), DDS_RETCODE_OK);
    EXPECT_EQ(index, 120);
}

TEST_F(IndexReservation, IsAutomaticForAnyNegativeIndex) {
    EXPECT_EQ(reserve(INT32_MIN), DDS_RETCODE_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(log.messages(), Messages({reservedMessage(0, 5)}));
}

TEST_F(IndexReservation, NamesTheDomain) {
    self._domainId = 17;
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({reservedMessage(0, 17)}));
}

TEST_F(IndexReservation, MovesOnWhenAMetatrafficPortIsTaken) {
    takenPorts = {8660};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(held(), Texts({"udpv4://239.255.0.1:8650", "udpv4://239.255.0.1:8651",
                             "udpv4://192.0.2.1:8662", "udpv4://192.0.2.2:8662",
                             "udpv4://198.51.100.1:8663", "udpv4://198.51.100.2:8663"}));
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, reservedMessage(1, 5)}));
}

TEST_F(IndexReservation, MovesOnWhenTheSecondMetatrafficPortIsTaken) {
    recorder.fail("COMMENDFacade.addEntryport", {.nth = 4});
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(held().size(), 6u);
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, reservedMessage(1, 5)}));
}

TEST_F(IndexReservation, MovesOnWhenAUserPortIsTaken) {
    takenPorts = {8661};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(held(), Texts({"udpv4://239.255.0.1:8650", "udpv4://239.255.0.1:8651",
                             "udpv4://192.0.2.1:8662", "udpv4://192.0.2.2:8662",
                             "udpv4://198.51.100.1:8663", "udpv4://198.51.100.2:8663"}));
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, reservedMessage(1, 5)}));
}

TEST_F(IndexReservation, SaysSoForEachIndexThatItPassesOver) {
    takenPorts = {8660, 8663, 8664};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, NEXT_PORT, NEXT_PORT, reservedMessage(3, 5)}));
}

TEST_F(IndexReservation, SaysSoOnlyAfterThePortsOfThatIndexWereGivenBack) {
    takenPorts = {8661};
    Messages atRelease = {NEXT_PORT};
    recorder.replace("COMMENDFacade.removeEntryport",
                     [&](COMMENDFacade *, REDAWeakReference *, REDAWorker *) -> int {
                         atRelease = log.messages();
                         return 1;
                     });
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 2);
    EXPECT_EQ(atRelease, Messages());
}

TEST_F(IndexReservation, SearchesUpToTheHighestIndex) {
    self.cachedWellKnownPorts = {7400, 30, 10, 5, 0, 6, 2}; // highest index 2
    takenPorts = {7550, 7560};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 2);
}

TEST_F(IndexReservation, TriesNoIndexTwice) {
    takenPorts = {8660, 8662};
    Recording calls(recorder, only({"DDS_RtpsWellKnownPorts_isUnicastValid"}));
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({
                                "DDS_RtpsWellKnownPorts_isUnicastValid(ports, 5, 0)",
                                "DDS_RtpsWellKnownPorts_isUnicastValid(ports, 5, 1)",
                                "DDS_RtpsWellKnownPorts_isUnicastValid(ports, 5, 2)",
                            }));
}

TEST_F(IndexReservation, NeedsNoUserLocators) {
    userAddresses = {};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(self._reserveMetaUnicast._count, 2);
    EXPECT_EQ(self._reserveUserUnicast._count, 0);
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator), "{}");
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator),
              "{udpv4://192.0.2.1:8660, udpv4://192.0.2.2:8660}");
}

TEST_F(IndexReservation, NeedsNoMetatrafficLocators) {
    metaAddresses = {};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
    EXPECT_EQ(self._reserveUserUnicast._count, 2);
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), "{}");
}

TEST_F(IndexReservation, NeedsNoMetatrafficLocatorsToTakeAnIndexWithoutPorts) {
    metaAddresses = {};
    self._cachedReservedPortMask = 0;
    Recording calls(recorder, ENTRYPORTS);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), "");
    EXPECT_EQ(index, 0);
}

TEST_F(IndexReservation, HoldsSixteenPortsOfAKind) {
    metaAddresses.assign(16, "192.0.2.1");
    userAddresses.assign(16, "192.0.2.1");
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(self._reserveMetaUnicast._count, 16);
    EXPECT_EQ(self._reserveUserUnicast._count, 16);
    EXPECT_EQ(self._cachedDefaultUnicastLocator.count, 16);
    EXPECT_EQ(held().size(), 34u);
}

TEST_F(IndexReservation, IsDecidedByTheUserPortsAloneWhenOnlyTheyAreReserved) {
    self._cachedReservedPortMask = USER_UNICAST;
    takenPorts = {8660, 8661, 8662};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
    EXPECT_EQ(held(), Texts({"udpv4://198.51.100.1:8663", "udpv4://198.51.100.2:8663"}));
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, reservedMessage(1, 5)}));
}

// ---- the single port that claims an index

struct SinglePort : IndexReservation {
    SinglePort() {
        self._cachedReservedPortMask = 0;
    }
};

TEST_F(SinglePort, IsOfTheLowestTransportClass) {
    metaAddresses = {"[fd00::1]", "192.0.2.1", "[fd00::2]"};
    Recording calls(recorder, ENTRYPORTS);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({
                                "COMMENDFacade.addEntryport(facade, metaUnicast[0], "
                                "{udpv4://192.0.2.1:8660, 0, \"meta\"}, worker)",
                            }));
    EXPECT_EQ(self._reserveMetaUnicast._count, 1);
    EXPECT_EQ(describe(self._reserveMetaUnicast._entryportWR[0]), "{manager, 0, 1}");
    EXPECT_EQ(self._reserveUserUnicast._count, 0);
}

TEST_F(SinglePort, IsTheFirstOfSeveralOfThatClass) {
    metaAddresses = {"[fd00::1]", "192.0.2.3", "192.0.2.2", "192.0.2.1"};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(held(), Texts({"udpv4://192.0.2.3:8660"}));
}

TEST_F(SinglePort, IsTheFirstLocatorWhenAllAreOfOneClass) {
    metaAddresses = {"192.0.2.3", "192.0.2.2"};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(held(), Texts({"udpv4://192.0.2.3:8660"}));
}

TEST_F(SinglePort, MayBeTheLastLocator) {
    metaAddresses = {"[fd00::1]", "[fd00::2]", "192.0.2.1"};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(held(), Texts({"udpv4://192.0.2.1:8660"}));
}

TEST_F(SinglePort, PassesATakenIndexOverInSilence) {
    takenPorts = {8660, 8662};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(held(), Texts({"udpv4://192.0.2.1:8664"}));
    EXPECT_EQ(self._reserveMetaUnicast._count, 1);
    EXPECT_EQ(log.messages(), Messages({reservedMessage(2, 5)}));
}

TEST_F(SinglePort, DoesNotComputeUserLocatorsOfATakenIndex) {
    takenPorts = {8660};
    Recording calls(recorder, only({"DDS_TransportUnicastQosPolicy_*"}));
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({"DDS_TransportUnicastQosPolicy_to_default_locators(default_unicast, "
                     "&locators, 7, 5, 1, ports, &aliases, configurator, 0, worker)"}));
}

TEST_F(SinglePort, AsksForZeroPriorityAndNothingElseEveryTime) {
    takenPorts = {8660};
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({
                                "COMMENDFacade.addEntryport(facade, metaUnicast[0], "
                                "{udpv4://192.0.2.1:8660, 0, \"meta\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, metaUnicast[0], "
                                "{udpv4://192.0.2.1:8662, 0, \"meta\"}, worker)",
                            }));
}

// ---- every mask

const std::string META_MULTICAST = "COMMENDFacade.addEntryport(facade, metaMulticast, "
                                   "{udpv4://239.255.0.1:8650, 0, \"multicast\"}, worker)";
const std::string USER_MULTICAST_PORT = "COMMENDFacade.addEntryport(facade, userMulticast, "
                                        "{udpv4://239.255.0.1:8651, 0, \"multicast\"}, worker)";

/** The calls for the ports that a mask stands for, by one letter each: see MASKS. */
std::string callsFor(const std::string &ports, DDS_Long index) {
    const auto request = [&](const char *place, const char *address, const char *alias, int port) {
        return std::string("COMMENDFacade.addEntryport(facade, ") + place + ", {udpv4://" +
               address + ':' + std::to_string(port + 2 * index) + ", 0, \"" + alias +
               "\"}, worker)";
    };
    Texts calls;
    for (const char port : ports) {
        switch (port) {
        case 'M':
            calls.push_back(META_MULTICAST);
            break;
        case 'U':
            calls.push_back(USER_MULTICAST_PORT);
            break;
        case '1':
            calls.push_back(request("metaUnicast[0]", "192.0.2.1", "meta", 8660));
            break;
        case 'm':
            calls.push_back(request("metaUnicast[0]", "192.0.2.1", "meta", 8660));
            calls.push_back(request("metaUnicast[1]", "192.0.2.2", "meta", 8660));
            break;
        case 'u':
            calls.push_back(request("userUnicast[0]", "198.51.100.1", "user", 8661));
            calls.push_back(request("userUnicast[1]", "198.51.100.2", "user", 8661));
            break;
        default:
            ADD_FAILURE() << port;
        }
    }
    return lines(calls);
}

struct MaskCase {
    DDS_Long mask;
    const char *automatic; ///< the ports reserved for an automatic index
    const char *fixed;     ///< those for a fixed one
};

void PrintTo(const MaskCase &one, std::ostream *out) {
    *out << one.mask;
}

// M, U: the multicast ports; m, u: the unicast sets; 1: the single port.
const MaskCase MASKS[] = {
    {0, "1", ""},     {1, "m", "m"},      {2, "M1", "M"},     {3, "Mm", "Mm"},
    {4, "u", "u"},    {5, "mu", "mu"},    {6, "Mu", "Mu"},    {7, "Mmu", "Mmu"},
    {8, "U1", "U"},   {9, "Um", "Um"},    {10, "MU1", "MU"},  {11, "MUm", "MUm"},
    {12, "Uu", "Uu"}, {13, "Umu", "Umu"}, {14, "MUu", "MUu"}, {15, "MUmu", "MUmu"},
};

class IndexMask : public ScriptedPresentation, public testing::WithParamInterface<MaskCase> {
protected:
    IndexMask() {
        self._cachedReservedPortMask = GetParam().mask;
    }

    void expectRecordToHold(const std::string &ports) {
        const auto has = [&](char port) { return ports.find(port) != std::string::npos; };
        EXPECT_EQ(REDAWeakReference_isHeld(&self._reserveEntryportMetaMulticastWR) != 0, has('M'));
        EXPECT_EQ(REDAWeakReference_isHeld(&self._reserveEntryportUserMulticastWR) != 0, has('U'));
        EXPECT_EQ(self._reserveMetaUnicast._count, has('m') ? 2 : has('1') ? 1 : 0);
        EXPECT_EQ(self._reserveUserUnicast._count, has('u') ? 2 : 0);
        EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator),
                  "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650}");
        EXPECT_EQ(self._cachedMetatrafficUnicastLocator.count, 2);
        EXPECT_EQ(self._cachedDefaultUnicastLocator.count, 2);
        EXPECT_EQ(self._entryportsReserved, 1);
    }
};

TEST_P(IndexMask, SelectsThePortsOfAnAutomaticIndex) {
    Recording calls(recorder, ENTRYPORTS);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), callsFor(GetParam().automatic, 0));
    expectRecordToHold(GetParam().automatic);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(log.messages(), Messages({reservedMessage(0, 5)}));
}

TEST_P(IndexMask, SelectsThePortsOfAFixedIndex) {
    Recording calls(recorder, ENTRYPORTS);
    EXPECT_EQ(reserve(3), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), callsFor(GetParam().fixed, 3));
    expectRecordToHold(GetParam().fixed);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator),
              "{udpv4://192.0.2.1:8666, udpv4://192.0.2.2:8666}");
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
              "{udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667}");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_P(IndexMask, LeavesNoPortBehindAfterTheRelease) {
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
    EXPECT_EQ(held(), Texts());
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"),
              recorder.count("COMMENDFacade.addEntryport"));
}

INSTANTIATE_TEST_SUITE_P(All, IndexMask, testing::ValuesIn(MASKS),
                         [](const testing::TestParamInfo<MaskCase> &one) {
                             return std::to_string(one.param.mask);
                         });

TEST_F(IndexReservation, IgnoresOtherBitsOfTheMask) {
    self._cachedReservedPortMask = 0xF0;
    Recording calls(recorder, ENTRYPORTS);
    EXPECT_EQ(reserve(3), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), "");
}

TEST_F(IndexReservation, AsksForNoPortTwice) {
    self._cachedReservedPortMask = BUILTIN_UNICAST | BUILTIN_MULTICAST;
    takenPorts = {8660, 8662, 8664};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.count("COMMENDFacade.addEntryport"), 1 + 3 + 2);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
}

} // namespace
