// SPDX-License-Identifier: Apache-2.0
// The search for a participant index when something fails: what is answered, logged and kept.
#include "fault_loop.h"
#include "index_messages.h"
#include "support/scripted_presentation.h"

using namespace support;

namespace {

const Message BAD_GAINS = {
    .level = NUV_LOG_LEVEL_ERROR,
    .function = RESERVE_INDEX,
    .name = "NUV_LOG_INCONSISTENT_QOS_TEMPLATE",
    .body = "Gains of wire_protocol.rtps_well_known_ports should be higher than 0",
    .text = "inconsistent QoS: Gains of wire_protocol.rtps_well_known_ports should be higher "
            "than 0"};
const Message BAD_PORTS = {.level = NUV_LOG_LEVEL_ERROR,
                           .function = RESERVE_INDEX,
                           .name = "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                           .body = "wire_protocol.rtps_well_known_ports",
                           .text = "bad parameter: wire_protocol.rtps_well_known_ports"};

const Texts MULTICAST_PORTS = {"udpv4://239.255.0.1:8650", "udpv4://239.255.0.1:8651"};

class IndexFailure : public ScriptedPresentation {
protected:
    IndexFailure() {
        self._cachedMetatrafficMulticastLocator = reducedLocatorsOf({"udpv4://239.255.9.9:9"});
        self._cachedMetatrafficUnicastLocator = locatorsOf({"udpv4://192.0.2.9:9"});
        self._cachedDefaultUnicastLocator = locatorsOf({"udpv4://192.0.2.9:9"});
    }

    void expectMulticastListOfBefore() {
        EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator), "{udpv4://239.255.9.9:9}");
    }

    void expectMulticastListStored() {
        EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator),
                  "{udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650}");
    }

    /** The unicast lists, the flag and the requested index have not changed. */
    void expectNoIndexTaken(DDS_Long requested) {
        EXPECT_EQ(index, requested);
        EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator), "{udpv4://192.0.2.9:9}");
        EXPECT_EQ(describe(self._cachedDefaultUnicastLocator), "{udpv4://192.0.2.9:9}");
        EXPECT_EQ(self._entryportsReserved, 0);
    }
};

// ---- gains

struct Gains {
    const char *name;
    DDS_Long domain;
    DDS_Long participant;
};

void PrintTo(const Gains &gains, std::ostream *out) {
    *out << gains.name;
}

class IndexGains : public IndexFailure, public testing::WithParamInterface<Gains> {};

TEST_P(IndexGains, AreAnErrorBeforeAnythingIsDone) {
    self.cachedWellKnownPorts.domain_id_gain = GetParam().domain;
    self.cachedWellKnownPorts.participant_id_gain = GetParam().participant;
    Recording calls(recorder);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_getFacade(participant)"}));
    EXPECT_EQ(log.messages(), Messages({BAD_GAINS}));
    expectMulticastListOfBefore();
    expectNoIndexTaken(-1);
}

TEST_P(IndexGains, AreAnErrorForAFixedIndexToo) {
    self.cachedWellKnownPorts.domain_id_gain = GetParam().domain;
    self.cachedWellKnownPorts.participant_id_gain = GetParam().participant;
    EXPECT_EQ(reserve(3), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({BAD_GAINS}));
    expectNoIndexTaken(3);
}

INSTANTIATE_TEST_SUITE_P(
    Of, IndexGains,
    testing::Values(Gains{"ZeroForParticipants", 250, 0}, Gains{"NegativeForParticipants", 250, -2},
                    Gains{"ZeroForDomains", 0, 2}, Gains{"NegativeForDomains", -250, 2}),
    [](const testing::TestParamInfo<Gains> &gains) { return gains.param.name; });

TEST_F(IndexFailure, GainsOfOneAreFine) {
    self.cachedWellKnownPorts.domain_id_gain = 1;
    self.cachedWellKnownPorts.participant_id_gain = 1;
    EXPECT_EQ(reserve(3), DDS_RETCODE_OK);
}

// ---- multicast

TEST_F(IndexFailure, EndsWhenTheMulticastLocatorsCannotBeComputed) {
    recorder.fail("DDS_DiscoveryQosPolicy_to_multicast_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    Recording calls(recorder);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "DDS_DiscoveryQosPolicy_to_multicast_locators(discovery, "
                                "&locators, &aliases, ports, 1, 5, configurator, worker)",
                            }));
    EXPECT_EQ(log.messages(), Messages({NO_MULTICAST_LOCATORS}));
    expectMulticastListOfBefore();
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, EndsInSilenceWhenTheDiscoveryMulticastPortCannotBeReserved) {
    takenPorts = {8650};
    Recording calls(recorder, only({"COMMENDFacade.*", "DDS_DiscoveryQosPolicy_to_unicast_*"}));
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({
                                "COMMENDFacade.addEntryport(facade, metaMulticast, "
                                "{udpv4://239.255.0.1:8650, 0, \"multicast\"}, worker)",
                            }));
    EXPECT_EQ(log.messages(), Messages());
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{invalid}");
    expectMulticastListOfBefore();
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, GivesTheDiscoveryMulticastPortBackWhenTheUserOneCannotBeReserved) {
    takenPorts = {8651};
    Recording calls(recorder, only({"COMMENDFacade.*", "DDS_DiscoveryQosPolicy_to_unicast_*"}));
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({
                                "COMMENDFacade.addEntryport(facade, metaMulticast, "
                                "{udpv4://239.255.0.1:8650, 0, \"multicast\"}, worker)",
                                "COMMENDFacade.addEntryport(facade, userMulticast, "
                                "{udpv4://239.255.0.1:8651, 0, \"multicast\"}, worker)",
                                "COMMENDFacade.removeEntryport(facade, metaMulticast, worker)",
                            }));
    EXPECT_EQ(held(), Texts());
    EXPECT_EQ(log.messages(), Messages());
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{invalid}");
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{invalid}");
    expectMulticastListOfBefore();
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, HasNoDiscoveryMulticastPortToGiveBackWhenNoneWasAskedFor) {
    self._cachedReservedPortMask = DDS_RTPS_RESERVED_PORT_USER_MULTICAST;
    takenPorts = {8651};
    Recording calls(recorder, only({"COMMENDFacade.*", "PRESParticipant_getFacade"}));
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({
                                "PRESParticipant_getFacade(participant)",
                                "PRESParticipant_getFacade(participant)",
                                "COMMENDFacade.addEntryport(facade, userMulticast, "
                                "{udpv4://239.255.0.1:8651, 0, \"multicast\"}, worker)",
                                "PRESParticipant_getFacade(participant)", // finds nothing held
                            }));
}

// ---- one index

TEST_F(IndexFailure, EndsAtAnIndexWhosePortsAreNotValid) {
    self._domainId = 300; // ports beyond 65535; the real check is asked
    multicastAddresses = {};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_DiscoveryQosPolicy_to_unicast_locators"), 0);
    EXPECT_EQ(log.messages(), Messages({BAD_PORTS}));
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, EndsAtALaterIndexWhosePortsAreNotValid) {
    takenPorts = {8660, 8662};
    recorder.fail("DDS_RtpsWellKnownPorts_isUnicastValid", {.nth = 3});
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_RtpsWellKnownPorts_isUnicastValid"), 3);
    EXPECT_EQ(recorder.count("DDS_DiscoveryQosPolicy_to_unicast_locators"), 2);
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, NEXT_PORT, BAD_PORTS}));
    EXPECT_EQ(held(), MULTICAST_PORTS);
    expectMulticastListStored();
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, EndsAtAFixedIndexWhosePortsAreNotValid) {
    recorder.fail("DDS_RtpsWellKnownPorts_isUnicastValid");
    EXPECT_EQ(reserve(3), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({BAD_PORTS}));
    expectNoIndexTaken(3);
}

TEST_F(IndexFailure, EndsWhenTheDiscoveryUnicastLocatorsCannotBeComputed) {
    recorder.fail("DDS_DiscoveryQosPolicy_to_unicast_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_DiscoveryQosPolicy_to_unicast_locators"), 1);
    EXPECT_EQ(recorder.count("DDS_TransportUnicastQosPolicy_to_default_locators"), 0);
    EXPECT_EQ(log.messages(), Messages({NO_UNICAST_LOCATORS}));
    EXPECT_EQ(held(), MULTICAST_PORTS);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
    expectMulticastListStored();
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, EndsAndKeepsTheDiscoveryPortsWhenTheUserLocatorsCannotBeComputed) {
    recorder.fail("DDS_TransportUnicastQosPolicy_to_default_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_TransportUnicastQosPolicy_to_default_locators"), 1);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
    EXPECT_EQ(held(), Texts({"udpv4://239.255.0.1:8650", "udpv4://239.255.0.1:8651",
                             "udpv4://192.0.2.1:8660", "udpv4://192.0.2.2:8660"}));
    EXPECT_EQ(self._reserveMetaUnicast._count, 2);
    EXPECT_EQ(log.messages(), Messages({NO_UNICAST_LOCATORS}));
    expectMulticastListStored();
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, AnswersNoDataWithoutAnyUnicastLocator) {
    metaAddresses = {};
    userAddresses = {};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_NO_DATA);
    EXPECT_EQ(recorder.count("DDS_RtpsWellKnownPorts_isUnicastValid"), 1);
    EXPECT_EQ(log.messages(), Messages());
    expectMulticastListStored();
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, AnswersNoDataForAFixedIndexToo) {
    metaAddresses = {};
    userAddresses = {};
    self._cachedReservedPortMask = 0;
    EXPECT_EQ(reserve(3), DDS_RETCODE_NO_DATA);
    EXPECT_EQ(log.messages(), Messages());
    expectNoIndexTaken(3);
}

TEST_F(IndexFailure, ReleasesNothingWhenItAnswersNoData) {
    metaAddresses = {};
    userAddresses = {};
    self._reserveMetaUnicast._count = 1;
    self._reserveMetaUnicast._entryportWR[0] = someReference(70);
    self._reserveUserUnicast._count = 1;
    self._reserveUserUnicast._entryportWR[0] = someReference(71);
    EXPECT_EQ(reserve(-1), DDS_RETCODE_NO_DATA);
    EXPECT_EQ(recorder.count("COMMENDFacade.removeEntryport"), 0);
    EXPECT_EQ(held(), MULTICAST_PORTS);
    EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR), "{manager, 0, 1}");
    EXPECT_EQ(describe(self._reserveEntryportUserMulticastWR), "{manager, 1, 1}");
    EXPECT_EQ(self._reserveMetaUnicast._count, 1);
    EXPECT_EQ(describe(self._reserveMetaUnicast._entryportWR[0]), "{manager, 70, 1}");
    EXPECT_EQ(self._reserveUserUnicast._count, 1);
    EXPECT_EQ(describe(self._reserveUserUnicast._entryportWR[0]), "{manager, 71, 1}");
}

// ---- no index left

TEST_F(IndexFailure, TriesAFixedIndexOnce) {
    takenPorts = {8666};
    EXPECT_EQ(reserve(3), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_RtpsWellKnownPorts_isUnicastValid"), 1);
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, NO_INDEX}));
    EXPECT_EQ(held(), MULTICAST_PORTS);
    expectMulticastListStored();
    expectNoIndexTaken(3);
}

TEST_F(IndexFailure, GivesTheDiscoveryPortsOfAFixedIndexBackWhenAUserPortIsTaken) {
    takenPorts = {8667};
    EXPECT_EQ(reserve(3), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, NO_INDEX}));
    EXPECT_EQ(held(), MULTICAST_PORTS);
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
    EXPECT_EQ(self._reserveUserUnicast._count, 0);
    EXPECT_EQ(describe(self._reserveMetaUnicast._entryportWR[0]), "{invalid}");
    expectNoIndexTaken(3);
}

TEST_F(IndexFailure, GivesUpAfterTheHighestIndex) {
    self.cachedWellKnownPorts = {7400, 30, 10, 5, 0, 6, 2}; // highest index 2
    takenPorts = {7550, 7560, 7570};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_RtpsWellKnownPorts_isUnicastValid"), 3);
    EXPECT_EQ(log.messages(), Messages({NEXT_PORT, NEXT_PORT, NEXT_PORT, NO_INDEX}));
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, GivesUpTheSinglePortWithNothingButTheLastWord) {
    self.cachedWellKnownPorts = {7400, 30, 10, 5, 0, 6, 2};
    self._cachedReservedPortMask = 0;
    takenPorts = {7550, 7560, 7570};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("COMMENDFacade.addEntryport"), 3);
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
    EXPECT_EQ(log.messages(), Messages({NO_INDEX}));
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, TriesNoIndexWhenThePortsAllowNone) {
    self.cachedWellKnownPorts.port_base = 65535;
    multicastAddresses = {};
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_RtpsWellKnownPorts_isUnicastValid"), 0);
    EXPECT_EQ(
        log.messages(),
        Messages({{.level = NUV_LOG_LEVEL_ERROR,
                   .function = "DDS_DomainParticipantPresentation_get_max_participant_indexI",
                   .name = "NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE",
                   .body = "rtps_well_known_ports.port_base (65535) must be less than 65535.",
                   .text = "bad parameter: rtps_well_known_ports.port_base (65535) must be less "
                           "than 65535."},
                  NO_INDEX}));
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, TriesNoIndexWhenTheBoundIsBelowZero) {
    self.cachedWellKnownPorts = {7400, 3, 2, 0, 10, 1, 11}; // highest index -5
    EXPECT_EQ(reserve(-1), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("DDS_RtpsWellKnownPorts_isUnicastValid"), 0);
    EXPECT_EQ(log.messages(), Messages({NO_INDEX}));
    EXPECT_EQ(held().size(), 2u); // the multicast ports stay
    expectNoIndexTaken(-1);
}

TEST_F(IndexFailure, LeavesAnEarlierSuccessInTheRecord) {
    EXPECT_EQ(reserve(3), DDS_RETCODE_OK);
    DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
    takenPorts = {8660, 8666};
    EXPECT_EQ(reserve(3), DDS_RETCODE_ERROR);
    EXPECT_EQ(self._entryportsReserved, 1);
    EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
              "{udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667}");
}

// ---- every call that can fail, one after the other

/** What the operation answers and logs when this call fails; the index is automatic. */
struct Outcome {
    DDS_ReturnCode_t result;
    Messages messages;
};

Outcome outcomeOf(const std::string &failed) {
    const auto is = [&](const char *start) { return failed.rfind(start, 0) == 0; };
    if (failed.empty()) {
        return {DDS_RETCODE_OK, {}};
    }
    if (is("DDS_DiscoveryQosPolicy_to_multicast_locators")) {
        return {DDS_RETCODE_ERROR, {NO_MULTICAST_LOCATORS}};
    }
    if (is("COMMENDFacade.addEntryport(facade, metaMulticast") ||
        is("COMMENDFacade.addEntryport(facade, userMulticast")) {
        return {DDS_RETCODE_ERROR, {}};
    }
    if (is("COMMENDFacade.addEntryport")) {
        return {DDS_RETCODE_OK, {NEXT_PORT}};
    }
    return {DDS_RETCODE_ERROR, {NO_UNICAST_LOCATORS}};
}

TEST_F(IndexFailure, OfEachCallInTurnIsAnsweredAndLeavesNoPortAfterTheRelease) {
    Texts failures;
    failEach(recorder, &Recorder::failCall, [&](auto arm) {
        arm();
        log.clear();
        const DDS_ReturnCode_t result = reserve(-1);
        const std::string failed = recorder.failed();
        SCOPED_TRACE(failed);
        Outcome expected = outcomeOf(failed);
        if (expected.result == DDS_RETCODE_OK) {
            expected.messages.push_back(reservedMessage(failed.empty() ? 0 : 1, 5));
        }
        EXPECT_EQ(result, expected.result);
        EXPECT_EQ(log.messages(), expected.messages);
        DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
        EXPECT_EQ(held(), Texts());
        if (!failed.empty()) {
            failures.push_back(failed.substr(0, failed.find('(')));
        }
        return failed;
    });
    EXPECT_EQ(failures, Texts({
                            "DDS_DiscoveryQosPolicy_to_multicast_locators",
                            "COMMENDFacade.addEntryport",
                            "COMMENDFacade.addEntryport",
                            "DDS_DiscoveryQosPolicy_to_unicast_locators",
                            "COMMENDFacade.addEntryport",
                            "COMMENDFacade.addEntryport",
                            "DDS_TransportUnicastQosPolicy_to_default_locators",
                            "COMMENDFacade.addEntryport",
                            "COMMENDFacade.addEntryport",
                        }));
}

} // namespace
