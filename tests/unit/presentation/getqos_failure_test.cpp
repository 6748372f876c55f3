// SPDX-License-Identifier: Apache-2.0
// The QoS of a running participant when something fails on the way.
#include <algorithm>
#include <cstring>
#include <set>

#include "fault_loop.h"
#include "gates.h"
#include "names.h"
#include "support/running_presentation.h"

namespace get_qos_failures {

namespace {

using namespace support;

const Message NO_PROPERTY = {.function = GET_QOS,
                             .name = "NUV_LOG_CREATION_FAILURE_s",
                             .text = "cannot create participant property"};
const Message NO_SETUP = {.function = GET_QOS,
                          .name = "NUV_LOG_GET_FAILURE_s",
                          .text = "cannot get DDS_DomainParticipantQos"};
const Message NOT_READ = {
    .function = GET_QOS, .name = "DDS_LOG_GET_FAILURE_s", .text = "cannot get QoS"};
const Message NO_UNICAST = {
    .function = GET_QOS, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy default_unicast"};
const Message NO_MAPPING = {
    .function = GET_QOS, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy multicast_mapping"};
const Message NO_DISCOVERY = {
    .function = GET_QOS, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy discovery"};
const Message NOT_FINALIZED = {.function = GET_QOS,
                               .name = "NUV_LOG_FAILED_TO_FINALIZE_TEMPLATE",
                               .body = "Presentation QoS",
                               .text = "failed to finalize: Presentation QoS"};

class GetQosFailure : public RunningPresentation {
protected:
    void SetUp() override {
        RunningPresentation::SetUp();
        fill();
        start();
        before.emplace();
    }

    void TearDown() override {
        DDS_DomainParticipantQos_finalize(&out);
        EXPECT_EQ(before->change(), Blocks()) << "nothing stays but what the QoS owns";
        RunningPresentation::TearDown();
    }

    std::optional<HeapWatch> before;
};

// ---- one failure each

TEST_F(GetQosFailure, OutOfMemoryForThePropertyIsAnErrorBeforeAnyoneIsAsked) {
    recorder.fail("NUVOsapiHeap_reallocateMemoryInternal");
    Recording calls(recorder);
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    ASSERT_EQ(calls.calls().size(), 1u) << calls.text();
    EXPECT_EQ(calls.calls()[0].substr(0, 38), "NUVOsapiHeap_reallocateMemoryInternal(");
    EXPECT_EQ(log.messages(), Messages({NO_PROPERTY}));
}

TEST_F(GetQosFailure, OutOfMemoryForThePropertyLeavesTheQosAlone) {
    recorder.fail("NUVOsapiHeap_reallocateMemoryInternal");
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    const DDS_DomainParticipantQos initial = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &initial));
}

TEST_F(GetQosFailure, ToSetBuffersUpIsLoggedOnly) {
    recorder.fail("DDS_DomainParticipantQos_setup_presentation_qosI");
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({NO_SETUP}));
}

TEST_F(GetQosFailure, ToSetBuffersUpIsLoggedOnlyWhateverItsCode) {
    recorder.fail("DDS_DomainParticipantQos_setup_presentation_qosI",
                  {.result = DDS_RETCODE_OUT_OF_RESOURCES});
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages({NO_SETUP}));
}

TEST_F(GetQosFailure, ToSetBuffersUpLeavesOutOnlyWhatNeedsThem) {
    recorder.fail("DDS_DomainParticipantQos_setup_presentation_qosI");
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(out.user_data.value._length, 0);
    EXPECT_EQ(out.property.value._length, 0);
    EXPECT_TRUE(DDS_PartitionQosPolicy_is_equal(&out.partition, &qos.partition));
    EXPECT_TRUE(DDS_WireProtocolQosPolicy_is_equal(&out.wire_protocol, &qos.wire_protocol));
    EXPECT_TRUE(DDS_DiscoveryQosPolicy_is_equal(&out.discovery, &qos.discovery));
}

TEST_F(GetQosFailure, ToSetBuffersUpSkipsNoCall) {
    recorder.fail("DDS_DomainParticipantQos_setup_presentation_qosI");
    Recording calls(recorder, except({"NUVOsapiHeap_*", "DDS_DomainParticipant_get*"}));
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "DDS_DomainParticipantQos_setup_presentation_qosI(out, PRESParticipantProperty#1, 100, "
            "5, 500)",
            "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#1)",
            "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
            "DDS_DomainParticipantQos_from_participant_property(out, PRESParticipantProperty#1)",
            "DDS_TransportUnicastQosPolicy_copy(out.default_unicast, "
            "self._cachedTransportUnicastPolicy)",
            "DDS_TransportMulticastMappingQosPolicy_copy(out.multicast_mapping, "
            "self._cachedTransportMulticastMappingPolicy)",
            "DDS_DiscoveryQosPolicy_copy(out.discovery, self.cachedDiscoveryPolicy)",
            "DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty#1)",
        }));
}

TEST_F(GetQosFailure, ToReadThePropertyIsAnErrorAfterWhichOnlyTheCleanUpIsDone) {
    recorder.fail("PRESParticipant_getProperty");
    Recording calls(recorder, except({"NUVOsapiHeap_re*", "DDS_DomainParticipant_get*"}));
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(
        calls.text(),
        lines({
            "DDS_DomainParticipantQos_setup_presentation_qosI(out, PRESParticipantProperty#1, 100, "
            "5, 500)",
            "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#1)",
            "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
            "DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty#1)",
            "NUVOsapiHeap_freeMemoryInternal(PRESParticipantProperty#1, 0, "
            "\"NUVOsapiHeap_freeStructure\", 0x4B4F4C41, -1)",
        }));
    EXPECT_EQ(log.messages(), Messages({NOT_READ}));
}

TEST_F(GetQosFailure, BuffersThatAreTooSmallAreAnError) {
    owner.qos.resource_limits.participant_user_data_max_length = 2; // the participant has 3
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(logged(), Messages({NOT_READ}));
}

TEST_F(GetQosFailure, ToCopyDefaultUnicastEndsTheCopying) {
    recorder.fail("DDS_TransportUnicastQosPolicy_copy");
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_UNICAST}));
    EXPECT_EQ(recorder.count("DDS_TransportMulticastMappingQosPolicy_copy"), 1) << "initialize's";
    EXPECT_EQ(recorder.count("DDS_DiscoveryQosPolicy_copy"), 1) << "initialize's";
    EXPECT_EQ(out.wire_protocol.rtps_well_known_ports.port_base, 7400);
    EXPECT_EQ(out.wire_protocol.rtps_reserved_port_mask, DDS_RTPS_RESERVED_PORT_MASK_DEFAULT);
    EXPECT_EQ(out.wire_protocol.participant_id, 3) << "of the property";
}

TEST_F(GetQosFailure, ToCopyMulticastMappingEndsTheCopying) {
    recorder.fail("DDS_TransportMulticastMappingQosPolicy_copy");
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_MAPPING}));
    EXPECT_TRUE(DDS_TransportUnicastQosPolicy_is_equal(&out.default_unicast, &qos.default_unicast));
    EXPECT_EQ(recorder.count("DDS_DiscoveryQosPolicy_copy"), 1) << "initialize's";
    EXPECT_EQ(out.wire_protocol.rtps_well_known_ports.port_base, 7400);
    EXPECT_EQ(out.wire_protocol.rtps_reserved_port_mask, DDS_RTPS_RESERVED_PORT_MASK_DEFAULT);
}

TEST_F(GetQosFailure, ToCopyDiscoveryEndsTheCopying) {
    recorder.fail("DDS_DiscoveryQosPolicy_copy");
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_DISCOVERY}));
    EXPECT_TRUE(DDS_TransportMulticastMappingQosPolicy_is_equal(&out.multicast_mapping,
                                                                &qos.multicast_mapping));
    EXPECT_EQ(out.wire_protocol.rtps_well_known_ports.port_base, 7400);
    EXPECT_EQ(out.wire_protocol.rtps_reserved_port_mask, DDS_RTPS_RESERVED_PORT_MASK_DEFAULT);
}

TEST_F(GetQosFailure, ToFinalizeIsAnErrorThoughEverythingIsThere) {
    failFinalize();
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NOT_FINALIZED}));
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos));
}

TEST_F(GetQosFailure, ToFinalizeIsAnErrorWithoutUserDataToo) {
    failFinalize();
    EXPECT_EQ(get(0), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NOT_FINALIZED}));
}

TEST_F(GetQosFailure, ToFinalizeStillFreesTheProperty) {
    failFinalize();
    Recording calls(recorder, only({"NUVOsapiHeap_freeMemoryInternal"}));
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({"NUVOsapiHeap_freeMemoryInternal(PRESParticipantProperty#1, 0, "
                                   "\"NUVOsapiHeap_freeStructure\", 0x4B4F4C41, -1)"}));
}

TEST_F(GetQosFailure, IsReportedOnceEach) {
    recorder.fail("DDS_DomainParticipantQos_setup_presentation_qosI");
    recorder.fail("PRESParticipant_getProperty");
    failFinalize();
    EXPECT_EQ(get(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_SETUP, NOT_READ, NOT_FINALIZED}));
}

// ---- who lets the messages through

/** A failure: what is made to fail, how it is answered and what it says. */
struct Failed {
    const char *name;
    const char *call; ///< null: the finalization
    DDS_ReturnCode_t result;
    const Message *message;
    bool isForWorkersToo;
};

void PrintTo(const Failed &failed, std::ostream *out) {
    *out << failed.name;
}

const Failed FAILURES[] = {
    {"Allocation", "NUVOsapiHeap_reallocateMemoryInternal", DDS_RETCODE_ERROR, &NO_PROPERTY, false},
    {"Setup", "DDS_DomainParticipantQos_setup_presentation_qosI", DDS_RETCODE_OK, &NO_SETUP, false},
    {"Reading", "PRESParticipant_getProperty", DDS_RETCODE_ERROR, &NOT_READ, false},
    {"DefaultUnicast", "DDS_TransportUnicastQosPolicy_copy", DDS_RETCODE_ERROR, &NO_UNICAST, false},
    {"MulticastMapping", "DDS_TransportMulticastMappingQosPolicy_copy", DDS_RETCODE_ERROR,
     &NO_MAPPING, false},
    {"Discovery", "DDS_DiscoveryQosPolicy_copy", DDS_RETCODE_ERROR, &NO_DISCOVERY, false},
    {"Finalization", nullptr, DDS_RETCODE_ERROR, &NOT_FINALIZED, true},
};

class GetQosGate : public GetQosFailure,
                   public testing::WithParamInterface<FailedAtGate<Failed>> {};

TEST_P(GetQosGate, LetsAFailureThroughAsDocumented) {
    const auto &[failed, gate] = GetParam();
    if (failed.call == nullptr) {
        failFinalize();
    } else {
        recorder.fail(failed.call);
    }
    gate.set(*worker);
    EXPECT_EQ(get(), failed.result);
    EXPECT_EQ(logged(), gate.pass({*failed.message}, failed.isForWorkersToo));
}

INSTANTIATE_TEST_SUITE_P(Of, GetQosGate,
                         testing::Combine(testing::ValuesIn(FAILURES), testing::ValuesIn(GATES)),
                         nameOfGate<Failed>);

class GetQosFinalizeGate : public GetQosFailure {
protected:
    void SetUp() override {
        GetQosFailure::SetUp();
        wantForWorkerOnly(*worker, NUV_LOG_LEVEL_ERROR);
        failFinalize();
    }
};

TEST_F(GetQosFinalizeGate, IsClosedWithoutAWorker) {
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_qos(&self, &owner, &out, 1, nullptr),
              DDS_RETCODE_ERROR);
    EXPECT_EQ(logged(), Messages());
}

TEST_F(GetQosFinalizeGate, IsClosedForAWorkerWithoutAnActivity) {
    REDAWorker idle = *worker;
    idle._activityContext = nullptr;
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_qos(&self, &owner, &out, 1, &idle),
              DDS_RETCODE_ERROR);
    EXPECT_EQ(logged(), Messages());
}

// ---- everything fails in turn

class GetQosFaults : public GetQosFailure {
protected:
    struct Outcome {
        DDS_ReturnCode_t result;
        Messages messages;
    };

    /** One try, into an empty QoS. */
    Outcome tryOnce() {
        log.clear();
        DDS_DomainParticipantQos_finalize(&out);
        out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
        const DDS_DomainParticipantPresentation &record = self;
        unsigned char recordBefore[sizeof record];
        std::memcpy(recordBefore, &record, sizeof record);
        const DDS_ReturnCode_t result = get();
        failed = recorder.failed();
        recorder.clearFaults();
        setupBuffers->free(); // where the finalization did not
        EXPECT_EQ(std::memcmp(recordBefore, &record, sizeof record), 0) << failed;
        isWhole = DDS_DomainParticipantQos_is_equal(&out, &qos) != DDS_BOOLEAN_FALSE;
        DDS_DomainParticipantQos_finalize(&out);
        EXPECT_EQ(before->change(), Blocks()) << failed;
        EXPECT_EQ(heap.refusals(), 0u) << failed;
        return {result, logged()};
    }

    std::string failed;
    bool isWhole = false; ///< whether the QoS was all there after the try
};

TEST_F(GetQosFaults, OfEachCallAreAnsweredAsDocumented) {
    int nth = 0;
    for (const Failed &step : FAILURES) {
        recorder.failCall(++nth);
        const Outcome outcome = tryOnce();
        EXPECT_EQ(outcome.result, step.result) << failed;
        EXPECT_EQ(outcome.messages, Messages({*step.message})) << failed;
        const std::string call = step.call == nullptr
                                     ? "DDS_DomainParticipantQos_finalize_presentation_qosI"
                                     : step.call;
        EXPECT_EQ(failed.substr(0, call.size() + 1), call + '(');
    }
    recorder.failCall(++nth);
    const Outcome outcome = tryOnce();
    EXPECT_EQ(failed, "") << "a call that no step names";
    EXPECT_EQ(outcome.result, DDS_RETCODE_OK);
    EXPECT_TRUE(isWhole);
}

TEST_F(GetQosFaults, OfEachAllocationAreAnsweredAsDocumented) {
    const Messages documented[] = {{NO_PROPERTY}, {NO_SETUP},     {NO_UNICAST},
                                   {NO_MAPPING},  {NO_DISCOVERY}, {}};
    std::set<const Messages *> seen;
    failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        arm();
        const Outcome outcome = tryOnce();
        const Messages *found =
            std::find(std::begin(documented), std::end(documented), outcome.messages);
        EXPECT_NE(found, std::end(documented))
            << failed << testing::PrintToString(outcome.messages);
        // Neither a failure to set up nor one of the conversion ends the operation.
        const bool isLoggedOnly = found == &documented[1] || found == &documented[5];
        EXPECT_EQ(outcome.result, isLoggedOnly ? DDS_RETCODE_OK : DDS_RETCODE_ERROR) << failed;
        seen.insert(found);
        return failed;
    });
    EXPECT_EQ(seen.size(), std::size(documented));
    EXPECT_TRUE(isWhole);
}

} // namespace

} // namespace get_qos_failures
