// SPDX-License-Identifier: Apache-2.0
// The update of a participant's locators when something fails on the way. Nothing is rolled back.
#include <cstring>
#include <functional>

#include "fault_loop.h"
#include "gates.h"
#include "update_fixture.h"

using namespace support;

namespace update_failures {

namespace {

Message updateMessage(const char *name, const std::string &text) {
    return {.function = Update::OPERATION, .name = name, .text = text};
}

Message notSet(const std::string &what) {
    return updateMessage("DDS_LOG_SET_FAILURE_s", "cannot set " + what);
}

const Message NO_SETUP =
    updateMessage("NUV_LOG_GET_FAILURE_s", "cannot get DDS_DomainParticipantQos");
const Message NOT_READ = updateMessage("DDS_LOG_GET_FAILURE_s", "cannot get PRESParticipant QoS");
const Message NO_USER_LOCATORS = notSet("default unicast locators");
const Message NO_USER_PORTS = notSet("default unicast entryports");
const Message NO_META_LOCATORS = notSet("metatraffic unicast locators");
const Message NO_META_PORTS = notSet("metatraffic unicast entryports");
const Message NO_MULTICAST_LOCATORS = notSet("metatraffic multicast locators");
const Message NO_MULTICAST_PORT = notSet("metatraffic multicast entryports");
const Message NOT_PUSHED = notSet("participant QoS");
const Message NOT_FINALIZED = {.function = Update::OPERATION,
                               .name = "NUV_LOG_FAILED_TO_FINALIZE_TEMPLATE",
                               .body = "Presentation QoS",
                               .text = "failed to finalize: Presentation QoS"};

const std::string FINALIZE_QOS = "DDS_DomainParticipantQos_finalize(DDS_DomainParticipantQos#1)";
const std::string FINALIZE_PROPERTY =
    "DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty#1)";

const std::string USER_BEFORE = "udpv4://198.51.100.1:8667, udpv4://198.51.100.2:8667";
const std::string META_BEFORE = "udpv4://192.0.2.1:8666, udpv4://192.0.2.2:8666";
const std::string MULTICAST_BEFORE = "udpv4://239.255.0.1:8650, udpv4://239.255.0.2:8650";
const std::string USER_NOW =
    "udpv4://198.51.100.1:8667, udpv4://198.51.100.8:8667, udpv4://198.51.100.9:8667";
const std::string META_NOW = "udpv4://192.0.2.1:8666, udpv4://192.0.2.9:8666";
const std::string MULTICAST_NOW = "udpv4://239.255.0.7:8650";

const Message USER_LINE = changeLine("Default unicast", USER_BEFORE, USER_NOW);
const Message META_LINE = changeLine("Metatraffic unicast", META_BEFORE, META_NOW);
const Message MULTICAST_LINE = changeLine("Metatraffic multicast", MULTICAST_BEFORE, MULTICAST_NOW);

/** Every list is another one now. */
class UpdateFailure : public Update {
protected:
    void SetUp() override {
        Update::SetUp();
        userAddresses = {"198.51.100.1", "198.51.100.8", "198.51.100.9"};
        metaAddresses = {"192.0.2.1", "192.0.2.9"};
        multicastAddresses = {"239.255.0.7"};
        std::memcpy(&recordBefore, &self, sizeof self);
        heldBefore = held();
    }

    void expectNothingChanged() {
        EXPECT_EQ(std::memcmp(&recordBefore, &self, sizeof self), 0);
        EXPECT_EQ(held(), heldBefore);
        EXPECT_FALSE(pushed.has_value());
    }

    /** Whether the record has the new list and its ports, or the old ones. */
    void expectUser(bool isNew) {
        EXPECT_EQ(describe(self._cachedDefaultUnicastLocator),
                  '{' + (isNew ? USER_NOW : USER_BEFORE) + '}');
        EXPECT_EQ(self._reserveUserUnicast._count, isNew ? 3 : 2);
        EXPECT_EQ(std::memcmp(&self._reserveUserUnicast, &recordBefore._reserveUserUnicast,
                              sizeof self._reserveUserUnicast) == 0,
                  !isNew);
    }

    void expectMeta(bool isNew) {
        EXPECT_EQ(describe(self._cachedMetatrafficUnicastLocator),
                  '{' + (isNew ? META_NOW : META_BEFORE) + '}');
        EXPECT_EQ(std::memcmp(&self._reserveMetaUnicast, &recordBefore._reserveMetaUnicast,
                              sizeof self._reserveMetaUnicast) == 0,
                  !isNew);
    }

    void expectMulticast(bool isNew) {
        EXPECT_EQ(describe(self._cachedMetatrafficMulticastLocator),
                  '{' + (isNew ? MULTICAST_NOW : MULTICAST_BEFORE) + '}');
        EXPECT_EQ(describe(self._reserveEntryportMetaMulticastWR) == "{manager, 0, 1}", !isNew);
    }

    void expectNewListsPushed() {
        ASSERT_TRUE(pushed.has_value());
        EXPECT_EQ(describe(pushed->parameter.defaultUnicastLocator), '{' + USER_NOW + '}');
        EXPECT_EQ(describe(pushed->parameter.metatrafficUnicastLocator), '{' + META_NOW + '}');
        EXPECT_EQ(describe(pushed->parameter.metatrafficMulticastLocator),
                  '{' + MULTICAST_NOW + '}');
    }

    /** The next update puts everything right. */
    void expectRepairable() {
        recorder.clearFaults();
        takenPorts.clear();
        EXPECT_EQ(update(), DDS_RETCODE_OK);
        expectUser(true);
        expectMeta(true);
        expectMulticast(true);
        EXPECT_EQ(held(), (Texts{"udpv4://239.255.0.1:8651", "udpv4://198.51.100.1:8667",
                                 "udpv4://198.51.100.8:8667", "udpv4://198.51.100.9:8667",
                                 "udpv4://192.0.2.1:8666", "udpv4://192.0.2.9:8666",
                                 "udpv4://239.255.0.7:8650"}));
        expectNewListsPushed();
    }

    DDS_DomainParticipantPresentation recordBefore;
    Texts heldBefore;
};

// ---- before the lists

TEST_F(UpdateFailure, ToSetBuffersUpEndsTheUpdateWithItsCode) {
    recorder.fail("DDS_DomainParticipantQos_setup_presentation_qosI",
                  {.result = DDS_RETCODE_OUT_OF_RESOURCES});
    Recording calls(recorder, except({"DDS_DomainParticipant_get*"}));
    EXPECT_EQ(update(), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(calls.text(),
              lines({"DDS_DomainParticipantQos_setup_presentation_qosI(DDS_DomainParticipantQos#1, "
                     "PRESParticipantProperty#1, 256, 32, 2048)",
                     FINALIZE_QOS, FINALIZE_PROPERTY}));
    EXPECT_EQ(log.messages(), Messages({NO_SETUP}));
    expectNothingChanged();
}

TEST_F(UpdateFailure, LimitsBelowZeroEndTheUpdateWithTheCodeOfTheSetup) {
    owner.qos.resource_limits.participant_user_data_max_length = -1;
    EXPECT_EQ(update(), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(log.messages(), Messages({NO_SETUP}));
    expectNothingChanged();
}

TEST_F(UpdateFailure, ToReadThePropertyEndsTheUpdate) {
    recorder.fail("PRESParticipant_getProperty");
    Recording calls(recorder, except({"DDS_DomainParticipant_get*"}));
    EXPECT_EQ(update(), DDS_RETCODE_ERROR);
    EXPECT_EQ(
        calls.text(),
        lines({"DDS_DomainParticipantQos_setup_presentation_qosI(DDS_DomainParticipantQos#1, "
               "PRESParticipantProperty#1, 256, 32, 2048)",
               "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#1)",
               "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
               FINALIZE_QOS, FINALIZE_PROPERTY}));
    EXPECT_EQ(log.messages(), Messages({NOT_READ}));
    expectNothingChanged();
}

// ---- default unicast

TEST_F(UpdateFailure, ToComputeTheDefaultUnicastListEndsTheUpdateWithItsCode) {
    recorder.fail("DDS_TransportUnicastQosPolicy_to_default_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    Recording calls(recorder, only({"COMMENDFacade.*", "PRESLocator*", "DDS_Discovery*",
                                    "DDS_DomainParticipantQos_finalize*"}));
    EXPECT_EQ(update(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(calls.text(), lines({FINALIZE_QOS, FINALIZE_PROPERTY}));
    EXPECT_EQ(log.messages(), Messages({NO_USER_LOCATORS}));
    expectNothingChanged();
}

TEST_F(UpdateFailure, ToReserveForTheDefaultUnicastListGoesOnWithTheOldPorts) {
    takenPorts = {8667};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, NO_USER_PORTS, META_LINE, MULTICAST_LINE}));
    expectUser(false);
    expectMeta(true);
    expectMulticast(true);
    expectNewListsPushed();
    expectRepairable();
}

TEST_F(UpdateFailure, ToReserveForTheThirdDefaultUnicastLocatorGivesTheFirstTwoBack) {
    recorder.fail("COMMENDFacade.addEntryport", {.nth = 3});
    Recording calls(recorder, only({"COMMENDFacade.*", "DDS_DiscoveryQosPolicy_to_un*"}));
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    const std::vector<std::string> first(calls.calls().begin(), calls.calls().begin() + 6);
    EXPECT_EQ(first,
              (Texts{"COMMENDFacade.addEntryport(facade, &entryportWROut, "
                     "{udpv4://198.51.100.1:8667, 0, \"user\"}, worker)",
                     "COMMENDFacade.addEntryport(facade, &entryportWROut, "
                     "{udpv4://198.51.100.8:8667, 0, \"user\"}, worker)",
                     "COMMENDFacade.addEntryport(facade, &entryportWROut, "
                     "{udpv4://198.51.100.9:8667, 0, \"user\"}, worker)",
                     "COMMENDFacade.removeEntryport(facade, &entryportWR, worker)",
                     "COMMENDFacade.removeEntryport(facade, &entryportWR, worker)",
                     "DDS_DiscoveryQosPolicy_to_unicast_locators(discovery, &locators, &aliases, "
                     "ports, 16, 5, 3, configurator, worker)"}));
    EXPECT_EQ(held(), (Texts{"udpv4://239.255.0.1:8651", "udpv4://198.51.100.1:8667",
                             "udpv4://198.51.100.2:8667", "udpv4://192.0.2.1:8666",
                             "udpv4://192.0.2.9:8666", "udpv4://239.255.0.7:8650"}));
    expectUser(false);
}

TEST_F(UpdateFailure, ToReserveIsNotTriedTwice) {
    takenPorts = {8666, 8667, 8650};
    Recording calls(recorder, only({"COMMENDFacade.*"}));
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.calls().size(), 3u) << calls.text();
}

TEST_F(UpdateFailure, ToReserveLogsTheChangeAgainNextTime) {
    takenPorts = {8667};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    log.clear();
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, NO_USER_PORTS}));
}

// ---- metatraffic unicast

TEST_F(UpdateFailure, ToComputeTheMetatrafficUnicastListKeepsTheDefaultUnicastUpdate) {
    recorder.fail("DDS_DiscoveryQosPolicy_to_unicast_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    EXPECT_EQ(update(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, NO_META_LOCATORS}));
    expectUser(true);
    expectMeta(false);
    expectMulticast(false);
    EXPECT_FALSE(pushed.has_value());
    EXPECT_EQ(recorder.count("DDS_DomainParticipantQos_finalize"), 1);
    expectRepairable();
}

TEST_F(UpdateFailure, ToReserveForTheMetatrafficUnicastListGoesOnWithTheOldPorts) {
    takenPorts = {8666};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, NO_META_PORTS, MULTICAST_LINE}));
    expectUser(true);
    expectMeta(false);
    expectMulticast(true);
    expectNewListsPushed();
    expectRepairable();
}

// ---- metatraffic multicast

TEST_F(UpdateFailure, ToComputeTheMulticastListIsOkAndPushesNothing) {
    recorder.fail("DDS_DiscoveryQosPolicy_to_multicast_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, NO_MULTICAST_LOCATORS}));
    expectUser(true);
    expectMeta(true);
    expectMulticast(false);
    EXPECT_FALSE(pushed.has_value());
    EXPECT_EQ(recorder.count("DDS_DomainParticipantQos_finalize"), 1);
    expectRepairable();
}

TEST_F(UpdateFailure, ToComputeTheMulticastListAndToFinalizeIsAnError) {
    recorder.fail("DDS_DiscoveryQosPolicy_to_multicast_locators");
    failFinalize();
    EXPECT_EQ(update(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(),
              Messages({USER_LINE, META_LINE, NO_MULTICAST_LOCATORS, NOT_FINALIZED}));
}

TEST_F(UpdateFailure, ToReserveForTheMulticastListGoesOnWithTheOldPort) {
    takenPorts = {8650};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, MULTICAST_LINE, NO_MULTICAST_PORT}));
    expectUser(true);
    expectMeta(true);
    expectMulticast(false);
    expectNewListsPushed();
    expectRepairable();
}

TEST_F(UpdateFailure, ToReserveAnythingStillPushesTheNewLists) {
    takenPorts = {8666, 8667, 8650};
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, NO_USER_PORTS, META_LINE, NO_META_PORTS,
                                        MULTICAST_LINE, NO_MULTICAST_PORT}));
    EXPECT_EQ(std::memcmp(&recordBefore, &self, sizeof self), 0);
    EXPECT_EQ(held(), heldBefore);
    expectNewListsPushed();
    expectRepairable();
}

TEST_F(UpdateFailure, ToReleaseGoesUnnoticed) {
    for (int nth = 1; nth <= 5; ++nth) {
        recorder.fail("COMMENDFacade.removeEntryport", {.nth = nth});
    }
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, MULTICAST_LINE}));
    expectUser(true);
    expectMeta(true);
    expectMulticast(true);
}

TEST_F(UpdateFailure, ToWriteAListAsTextCostsTheLineOnly) {
    recorder.fail("PRESLocatorQosPolicy_toString");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({META_LINE, MULTICAST_LINE}));
    expectUser(true);
}

// ---- the property

struct Refusal {
    const char *name;
    int failReason;
    DDS_ReturnCode_t result;
};

void PrintTo(const Refusal &refusal, std::ostream *out) {
    *out << refusal.name;
}

class UpdateRefused : public UpdateFailure, public testing::WithParamInterface<Refusal> {};

TEST_P(UpdateRefused, AnswersWithTheMappedCodeAndKeepsTheRecordsUpdates) {
    recorder.fail("PRESParticipant_setProperty", {.failReason = GetParam().failReason});
    Recording calls(recorder, only({"DDS_ReturnCode*", "DDS_DomainParticipantQos_finalize*"}));
    EXPECT_EQ(update(), GetParam().result);
    EXPECT_EQ(calls.text(), lines({"DDS_ReturnCode_from_presentation_return_codeI(" +
                                       hex(static_cast<unsigned>(GetParam().failReason)) + ')',
                                   FINALIZE_QOS, FINALIZE_PROPERTY}));
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, MULTICAST_LINE, NOT_PUSHED}));
    expectUser(true);
    expectMeta(true);
    expectMulticast(true);
}

INSTANTIATE_TEST_SUITE_P(
    With, UpdateRefused,
    testing::Values(Refusal{"Error", 0x020D1001, DDS_RETCODE_ERROR},
                    Refusal{"OutOfResources", 0x020D1005, DDS_RETCODE_OUT_OF_RESOURCES},
                    Refusal{"InconsistentPolicy", 0x020D1008, DDS_RETCODE_INCONSISTENT_POLICY},
                    Refusal{"AnUnknownReason", 0x7777, DDS_RETCODE_ERROR}),
    [](const testing::TestParamInfo<Refusal> &refusal) { return refusal.param.name; });

TEST_F(UpdateFailure, ToFinalizeTheQosGoesUnnoticed) {
    recorder.fail("DDS_DomainParticipantQos_finalize");
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.count("DDS_DomainParticipantQos_finalize_presentation_qosI"), 1);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, MULTICAST_LINE}));
}

TEST_F(UpdateFailure, ToFinalizeThePropertyIsAnErrorThoughTheUpdateIsMade) {
    failFinalize();
    EXPECT_EQ(update(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, MULTICAST_LINE, NOT_FINALIZED}));
    expectUser(true);
    expectNewListsPushed();
}

TEST_F(UpdateFailure, ToFinalizeThePropertyOverridesAnEarlierCode) {
    recorder.fail("DDS_TransportUnicastQosPolicy_to_default_locators",
                  {.result = DDS_RETCODE_INCONSISTENT_POLICY});
    failFinalize();
    EXPECT_EQ(update(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_USER_LOCATORS, NOT_FINALIZED}));
}

TEST_F(UpdateFailure, ToFinalizeThePropertyOverridesTheCodeOfARefusal) {
    recorder.fail("PRESParticipant_setProperty", {.failReason = PRES_RETCODE_OUT_OF_RESOURCES});
    failFinalize();
    EXPECT_EQ(update(), DDS_RETCODE_ERROR);
}

// ---- who lets the messages through

/** A failure: what is made to fail, how it is answered and what it says among the change lines. */
struct Failed {
    const char *name;
    std::function<void(Update &)> prepare;
    DDS_ReturnCode_t result;
    const Message *message;
    bool isForWorkersToo;
};

void PrintTo(const Failed &failed, std::ostream *out) {
    *out << failed.name;
}

std::function<void(Update &)> failing(const char *call) {
    return [call](Update &scene) { scene.recorder.fail(call); };
}

std::function<void(Update &)> taken(KOLS_Transport_Port_t port) {
    return [port](Update &scene) { scene.takenPorts = {port}; };
}

const Failed FAILURES[] = {
    {"Setup", failing("DDS_DomainParticipantQos_setup_presentation_qosI"), DDS_RETCODE_ERROR,
     &NO_SETUP, false},
    {"Reading", failing("PRESParticipant_getProperty"), DDS_RETCODE_ERROR, &NOT_READ, false},
    {"UserLocators", failing("DDS_TransportUnicastQosPolicy_to_default_locators"),
     DDS_RETCODE_ERROR, &NO_USER_LOCATORS, false},
    {"UserPorts", taken(8667), DDS_RETCODE_OK, &NO_USER_PORTS, false},
    {"MetaLocators", failing("DDS_DiscoveryQosPolicy_to_unicast_locators"), DDS_RETCODE_ERROR,
     &NO_META_LOCATORS, false},
    {"MetaPorts", taken(8666), DDS_RETCODE_OK, &NO_META_PORTS, false},
    {"MulticastLocators", failing("DDS_DiscoveryQosPolicy_to_multicast_locators"), DDS_RETCODE_OK,
     &NO_MULTICAST_LOCATORS, false},
    {"MulticastPort", taken(8650), DDS_RETCODE_OK, &NO_MULTICAST_PORT, false},
    {"Pushing", failing("PRESParticipant_setProperty"), DDS_RETCODE_ERROR, &NOT_PUSHED, false},
    {"Finalization", [](Update &scene) { scene.failFinalize(); }, DDS_RETCODE_ERROR, &NOT_FINALIZED,
     true},
};

/** Nothing has changed, so that there are no change lines. */
class UpdateGate : public Update, public testing::WithParamInterface<FailedAtGate<Failed>> {};

TEST_P(UpdateGate, LetsAFailureThroughAsDocumented) {
    const auto &[failed, gate] = GetParam();
    failed.prepare(*this);
    gate.set(*worker);
    EXPECT_EQ(update(), failed.result);
    EXPECT_EQ(log.messages(), gate.pass({*failed.message}, failed.isForWorkersToo));
}

INSTANTIATE_TEST_SUITE_P(Of, UpdateGate,
                         testing::Combine(testing::ValuesIn(FAILURES), testing::ValuesIn(GATES)),
                         nameOfGate<Failed>);

class UpdateFinalizeGate : public Update {
protected:
    void SetUp() override {
        Update::SetUp();
        wantForWorkerOnly(NUV_LOG_LEVEL_ERROR);
        failFinalize();
    }
};

TEST_F(UpdateFinalizeGate, IsClosedWithoutAWorker) {
    worker = nullptr;
    EXPECT_EQ(update(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(UpdateFinalizeGate, IsClosedForAWorkerWithoutAnActivity) {
    callersWorker._activityContext = nullptr;
    EXPECT_EQ(update(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages());
}

// ---- everything fails in turn

TEST_F(UpdateFailure, OfEachCallIsAnsweredAsDocumented) {
    const struct {
        const char *call;
        DDS_ReturnCode_t result;
        Messages messages;
    } steps[] = {
        {"DDS_DomainParticipantQos_setup_presentation_qosI(", DDS_RETCODE_ERROR, {NO_SETUP}},
        {"PRESParticipant_getProperty(", DDS_RETCODE_ERROR, {NOT_READ}},
        {"DDS_TransportUnicastQosPolicy_to_default_locators(",
         DDS_RETCODE_ERROR,
         {NO_USER_LOCATORS}},
        {"PRESLocatorQosPolicy_toString(cachedDefaultUnicast",
         DDS_RETCODE_OK,
         {META_LINE, MULTICAST_LINE}},
        {"PRESLocatorQosPolicy_toString({udpv4://198", DDS_RETCODE_OK, {META_LINE, MULTICAST_LINE}},
        {"COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://198.51.100.1",
         DDS_RETCODE_OK,
         {USER_LINE, NO_USER_PORTS, META_LINE, MULTICAST_LINE}},
        {"COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://198.51.100.8",
         DDS_RETCODE_OK,
         {USER_LINE, NO_USER_PORTS, META_LINE, MULTICAST_LINE}},
        {"COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://198.51.100.9",
         DDS_RETCODE_OK,
         {USER_LINE, NO_USER_PORTS, META_LINE, MULTICAST_LINE}},
        {"DDS_DiscoveryQosPolicy_to_unicast_locators(",
         DDS_RETCODE_ERROR,
         {USER_LINE, NO_META_LOCATORS}},
        {"PRESLocatorQosPolicy_toString(cachedMetaUnicast",
         DDS_RETCODE_OK,
         {USER_LINE, MULTICAST_LINE}},
        {"PRESLocatorQosPolicy_toString({udpv4://192", DDS_RETCODE_OK, {USER_LINE, MULTICAST_LINE}},
        {"COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://192.0.2.1",
         DDS_RETCODE_OK,
         {USER_LINE, META_LINE, NO_META_PORTS, MULTICAST_LINE}},
        {"COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://192.0.2.9",
         DDS_RETCODE_OK,
         {USER_LINE, META_LINE, NO_META_PORTS, MULTICAST_LINE}},
        {"DDS_DiscoveryQosPolicy_to_multicast_locators(",
         DDS_RETCODE_OK,
         {USER_LINE, META_LINE, NO_MULTICAST_LOCATORS}},
        {"PRESLocatorQosPolicy_toString(cachedMetaMulticast",
         DDS_RETCODE_OK,
         {USER_LINE, META_LINE}},
        {"PRESLocatorQosPolicy_toString({udpv4://239", DDS_RETCODE_OK, {USER_LINE, META_LINE}},
        {"COMMENDFacade.addEntryport(facade, &entryportWROut, {udpv4://239",
         DDS_RETCODE_OK,
         {USER_LINE, META_LINE, MULTICAST_LINE, NO_MULTICAST_PORT}},
        {"PRESParticipant_setProperty(",
         DDS_RETCODE_ERROR,
         {USER_LINE, META_LINE, MULTICAST_LINE, NOT_PUSHED}},
        {"DDS_DomainParticipantQos_finalize_presentation_qosI(",
         DDS_RETCODE_ERROR,
         {USER_LINE, META_LINE, MULTICAST_LINE, NOT_FINALIZED}},
    };
    const auto restart = [this] {
        DDS_DomainParticipantPresentation_release_participant_index_entryports(&self, worker);
        const Texts now[] = {userAddresses, metaAddresses, multicastAddresses};
        userAddresses = {"198.51.100.1", "198.51.100.2"};
        metaAddresses = {"192.0.2.1", "192.0.2.2"};
        multicastAddresses = {"239.255.0.1", "239.255.0.2"};
        start();
        userAddresses = now[0];
        metaAddresses = now[1];
        multicastAddresses = now[2];
        pushed.reset();
    };

    int nth = 0;
    for (const auto &step : steps) {
        restart();
        recorder.failCall(++nth);
        EXPECT_EQ(update(), step.result) << recorder.failed();
        EXPECT_EQ(recorder.failed().substr(0, std::strlen(step.call)), step.call);
        EXPECT_EQ(log.messages(), step.messages) << recorder.failed();
        setupBuffers->free(); // where the finalization did not
        EXPECT_EQ(heap.change(), Blocks()) << recorder.failed();
        EXPECT_EQ(held().size(), 2u + static_cast<std::size_t>(self._reserveUserUnicast._count +
                                                               self._reserveMetaUnicast._count))
            << recorder.failed();
        expectRepairable();
    }
    restart();
    recorder.failCall(++nth);
    EXPECT_EQ(update(), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.failed(), "") << "a call that no step names";
    EXPECT_EQ(log.messages(), Messages({USER_LINE, META_LINE, MULTICAST_LINE}));
}

TEST_F(UpdateFailure, OfEachAllocationEndsTheUpdateBeforeAnythingIsDone) {
    const int faults = failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        log.clear();
        arm();
        const DDS_ReturnCode_t result = update();
        if (recorder.failed().empty()) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            return recorder.failed();
        }
        EXPECT_EQ(result, DDS_RETCODE_OUT_OF_RESOURCES) << recorder.failed();
        EXPECT_EQ(log.messages(), Messages({NO_SETUP})) << recorder.failed();
        EXPECT_EQ(heap.change(), Blocks()) << recorder.failed();
        expectNothingChanged();
        return recorder.failed();
    });
    EXPECT_EQ(faults, 3) << "the buffers that are set up, and no others";
    expectNewListsPushed();
}

} // namespace

} // namespace update_failures
