// SPDX-License-Identifier: Apache-2.0
// Initialization that fails: each point where it can stop.
#include "names.h"
#include "support/presentation_fixture.h"

namespace {

using namespace support;

const Message PROPERTY_NOT_SET = {
    .function = INITIALIZE, .name = "DDS_LOG_SET_FAILURE_s", .text = "cannot set QoS"};

/** The blocks that a stop between translation and creation leaves, with and without the ports. */
const Blocks PROPERTY_LIST = {{"struct PRESProperty 0x4B4F4C43", 1}};
const Blocks PROPERTY_LIST_AND_PORTS = {{"struct PRESProperty 0x4B4F4C43", 1},
                                        {"char 0x4B4F4C42", 1}};

class InitializeFailure : public PresentationFixture {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        setProperty("color", "green"); // so that there is a property list
        keepBuffers();
        before.emplace();
    }

    /** A stop with OK: the caller sees it by the null participant. */
    void expectStopWithOk() {
        EXPECT_EQ(initialize(), DDS_RETCODE_OK);
        EXPECT_EQ(self.participant, nullptr);
        EXPECT_EQ(recorder.count("PRESParticipant_new"), 0);
        EXPECT_EQ(recorder.count("DDS_DiscoveryQosPolicy_finalize"), 0) << "nothing is undone";
    }

    void expectUndone(DDS_ReturnCode_t result) {
        EXPECT_EQ(initialize(), result);
        EXPECT_TRUE(isZero(self));
        EXPECT_EQ(before->change(), Blocks());
    }

    std::optional<HeapWatch> before;
};

TEST_F(InitializeFailure, NullRecordIsABadParameter) {
    EXPECT_EQ(initialize(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(log.messages(), Messages({{.level = NUV_LOG_LEVEL_FATAL,
                                         .function = INITIALIZE,
                                         .name = "NUV_LOG_PRECONDITION_FAILURE_s",
                                         .text = "precondition failed: \"self == ((void *)0)\""}}));
}

// ---- stops with OK

TEST_F(InitializeFailure, ThreadIdOfSixCharactersStopsWithOk) {
    arguments.threadParticipantId = "123456";
    expectStopWithOk();
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd",
                                         .text = "insufficient space: room for 6, needed 6"}}));
}

TEST_F(InitializeFailure, LongThreadIdIsReportedWithItsLength) {
    arguments.threadParticipantId = "participant";
    expectStopWithOk();
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd",
                                         .text = "insufficient space: room for 6, needed 11"}}));
}

TEST_F(InitializeFailure, LongThreadIdStopsBeforeAnythingElseIsDone) {
    arguments.threadParticipantId = "123456";
    Recording calls(recorder);
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({"DDS_StatusMask_get_presentation_maskI(0)",
                     "NUVOsapiUtility_strcpy(self._threadParticipantId, 5, \"123456\")"}));
    EXPECT_EQ(before->change(), Blocks());
}

TEST_F(InitializeFailure, OutOfMemoryForThePropertyStopsWithOk) {
    recorder.fail("NUVOsapiHeap_reallocateMemoryInternal");
    expectStopWithOk();
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "NUV_LOG_CREATION_FAILURE_s",
                                         .text = "cannot create participant property"}}));
    EXPECT_EQ(before->change(), Blocks());
}

TEST_F(InitializeFailure, AlignmentThatIsNoBooleanStopsWithOkAndLeavesThePropertyList) {
    setProperty(ALIGNMENT, "perhaps");
    before.emplace();
    expectStopWithOk();
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "NUV_LOG_INVALID_s",
                                         .text = std::string("invalid: ") + ALIGNMENT}}));
    EXPECT_EQ(before->change(), PROPERTY_LIST);
}

TEST_F(InitializeFailure, MismatchLoggingThatIsNoBooleanStopsWithOkAndLeavesThePropertyList) {
    setProperty(MISMATCH, "perhaps");
    before.emplace();
    expectStopWithOk();
    EXPECT_EQ(
        log.messages(),
        Messages({{.function = INITIALIZE,
                   .name = "NUV_LOG_FAILED_TO_CONVERT_TEMPLATE",
                   .body = "expected boolean value for property "
                           "dds.participant.discovery_config.log_discovery_mismatch, got perhaps",
                   .text = "failed to convert: expected boolean value for property "
                           "dds.participant.discovery_config.log_discovery_mismatch, got "
                           "perhaps"}}));
    EXPECT_EQ(before->change(), PROPERTY_LIST);
}

TEST_F(InitializeFailure, AlignmentWithoutAValueIsRefusedToo) {
    setProperty(ALIGNMENT, nullptr);
    expectStopWithOk();
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "NUV_LOG_INVALID_s",
                                         .text = std::string("invalid: ") + ALIGNMENT}}));
}

TEST_F(InitializeFailure, MismatchLoggingWithoutAValueIsRefusedToo) {
    setProperty(MISMATCH, nullptr);
    expectStopWithOk();
    const std::string body = "expected boolean value for property "
                             "dds.participant.discovery_config.log_discovery_mismatch, got (null)";
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "NUV_LOG_FAILED_TO_CONVERT_TEMPLATE",
                                         .body = body,
                                         .text = "failed to convert: " + body}}));
}

TEST_F(InitializeFailure, OutOfMemoryForTrackedPortsStopsWithOkAndLeavesThePropertyList) {
    setProperty(TRACKED_PORTS, "7410");
    before.emplace();
    recorder.fail("DDS_String_dup");
    expectStopWithOk();
    EXPECT_EQ(log.messages(), Messages({{.function = TIME_BASED,
                                         .name = "DDS_LOG_OUT_OF_RESOURCES_s",
                                         .text = std::string("out of resources: ") + TRACKED_PORTS},
                                        {.function = INITIALIZE,
                                         .name = "DDS_LOG_SET_FAILURE_s",
                                         .text = "cannot set time-based logging configuration"}}));
    EXPECT_EQ(before->change(), PROPERTY_LIST);
}

TEST_F(InitializeFailure, SerializationKindOfThreeStopsWithOkAndLeavesListAndTrackedPorts) {
    setProperty(TRACKED_PORTS, "7410");
    setProperty(SERIALIZATION_KIND, "3");
    before.emplace();
    expectStopWithOk();
    EXPECT_EQ(log.messages(),
              Messages({{.function = INITIALIZE,
                         .name = "NUV_LOG_INVALID_s",
                         .text = "invalid: dds.participant.directed_write_serialization_kind has "
                                 "the value 3 but can only be (0, 1, 2)"}}));
    EXPECT_EQ(before->change(), PROPERTY_LIST_AND_PORTS);
}

TEST_F(InitializeFailure, SerializationKindOfThreeStopsAlsoWhereTheMasksForbidTheMessage) {
    setProperty(SERIALIZATION_KIND, "3");
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_ERROR], ~0u);
    worker->_activityContext->category = 0x6;
    expectStopWithOk();
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(InitializeFailure, LargestSerializationKindIsReportedAsASignedNumber) {
    setProperty(SERIALIZATION_KIND, "4294967295");
    expectStopWithOk();
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].text,
              "invalid: dds.participant.directed_write_serialization_kind has the value -1 but can "
              "only be (0, 1, 2)");
}

// ---- stops with an error where nothing is undone

TEST_F(InitializeFailure, NegativeLocatorListSizeIsAnError) {
    setProperty(MAX_LOCATOR_LIST_SIZE, "-1");
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
    EXPECT_EQ(self.participant, nullptr);
    EXPECT_EQ(log.messages(),
              Messages({{.module = 0, // deliberately not that of the layer
                         .function = INITIALIZE,
                         .text = "DDS_DomainParticipantPresentation_initialize: the value of the "
                                 "property 'dds.domain_participant.max_announced_locator_list_"
                                 "size' is not valid"}}));
}

TEST_F(InitializeFailure, LocatorListSizeAboveSixteenIsAnError) {
    setProperty(MAX_LOCATOR_LIST_SIZE, "17");
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
    EXPECT_EQ(self.participant, nullptr);
    EXPECT_EQ(log.messages(),
              Messages({{.module = 0,
                         .function = INITIALIZE,
                         .text = "DDS_DomainParticipantPresentation_initialize: the value of the "
                                 "property 'dds.domain_participant.max_announced_locator_list_"
                                 "size' cannot exceed 16"}}));
}

TEST_F(InitializeFailure, LocatorListSizeOutOfRangeStaysInTheRecordAndUndoesNothing) {
    for (const int size : {-1, 17}) {
        setProperty(MAX_LOCATOR_LIST_SIZE, std::to_string(size).c_str());
        arguments.participantIndexSpecified = 1;
        HeapWatch unchanged;
        Recording calls(recorder);
        EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
        EXPECT_EQ(self._maxLocatorListSize, size);
        EXPECT_EQ(self._participantIndexSpecified, 1);
        EXPECT_EQ(self._configurator, configurator);
        EXPECT_EQ(calls.text(),
                  lines({"DDS_StatusMask_get_presentation_maskI(0)",
                         "NUVOsapiUtility_strcpy(self._threadParticipantId, 5, \"p0\")",
                         "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
                         "\"dds.domain_participant.max_announced_locator_list_size\")"}));
        EXPECT_EQ(unchanged.change(), Blocks());
    }
}

// ---- stops that are undone

TEST_F(InitializeFailure, ProductVersionFailureIsAnsweredByItsCodeAndUndone) {
    recorder.fail("DDS_ProductVersion_to_presentation_qos_policy",
                  {.result = DDS_RETCODE_BAD_PARAMETER});
    expectUndone(DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "DDS_LOG_SET_FAILURE_s",
                                         .text = "cannot set productVersion"}}));
}

TEST_F(InitializeFailure, ProductVersionFailureStopsBeforeTheTranslation) {
    recorder.fail("DDS_ProductVersion_to_presentation_qos_policy");
    Recording calls(recorder);
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
    ASSERT_GE(calls.calls().size(), 5u);
    const std::vector<std::string> last(calls.calls().end() - 5, calls.calls().end());
    EXPECT_EQ(lines(last),
              lines({
                  "DDS_ProductVersion_to_presentation_qos_policy({1.0.0.0}, "
                  "PRESParticipantProperty#1.productVersion)",
                  "DDS_TransportUnicastQosPolicy_finalize(self._cachedTransportUnicastPolicy)",
                  "DDS_DiscoveryQosPolicy_finalize(self.cachedDiscoveryPolicy)",
                  "DDS_TransportMulticastMappingQosPolicy_finalize("
                  "self._cachedTransportMulticastMappingPolicy)",
                  "NUVOsapiHeap_freeMemoryInternal(PRESParticipantProperty#1, 0, "
                  "\"NUVOsapiHeap_freeStructure\", 0x4B4F4C41, -1)",
              }));
}

TEST_F(InitializeFailure, FailedTranslationIsAnErrorAndUndone) {
    setProperty(DESTRUCTION_TIMEOUT, "61");
    before.emplace();
    expectUndone(DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(),
              Messages({{.function = TRANSLATE,
                         .name = "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                         .text = std::string("Domain Participant: inconsistent property ") +
                                 DESTRUCTION_TIMEOUT + ": expected integer within [0-60] range"},
                        PROPERTY_NOT_SET}));
    EXPECT_EQ(recorder.count("PRESParticipant_new"), 0);
}

TEST_F(InitializeFailure, FailedTranslationIsTheLastStep) {
    setProperty(DESTRUCTION_TIMEOUT, "61");
    setProperty(ALIGNMENT, "perhaps");
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_EQ(log.messages()[1], PROPERTY_NOT_SET);
}

TEST_F(InitializeFailure, NullParticipantCoreIsAnErrorAndUndone) {
    setProperty(TRACKED_PORTS, "7410");
    before.emplace();
    recorder.fail("PRESParticipant_new");
    expectUndone(DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({{.function = INITIALIZE,
                                         .name = "NUV_LOG_CREATION_FAILURE_s",
                                         .text = "cannot create participant core"}}));
}

TEST_F(InitializeFailure, NullParticipantCoreFreesTheBuffersFirstAndUndoesWithoutIt) {
    setProperty(TRACKED_PORTS, "7410");
    recorder.fail("PRESParticipant_new");
    Recording calls(recorder, except({"DDS_PropertyQosPolicyHelper_*"}));
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
    ASSERT_GE(calls.calls().size(), 6u);
    const std::vector<std::string> last(calls.calls().end() - 6, calls.calls().end());
    EXPECT_EQ(lines(last),
              lines({
                  "NUVOsapiHeap_freeMemoryInternal(PRESProperty#1, 0, "
                  "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)",
                  "NUVOsapiHeap_freeMemoryInternal(char#2, 0, \"NUVOsapiHeap_freeString\", "
                  "0x4B4F4C42, -1)",
                  "DDS_TransportUnicastQosPolicy_finalize(self._cachedTransportUnicastPolicy)",
                  "DDS_DiscoveryQosPolicy_finalize(self.cachedDiscoveryPolicy)",
                  "DDS_TransportMulticastMappingQosPolicy_finalize("
                  "self._cachedTransportMulticastMappingPolicy)",
                  "NUVOsapiHeap_freeMemoryInternal(PRESParticipantProperty#1, 0, "
                  "\"NUVOsapiHeap_freeStructure\", 0x4B4F4C41, -1)",
              }));
}

struct Copy {
    const char *function;
    const char *policy;
};

class CachingFailure : public InitializeFailure, public testing::WithParamInterface<Copy> {};

TEST_P(CachingFailure, DeletesTheNewParticipantAndClearsTheRecord) {
    recorder.fail(GetParam().function);
    expectUndone(DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("PRESParticipant_shutdown"), 1);
    EXPECT_EQ(recorder.count("PRESParticipant_delete"), 1);
    EXPECT_EQ(log.messages(), Messages({{.function = CACHE,
                                         .name = "DDS_LOG_COPY_FAILURE_s",
                                         .text = std::string("cannot copy ") + GetParam().policy},
                                        PROPERTY_NOT_SET}));
}

INSTANTIATE_TEST_SUITE_P(
    Of, CachingFailure,
    testing::Values(Copy{"DDS_TransportUnicastQosPolicy_copy", "default_unicast"},
                    Copy{"DDS_TransportMulticastMappingQosPolicy_copy", "multicast_mapping"},
                    Copy{"DDS_DiscoveryQosPolicy_copy", "discovery"}),
    [](const auto &copy) { return std::string(copy.param.policy); });

TEST_F(InitializeFailure, UndoneAfterCreationShutsDownBeforeItDeletes) {
    recorder.fail("DDS_DiscoveryQosPolicy_copy");
    Recording calls(recorder, only({"PRESParticipant_*"}));
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
    ASSERT_EQ(calls.calls().size(), 3u);
    EXPECT_EQ(calls.calls()[1],
              "PRESParticipant_shutdown(PRESParticipant#1, &failReason=0x20D1000, worker)");
    EXPECT_EQ(calls.calls()[2],
              "PRESParticipant_delete(PRESParticipant#1, &failReason=0x20D1000, worker)");
}

TEST_F(InitializeFailure, ShutdownThatFailsWhileUndoingIsLoggedAndTheRestIsUndone) {
    recorder.fail("DDS_DiscoveryQosPolicy_copy");
    recorder.fail("PRESParticipant_shutdown", {.failReason = PRES_RETCODE_TIMEOUT});
    expectUndone(DDS_RETCODE_ERROR);
    EXPECT_EQ(
        log.messages(),
        Messages(
            {{.function = CACHE, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy discovery"},
             PROPERTY_NOT_SET,
             {.function = "DDS_DomainParticipantPresentation_prefinalize",
              .name = "NUV_LOG_ANY_FAILURE_s",
              .text = "failure: shut down participant core"},
             {.function = INITIALIZE,
              .name = "DDS_LOG_FINALIZE_FAILURE_s",
              .text = "cannot finalize DP Presentation (in prefinalize routine)"}}));
}

TEST_F(InitializeFailure, UndoingSaysNothingThatTheMasksForbidWhateverTheWorkerDoes) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_ERROR], ~0u);
    worker->_activityContext->category = 0x6;
    recorder.fail("DDS_DiscoveryQosPolicy_copy");
    recorder.fail("PRESParticipant_shutdown");
    recorder.fail("PRESParticipant_delete");
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("PRESParticipant_delete"), 1);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(InitializeFailure, DeletionThatFailsWhileUndoingIsLoggedAndLeavesTheRecord) {
    recorder.fail("DDS_DiscoveryQosPolicy_copy");
    recorder.fail("PRESParticipant_delete", {.failReason = PRES_RETCODE_TIMEOUT});
    EXPECT_EQ(initialize(), DDS_RETCODE_ERROR) << "the first failure decides";
    EXPECT_NE(self.participant, nullptr);
    EXPECT_EQ(log.messages(), Messages({{.function = CACHE,
                                         .name = "DDS_LOG_COPY_FAILURE_s",
                                         .text = "cannot copy discovery"},
                                        PROPERTY_NOT_SET,
                                        {.function = "DDS_DomainParticipantPresentation_finalize",
                                         .name = "NUV_LOG_DESTRUCTION_FAILURE_s",
                                         .text = "cannot delete participant core"},
                                        {.function = INITIALIZE,
                                         .name = "DDS_LOG_FINALIZE_FAILURE_s",
                                         .text = "cannot finalize DP Presentation"}}));
}

} // namespace
