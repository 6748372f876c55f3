// SPDX-License-Identifier: Apache-2.0
// The way down: shutdown precondition, wake-up, prefinalize, finalize.
#include <cstring>

#include "pres/pres_participant.h"
#include "support/presentation_fixture.h"

namespace {

using namespace support;

/** Each works on a participant that initialize has made. */
class Shutdown : public PresentationFixture {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        ASSERT_EQ(initialize(), DDS_RETCODE_OK);
        nameParticipant();
        log.clear();
    }
};

// ---- shutdown precondition

TEST_F(Shutdown, IsAllowedWithoutTopics) {
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_checkShutdownPrecondition(&self, worker),
              DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_hasTopic(participant, worker)"}));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Shutdown, IsRefusedWhileThereIsATopic) {
    int failReason = PRES_RETCODE_OK;
    PRESTopic *topic =
        PRESParticipant_createTopic(self.participant, &failReason, "Square", "Shape", worker);
    ASSERT_NE(topic, nullptr);

    EXPECT_EQ(DDS_DomainParticipantPresentation_checkShutdownPrecondition(&self, worker),
              DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(log.messages(),
              Messages({{.function = "DDS_DomainParticipantPresentation_checkShutdownPrecondition",
                         .name = "NUV_LOG_ANY_FAILURE_s",
                         .text = "failure: participant has outstanding topics"}}));
    EXPECT_TRUE(PRESParticipant_deleteTopic(self.participant, &failReason, topic, worker));
}

TEST_F(Shutdown, IsRefusedWhileThereIsATopicEvenWhenNothingIsLogged) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_ERROR], ~0u);
    worker->_activityContext->category = 0x6; // does not let it through either
    recorder.fail("PRESParticipant_hasTopic", {.result = 1});
    EXPECT_EQ(DDS_DomainParticipantPresentation_checkShutdownPrecondition(&self, worker),
              DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(log.messages(), Messages());
}

// ---- wake-up

TEST_F(Shutdown, WakesTheParticipantUp) {
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wakeup(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({"PRESParticipant_preShutdownWakeup(participant, &failReason=0x20D1000, worker)"}));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Shutdown, AnswersAFailedWakeupByItsReason) {
    recorder.fail("PRESParticipant_preShutdownWakeup", {.failReason = PRES_RETCODE_TIMEOUT});
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wakeup(&self, worker), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(
        calls.text(),
        lines({"PRESParticipant_preShutdownWakeup(participant, &failReason=0x20D1000, worker)",
               "DDS_ReturnCode_from_presentation_return_codeI(0x20D100A)"}));
    EXPECT_EQ(log.messages(), Messages({{.function = "DDS_DomainParticipantPresentation_wakeup",
                                         .name = "NUV_LOG_ANY_FAILURE_s",
                                         .text = "failure: wake up participant core for "
                                                 "shutdown"}}));
}

// ---- prefinalize

TEST_F(Shutdown, ShutsTheParticipantDown) {
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({"PRESParticipant_shutdown(participant, &failReason=0x20D1000, worker)"}));
    EXPECT_EQ(log.messages(), Messages());
    EXPECT_NE(self.participant, nullptr) << "it still exists";
}

TEST_F(Shutdown, AnswersAFailedShutdownByItsReason) {
    recorder.fail("PRESParticipant_shutdown", {.failReason = PRES_RETCODE_NOT_ENABLED});
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(&self, worker),
              DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(calls.text(),
              lines({"PRESParticipant_shutdown(participant, &failReason=0x20D1000, worker)",
                     "DDS_ReturnCode_from_presentation_return_codeI(0x20D1006)"}));
    EXPECT_EQ(log.messages(),
              Messages({{.function = "DDS_DomainParticipantPresentation_prefinalize",
                         .name = "NUV_LOG_ANY_FAILURE_s",
                         .text = "failure: shut down participant core"}}));
}

TEST_F(Shutdown, LeavesTheRecordAloneWhenAStepFails) {
    DDS_DomainParticipantPresentation before;
    std::memcpy(&before, &self, sizeof self);
    recorder.fail("PRESParticipant_hasTopic", {.result = 1});
    recorder.fail("PRESParticipant_preShutdownWakeup");
    recorder.fail("PRESParticipant_shutdown");
    EXPECT_EQ(DDS_DomainParticipantPresentation_checkShutdownPrecondition(&self, worker),
              DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wakeup(&self, worker), DDS_RETCODE_ERROR);
    EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(&self, worker), DDS_RETCODE_ERROR);
    EXPECT_EQ(std::memcmp(&before, &self, sizeof self), 0);
}

// ---- finalize

TEST_F(Shutdown, DeletesTheParticipantAndThenFinalizesThePolicies) {
    ASSERT_EQ(DDS_DomainParticipantPresentation_prefinalize(&self, worker), DDS_RETCODE_OK);
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({
                  "PRESParticipant_delete(participant, &failReason=0x20D1000, worker)",
                  "DDS_TransportUnicastQosPolicy_finalize(self._cachedTransportUnicastPolicy)",
                  "DDS_DiscoveryQosPolicy_finalize(self.cachedDiscoveryPolicy)",
                  "DDS_TransportMulticastMappingQosPolicy_finalize("
                  "self._cachedTransportMulticastMappingPolicy)",
              }));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Shutdown, ForgetsTheParticipantBeforeItFinalizesThePoliciesAndTheRestAfterwards) {
    DDS_DomainParticipantPresentation before;
    int finalized = 0;
    self._domainId = 42;
    std::memset(&self._entityFinalizeListener, 0xA5, sizeof self._entityFinalizeListener);
    std::memcpy(&before, &self, sizeof self);
    before.participant = nullptr;
    // Each policy is left as it is until it has been looked at.
    const auto look = [&](auto *policy, auto finalizePolicy) {
        ++finalized;
        EXPECT_EQ(std::memcmp(&before, &self, sizeof self), 0) << finalized;
        auto kept = *policy;
        finalizePolicy(&kept);
    };
    recorder.replace("DDS_TransportUnicastQosPolicy_finalize",
                     [&](DDS_TransportUnicastQosPolicy *policy) {
                         look(policy, DDS_TransportUnicastQosPolicy_finalize);
                     });
    recorder.replace("DDS_DiscoveryQosPolicy_finalize", [&](DDS_DiscoveryQosPolicy *policy) {
        look(policy, DDS_DiscoveryQosPolicy_finalize);
    });
    recorder.replace("DDS_TransportMulticastMappingQosPolicy_finalize",
                     [&](DDS_TransportMulticastMappingQosPolicy *policy) {
                         look(policy, DDS_TransportMulticastMappingQosPolicy_finalize);
                     });
    finalize();
    EXPECT_EQ(finalized, 3);
    for (const char *function :
         {"DDS_TransportUnicastQosPolicy_finalize", "DDS_DiscoveryQosPolicy_finalize",
          "DDS_TransportMulticastMappingQosPolicy_finalize"}) {
        recorder.restore(function);
    }
}

TEST_F(Shutdown, LeavesIndexZeroInTheEntryportReferences) {
    ASSERT_EQ(self._reserveEntryportMetaMulticastWR._index, 0xFFFFFFFFu);
    ASSERT_EQ(self._reserveEntryportUserMulticastWR._index, 0xFFFFFFFFu);
    finalize();
    EXPECT_EQ(self._reserveEntryportMetaMulticastWR._index, 0u);
    EXPECT_EQ(self._reserveEntryportUserMulticastWR._index, 0u);
}

TEST_F(Shutdown, ReleasesNoEntryport) {
    Recording calls(recorder, only({"PRESParticipant_getFacade", "COMMENDFacade*"}));
    finalize();
    EXPECT_EQ(calls.text(), "");
}

TEST_F(Shutdown, AnswersAFailedDeletionByItsReason) {
    recorder.fail("PRESParticipant_delete", {.failReason = PRES_RETCODE_PRECONDITION_NOT_MET});
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker),
              DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(calls.text(),
              lines({"PRESParticipant_delete(participant, &failReason=0x20D1000, worker)",
                     "DDS_ReturnCode_from_presentation_return_codeI(0x20D1004)"}));
    EXPECT_EQ(log.messages(), Messages({{.function = "DDS_DomainParticipantPresentation_finalize",
                                         .name = "NUV_LOG_DESTRUCTION_FAILURE_s",
                                         .text = "cannot delete participant core"}}));
}

TEST_F(Shutdown, LeavesParticipantAndCachedPoliciesWhenTheDeletionFails) {
    DDS_DomainParticipantPresentation before;
    std::memcpy(&before, &self, sizeof self);
    HeapWatch unchanged;
    recorder.fail("PRESParticipant_delete");
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_ERROR);
    EXPECT_EQ(std::memcmp(&before, &self, sizeof self), 0);
    EXPECT_EQ(unchanged.change(), Blocks());
    EXPECT_TRUE(DDS_DiscoveryQosPolicy_is_equal(&self.cachedDiscoveryPolicy, &qos.discovery));
    EXPECT_GT(self.cachedDiscoveryPolicy.initial_peers._length, 0);
}

TEST_F(Shutdown, MayBeTriedAgainAfterAFailedDeletion) {
    recorder.fail("PRESParticipant_delete");
    ASSERT_NE(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_OK);
    finalize();
    EXPECT_TRUE(isZero(self));
}

TEST_F(Shutdown, MayBeFinalizedTwice) {
    finalize();
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({
                  "DDS_TransportUnicastQosPolicy_finalize(self._cachedTransportUnicastPolicy)",
                  "DDS_DiscoveryQosPolicy_finalize(self.cachedDiscoveryPolicy)",
                  "DDS_TransportMulticastMappingQosPolicy_finalize("
                  "self._cachedTransportMulticastMappingPolicy)",
              }));
    EXPECT_TRUE(isZero(self));
}

// ---- what the three steps make of the presentation layer's answer

/** A step and the call that it stands for. */
struct Step {
    const char *name;
    const char *call;
    DDS_ReturnCode_t (*run)(DDS_DomainParticipantPresentation *, REDAWorker *);
};

class ShutdownStep : public Shutdown, public testing::WithParamInterface<Step> {
protected:
    /** Has the call answer this without a reason, and nothing else happen. */
    DDS_ReturnCode_t runWithAnswer(int answer) {
        record.participant = reinterpret_cast<PRESParticipant *>(&place);
        recorder.replace(GetParam().call,
                         [answer](PRESParticipant *, int *, REDAWorker *) { return answer; });
        const DDS_ReturnCode_t result = GetParam().run(&record, worker);
        recorder.restore(GetParam().call);
        return result;
    }

    char place = 0;
    DDS_DomainParticipantPresentation record{};
};

TEST_P(ShutdownStep, TakesAnyNonZeroAnswerForSuccess) {
    for (const int answer : {2, -1, 256}) {
        EXPECT_EQ(runWithAnswer(answer), DDS_RETCODE_OK) << answer;
    }
    EXPECT_EQ(log.messages(), Messages());
}

TEST_P(ShutdownStep, TakesAReasonThatNobodySetForSuccess) {
    EXPECT_EQ(runWithAnswer(0), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_NE(record.participant, nullptr) << "it still exists";
}

INSTANTIATE_TEST_SUITE_P(Of, ShutdownStep,
                         testing::Values(Step{"Wakeup", "PRESParticipant_preShutdownWakeup",
                                              DDS_DomainParticipantPresentation_wakeup},
                                         Step{"Prefinalize", "PRESParticipant_shutdown",
                                              DDS_DomainParticipantPresentation_prefinalize},
                                         Step{"Finalize", "PRESParticipant_delete",
                                              DDS_DomainParticipantPresentation_finalize}),
                         [](const auto &step) { return std::string(step.param.name); });

TEST_F(Shutdown, IsRefusedForAnyNonZeroAnswerAboutTopics) {
    for (const int answer : {2, -1, 256}) {
        recorder.fail("PRESParticipant_hasTopic", {.result = answer});
        EXPECT_EQ(DDS_DomainParticipantPresentation_checkShutdownPrecondition(&self, worker),
                  DDS_RETCODE_PRECONDITION_NOT_MET)
            << answer;
    }
}

// ---- without a record or a participant

class NothingToShutDown : public PresentationFixture {};

TEST_F(NothingToShutDown, IsFineForANullRecord) {
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_checkShutdownPrecondition(nullptr, worker),
              DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wakeup(nullptr, worker), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(nullptr, worker), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), "");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(NothingToShutDown, IsFineForANullParticipant) {
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_checkShutdownPrecondition(&self, worker),
              DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_wakeup(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), "");
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(NothingToShutDown, ClearsEveryByteOfTheRecord) {
    std::memset(&self, 0xA5, sizeof self);
    self.participant = nullptr;
    DDS_TransportUnicastQosPolicy_initialize(&self._cachedTransportUnicastPolicy);
    DDS_DiscoveryQosPolicy_initialize(&self.cachedDiscoveryPolicy);
    DDS_TransportMulticastMappingQosPolicy_initialize(&self._cachedTransportMulticastMappingPolicy);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_TRUE(isZero(self));
}

TEST_F(NothingToShutDown, ClearsARecordWithoutAParticipant) {
    self._domainId = 5;
    self._reserveEntryportMetaMulticastWR._index = 0xFFFFFFFF;
    ASSERT_NE(DDS_DiscoveryQosPolicy_copy(&self.cachedDiscoveryPolicy, &qos.discovery), nullptr);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_TRUE(isZero(self));
    EXPECT_EQ(recorder.count("PRESParticipant_delete"), 0);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(NothingToShutDown, IsAPreconditionFailureForFinalizeOfANullRecord) {
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(nullptr, worker),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(calls.text(), lines({"NUVLog_onAssertBreakpoint()"}));
    EXPECT_EQ(log.messages(), Messages({{.level = NUV_LOG_LEVEL_FATAL,
                                         .function = "DDS_DomainParticipantPresentation_finalize",
                                         .name = "NUV_LOG_PRECONDITION_FAILURE_s",
                                         .text = "precondition failed: \"self == ((void *)0)\""}}));
}

} // namespace
