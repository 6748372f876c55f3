// SPDX-License-Identifier: Apache-2.0
// The translation of the public QoS into the property of a presentation participant.
#include <cstddef>
#include <cstring>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "names.h"
#include "osapi/osapi_heap.h"
#include "support/presentation_fixture.h"

namespace {

using namespace support;

const Message OUT_OF_RANGE = {
    .function = TRANSLATE,
    .name = "DDS_LOG_INCONSISTENT_PROPERTY_sss",
    .text = "Domain Participant: inconsistent property "
            "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout: expected "
            "integer within [0-60] range"};
const Message ID_NOT_COPIED = {.function = TRANSLATE,
                               .name = "NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd",
                               .text = "insufficient space: room for 6, needed 5"};

/** A record without a participant: the translation is that of initialize. */
class Translate : public PresentationFixture {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        self._domainId = 42;
        std::strcpy(self._threadParticipantId, "abcde");
        recorder.name(&dst, "dst");
        nameProperty(recorder, dst, "dst");
    }

    void TearDown() override {
        NUVOsapiHeap_freeArray(dst.parameter.propertyList.data._buffer);
        PresentationFixture::TearDown();
    }

    DDS_ReturnCode_t translate() {
        return DDS_DomainParticipantPresentation_translate_qos(&self, &dst, &qos, &guid, worker);
    }

    COMMENDJobDispatcherProperty &jobDispatcher() {
        return dst.facadeProperty.parent.jobDispatcher;
    }

    PRESParticipantProperty dst = PARTICIPANT_PROPERTY_DEFAULT;
};

TEST_F(Translate, CallsTheLowerLayersInThisOrder) {
    setProperty(DESTRUCTION_TIMEOUT, "7");
    Recording calls(recorder);
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "DDS_DomainParticipantQos_to_participant_property(qos, dst)",
            "NUVOsapiUtility_strcpy(dst.parent.threadParticipantId, 5, \"abcde\")",
            "NUVOsapiUtility_strcpy(dst.activeEventGenerator.threadParticipantId, 5, \"abcde\")",
            "NUVOsapiUtility_strcpy(dst.jobDispatcher.threadParticipantId, 5, \"abcde\")",
            "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
            "\"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout\")",
            "REDAString_strToLong(\"7\", &out=0)",
        }));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Translate, TakesWhatTheQosConversionPutsIn) {
    qos.wire_protocol.participant_id = 3;
    qos.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(dst.parameter.participantIndex, 3);
    EXPECT_EQ(dst.parameter.autoenableCreatedEntities, 0);
}

TEST_F(Translate, StampsTheIdentityIn) {
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(dst.facadeProperty.parent.guidPrefix.hostId, 0x00000A01u);
    EXPECT_EQ(dst.facadeProperty.parent.guidPrefix.appId, 0x0000B002u);
    EXPECT_EQ(dst.facadeProperty.parent.guidPrefix.instanceId, 0x00000C03u);
    EXPECT_EQ(dst.parameter.domainId, 42);
}

TEST_F(Translate, CopiesAThreadIdOfFiveCharactersToAllThreePlaces) {
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_STREQ(dst.facadeProperty.parent.threadParticipantId, "abcde");
    EXPECT_STREQ(dst.facadeProperty.activeEventGenerator.threadParticipantId, "abcde");
    EXPECT_STREQ(jobDispatcher().threadParticipantId, "abcde");
}

TEST_F(Translate, GathersUpTo128BuffersWhateverTheQosSays) {
    recorder.replace("DDS_DomainParticipantQos_to_participant_property",
                     [](const DDS_DomainParticipantQos *, PRESParticipantProperty *property) {
                         property->facadeProperty.parent.messageGenerator.gatherSendBufferCountMax =
                             5;
                         property->parameter.domainId = 5;
                         property->facadeProperty.parent.guidPrefix = {5, 5, 5};
                         return DDS_RETCODE_OK;
                     });
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(dst.facadeProperty.parent.messageGenerator.gatherSendBufferCountMax, 128);
    EXPECT_EQ(dst.parameter.domainId, 42);
    EXPECT_EQ(dst.facadeProperty.parent.guidPrefix.hostId, 0x00000A01u);
}

TEST_F(Translate, LeavesThePropertyListToTheCaller) {
    setProperty("color", "green");
    HeapWatch before;
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    ASSERT_EQ(dst.parameter.propertyList.data._length, 1u);
    EXPECT_STREQ(dst.parameter.propertyList.data._buffer[0].name, "color");
    EXPECT_EQ(before.change(), (Blocks{{"struct PRESProperty 0x4B4F4C43", 1}}));
}

TEST_F(Translate, DoesNotLookAtTheResultOfTheConversion) {
    recorder.replace("DDS_DomainParticipantQos_to_participant_property",
                     [](const DDS_DomainParticipantQos *, PRESParticipantProperty *) {
                         return DDS_RETCODE_OUT_OF_RESOURCES;
                     });
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages());
}

// ---- the destruction timeout

TEST_F(Translate, KeepsTheDestructionTimeoutWhenThereIsNoProperty) {
    jobDispatcher().executionThreadDestructionTimeout = 33;
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(jobDispatcher().executionThreadDestructionTimeout, 33);
}

TEST_F(Translate, KeepsTheDestructionTimeoutForAPropertyWithoutAValue) {
    setProperty(DESTRUCTION_TIMEOUT, nullptr);
    jobDispatcher().executionThreadDestructionTimeout = 33;
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(jobDispatcher().executionThreadDestructionTimeout, 33);
    EXPECT_EQ(recorder.count("REDAString_strToLong"), 0);
}

struct Seconds {
    const char *name;
    const char *text;
    int value;
};

class AcceptedTimeout : public Translate, public testing::WithParamInterface<Seconds> {};

TEST_P(AcceptedTimeout, IsSet) {
    setProperty(DESTRUCTION_TIMEOUT, GetParam().text);
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(jobDispatcher().executionThreadDestructionTimeout, GetParam().value);
    EXPECT_EQ(log.messages(), Messages());
}

INSTANTIATE_TEST_SUITE_P(Of, AcceptedTimeout,
                         testing::Values(Seconds{"Zero", "0", 0}, Seconds{"One", "1", 1},
                                         Seconds{"Sixty", "60", 60}),
                         [](const auto &seconds) { return std::string(seconds.param.name); });

class RefusedTimeout : public Translate, public testing::WithParamInterface<Seconds> {};

TEST_P(RefusedTimeout, FailsAndFreesThePropertyList) {
    setProperty(DESTRUCTION_TIMEOUT, GetParam().text);
    jobDispatcher().executionThreadDestructionTimeout = 33;
    HeapWatch before;
    Recording calls(recorder, only({"NUVOsapiHeap_free*"}));
    EXPECT_EQ(translate(), DDS_RETCODE_ERROR);
    EXPECT_EQ(jobDispatcher().executionThreadDestructionTimeout, 33);
    EXPECT_EQ(log.messages(), Messages({OUT_OF_RANGE}));
    EXPECT_EQ(calls.text(), lines({"NUVOsapiHeap_freeMemoryInternal(PRESProperty#1, 0, "
                                   "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)"}));
    EXPECT_EQ(dst.parameter.propertyList.data._buffer, nullptr);
    EXPECT_EQ(before.change(), Blocks());
}

INSTANTIATE_TEST_SUITE_P(Of, RefusedTimeout,
                         testing::Values(Seconds{"MinusOne", "-1", 0}, Seconds{"SixtyOne", "61", 0},
                                         Seconds{"NoNumber", "abc", 0}, Seconds{"Nothing", "", 0},
                                         Seconds{"NumberAndMore", "6 s", 0}),
                         [](const auto &seconds) { return std::string(seconds.param.name); });

// ---- the thread id does not fit

TEST_F(Translate, FailsAtTheFirstCopyOfAnUnterminatedThreadId) {
    // What follows the array in the record does not end it either.
    constexpr size_t BEGIN = offsetof(DDS_DomainParticipantPresentation, _threadParticipantId);
    constexpr size_t END =
        offsetof(DDS_DomainParticipantPresentation, _participantIndexSpecified) + sizeof(NUV_INT32);
    std::memset(reinterpret_cast<char *>(&self) + BEGIN, 'x', END - BEGIN);
    EXPECT_EQ(translate(), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("NUVOsapiUtility_strcpy"), 1);
    EXPECT_EQ(log.messages(), Messages({{.function = TRANSLATE,
                                         .name = "NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd",
                                         .text = "insufficient space: room for 6, needed 6"}}));
}

class RefusedThreadId : public Translate, public testing::WithParamInterface<int> {};

TEST_P(RefusedThreadId, FailsAndTriesNoFurtherCopy) {
    setProperty("color", "green");
    HeapWatch before;
    recorder.fail("NUVOsapiUtility_strcpy", {.nth = GetParam()});
    EXPECT_EQ(translate(), DDS_RETCODE_ERROR);
    EXPECT_EQ(recorder.count("NUVOsapiUtility_strcpy"), GetParam());
    EXPECT_EQ(recorder.count("DDS_PropertyQosPolicyHelper_lookup_property"), 0);
    EXPECT_EQ(log.messages(), Messages({ID_NOT_COPIED}));
    EXPECT_EQ(dst.parameter.propertyList.data._buffer, nullptr);
    EXPECT_EQ(before.change(), Blocks());
}

INSTANTIATE_TEST_SUITE_P(AtCopy, RefusedThreadId, testing::Values(1, 2, 3));

TEST_F(Translate, FreesNothingOnFailureWhenThereIsNoPropertyList) {
    recorder.fail("NUVOsapiUtility_strcpy");
    Recording calls(recorder, only({"NUVOsapiHeap_*"}));
    EXPECT_EQ(translate(), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), "");
}

// ---- a running participant

class TranslateRunning : public Translate {
protected:
    void SetUp() override {
        Translate::SetUp();
        setProperty("dds.participant.logging.time_based_logging.authentication.timeout", "5");
        setProperty(DESTRUCTION_TIMEOUT, "7");
        arguments.domainId = 42;
        ASSERT_EQ(initialize(), DDS_RETCODE_OK);
        nameParticipant();
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_remove_property(&qos.property, DESTRUCTION_TIMEOUT),
                  DDS_RETCODE_OK);
        log.clear();
    }
};

TEST_F(TranslateRunning, ReadsTheRunningPropertyFirst) {
    Recording calls(recorder);
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    ASSERT_GE(calls.calls().size(), 2u);
    EXPECT_EQ(calls.calls()[0], "PRESParticipant_getProperty(participant, dst, worker)");
    EXPECT_EQ(calls.calls()[1], "DDS_DomainParticipantQos_to_participant_property(qos, dst)");
}

TEST_F(TranslateRunning, KeepsWhatTheQosDoesNotCover) {
    EXPECT_EQ(translate(), DDS_RETCODE_OK);
    EXPECT_EQ(dst.authenticationTimeThreshold.sec, 5);
    EXPECT_EQ(jobDispatcher().executionThreadDestructionTimeout, 7);
}

TEST_F(TranslateRunning, FailsWhenTheRunningPropertyCannotBeRead) {
    recorder.fail("PRESParticipant_getProperty");
    Recording calls(recorder);
    EXPECT_EQ(translate(), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({"PRESParticipant_getProperty(participant, dst, worker)"}));
    EXPECT_EQ(log.messages(), Messages({{.function = TRANSLATE,
                                         .name = "NUV_LOG_GET_FAILURE_s",
                                         .text = "cannot get PRESParticipant property"}}));
}

TEST_F(TranslateRunning, FreesThePropertyListThatCameInWhenTheRunningPropertyCannotBeRead) {
    NUVOsapiHeap_allocateArray(&dst.parameter.propertyList.data._buffer, 2, struct PRESProperty);
    recorder.fail("PRESParticipant_getProperty");
    EXPECT_EQ(translate(), DDS_RETCODE_ERROR);
    EXPECT_EQ(dst.parameter.propertyList.data._buffer, nullptr);
}

} // namespace
