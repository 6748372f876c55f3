// SPDX-License-Identifier: Apache-2.0
// The lines that describe peers, locators and their changes.
#include <algorithm>
#include <set>

#include "dds_c/dds_c_string.h"
#include "osapi/osapi_utility.h"
#include "stack.h"
#include "support/scripted_presentation.h"

using namespace support;

namespace {

constexpr const char *LINES = "DDS_DomainParticipantPresentation_log_peers_and_locators";
constexpr const char *CHANGE = "DDS_DomainParticipantPresentation_log_locator_change";

Message line(const std::string &body) {
    return {.level = NUV_LOG_LEVEL_LOCAL,
            .function = LINES,
            .name = "NUV_LOG_INITIALIZE_TEMPLATE",
            .body = body,
            .text = "initialize: " + body};
}

Message peersLine(const std::string &peers) {
    return line("Participant with initial peers: " + peers + ".\n");
}

Message noText(const std::string &body) {
    return {.level = NUV_LOG_LEVEL_ERROR,
            .function = LINES,
            .name = "NUV_LOG_FAILED_TO_GET_TEMPLATE",
            .body = body,
            .text = "failed to get: " + body};
}

Message precondition(const char *function, const char *test) {
    return {.level = NUV_LOG_LEVEL_FATAL,
            .function = function,
            .name = "NUV_LOG_PRECONDITION_FAILURE_s",
            .text = std::string("precondition failed: \"") + test + " == ((void *)0)\""};
}

const Message META_UNICAST_LINE = line("Participant with metatraffic unicast locators "
                                       "udpv4://192.0.2.1:7410, udpv6://[fd00::1]:7410.\n");
const Message META_MULTICAST_LINE =
    line("Participant with metatraffic multicast locators udpv4://239.255.0.1:7400.\n");
const Message DEFAULT_UNICAST_LINE =
    line("Participant with default unicast locators udpv4://192.0.2.1:7411.\n");

bool isZeroFilled(const char *buffer, size_t size) {
    return std::all_of(buffer, buffer + size, [](char one) { return one == 0; });
}

// ---- peers and locators

class LoggingLocators : public ScriptedPresentation {
protected:
    LoggingLocators() {
        self._cachedMetatrafficUnicastLocator =
            locatorsOf({"udpv4://192.0.2.1:7410", "udpv6://[fd00::1]:7410"});
        self._cachedMetatrafficMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:7400"});
        self._cachedDefaultUnicastLocator = locatorsOf({"udpv4://192.0.2.1:7411"});
        self._cachedDefaultMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:7401"});
        recorder.name(&self.cachedDiscoveryPolicy.initial_peers, "peers");
        recorder.name(KOLS_Config_Logger_get_instance(), "logger");
        DDS_StringSeq_initialize(&self.cachedDiscoveryPolicy.initial_peers);
    }

    ~LoggingLocators() override {
        DDS_StringSeq_finalize(&self.cachedDiscoveryPolicy.initial_peers);
    }

    void addPeer(const std::string &peer) {
        ASSERT_TRUE(DDS_StringSeq_append(&self.cachedDiscoveryPolicy.initial_peers, peer.c_str()));
    }

    /** Four peers whose joined text, each with its separator, has 844 characters. */
    void addFourLongPeers() {
        for (const char letter : {'a', 'b', 'c', 'd'}) {
            addPeer(std::string(210, letter));
        }
    }

    static std::string fourLongPeers() {
        return std::string(210, 'a') + ',' + std::string(210, 'b') + ',' + std::string(210, 'c') +
               ',' + std::string(210, 'd') + ',';
    }

    int logLines() const {
        return DDS_DomainParticipantPresentation_log_peers_and_locators(&self, worker);
    }
};

TEST_F(LoggingLocators, PrintsPeersAndThreeListsInThisOrder) {
    addPeer("239.255.0.1");
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(), Messages({peersLine("239.255.0.1"), META_UNICAST_LINE,
                                        META_MULTICAST_LINE, DEFAULT_UNICAST_LINE}));
}

TEST_F(LoggingLocators, MakesTheseCalls) {
    addPeer("A");
    addPeer("B");
    Recording calls(recorder);
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(calls.text(), lines({
                                "KOLS_Config_Logger_get_verbosity(logger)",
                                "DDS_StringSeq_get_length(peers)",
                                "DDS_StringSeq_get(peers, 0)",
                                "NUVOsapiUtility_strncat(char#1, 1023, \"A\", 210)",
                                "NUVOsapiUtility_strncat(char#1, 1023, \",\", 1)",
                                "DDS_StringSeq_get(peers, 1)",
                                "NUVOsapiUtility_strncat(char#1, 1023, \"B\", 210)",
                                "NUVOsapiUtility_strncat(char#1, 1023, \",\", 1)",
                                "PRESLocatorQosPolicy_toString(cachedMetaUnicast, char#1, 1024)",
                                "PRESLocatorQosPolicy_toString(cachedMetaMulticast, char#1, 1024)",
                                "PRESLocatorQosPolicy_toString(cachedDefaultUnicast, char#1, 1024)",
                            }));
}

TEST_F(LoggingLocators, JoinsPeersWithACommaAndNoBlank) {
    addPeer("A");
    addPeer("B");
    EXPECT_EQ(logLines(), 1);
    ASSERT_FALSE(log.messages().empty());
    EXPECT_EQ(log.messages()[0], peersLine("A,B"));
}

TEST_F(LoggingLocators, PrintsNoPeersLineWithoutPeers) {
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(),
              Messages({META_UNICAST_LINE, META_MULTICAST_LINE, DEFAULT_UNICAST_LINE}));
}

TEST_F(LoggingLocators, PrintsAnEmptyPeerAsNothing) {
    addPeer("");
    EXPECT_EQ(logLines(), 1);
    ASSERT_FALSE(log.messages().empty());
    EXPECT_EQ(log.messages()[0], peersLine(""));
}

TEST_F(LoggingLocators, KeepsTheSeparatorOfAnEmptyPeerInTheMiddle) {
    addPeer("A");
    addPeer("");
    addPeer("B");
    EXPECT_EQ(logLines(), 1);
    ASSERT_FALSE(log.messages().empty());
    EXPECT_EQ(log.messages()[0], peersLine("A,,B"));
}

TEST_F(LoggingLocators, PrintsAPeerOf210CharactersWhole) {
    addPeer(std::string(209, 'p') + 'q');
    EXPECT_EQ(logLines(), 1);
    ASSERT_FALSE(log.messages().empty());
    EXPECT_EQ(log.messages()[0], peersLine(std::string(209, 'p') + 'q'));
}

TEST_F(LoggingLocators, CutsAPeerOf211Characters) {
    addPeer(std::string(210, 'p') + 'q');
    addPeer("B");
    EXPECT_EQ(logLines(), 1);
    ASSERT_FALSE(log.messages().empty());
    EXPECT_EQ(log.messages()[0], peersLine(std::string(210, 'p') + ",B"));
}

TEST_F(LoggingLocators, JoinsPeersUpTo1023CharactersWithTheLastSeparator) {
    addFourLongPeers();
    addPeer(std::string(178, 'e'));
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(),
              Messages({peersLine(fourLongPeers() + std::string(178, 'e')), META_UNICAST_LINE,
                        META_MULTICAST_LINE, DEFAULT_UNICAST_LINE}));
}

TEST_F(LoggingLocators, StopsInSilenceWhenTheLastSeparatorDoesNotFit) {
    addFourLongPeers();
    addPeer(std::string(179, 'e'));
    Recording calls(recorder, only({"PRESLocatorQosPolicy_*"}));
    EXPECT_EQ(logLines(), 0);
    EXPECT_EQ(log.messages(), Messages());
    EXPECT_EQ(calls.text(), "");
}

TEST_F(LoggingLocators, StopsInSilenceWhenAPeerDoesNotFit) {
    addFourLongPeers();
    addPeer(std::string(180, 'e'));
    addPeer("B");
    Recording calls(recorder, only({"PRESLocatorQosPolicy_*", "DDS_StringSeq_get"}));
    EXPECT_EQ(logLines(), 0);
    EXPECT_EQ(log.messages(), Messages());
    EXPECT_EQ(calls.text(), lines({"DDS_StringSeq_get(peers, 0)", "DDS_StringSeq_get(peers, 1)",
                                   "DDS_StringSeq_get(peers, 2)", "DDS_StringSeq_get(peers, 3)",
                                   "DDS_StringSeq_get(peers, 4)"}));
}

TEST_F(LoggingLocators, StopsInSilenceWhenAPeerCannotBeAppended) {
    addPeer("A");
    recorder.fail("NUVOsapiUtility_strncat");
    EXPECT_EQ(logLines(), 0);
    EXPECT_EQ(recorder.count("NUVOsapiUtility_strncat"), 1);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(LoggingLocators, StopsInSilenceWhenASeparatorCannotBeAppended) {
    addPeer("A");
    recorder.fail("NUVOsapiUtility_strncat", {.nth = 2});
    EXPECT_EQ(logLines(), 0);
    EXPECT_EQ(recorder.count("NUVOsapiUtility_strncat"), 2);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(LoggingLocators, PrintsNoLineForAnEmptyDiscoveryUnicastList) {
    self._cachedMetatrafficUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    addPeer("A");
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(),
              Messages({peersLine("A"), META_MULTICAST_LINE, DEFAULT_UNICAST_LINE}));
}

TEST_F(LoggingLocators, PrintsNoLineForAnEmptyDiscoveryMulticastList) {
    self._cachedMetatrafficMulticastLocator = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(), Messages({META_UNICAST_LINE, DEFAULT_UNICAST_LINE}));
}

TEST_F(LoggingLocators, PrintsNoLineForAnEmptyDefaultUnicastList) {
    self._cachedDefaultUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(), Messages({META_UNICAST_LINE, META_MULTICAST_LINE}));
}

TEST_F(LoggingLocators, PrintsNothingForNothing) {
    self._cachedMetatrafficUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    self._cachedMetatrafficMulticastLocator = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    self._cachedDefaultUnicastLocator = LOCATOR_QOS_POLICY_DEFAULT;
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(LoggingLocators, StopsAtADiscoveryUnicastListWithoutAText) {
    addPeer("A");
    recorder.fail("PRESLocatorQosPolicy_toString");
    EXPECT_EQ(logLines(), 0);
    EXPECT_EQ(recorder.count("PRESLocatorQosPolicy_toString"), 1);
    EXPECT_EQ(log.messages(),
              Messages({peersLine("A"), noText("metatraffic unicast locators string")}));
}

TEST_F(LoggingLocators, StopsAtADiscoveryMulticastListWithoutAText) {
    recorder.fail("PRESLocatorQosPolicy_toString", {.nth = 2});
    EXPECT_EQ(logLines(), 0);
    EXPECT_EQ(recorder.count("PRESLocatorQosPolicy_toString"), 2);
    EXPECT_EQ(log.messages(),
              Messages({META_UNICAST_LINE, noText("metatraffic multicast locators string")}));
}

TEST_F(LoggingLocators, StopsAtADefaultUnicastListWithoutAText) {
    recorder.fail("PRESLocatorQosPolicy_toString", {.nth = 3});
    EXPECT_EQ(logLines(), 0);
    EXPECT_EQ(log.messages(), Messages({META_UNICAST_LINE, META_MULTICAST_LINE,
                                        noText("default unicast locators string")}));
}

TEST_F(LoggingLocators, HasRoomForSixteenLocatorsOfTheLongestText) {
    const std::string longest = "udpv6://[fd00:1111:2222:3333:4444:5555:6666:7777]:65535";
    self._cachedDefaultUnicastLocator = locatorsOf(Texts(16, longest));
    std::string text = longest;
    for (int i = 1; i < 16; ++i) {
        text += ", " + longest;
    }
    EXPECT_EQ(logLines(), 1);
    ASSERT_EQ(log.messages().size(), 3u);
    EXPECT_EQ(log.messages()[2], line("Participant with default unicast locators " + text + ".\n"));
}

TEST_F(LoggingLocators, DoesNothingBelowTheLocalStatusVerbosity) {
    addPeer("A");
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_WARNING);
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, NUV_LOG_LEVEL_ALL);
    Recording calls(recorder);
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(), Messages());
    EXPECT_EQ(calls.text(), lines({"KOLS_Config_Logger_get_verbosity(logger)"}));
}

TEST_F(LoggingLocators, AsksForTheLocalStatusBitOfTheVerbosityOnly) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(), NUV_LOG_LEVEL_LOCAL);
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(),
              Messages({META_UNICAST_LINE, META_MULTICAST_LINE, DEFAULT_UNICAST_LINE}));

    log.clear();
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     NUV_LOG_LEVEL_ALL & ~NUV_LOG_LEVEL_LOCAL);
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, NUV_LOG_LEVEL_ALL);
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(LoggingLocators, AreOpenedByOneBitOfTheVerbosityAlone) {
    for (int bit = 0; bit < 32; ++bit) {
        const NUV_UINT32 verbosity = 1u << bit;
        recorder.replace(
            "KOLS_Config_Logger_get_verbosity",
            [verbosity](KOLS_Config_Logger *) -> KOLS_Config_LogVerbosity { return verbosity; });
        log.clear();
        EXPECT_EQ(logLines(), 1);
        EXPECT_EQ(log.messages().size(), verbosity == NUV_LOG_LEVEL_LOCAL ? 3u : 0u) << bit;
    }
}

TEST_F(LoggingLocators, JoinPeersInABufferOfZeroes) {
    addPeer("A");
    dirtyTheStack();
    bool isZeroed = false;
    recorder.replace("NUVOsapiUtility_strncat",
                     [&](char *buffer, size_t size, const char *, size_t) -> char * {
                         isZeroed = isZeroFilled(buffer, size + 1);
                         return nullptr;
                     });
    EXPECT_EQ(logLines(), 0);
    EXPECT_TRUE(isZeroed);
}

TEST_F(LoggingLocators, WriteEachListOverThePeersInTheSameBuffer) {
    addPeer("A");
    std::set<const char *> buffers;
    recorder.replace("PRESLocatorQosPolicy_toString",
                     [&](const PRESLocatorQosPolicy *list, char *buffer, NUV_INT32 size) -> int {
                         buffers.insert(buffer);
                         return PRESLocatorQosPolicy_toString(list, buffer, size);
                     });
    recorder.replace("NUVOsapiUtility_strncat",
                     [&](char *buffer, size_t size, const char *text, size_t count) -> char * {
                         buffers.insert(buffer);
                         return NUVOsapiUtility_strncat(buffer, size, text, count);
                     });
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(buffers.size(), 1u);
}

TEST_F(LoggingLocators, ReportsANullRecordBeforeANullWorker) {
    NUVLog_g_preconditionDetected = 0;
    NUVLog_g_detectPrecondition = 1;
    EXPECT_EQ(DDS_DomainParticipantPresentation_log_peers_and_locators(nullptr, nullptr), 0);
    EXPECT_EQ(log.messages(), Messages({precondition(LINES, "self")}));
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
}

TEST_F(LoggingLocators, ReportsANullWorkerEvenWhenThereIsNothingToPrint) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    NUVLog_g_preconditionDetected = 0;
    NUVLog_g_detectPrecondition = 0;
    EXPECT_EQ(DDS_DomainParticipantPresentation_log_peers_and_locators(&self, nullptr), 0);
    EXPECT_EQ(log.messages(), Messages({precondition(LINES, "worker")}));
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
}

TEST_F(LoggingLocators, NeedsNoActivityContext) {
    callersWorker._activityContext = nullptr;
    EXPECT_EQ(logLines(), 1);
    EXPECT_EQ(log.messages().size(), 3u);
}

// ---- a change

class LoggingChange : public ScriptedPresentation {
protected:
    static Message line(const std::string &body) {
        return {.level = NUV_LOG_LEVEL_LOCAL,
                .function = CHANGE,
                .name = "NUV_LOG_UPDATE_TEMPLATE",
                .body = body,
                .text = "update: " + body};
    }

    void logChange(const PRESLocatorQosPolicy *from, const PRESLocatorQosPolicy *to,
                   const char *description) {
        DDS_DomainParticipantPresentation_log_locator_change(from, to, description, worker);
    }

    const PRESLocatorQosPolicy before = locatorsOf({"udpv4://192.0.2.1:7411"});
    const PRESLocatorQosPolicy after =
        locatorsOf({"udpv4://192.0.2.1:7411", "udpv4://192.0.2.2:7411"});
};

TEST_F(LoggingChange, PrintsTheDescriptionTheOldAndTheNewList) {
    logChange(&before, &after, "Default unicast");
    EXPECT_EQ(log.messages(),
              Messages({line("Default unicast locators have changed from "
                             "{udpv4://192.0.2.1:7411} to "
                             "{udpv4://192.0.2.1:7411, udpv4://192.0.2.2:7411}.\n")}));
}

TEST_F(LoggingChange, MakesTheseCalls) {
    recorder.name(&before, "before");
    recorder.name(&after, "after");
    Recording calls(recorder);
    logChange(&before, &after, "Default unicast");
    EXPECT_EQ(calls.text(), lines({
                                "PRESLocatorQosPolicy_toString(before, char#1, 1024)",
                                "PRESLocatorQosPolicy_toString(after, char#2, 1024)",
                            }));
}

TEST_F(LoggingChange, TakesReducedListsToo) {
    const PRESReducedLocatorQosPolicy none = REDUCED_LOCATOR_QOS_POLICY_DEFAULT;
    const PRESReducedLocatorQosPolicy some = reducedLocatorsOf({"udpv4://239.255.0.1:7400"});
    logChange(PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&none),
              PRESReducedLocatorQosPolicy_asConstLocatorPolicy(&some), "Metatraffic multicast");
    EXPECT_EQ(log.messages(), Messages({line("Metatraffic multicast locators have changed from {} "
                                             "to {udpv4://239.255.0.1:7400}.\n")}));
}

TEST_F(LoggingChange, PrintsEmptyListsAsNothing) {
    logChange(&before, &LOCATOR_QOS_POLICY_DEFAULT, "Default unicast");
    EXPECT_EQ(log.messages(), Messages({line("Default unicast locators have changed from "
                                             "{udpv4://192.0.2.1:7411} to {}.\n")}));
}

TEST_F(LoggingChange, DoesNotAskTheVerbosity) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, NUV_LOG_LEVEL_LOCAL);
    Recording calls(recorder, only({"KOLS_Config_Logger_*"}));
    logChange(&before, &after, "Default unicast");
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(calls.text(), "");
}

TEST_F(LoggingChange, IsSilentWhenTheOldListHasNoText) {
    recorder.fail("PRESLocatorQosPolicy_toString");
    logChange(&before, &after, "Default unicast");
    EXPECT_EQ(recorder.count("PRESLocatorQosPolicy_toString"), 1);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(LoggingChange, IsSilentWhenTheNewListHasNoText) {
    recorder.fail("PRESLocatorQosPolicy_toString", {.nth = 2});
    logChange(&before, &after, "Default unicast");
    EXPECT_EQ(recorder.count("PRESLocatorQosPolicy_toString"), 2);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(LoggingChange, WritesTheListsIntoTwoBuffersOfZeroes) {
    std::set<const char *> zeroed;
    recorder.replace("PRESLocatorQosPolicy_toString",
                     [&](const PRESLocatorQosPolicy *, char *buffer, NUV_INT32 size) -> int {
                         if (isZeroFilled(buffer, static_cast<size_t>(size))) {
                             zeroed.insert(buffer);
                         }
                         return 1;
                     });
    dirtyTheStack();
    logChange(&before, &after, "Default unicast");
    EXPECT_EQ(zeroed.size(), 2u);
}

/** The first of its arguments that is null. */
struct Missing {
    const char *name;
    int given; ///< how many arguments come before it
};

class LoggingChangePrecondition : public LoggingChange,
                                  public testing::WithParamInterface<Missing> {
protected:
    /** That one is null, and so are those after it. */
    void violate() {
        const int given = GetParam().given;
        DDS_DomainParticipantPresentation_log_locator_change(
            given > 0 ? &before : nullptr, given > 1 ? &after : nullptr,
            given > 2 ? "Default unicast" : nullptr, nullptr);
    }
};

TEST_P(LoggingChangePrecondition, IsReportedAndEndsTheOperation) {
    NUVLog_g_preconditionDetected = 0;
    NUVLog_g_detectPrecondition = 1;
    violate();
    EXPECT_EQ(log.messages(), Messages({precondition(CHANGE, GetParam().name)}));
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
    EXPECT_EQ(recorder.count("PRESLocatorQosPolicy_toString"), 0);
}

TEST_P(LoggingChangePrecondition, IsNotNotedWhenDetectionIsOff) {
    NUVLog_g_preconditionDetected = 0;
    NUVLog_g_detectPrecondition = 0;
    violate();
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
}

INSTANTIATE_TEST_SUITE_P(Of, LoggingChangePrecondition,
                         testing::Values(Missing{"locatorList1", 0}, Missing{"locatorList2", 1},
                                         Missing{"locatorDescription", 2}, Missing{"worker", 3}),
                         [](const auto &missing) { return std::string(missing.param.name); });

} // namespace
