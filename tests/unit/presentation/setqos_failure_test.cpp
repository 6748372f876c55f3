// SPDX-License-Identifier: Apache-2.0
// A new QoS for a running participant when something fails on the way.
#include <algorithm>
#include <cstring>
#include <set>

#include "fault_loop.h"
#include "gates.h"
#include "names.h"
#include "property_calls.h"
#include "support/describe.h"
#include "support/running_presentation.h"

namespace set_qos_failures {

namespace {

using namespace support;

const Message IMMUTABLE = {.function = SET_QOS,
                           .name = "DDS_LOG_IMMUTABLE_POLICY_s",
                           .text = "immutable policy: default_unicast"};
const Message IDENTITY = {.function = SET_QOS,
                          .name = "DDS_LOG_IMMUTABLE_POLICY_s",
                          .text = "immutable policy: wire_protocol"};
const Message NO_PROPERTY = {.function = SET_QOS,
                             .name = "NUV_LOG_CREATION_FAILURE_s",
                             .text = "cannot create participant property"};
const Message NOT_READ = {.function = TRANSLATE,
                          .name = "NUV_LOG_GET_FAILURE_s",
                          .text = "cannot get PRESParticipant property"};
const Message LONG_ID = {.function = TRANSLATE,
                         .name = "NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd",
                         .text = "insufficient space: room for 6, needed 2"};
const Message BAD_TIMEOUT = {.function = TRANSLATE,
                             .name = "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                             .text = std::string("Domain Participant: inconsistent property ") +
                                     DESTRUCTION_TIMEOUT +
                                     ": expected integer within [0-60] range"};
const Message NOT_COPIED = {
    .function = SET_QOS, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy QoS"};
const Message NOT_SET = {
    .function = SET_QOS, .name = "DDS_LOG_SET_FAILURE_s", .text = "cannot set participant QoS"};
const Message NO_UNICAST = {
    .function = CACHE, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy default_unicast"};
const Message NO_MAPPING = {
    .function = CACHE, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy multicast_mapping"};
const Message NO_DISCOVERY = {
    .function = CACHE, .name = "DDS_LOG_COPY_FAILURE_s", .text = "cannot copy discovery"};

const std::string FREE_LIST = "NUVOsapiHeap_freeMemoryInternal(PRESProperty#1, 0, "
                              "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)";

/** A participant with policies of each kind, and a QoS that changes all that may change. */
class SetQosFailure : public RunningPresentation {
protected:
    void SetUp() override {
        RunningPresentation::SetUp();
        addUnicastSetting("udpv4", 7777);
        setProperty("color", "green");
        setProperty(DESTRUCTION_TIMEOUT, "5");
        start();
        change();
        std::memcpy(&recordBefore, &self, sizeof self);
        before.emplace();
    }

    virtual void change() {
        setUserData({1, 2, 3});
        addMapping("239.255.1.1", "square*");
        ASSERT_TRUE(DDS_StringSeq_append(&qos.discovery.initial_peers, "192.0.2.1"));
        qos.wire_protocol.rtps_well_known_ports.port_base = 7500;
        qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_ALL;
    }

    bool isRecordAsBefore() const {
        return std::memcmp(&recordBefore, &self, sizeof self) == 0;
    }

    /** The octets of user data that the participant has now. */
    DDS_Long userDataLength() {
        EXPECT_EQ(get(), DDS_RETCODE_OK);
        const DDS_Long length = out.user_data.value._length;
        DDS_DomainParticipantQos_finalize(&out);
        return length;
    }

    DDS_DomainParticipantPresentation recordBefore;
    std::optional<HeapWatch> before;
};

// ---- before anything is changed

TEST_F(SetQosFailure, OutOfMemoryForThePropertyIsAnErrorAndTheEnd) {
    recorder.fail("NUVOsapiHeap_reallocateMemoryInternal");
    Recording calls(recorder);
    EXPECT_EQ(set(), DDS_RETCODE_ERROR);
    ASSERT_EQ(calls.calls().size(), 3u) << calls.text();
    EXPECT_EQ(calls.calls()[1], "PRESParticipant_getGuid(participant, &guid)");
    EXPECT_EQ(calls.calls()[2].substr(0, 38), "NUVOsapiHeap_reallocateMemoryInternal(");
    EXPECT_EQ(log.messages(), Messages({NO_PROPERTY}));
    EXPECT_TRUE(isRecordAsBefore());
}

TEST_F(SetQosFailure, ToReadThePropertyFreesThePropertyOnly) {
    recorder.fail("PRESParticipant_getProperty");
    Recording calls(recorder, only({"NUVOsapiHeap_free*", "PRES*", "DDS_DomainParticipantQos*"}));
    EXPECT_EQ(set(), DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(),
              lines({"PRESParticipant_getGuid(participant, &guid)",
                     "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
                     FREE}));
    EXPECT_EQ(log.messages(), Messages({NOT_READ, NOT_COPIED}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(before->change(), Blocks());
}

class SetQosThreadId : public SetQosFailure, public testing::WithParamInterface<int> {};

TEST_P(SetQosThreadId, ThatDoesNotFitEndsTheTranslationAndFreesTheListOnce) {
    recorder.fail("NUVOsapiUtility_strcpy", {.nth = GetParam()});
    const int copies = recorder.count("NUVOsapiUtility_strcpy");
    {
        Recording calls(recorder, only({"NUVOsapiHeap_free*", "PRESParticipant_setProperty"}));
        EXPECT_EQ(set(), DDS_RETCODE_ERROR);
        EXPECT_EQ(calls.text(), lines({FREE_LIST, FREE}));
    }
    EXPECT_EQ(recorder.count("NUVOsapiUtility_strcpy"), copies + GetParam());
    EXPECT_EQ(log.messages(), Messages({LONG_ID, NOT_COPIED}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(before->change(), Blocks());
}

INSTANTIATE_TEST_SUITE_P(OfCopy, SetQosThreadId, testing::Values(1, 2, 3),
                         testing::PrintToStringParamName());

TEST_F(SetQosFailure, InconsistentPropertyIsAnErrorAndNothingIsSet) {
    setProperty(DESTRUCTION_TIMEOUT, "61");
    {
        Recording calls(recorder, only({"NUVOsapiHeap_free*", "PRESParticipant_setProperty"}));
        EXPECT_EQ(set(), DDS_RETCODE_ERROR);
        EXPECT_EQ(calls.text(), lines({FREE_LIST, FREE}));
    }
    EXPECT_EQ(log.messages(), Messages({BAD_TIMEOUT, NOT_COPIED}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(userDataLength(), 0);
}

// ---- the presentation layer refuses

struct Refusal {
    const char *name;
    int failReason;
    DDS_ReturnCode_t result;
};

void PrintTo(const Refusal &refusal, std::ostream *out) {
    *out << refusal.name;
}

class SetQosRefused : public SetQosFailure, public testing::WithParamInterface<Refusal> {};

TEST_P(SetQosRefused, AnswersWithTheMappedCodeAndKeepsNothing) {
    recorder.fail("PRESParticipant_setProperty", {.failReason = GetParam().failReason});
    Recording calls(recorder,
                    only({"NUVOsapiHeap_free*", "DDS_ReturnCode*", "DDS_DiscoveryQosPolicy_copy",
                          "DDS_TransportUnicastQosPolicy_copy"}));
    EXPECT_EQ(set(), GetParam().result);
    EXPECT_EQ(calls.text(), lines({"DDS_ReturnCode_from_presentation_return_codeI(" +
                                       hex(static_cast<unsigned>(GetParam().failReason)) + ')',
                                   FREE_LIST, FREE}));
    EXPECT_EQ(log.messages(), Messages({NOT_SET}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(before->change(), Blocks());
}

INSTANTIATE_TEST_SUITE_P(
    With, SetQosRefused,
    testing::Values(Refusal{"Error", 0x020D1001, DDS_RETCODE_ERROR},
                    Refusal{"Unsupported", 0x020D1002, DDS_RETCODE_UNSUPPORTED},
                    Refusal{"BadParameter", 0x020D1003, DDS_RETCODE_BAD_PARAMETER},
                    Refusal{"PreconditionNotMet", 0x020D1004, DDS_RETCODE_PRECONDITION_NOT_MET},
                    Refusal{"OutOfResources", 0x020D1005, DDS_RETCODE_OUT_OF_RESOURCES},
                    Refusal{"ImmutablePolicy", 0x020D1007, DDS_RETCODE_IMMUTABLE_POLICY},
                    Refusal{"InconsistentPolicy", 0x020D1008, DDS_RETCODE_INCONSISTENT_POLICY},
                    Refusal{"AlreadyDeleted", 0x020D1009, DDS_RETCODE_ALREADY_DELETED},
                    Refusal{"AnUnknownReason", 0x7777, DDS_RETCODE_ERROR}),
    [](const testing::TestParamInfo<Refusal> &refusal) { return refusal.param.name; });

TEST_F(SetQosFailure, AReasonThatTheRefusalDoesNotGiveIsAnError) {
    recorder.replace("PRESParticipant_setProperty",
                     [](PRESParticipant *, int *, const PRESParticipantProperty *,
                        REDAWorker *) -> int { return 0; });
    EXPECT_EQ(set(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NOT_SET}));
}

TEST_F(SetQosFailure, AChangeOfTheLimitsIsRefusedByThePresentationLayer) {
    qos.resource_limits.participant_user_data_max_length = 1000;
    EXPECT_EQ(set(), DDS_RETCODE_IMMUTABLE_POLICY);
    EXPECT_EQ(logged(), Messages({NOT_SET}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(userDataLength(), 0);
}

TEST_F(SetQosFailure, PartsBeyondTheLimitsAreRefusedByThePresentationLayer) {
    setUserData(std::vector<DDS_Octet>(257, 1));
    EXPECT_EQ(set(), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(logged(), Messages({NOT_SET}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(userDataLength(), 0);
}

// ---- the kept policies cannot be renewed

TEST_F(SetQosFailure, ToKeepDefaultUnicastLeavesThePropertyChangedAndAllCachesAsTheyWere) {
    recorder.fail("DDS_TransportUnicastQosPolicy_copy");
    EXPECT_EQ(set(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_UNICAST, NOT_COPIED}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(before->change()["struct PRESProperty 0x4B4F4C43"], 0);
    EXPECT_EQ(userDataLength(), 3);
}

TEST_F(SetQosFailure, ToKeepTheMappingLeavesItAndWhatComesAfterAsTheyWere) {
    recorder.fail("DDS_TransportMulticastMappingQosPolicy_copy");
    EXPECT_EQ(set(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_MAPPING, NOT_COPIED}));
    EXPECT_TRUE(isRecordAsBefore());
    EXPECT_EQ(userDataLength(), 3);
}

TEST_F(SetQosFailure, ToKeepTheDiscoveryPolicyLeavesTheNewMappingAndTheOldPorts) {
    recorder.fail("DDS_DiscoveryQosPolicy_copy");
    EXPECT_EQ(set(), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.messages(), Messages({NO_DISCOVERY, NOT_COPIED}));
    EXPECT_TRUE(DDS_TransportMulticastMappingQosPolicy_is_equal(
        &self._cachedTransportMulticastMappingPolicy, &qos.multicast_mapping));
    EXPECT_FALSE(DDS_DiscoveryQosPolicy_is_equal(&self.cachedDiscoveryPolicy, &qos.discovery));
    EXPECT_EQ(self.cachedWellKnownPorts.port_base, portBase());
    EXPECT_EQ(self._cachedReservedPortMask, DDS_RTPS_RESERVED_PORT_MASK_DEFAULT);
    EXPECT_EQ(userDataLength(), 3);
}

// ---- who lets the messages through

/** A failure: what is made to fail, how it is answered and what it says. */
struct Failed {
    const char *name;
    const char *call;
    DDS_ReturnCode_t result;
    Messages messages;
};

void PrintTo(const Failed &failed, std::ostream *out) {
    *out << failed.name;
}

const Failed FAILURES[] = {
    {"DefaultUnicast",
     "DDS_TransportUnicastQosPolicy_is_equalI",
     DDS_RETCODE_IMMUTABLE_POLICY,
     {IMMUTABLE}},
    {"Allocation", "NUVOsapiHeap_reallocateMemoryInternal", DDS_RETCODE_ERROR, {NO_PROPERTY}},
    {"Reading", "PRESParticipant_getProperty", DDS_RETCODE_ERROR, {NOT_READ, NOT_COPIED}},
    {"ThreadId", "NUVOsapiUtility_strcpy", DDS_RETCODE_ERROR, {LONG_ID, NOT_COPIED}},
    {"Timeout", "REDAString_strToLong", DDS_RETCODE_ERROR, {BAD_TIMEOUT, NOT_COPIED}},
    {"Setting", "PRESParticipant_setProperty", DDS_RETCODE_ERROR, {NOT_SET}},
    {"KeepingUnicast",
     "DDS_TransportUnicastQosPolicy_copy",
     DDS_RETCODE_ERROR,
     {NO_UNICAST, NOT_COPIED}},
    {"KeepingMapping",
     "DDS_TransportMulticastMappingQosPolicy_copy",
     DDS_RETCODE_ERROR,
     {NO_MAPPING, NOT_COPIED}},
    {"KeepingDiscovery",
     "DDS_DiscoveryQosPolicy_copy",
     DDS_RETCODE_ERROR,
     {NO_DISCOVERY, NOT_COPIED}},
};

class SetQosGate : public SetQosFailure,
                   public testing::WithParamInterface<FailedAtGate<Failed>> {};

TEST_P(SetQosGate, LetsAFailureThroughAsDocumented) {
    const auto &[failed, gate] = GetParam();
    recorder.fail(failed.call);
    gate.set(*worker);
    EXPECT_EQ(set(), failed.result);
    EXPECT_EQ(logged(), gate.pass(failed.messages));
}

INSTANTIATE_TEST_SUITE_P(Of, SetQosGate,
                         testing::Combine(testing::ValuesIn(FAILURES), testing::ValuesIn(GATES)),
                         nameOfGate<Failed>);

class SetQosIdentityGate : public SetQosFailure, public testing::WithParamInterface<Gate> {
protected:
    void change() override {
        qos.wire_protocol.rtps_app_id = guid.prefix.appId + 1;
    }
};

TEST_P(SetQosIdentityGate, LetsAnIdentityThatChangesThroughAsDocumented) {
    GetParam().set(*worker);
    EXPECT_EQ(set(), DDS_RETCODE_IMMUTABLE_POLICY);
    EXPECT_EQ(logged(), GetParam().pass({IDENTITY}));
}

INSTANTIATE_TEST_SUITE_P(Of, SetQosIdentityGate, testing::ValuesIn(GATES),
                         [](const auto &gate) { return std::string(gate.param.name); });

// ---- everything fails in turn

class SetQosFaults : public SetQosFailure {
protected:
    /** A new participant, and a QoS that changes it. */
    void prepare() {
        recorder.clearFaults();
        finalize();
        DDS_DomainParticipantQos_finalize(&out);
        DDS_DomainParticipantQos_finalize(&qos);
        ASSERT_EQ(DDS_DomainParticipantQos_initialize(&qos), DDS_RETCODE_OK);
        qos.wire_protocol.rtps_well_known_ports.port_base = portBase();
        addUnicastSetting("udpv4", 7777);
        setProperty("color", "green");
        setProperty(DESTRUCTION_TIMEOUT, "5");
        start();
        change();
        std::memcpy(&recordBefore, &self, sizeof self);
        before.emplace();
    }

    DDS_ReturnCode_t tryOnce() {
        const DDS_ReturnCode_t result = set();
        failed = recorder.failed();
        recorder.clearFaults();
        EXPECT_EQ(before->change()["struct PRESParticipantProperty 0x4B4F4C41"], 0) << failed;
        EXPECT_EQ(heap.refusals(), 0u) << failed;
        return result;
    }

    /** Whatever has failed: a later change goes through, and nothing of the failure remains. */
    void expectRepairable() {
        EXPECT_EQ(set(), DDS_RETCODE_OK) << "after " << failed;
        EXPECT_EQ(get(), DDS_RETCODE_OK) << "after " << failed;
        EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos)) << "after " << failed;
    }

    std::string failed;
};

TEST_F(SetQosFaults, OfEachCallAreAnsweredAsDocumented) {
    const struct {
        const char *call;
        Messages messages;
        bool isApplied;
    } steps[] = {
        {"NUVOsapiHeap_reallocateMemoryInternal(", {NO_PROPERTY}, false},
        {"PRESParticipant_getProperty(", {NOT_READ, NOT_COPIED}, false},
        {"NUVOsapiUtility_strcpy(PRESParticipantProperty#1.parent", {LONG_ID, NOT_COPIED}, false},
        {"NUVOsapiUtility_strcpy(PRESParticipantProperty#1.activeEventGenerator",
         {LONG_ID, NOT_COPIED},
         false},
        {"NUVOsapiUtility_strcpy(PRESParticipantProperty#1.jobDispatcher",
         {LONG_ID, NOT_COPIED},
         false},
        {"REDAString_strToLong(", {BAD_TIMEOUT, NOT_COPIED}, false},
        {"PRESParticipant_setProperty(", {NOT_SET}, false},
        {"DDS_TransportUnicastQosPolicy_copy(", {NO_UNICAST, NOT_COPIED}, true},
        {"DDS_TransportMulticastMappingQosPolicy_copy(", {NO_MAPPING, NOT_COPIED}, true},
        {"DDS_DiscoveryQosPolicy_copy(", {NO_DISCOVERY, NOT_COPIED}, true},
    };

    int nth = 0;
    for (const auto &step : steps) {
        prepare();
        {
            const Recording numbersFromOne(recorder);
            recorder.failCall(++nth);
            EXPECT_EQ(tryOnce(), DDS_RETCODE_ERROR) << failed;
        }
        EXPECT_EQ(logged(), step.messages) << failed;
        EXPECT_EQ(failed.substr(0, std::strlen(step.call)), step.call);
        EXPECT_EQ(userDataLength(), step.isApplied ? 3 : 0) << failed;
        EXPECT_TRUE(step.isApplied || isRecordAsBefore()) << failed;
        EXPECT_TRUE(step.isApplied || before->change().empty()) << failed;
        expectRepairable();
    }
    prepare();
    recorder.failCall(++nth);
    EXPECT_EQ(tryOnce(), DDS_RETCODE_OK);
    EXPECT_EQ(failed, "") << "a call that no step names";
}

TEST_F(SetQosFaults, OfEachAllocationAreAnsweredAsDocumented) {
    const struct {
        Messages messages;
        DDS_ReturnCode_t result;
    } documented[] = {
        {{NO_PROPERTY}, DDS_RETCODE_ERROR},
        {{NOT_SET}, DDS_RETCODE_OUT_OF_RESOURCES},
        {{NO_MAPPING, NOT_COPIED}, DDS_RETCODE_ERROR},
        {{NO_DISCOVERY, NOT_COPIED}, DDS_RETCODE_ERROR},
        // Without memory for its property list the QoS is set without the list.
        {{}, DDS_RETCODE_OK},
    };

    std::set<const void *> seen;
    failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        prepare();
        arm();
        const DDS_ReturnCode_t result = tryOnce();
        const auto *const found =
            std::find_if(std::begin(documented), std::end(documented),
                         [this](const auto &one) { return one.messages == logged(); });
        if (found == std::end(documented)) {
            ADD_FAILURE() << failed << testing::PrintToString(logged());
            return failed;
        }
        EXPECT_EQ(result, found->result) << failed;
        EXPECT_TRUE(result == DDS_RETCODE_OK || found == &documented[2] ||
                    found == &documented[3] || isRecordAsBefore())
            << failed;
        seen.insert(found);
        const std::string last = failed;
        expectRepairable();
        return last;
    });
    EXPECT_EQ(seen.size(), std::size(documented));
}

} // namespace

} // namespace set_qos_failures
