// SPDX-License-Identifier: Apache-2.0
// Enabling.
#include <algorithm>
#include <functional>
#include <iterator>
#include <vector>

#include "names.h"
#include "pres/pres_participant.h"
#include "support/presentation_fixture.h"
#include "support/scripted_presentation.h"

namespace {

using namespace support;

const Message NO_DEFAULT_LOCATOR = {.level = NUV_LOG_LEVEL_WARNING,
                                    .function = ENABLE,
                                    .name = "DDS_LOG_NO_DEFAULT_UNICAST_TRANSPORT_LOCATORS",
                                    .text = "the participant has no unicast locator for user "
                                            "traffic"};
const Message NO_DISCOVERY_LOCATOR = {.level = NUV_LOG_LEVEL_WARNING,
                                      .function = ENABLE,
                                      .name = "DDS_LOG_NO_DISCOVERY_TRANSPORT_LOCATORS",
                                      .text = "the participant has no locator for discovery "
                                              "traffic"};

Message listing(const std::string &body) {
    return {.level = NUV_LOG_LEVEL_LOCAL,
            .function = LOG_PEERS,
            .name = "NUV_LOG_INITIALIZE_TEMPLATE",
            .body = body,
            .text = "initialize: " + body};
}

/** The calls of enable itself, without those of logging the peers and locators. */
const Filter WITHOUT_LOGGING =
    except({"KOLS_*", "DDS_StringSeq_*", "NUVOsapiUtility_*", "PRESLocatorQosPolicy_toString"});

/** A participant with one locator of each kind. */
class Enable : public PresentationFixture {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        ASSERT_EQ(initialize(), DDS_RETCODE_OK);
        nameParticipant();
        self._cachedDefaultUnicastLocator = locatorsOf({"udpv4://192.0.2.10:7411"});
        self._cachedMetatrafficUnicastLocator = locatorsOf({"udpv4://192.0.2.10:7410"});
        self._cachedMetatrafficMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:7400"});
        log.clear();
    }

    DDS_ReturnCode_t enable() {
        return DDS_DomainParticipantPresentation_enable(&self, &qos, nullptr, worker);
    }

    bool isEnabled() {
        return PRESParticipant_isEnabled(self.participant, worker) != 0;
    }
};

TEST_F(Enable, CallsTheLowerLayersInThisOrder) {
    Recording calls(recorder);
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "NUVOsapiContext_addAndCacheCategory(worker._activityContext, &cachedOut=0, 0, 1)",
            "NUVOsapiHeap_reallocateMemoryInternal(&pointer, 96, -1, 0, 0, "
            "\"NUVOsapiHeap_allocateArray\", 0x4B4F4C43, \"struct NUVNetioTransportInfo\")",
            "NUVNetioConfigurator_getTransportInfo(configurator, NUVNetioTransportInfo#1, "
            "&length=0, 12, worker)",
            "PRESParticipant_enable(participant, null, self._cachedDefaultUnicastLocator, "
            "self._cachedMetatrafficUnicastLocator, self._cachedMetatrafficMulticastLocator, "
            "{12, 1, buffer}, worker)",
            "KOLS_Config_Logger_get_verbosity(logger)",
            "DDS_StringSeq_get_length(self.cachedDiscoveryPolicy.initial_peers)",
            "DDS_StringSeq_get(self.cachedDiscoveryPolicy.initial_peers, 0)",
            "NUVOsapiUtility_strncat(char#1, 1023, \"239.255.0.1\", 210)",
            "NUVOsapiUtility_strncat(char#1, 1023, \",\", 1)",
            "DDS_StringSeq_get(self.cachedDiscoveryPolicy.initial_peers, 1)",
            "NUVOsapiUtility_strncat(char#1, 1023, \"127.0.0.1\", 210)",
            "NUVOsapiUtility_strncat(char#1, 1023, \",\", 1)",
            "PRESLocatorQosPolicy_toString(self._cachedMetatrafficUnicastLocator, char#1, 1024)",
            "PRESLocatorQosPolicy_toString(self._cachedMetatrafficMulticastLocator, char#1, 1024)",
            "PRESLocatorQosPolicy_toString(self._cachedDefaultUnicastLocator, char#1, 1024)",
            "NUVOsapiContext_setCategory(worker._activityContext, 0, 0)",
            "NUVOsapiHeap_freeMemoryInternal(NUVNetioTransportInfo#1, 0, "
            "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)",
        }));
}

TEST_F(Enable, EnablesTheParticipantWithTheRegisteredTransports) {
    ASSERT_FALSE(isEnabled());
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_TRUE(isEnabled());
    EXPECT_EQ(PRESParticipant_getTransportInfoLength(self.participant, worker), 1u);
}

TEST_F(Enable, LogsPeersAndLocators) {
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(
        logged(),
        Messages({
            listing("Participant with initial peers: 239.255.0.1,127.0.0.1.\n"),
            listing("Participant with metatraffic unicast locators udpv4://192.0.2.10:7410.\n"),
            listing("Participant with metatraffic multicast locators "
                    "udpv4://239.255.0.1:7400.\n"),
            listing("Participant with default unicast locators udpv4://192.0.2.10:7411.\n"),
        }));
}

TEST_F(Enable, HandsEveryTransportOn) {
    const NUVNetioTransportInfo transports[] = {{1, 10}, {2, 20}, {3, 30}, {4, 40}, {5, 50}};
    recorder.replace("NUVNetioConfigurator_getTransportInfo",
                     [&](NUVNetioConfigurator *, NUVNetioTransportInfo *buffer, NUV_UINT32 *length,
                         NUV_UINT32, REDAWorker *) {
                         std::ranges::copy(transports, buffer);
                         *length = std::size(transports);
                         return 1;
                     });
    std::vector<int> handedOn;
    recorder.replace("PRESParticipant_enable",
                     [&](PRESParticipant *, const int *, const PRESLocatorQosPolicy *,
                         const PRESLocatorQosPolicy *, const PRESReducedLocatorQosPolicy *,
                         const PRESSequenceTransportInfo *sequence, REDAWorker *) {
                         for (NUV_UINT32 i = 0; i < sequence->_length; ++i) {
                             handedOn.push_back(sequence->_buffer[i].classid);
                             handedOn.push_back(sequence->_buffer[i].messageSizeMax);
                         }
                         return 1;
                     });
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(handedOn, (std::vector{1, 10, 2, 20, 3, 30, 4, 40, 5, 50}));
}

TEST_F(Enable, HandsEnableAllEntitiesOn) {
    int enableAllEntities = 1;
    Recording calls(recorder, only({"PRESParticipant_enable"}));
    EXPECT_EQ(DDS_DomainParticipantPresentation_enable(&self, &qos, &enableAllEntities, worker),
              DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({"PRESParticipant_enable(participant, &enableAllEntities=1, "
                     "self._cachedDefaultUnicastLocator, self._cachedMetatrafficUnicastLocator, "
                     "self._cachedMetatrafficMulticastLocator, {12, 1, buffer}, worker)"}));
}

TEST_F(Enable, AsksForAsManyTransportsAsTheQosAllows) {
    qos.resource_limits.transport_info_list_max_length = 3;
    Recording calls(recorder, only({"NUVOsapiHeap_reallocateMemoryInternal", "NUVNetio*"}));
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({
                  "NUVOsapiHeap_reallocateMemoryInternal(&pointer, 24, -1, 0, 0, "
                  "\"NUVOsapiHeap_allocateArray\", 0x4B4F4C43, \"struct NUVNetioTransportInfo\")",
                  "NUVNetioConfigurator_getTransportInfo(configurator, NUVNetioTransportInfo#1, "
                  "&length=0, 3, worker)",
              }));
}

TEST_F(Enable, GivesTransportInfoOfSizeZeroForALimitOfZero) {
    qos.resource_limits.transport_info_list_max_length = 0;
    Recording calls(recorder, WITHOUT_LOGGING);
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({
                  "NUVOsapiContext_addAndCacheCategory(worker._activityContext, &cachedOut=0, 0, "
                  "1)",
                  "PRESParticipant_enable(participant, null, self._cachedDefaultUnicastLocator, "
                  "self._cachedMetatrafficUnicastLocator, "
                  "self._cachedMetatrafficMulticastLocator, {0, 0, null}, worker)",
                  "NUVOsapiContext_setCategory(worker._activityContext, 0, 0)",
              }));
    EXPECT_TRUE(isEnabled());
    ASSERT_FALSE(logged().empty());
    EXPECT_EQ(logged()[0], (Message{.level = NUV_LOG_LEVEL_LOCAL,
                                    .function = ENABLE,
                                    .name = "DDS_LOG_GET_TRANSPORT_INFO_SIZE_ZERO",
                                    .text = "no transport information is announced: "
                                            "transport_info_list_max_length is 0"}));
}

TEST_F(Enable, HasRoomForEveryTransportThatTheQosAllows) {
    qos.resource_limits.transport_info_list_max_length = 1000;
    Recording calls(recorder, only({"NUVNetio*", "PRESParticipant_enable"}));
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({"NUVNetioConfigurator_getTransportInfo(configurator, "
                     "NUVNetioTransportInfo#1, &length=0, 1000, worker)",
                     "PRESParticipant_enable(participant, null, self._cachedDefaultUnicastLocator, "
                     "self._cachedMetatrafficUnicastLocator, "
                     "self._cachedMetatrafficMulticastLocator, {1000, 1, buffer}, worker)"}));
}

// ---- the category of the worker's activity

TEST_F(Enable, WidensTheCategoryWhileItRunsAndRestoresIt) {
    worker->_activityContext->category = 0x6;
    NUVLogCategoryMask during = 0;
    recorder.replace("NUVNetioConfigurator_getTransportInfo",
                     [&](NUVNetioConfigurator *, NUVNetioTransportInfo *, NUV_UINT32 *, NUV_UINT32,
                         REDAWorker *caller) {
                         during = caller->_activityContext->category;
                         return 1;
                     });
    Recording calls(recorder, only({"NUVOsapiContext_*"}));
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(during, 0x7u);
    EXPECT_EQ(worker->_activityContext->category, 0x6u);
    EXPECT_EQ(
        calls.text(),
        lines({"NUVOsapiContext_addAndCacheCategory(worker._activityContext, &cachedOut=0, 0, 1)",
               "NUVOsapiContext_setCategory(worker._activityContext, 0, 6)"}));
}

TEST_F(Enable, WidensTheCategoryBeforeItWarns) {
    self._cachedDefaultUnicastLocator.count = 0;
    bool isFirst = false;
    recorder.replace("NUVOsapiContext_addAndCacheCategory",
                     [&](NUVOsapiActivityContext *, NUVLogCategoryMask *, NUVLogCategoryMask,
                         NUVLogCategoryMask) { isFirst = logged().empty(); });
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_TRUE(isFirst);
    EXPECT_EQ(logged()[0], NO_DEFAULT_LOCATOR);
}

TEST_F(Enable, RestoresTheWholeCategoryWhateverHappenedToItMeanwhile) {
    worker->_activityContext->category = 0x7; // with the bit that enabling adds
    recorder.replace("NUVNetioConfigurator_getTransportInfo",
                     [](NUVNetioConfigurator *, NUVNetioTransportInfo *, NUV_UINT32 *, NUV_UINT32,
                        REDAWorker *caller) {
                         caller->_activityContext->category = 0xF8;
                         return 1;
                     });
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(worker->_activityContext->category, 0x7u);
}

TEST_F(Enable, DoesWithoutAnActivityContext) {
    NUVOsapiActivityContext *const context = worker->_activityContext;
    worker->_activityContext = nullptr;
    Recording calls(recorder, only({"NUVOsapiContext_*"}));
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({"NUVOsapiContext_addAndCacheCategory(null, &cachedOut=0, 0, 1)",
                                   "NUVOsapiContext_setCategory(null, 0, 0)"}));
    worker->_activityContext = context;
}

TEST_F(Enable, LogsForItsCategoryWhatTheMasksForbid) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_LOCAL], NUV_LOG_CATEGORY_ENABLE);
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_EQ(logged().size(), 4u);
}

/** What has a message printed that only the masks let through. */
struct EnableOccasion {
    const char *name;
    std::function<void(Recorder &, DDS_DomainParticipantPresentation &, DDS_DomainParticipantQos &)>
        prepare;
};

std::function<void(Recorder &, DDS_DomainParticipantPresentation &, DDS_DomainParticipantQos &)>
failing(const char *call) {
    return [call](Recorder &recorder, auto &, auto &) { recorder.fail(call); };
}

class EnableGate : public Enable, public testing::WithParamInterface<EnableOccasion> {
protected:
    void SetUp() override {
        Enable::SetUp();
        GetParam().prepare(recorder, self, qos);
    }

    /** How many messages of enable itself are printed. */
    long printed() {
        enable();
        const Messages all = logged();
        return std::ranges::count(all, ENABLE, &Message::function);
    }
};

TEST_P(EnableGate, IsOpenByDefault) {
    EXPECT_EQ(printed(), 1);
}

TEST_P(EnableGate, IsClosedForEveryCategoryOfTheWorker) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    for (const NUV_UINT32 level :
         {NUV_LOG_LEVEL_ERROR, NUV_LOG_LEVEL_WARNING, NUV_LOG_LEVEL_LOCAL}) {
        NUVLog_storeMask(&NUVLog_g_categoryMask[level], ~0u);
    }
    EXPECT_EQ(printed(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    For, EnableGate,
    testing::Values(EnableOccasion{"NoLocatorForUserTraffic",
                                   [](auto &, auto &self, auto &) {
                                       self._cachedDefaultUnicastLocator.count = 0;
                                   }},
                    EnableOccasion{"NoLocatorForDiscoveryTraffic",
                                   [](auto &, auto &self, auto &) {
                                       self._cachedMetatrafficUnicastLocator.count = 0;
                                       self._cachedMetatrafficMulticastLocator.count = 0;
                                   }},
                    EnableOccasion{"NoTransportInfoWanted",
                                   [](auto &, auto &, auto &qos) {
                                       qos.resource_limits.transport_info_list_max_length = 0;
                                   }},
                    EnableOccasion{"NoMemory", failing("NUVOsapiHeap_reallocateMemoryInternal")},
                    EnableOccasion{"NoTransports",
                                   failing("NUVNetioConfigurator_getTransportInfo")},
                    EnableOccasion{"NotEnabled", failing("PRESParticipant_enable")}),
    [](const auto &occasion) { return std::string(occasion.param.name); });

// ---- locators that are missing

TEST_F(Enable, WarnsOfNoLocatorForUserTraffic) {
    self._cachedDefaultUnicastLocator.count = 0;
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_TRUE(isEnabled());
    ASSERT_EQ(logged().size(), 4u);
    EXPECT_EQ(logged()[0], NO_DEFAULT_LOCATOR);
    EXPECT_EQ(logged()[1].function, LOG_PEERS);
}

TEST_F(Enable, DoesNotWarnOfSeveralLocatorsForUserTraffic) {
    self._cachedDefaultUnicastLocator =
        locatorsOf({"udpv4://192.0.2.10:7411", "udpv4://192.0.2.11:7411"});
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    ASSERT_FALSE(logged().empty());
    EXPECT_EQ(logged()[0].function, LOG_PEERS);
}

TEST_F(Enable, WarnsOfNoLocatorForDiscoveryTraffic) {
    self._cachedMetatrafficUnicastLocator.count = 0;
    self._cachedMetatrafficMulticastLocator.count = 0;
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_TRUE(isEnabled());
    ASSERT_FALSE(logged().empty());
    EXPECT_EQ(logged()[0], NO_DISCOVERY_LOCATOR);
}

TEST_F(Enable, WarnsOfBothAndStillEnables) {
    self._cachedDefaultUnicastLocator.count = 0;
    self._cachedMetatrafficUnicastLocator.count = 0;
    self._cachedMetatrafficMulticastLocator.count = 0;
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_TRUE(isEnabled());
    EXPECT_EQ(logged(),
              Messages({NO_DEFAULT_LOCATOR, NO_DISCOVERY_LOCATOR,
                        listing("Participant with initial peers: 239.255.0.1,127.0.0.1.\n")}));
}

TEST_F(Enable, WarnsOfBothBeforeItListsTheTransports) {
    self._cachedDefaultUnicastLocator.count = 0;
    self._cachedMetatrafficUnicastLocator.count = 0;
    self._cachedMetatrafficMulticastLocator.count = 0;
    recorder.fail("NUVNetioConfigurator_getTransportInfo");
    EXPECT_EQ(enable(), DDS_RETCODE_ERROR);
    ASSERT_EQ(logged().size(), 3u);
    EXPECT_EQ(logged()[0], NO_DEFAULT_LOCATOR);
    EXPECT_EQ(logged()[1], NO_DISCOVERY_LOCATOR);
    EXPECT_EQ(logged()[2].name, "DDS_LOG_GET_TRANSPORT_INFO");
}

TEST_F(Enable, DoesNotWarnWhileDiscoveryHasUnicastLocators) {
    self._cachedMetatrafficMulticastLocator.count = 0;
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    ASSERT_EQ(logged().size(), 3u);
    EXPECT_EQ(logged()[0].function, LOG_PEERS);
}

TEST_F(Enable, DoesNotWarnWhileDiscoveryHasMulticastLocators) {
    self._cachedMetatrafficUnicastLocator.count = 0;
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    ASSERT_EQ(logged().size(), 3u);
    EXPECT_EQ(logged()[0].function, LOG_PEERS);
}

TEST_F(Enable, DoesNotCountTheMulticastLocatorsOfUserTraffic) {
    self._cachedMetatrafficUnicastLocator.count = 0;
    self._cachedMetatrafficMulticastLocator.count = 0;
    self._cachedDefaultMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:7401"});
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    ASSERT_FALSE(logged().empty());
    EXPECT_EQ(logged()[0], NO_DISCOVERY_LOCATOR);
}

// ---- failures

TEST_F(Enable, RefusesANullWorkerAndDoesNothing) {
    Recording calls(recorder);
    EXPECT_EQ(DDS_DomainParticipantPresentation_enable(&self, &qos, nullptr, nullptr),
              DDS_RETCODE_ERROR);
    EXPECT_EQ(calls.text(), lines({"NUVLog_onAssertBreakpoint()"}));
    EXPECT_EQ(log.messages(),
              Messages({{.level = NUV_LOG_LEVEL_FATAL,
                         .function = ENABLE,
                         .name = "NUV_LOG_PRECONDITION_FAILURE_s",
                         .text = "precondition failed: \"worker == ((void *)0)\""}}));
    EXPECT_FALSE(isEnabled());
}

TEST_F(Enable, IsOkWithoutEnablingWhenTheTransportInfoCannotBeAllocated) {
    worker->_activityContext->category = 0x6;
    recorder.fail("NUVOsapiHeap_reallocateMemoryInternal");
    Recording calls(recorder);
    EXPECT_EQ(enable(), DDS_RETCODE_OK) << "deliberately no error";
    EXPECT_FALSE(isEnabled());
    EXPECT_EQ(
        calls.text(),
        lines({
            "NUVOsapiContext_addAndCacheCategory(worker._activityContext, &cachedOut=0, 0, 1)",
            "NUVOsapiHeap_reallocateMemoryInternal(&pointer, 96, -1, 0, 0, "
            "\"NUVOsapiHeap_allocateArray\", 0x4B4F4C43, \"struct NUVNetioTransportInfo\")",
            "NUVOsapiContext_setCategory(worker._activityContext, 0, 6)",
        }));
    EXPECT_EQ(log.messages(), Messages({{.function = ENABLE,
                                         .name = "NUV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d",
                                         .text = "out of memory for a structure of 8 bytes"}}));
}

TEST_F(Enable, IsAnErrorWhenTheTransportsCannotBeListed) {
    worker->_activityContext->category = 0x6;
    recorder.fail("NUVNetioConfigurator_getTransportInfo");
    Recording calls(recorder);
    EXPECT_EQ(enable(), DDS_RETCODE_ERROR);
    EXPECT_FALSE(isEnabled());
    ASSERT_EQ(calls.calls().size(), 5u);
    EXPECT_EQ(calls.calls()[3], "NUVOsapiContext_setCategory(worker._activityContext, 0, 6)");
    EXPECT_EQ(calls.calls()[4], "NUVOsapiHeap_freeMemoryInternal(NUVNetioTransportInfo#1, 0, "
                                "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)");
    EXPECT_EQ(log.messages(), Messages({{.function = ENABLE,
                                         .name = "DDS_LOG_GET_TRANSPORT_INFO",
                                         .text = "cannot get the transport information"}}));
}

TEST_F(Enable, IsAnErrorWithoutPeersAndLocatorsWhenTheParticipantCannotBeEnabled) {
    worker->_activityContext->category = 0x6;
    recorder.fail("PRESParticipant_enable");
    Recording calls(recorder);
    EXPECT_EQ(enable(), DDS_RETCODE_ERROR);
    EXPECT_FALSE(isEnabled());
    ASSERT_EQ(calls.calls().size(), 6u);
    EXPECT_EQ(calls.calls()[4], "NUVOsapiContext_setCategory(worker._activityContext, 0, 6)");
    EXPECT_EQ(calls.calls()[5], "NUVOsapiHeap_freeMemoryInternal(NUVNetioTransportInfo#1, 0, "
                                "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)");
    EXPECT_EQ(log.messages(), Messages({{.function = ENABLE,
                                         .name = "NUV_LOG_CREATION_FAILURE_s",
                                         .text = "cannot create enable"}}));
}

TEST_F(Enable, IsOkWhenOnlyThePeersAndLocatorsCannotBeLogged) {
    recorder.fail("PRESLocatorQosPolicy_toString");
    EXPECT_EQ(enable(), DDS_RETCODE_OK);
    EXPECT_TRUE(isEnabled());
    ASSERT_EQ(logged().size(), 2u);
    EXPECT_EQ(logged()[1].body, "metatraffic unicast locators string");
}

} // namespace
