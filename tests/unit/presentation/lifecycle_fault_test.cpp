// SPDX-License-Identifier: Apache-2.0
// Everything that can fail is made to fail in turn, until the operation goes through.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <set>
#include <span>

#include "fault_loop.h"
#include "pres/pres_participant.h"
#include "support/presentation_fixture.h"
#include "support/scripted_presentation.h"

namespace lifecycle_faults {

namespace {

using namespace support;

/** What an operation leaves and says. */
struct Outcome {
    DDS_ReturnCode_t result;
    bool isDone; ///< whether the participant is there, or enabled
    std::vector<std::string> messages;
    Blocks left; ///< deliberately not freed
};

bool operator==(const Outcome &left, const Outcome &right) {
    return left.result == right.result && left.isDone == right.isDone &&
           left.messages == right.messages && left.left == right.left;
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    out << outcome.result << (outcome.isDone ? " done" : " not done");
    return out << ' ' << testing::PrintToString(outcome.messages) << ' '
               << testing::PrintToString(outcome.left);
}

/** Who lets messages through. */
enum class Wanted { BY_THE_MASKS, BY_NOBODY, FOR_THE_WORKER };

/** Each fault is answered alike whoever lets messages through. */
class Faults : public PresentationFixture, public testing::WithParamInterface<Wanted> {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        keepBuffers();
        if (GetParam() != Wanted::BY_THE_MASKS) {
            NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
        }
        if (GetParam() == Wanted::FOR_THE_WORKER) {
            for (const NUV_UINT32 level :
                 {NUV_LOG_LEVEL_ERROR, NUV_LOG_LEVEL_WARNING, NUV_LOG_LEVEL_LOCAL}) {
                NUVLog_storeMask(&NUVLog_g_categoryMask[level], ~0u);
            }
            worker->_activityContext->category = 0x6;
        }
    }

    /** What is documented, with only those messages that are let through. */
    static Outcome documented(Outcome outcome) {
        std::erase_if(outcome.messages, [](const std::string &message) {
            const auto begins = [&](const char *start) { return message.rfind(start, 0) == 0; };
            const bool isForWorkersToo = begins("failed to convert: ") ||
                                         begins("failed to get: ") || begins("initialize: ");
            return GetParam() == Wanted::BY_NOBODY ||
                   (GetParam() == Wanted::FOR_THE_WORKER && !isForWorkersToo);
        });
        return outcome;
    }

    /** Takes an outcome for one of those that are documented. */
    void note(const Outcome &outcome, std::span<const Outcome> outcomes) {
        bool isDocumented = false;
        for (std::size_t i = 0; i < outcomes.size(); ++i) {
            if (documented(outcomes[i]) == outcome) { // several are alike without their messages
                isDocumented = true;
                noted.insert(i);
            }
        }
        EXPECT_TRUE(isDocumented) << recorder.failed() << ": " << outcome;
    }

    std::set<std::size_t> noted; ///< by their places among those that are documented

    std::vector<std::string> texts() {
        std::vector<std::string> all;
        for (const Message &message : logged()) {
            all.push_back(message.text);
        }
        return all;
    }

    Outcome outcome(DDS_ReturnCode_t result, bool isDone, const HeapWatch &before) {
        return {result, isDone, texts(), before.change()};
    }
};

const auto EVERYBODY =
    testing::Values(Wanted::BY_THE_MASKS, Wanted::BY_NOBODY, Wanted::FOR_THE_WORKER);

std::string nameOf(const testing::TestParamInfo<Wanted> &wanted) {
    return wanted.param == Wanted::BY_THE_MASKS ? "byTheMasks"
           : wanted.param == Wanted::BY_NOBODY  ? "byNobody"
                                                : "forTheWorker";
}

// ---- initialize

const std::string LONG_ID = "insufficient space: room for 6, needed 5";
const std::string NO_TRACKED_PORTS =
    "out of resources: "
    "dds.participant.logging.time_based_logging.process_received_message.tracked_ports";
const std::string NO_TIME_BASED = "cannot set time-based logging configuration";
const Blocks LIST = {{"struct PRESProperty 0x4B4F4C43", 1}};

const Outcome ID_REFUSED = {DDS_RETCODE_OK, false, {LONG_ID}, {}};
const Outcome NO_PROPERTY = {DDS_RETCODE_OK, false, {"cannot create participant property"}, {}};
const Outcome NO_VERSION = {DDS_RETCODE_ERROR, false, {"cannot set productVersion"}, {}};
const Outcome ID_NOT_COPIED = {DDS_RETCODE_ERROR, false, {LONG_ID, "cannot set QoS"}, {}};
const Outcome NO_TIMEOUT = {
    DDS_RETCODE_ERROR,
    false,
    {"Domain Participant: inconsistent property "
     "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout: expected integer "
     "within [0-60] range",
     "cannot set QoS"},
    {}};
const Outcome NO_ALIGNMENT = {DDS_RETCODE_OK,
                              false,
                              {"invalid: dds.participant.use_45d_compatible_alignment_enforcement"},
                              LIST};
const Outcome NO_MISMATCH = {DDS_RETCODE_OK,
                             false,
                             {"failed to convert: expected boolean value for property "
                              "dds.participant.discovery_config.log_discovery_mismatch, got 1"},
                             LIST};
const Outcome NO_PORTS = {DDS_RETCODE_OK, false, {NO_TRACKED_PORTS, NO_TIME_BASED}, LIST};
const Outcome NO_CORE = {DDS_RETCODE_ERROR, false, {"cannot create participant core"}, {}};
const Outcome NO_UNICAST_COPY = {
    DDS_RETCODE_ERROR, false, {"cannot copy default_unicast", "cannot set QoS"}, {}};
const Outcome NO_MAPPING_COPY = {
    DDS_RETCODE_ERROR, false, {"cannot copy multicast_mapping", "cannot set QoS"}, {}};
const Outcome NO_DISCOVERY_COPY = {
    DDS_RETCODE_ERROR, false, {"cannot copy discovery", "cannot set QoS"}, {}};

class InitializeFaults : public Faults {
protected:
    void SetUp() override {
        Faults::SetUp();
        arguments.threadParticipantId = "12345";
        setProperty("dds.domain_participant.asynchronous_publisher_thread_destruction_timeout",
                    "5");
        setProperty("dds.participant.use_45d_compatible_alignment_enforcement", "1");
        setProperty("dds.participant.discovery_config.log_discovery_mismatch", "1");
        setProperty(
            "dds.participant.logging.time_based_logging.process_received_message.tracked_ports",
            "7410");
        ASSERT_TRUE(
            DDS_TransportUnicastSettingsSeq_ensure_length(&qos.default_unicast.value, 1, 1));
        ASSERT_TRUE(
            DDS_StringSeq_append(&qos.default_unicast.value._buffer[0].transports, "udpv4"));
        ASSERT_TRUE(
            DDS_TransportMulticastMappingSeq_ensure_length(&qos.multicast_mapping.value, 1, 1));
        ASSERT_TRUE(
            DDS_StringSeq_append(&qos.multicast_mapping.value._buffer[0].addresses, "239.255.1.1"));
    }

    /** One try; what it leaves behind is then cleaned up. */
    Outcome tryOnce() {
        log.clear();
        std::memset(&self, 0, sizeof self);
        const HeapWatch before;
        const DDS_ReturnCode_t result = initialize();
        failed = recorder.failed();
        recorder.clearFaults();
        Outcome seen = {result, self.participant != nullptr, texts(), {}};
        if (seen.isDone) {
            EXPECT_EQ(result, DDS_RETCODE_OK);
            finalize();
        } else if (result != DDS_RETCODE_OK) {
            EXPECT_TRUE(isZero(self));
        }
        seen.left = before.change();
        EXPECT_EQ(recorder.count("COMMENDFacade.addEntryport"), 0);
        EXPECT_EQ(heap.refusals(), 0u);
        freeBuffers();
        EXPECT_EQ(before.change(), Blocks());
        return seen;
    }

    std::string failed; ///< the call or allocation that the last try made to fail
};

TEST_P(InitializeFaults, OfEachCallAreAnsweredAsDocumented) {
    const struct {
        std::string call;
        Outcome outcome;
    } steps[] = {
        {"NUVOsapiUtility_strcpy(self._threadParticipantId", ID_REFUSED},
        {"NUVOsapiHeap_reallocateMemoryInternal(", NO_PROPERTY},
        {"DDS_ProductVersion_to_presentation_qos_policy(", NO_VERSION},
        {"NUVOsapiUtility_strcpy(PRESParticipantProperty#1.parent", ID_NOT_COPIED},
        {"NUVOsapiUtility_strcpy(PRESParticipantProperty#1.activeEventGenerator", ID_NOT_COPIED},
        {"NUVOsapiUtility_strcpy(PRESParticipantProperty#1.jobDispatcher", ID_NOT_COPIED},
        {"REDAString_strToLong(\"5\"", NO_TIMEOUT},
        {"REDAString_strToBoolean(\"1\", PRESParticipantProperty#1.enforce", NO_ALIGNMENT},
        {"REDAString_strToBoolean(\"1\", PRESParticipantProperty#1.log", NO_MISMATCH},
        {"DDS_String_dup(\"7410\")", NO_PORTS},
        {"PRESParticipant_new(", NO_CORE},
        {"DDS_TransportUnicastQosPolicy_copy(", NO_UNICAST_COPY},
        {"DDS_TransportMulticastMappingQosPolicy_copy(", NO_MAPPING_COPY},
        {"DDS_DiscoveryQosPolicy_copy(", NO_DISCOVERY_COPY},
    };

    int nth = 0;
    for (const auto &step : steps) {
        const Recording numbersFromOne(recorder);
        recorder.failCall(++nth);
        EXPECT_EQ(tryOnce(), documented(step.outcome)) << failed;
        EXPECT_EQ(failed.substr(0, step.call.size()), step.call);
    }
    recorder.failCall(++nth);
    EXPECT_EQ(tryOnce(), (Outcome{DDS_RETCODE_OK, true, {}, {}}));
    EXPECT_EQ(failed, "") << "a call that no step names";
}

TEST_P(InitializeFaults, OfEachAllocationAreAnsweredAsDocumented) {
    const Outcome outcomes[] = {
        NO_PROPERTY,
        NO_PORTS,
        NO_CORE,
        NO_UNICAST_COPY,
        NO_MAPPING_COPY,
        NO_DISCOVERY_COPY,
        // Without memory for its property list a participant is made without the list.
        {DDS_RETCODE_OK, true, {}, {}},
    };

    failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        arm();
        note(tryOnce(), outcomes);
        return failed;
    });
    EXPECT_EQ(noted.size(), std::size(outcomes));
}

INSTANTIATE_TEST_SUITE_P(WithMessagesWanted, InitializeFaults, EVERYBODY, nameOf);

// ---- finalize

class FinalizeFaults : public Faults {
protected:
    void SetUp() override {
        Faults::SetUp();
        ASSERT_EQ(initialize(), DDS_RETCODE_OK);
        log.clear();
    }
};

TEST_P(FinalizeFaults, OfEachCallLeaveTheRecordAlone) {
    DDS_DomainParticipantPresentation record;
    std::memcpy(&record, &self, sizeof self);
    const HeapWatch before;

    recorder.failCall(1);
    const DDS_ReturnCode_t result = DDS_DomainParticipantPresentation_finalize(&self, worker);
    EXPECT_EQ(recorder.failed().substr(0, 23), "PRESParticipant_delete(");
    EXPECT_EQ(
        outcome(result, self.participant == nullptr, before),
        documented(Outcome{DDS_RETCODE_ERROR, false, {"cannot delete participant core"}, {}}));
    EXPECT_EQ(std::memcmp(&record, &self, sizeof self), 0);

    recorder.failCall(2);
    EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(&self, worker), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.failed(), "");
    EXPECT_TRUE(isZero(self));
}

TEST_P(FinalizeFaults, OfTheWakeupLeaveTheRecordAlone) {
    DDS_DomainParticipantPresentation record;
    std::memcpy(&record, &self, sizeof self);
    const HeapWatch before;

    recorder.failCall(1);
    const DDS_ReturnCode_t result = DDS_DomainParticipantPresentation_wakeup(&self, worker);
    EXPECT_EQ(recorder.failed().substr(0, 34), "PRESParticipant_preShutdownWakeup(");
    EXPECT_EQ(
        outcome(result, false, before),
        documented(Outcome{
            DDS_RETCODE_ERROR, false, {"failure: wake up participant core for shutdown"}, {}}));
    EXPECT_EQ(std::memcmp(&record, &self, sizeof self), 0);
}

TEST_P(FinalizeFaults, OfAllocationsAreImpossible) {
    recorder.failAllocation(1);
    finalize();
    EXPECT_EQ(recorder.failed(), "");
    EXPECT_TRUE(isZero(self));
}

INSTANTIATE_TEST_SUITE_P(WithMessagesWanted, FinalizeFaults, EVERYBODY, nameOf);

// ---- enable

const Outcome NOT_LISTED = {DDS_RETCODE_ERROR, false, {"cannot get the transport information"}, {}};
const Outcome NOT_ALLOCATED = {
    DDS_RETCODE_OK, false, {"out of memory for a structure of 8 bytes"}, {}};
const Outcome NOT_ENABLED = {DDS_RETCODE_ERROR, false, {"cannot create enable"}, {}};
const std::string PEERS = "initialize: Participant with initial peers: 239.255.0.1,127.0.0.1.\n";
const std::string META_UNICAST =
    "initialize: Participant with metatraffic unicast locators udpv4://192.0.2.10:7410.\n";
const std::string META_MULTICAST =
    "initialize: Participant with metatraffic multicast locators udpv4://239.255.0.1:7400.\n";
const std::string DEFAULT_UNICAST =
    "initialize: Participant with default unicast locators udpv4://192.0.2.10:7411.\n";

class EnableFaults : public Faults {
protected:
    /** A new participant with a locator of each kind. */
    void prepare() {
        recorder.clearFaults();
        finalize();
        ASSERT_EQ(initialize(), DDS_RETCODE_OK);
        self._cachedDefaultUnicastLocator = locatorsOf({"udpv4://192.0.2.10:7411"});
        self._cachedMetatrafficUnicastLocator = locatorsOf({"udpv4://192.0.2.10:7410"});
        self._cachedMetatrafficMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:7400"});
        worker->_activityContext->category = 0x6;
        log.clear();
    }

    Outcome tryOnce() {
        DDS_DomainParticipantPresentation record;
        std::memcpy(&record, &self, sizeof self);
        const HeapWatch before;
        const DDS_ReturnCode_t result =
            DDS_DomainParticipantPresentation_enable(&self, &qos, nullptr, worker);
        Outcome seen = {result, PRESParticipant_isEnabled(self.participant, worker) != 0, texts(),
                        before.change()};
        if (seen.isDone) { // the participant's own copy of the transports
            EXPECT_EQ(seen.left, (Blocks{{"struct NUVNetioTransportInfo 0x4B4F4C43", 1}}));
            seen.left.clear();
        }
        EXPECT_EQ(worker->_activityContext->category, 0x6u);
        EXPECT_EQ(std::memcmp(&record, &self, sizeof self), 0);
        EXPECT_EQ(heap.refusals(), 0u);
        return seen;
    }
};

TEST_P(EnableFaults, OfEachCallAreAnsweredAsDocumented) {
    const auto enabledWith = [](std::vector<std::string> messages) {
        return Outcome{DDS_RETCODE_OK, true, std::move(messages), {}};
    };
    const struct {
        std::string call;
        Outcome outcome;
    } steps[] = {
        {"NUVOsapiHeap_reallocateMemoryInternal(", NOT_ALLOCATED},
        {"NUVNetioConfigurator_getTransportInfo(", NOT_LISTED},
        {"PRESParticipant_enable(", NOT_ENABLED},
        {"NUVOsapiUtility_strncat(char#1, 1023, \"239.255.0.1\"", enabledWith({})},
        {"NUVOsapiUtility_strncat(char#1, 1023, \",\"", enabledWith({})},
        {"NUVOsapiUtility_strncat(char#1, 1023, \"127.0.0.1\"", enabledWith({})},
        {"NUVOsapiUtility_strncat(char#1, 1023, \",\"", enabledWith({})},
        {"PRESLocatorQosPolicy_toString(self._cachedMetatrafficUnicastLocator",
         enabledWith({PEERS, "failed to get: metatraffic unicast locators string"})},
        {"PRESLocatorQosPolicy_toString(self._cachedMetatrafficMulticastLocator",
         enabledWith(
             {PEERS, META_UNICAST, "failed to get: metatraffic multicast locators string"})},
        {"PRESLocatorQosPolicy_toString(self._cachedDefaultUnicastLocator",
         enabledWith({PEERS, META_UNICAST, META_MULTICAST,
                      "failed to get: default unicast locators string"})},
    };

    int nth = 0;
    for (const auto &step : steps) {
        prepare();
        const Recording numbersFromOne(recorder);
        recorder.failCall(++nth);
        EXPECT_EQ(tryOnce(), documented(step.outcome)) << recorder.failed();
        EXPECT_EQ(recorder.failed().substr(0, step.call.size()), step.call);
    }
    prepare();
    recorder.failCall(++nth);
    EXPECT_EQ(tryOnce(),
              documented(enabledWith({PEERS, META_UNICAST, META_MULTICAST, DEFAULT_UNICAST})));
    EXPECT_EQ(recorder.failed(), "") << "a call that no step names";
}

TEST_P(EnableFaults, OfEachAllocationAreAnsweredAsDocumented) {
    const Outcome outcomes[] = {
        NOT_ALLOCATED,
        NOT_ENABLED,
        {DDS_RETCODE_OK, true, {PEERS, META_UNICAST, META_MULTICAST, DEFAULT_UNICAST}, {}},
    };

    failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
        prepare();
        arm();
        note(tryOnce(), outcomes);
        return recorder.failed();
    });
    EXPECT_EQ(noted.size(), std::size(outcomes));
}

INSTANTIATE_TEST_SUITE_P(WithMessagesWanted, EnableFaults, EVERYBODY, nameOf);

} // namespace

} // namespace lifecycle_faults
