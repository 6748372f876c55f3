// SPDX-License-Identifier: Apache-2.0
// Who lets a message of the index search and of the locator lines through: the module's masks, and
// for some of them the activity of the calling worker.
#include <algorithm>
#include <iterator>
#include <vector>

#include "support/scripted_presentation.h"

using namespace support;

namespace {

using Scene = ScriptedPresentation;

/** Something that logs one message, perhaps among others. */
struct Occasion {
    const char *name;
    NUV_UINT32 level;
    const char *start; ///< how the message's text begins
    bool isForWorkersToo;
    bool needsWorker;
    void (*act)(Scene &scene);
};

void PrintTo(const Occasion &occasion, std::ostream *out) {
    *out << occasion.name;
}

void logLocators(Scene &scene) {
    scene.self._cachedMetatrafficUnicastLocator = locatorsOf({"udpv4://192.0.2.1:1"});
    scene.self._cachedMetatrafficMulticastLocator = reducedLocatorsOf({"udpv4://239.255.0.1:2"});
    scene.self._cachedDefaultUnicastLocator = locatorsOf({"udpv4://192.0.2.1:3"});
    char peer[] = "A";
    char *peers[] = {peer};
    scene.self.cachedDiscoveryPolicy.initial_peers._buffer = peers;
    scene.self.cachedDiscoveryPolicy.initial_peers._length = 1;
    scene.self.cachedDiscoveryPolicy.initial_peers._maximum = 1;
    DDS_DomainParticipantPresentation_log_peers_and_locators(&scene.self, scene.worker);
    scene.self.cachedDiscoveryPolicy.initial_peers = DDS_SEQUENCE_INITIALIZER;
}

void logLocatorsWithAFailure(Scene &scene, int nth) {
    scene.recorder.fail("PRESLocatorQosPolicy_toString", {.nth = nth});
    logLocators(scene);
}

void reserveWithTakenPort(Scene &scene, DDS_Long index, KOLS_Transport_Port_t port) {
    scene.takenPorts = {port};
    scene.reserve(index);
}

const Occasion OCCASIONS[] = {
    {"TheBoundsPrecondition", NUV_LOG_LEVEL_FATAL, "precondition failed: \"rtpsWellKnownPorts ",
     false, false,
     [](Scene &) { DDS_DomainParticipantPresentation_get_max_participant_indexI(nullptr); }},
    {"ABaseThatIsTooLarge", NUV_LOG_LEVEL_ERROR,
     "bad parameter: rtps_well_known_ports.port_base (65535)", false, false,
     [](Scene &scene) {
         scene.self.cachedWellKnownPorts.port_base = 65535;
         DDS_DomainParticipantPresentation_get_max_participant_indexI(
             &scene.self.cachedWellKnownPorts);
     }},
    {"AParticipantGainThatIsTooLarge", NUV_LOG_LEVEL_ERROR,
     "bad parameter: rtps_well_known_ports.participant_id_gain (1000)", false, false,
     [](Scene &scene) {
         scene.self.cachedWellKnownPorts = {65000, 250, 1000, 0, 0, 0, 0};
         DDS_DomainParticipantPresentation_get_max_participant_indexI(
             &scene.self.cachedWellKnownPorts);
     }},
    {"BadGains", NUV_LOG_LEVEL_ERROR, "inconsistent QoS: Gains of ", true, false,
     [](Scene &scene) {
         scene.self.cachedWellKnownPorts.domain_id_gain = 0;
         scene.reserve(-1);
     }},
    {"MulticastLocatorsThatCannotBeComputed", NUV_LOG_LEVEL_WARNING,
     "cannot compute the multicast locators", false, false,
     [](Scene &scene) {
         scene.recorder.fail("DDS_DiscoveryQosPolicy_to_multicast_locators");
         scene.reserve(-1);
     }},
    {"PortsThatAreNotValid", NUV_LOG_LEVEL_ERROR,
     "bad parameter: wire_protocol.rtps_well_known_ports", false, false,
     [](Scene &scene) {
         scene.recorder.fail("DDS_RtpsWellKnownPorts_isUnicastValid");
         scene.reserve(-1);
     }},
    {"DiscoveryLocatorsThatCannotBeComputed", NUV_LOG_LEVEL_WARNING,
     "cannot compute the unicast locators", false, false,
     [](Scene &scene) {
         scene.recorder.fail("DDS_DiscoveryQosPolicy_to_unicast_locators");
         scene.reserve(-1);
     }},
    {"UserLocatorsThatCannotBeComputed", NUV_LOG_LEVEL_WARNING,
     "cannot compute the unicast locators", false, false,
     [](Scene &scene) {
         scene.recorder.fail("DDS_TransportUnicastQosPolicy_to_default_locators");
         scene.reserve(-1);
     }},
    {"ATakenDiscoveryPort", NUV_LOG_LEVEL_WARNING, "Trying next port...", true, false,
     [](Scene &scene) { reserveWithTakenPort(scene, -1, 8660); }},
    {"ATakenUserPort", NUV_LOG_LEVEL_WARNING, "Trying next port...", true, false,
     [](Scene &scene) { reserveWithTakenPort(scene, -1, 8661); }},
    {"NoIndex", NUV_LOG_LEVEL_ERROR, "failed to enable: No index available for participant", true,
     false, [](Scene &scene) { reserveWithTakenPort(scene, 0, 8660); }},
    {"AReservedIndex", NUV_LOG_LEVEL_LOCAL, "enable: Reserved participant index 0 on domain 5",
     true, false, [](Scene &scene) { scene.reserve(-1); }},
    {"AFailedCheck", NUV_LOG_LEVEL_ERROR, "failure: check active entry ports", false, false,
     [](Scene &scene) {
         scene.recorder.fail("COMMENDFacade.checkEntryports");
         DDS_DomainParticipantPresentation_wait_for_released_entryports(&scene.self, nullptr,
                                                                        scene.worker);
     }},
    {"ANullRecord", NUV_LOG_LEVEL_FATAL, "precondition failed: \"self ", false, false,
     [](Scene &scene) {
         DDS_DomainParticipantPresentation_log_peers_and_locators(nullptr, scene.worker);
     }},
    {"Peers", NUV_LOG_LEVEL_LOCAL, "initialize: Participant with initial peers: A.\n", true, true,
     logLocators},
    {"DiscoveryUnicastLocators", NUV_LOG_LEVEL_LOCAL,
     "initialize: Participant with metatraffic unicast locators udpv4://192.0.2.1:1.\n", true, true,
     logLocators},
    {"DiscoveryMulticastLocators", NUV_LOG_LEVEL_LOCAL,
     "initialize: Participant with metatraffic multicast locators udpv4://239.255.0.1:2.\n", true,
     true, logLocators},
    {"DefaultUnicastLocators", NUV_LOG_LEVEL_LOCAL,
     "initialize: Participant with default unicast locators udpv4://192.0.2.1:3.\n", true, true,
     logLocators},
    {"DiscoveryUnicastLocatorsWithoutAText", NUV_LOG_LEVEL_ERROR,
     "failed to get: metatraffic unicast locators string", true, true,
     [](Scene &scene) { logLocatorsWithAFailure(scene, 1); }},
    {"DiscoveryMulticastLocatorsWithoutAText", NUV_LOG_LEVEL_ERROR,
     "failed to get: metatraffic multicast locators string", true, true,
     [](Scene &scene) { logLocatorsWithAFailure(scene, 2); }},
    {"DefaultUnicastLocatorsWithoutAText", NUV_LOG_LEVEL_ERROR,
     "failed to get: default unicast locators string", true, true,
     [](Scene &scene) { logLocatorsWithAFailure(scene, 3); }},
    {"AChange", NUV_LOG_LEVEL_LOCAL, "update: Default unicast locators have changed from ", true,
     true,
     [](Scene &scene) {
         DDS_DomainParticipantPresentation_log_locator_change(&LOCATOR_QOS_POLICY_DEFAULT,
                                                              &LOCATOR_QOS_POLICY_DEFAULT,
                                                              "Default unicast", scene.worker);
     }},
    {"AChangeOfNothing", NUV_LOG_LEVEL_FATAL, "precondition failed: \"locatorList1 ", false, false,
     [](Scene &scene) {
         DDS_DomainParticipantPresentation_log_locator_change(nullptr, nullptr, nullptr,
                                                              scene.worker);
     }},
};

class LoggingGate : public ScriptedPresentation, public testing::WithParamInterface<Occasion> {
protected:
    /** How often the message is logged. */
    int logged() {
        log.clear();
        GetParam().act(*this);
        int count = 0;
        for (const Message &message : log.messages()) {
            if (message.text.rfind(GetParam().start, 0) == 0) {
                EXPECT_EQ(message.level, GetParam().level);
                ++count;
            }
        }
        return count;
    }

    void setMasks(NUV_UINT32 instrumentation, NUV_UINT32 submodules) {
        NUVLog_storeMask(&DDSLog_g_instrumentationMask, instrumentation);
        NUVLog_storeMask(&DDSLog_g_submoduleMask, submodules);
    }
};

TEST_P(LoggingGate, IsPassedWithTheBitsOfLevelAndDomain) {
    setMasks(GetParam().level, DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(logged(), 1);
}

TEST_P(LoggingGate, IsShutWithoutTheBitOfTheLevel) {
    setMasks(~GetParam().level, DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(logged(), 0);
}

TEST_P(LoggingGate, IsShutWithoutTheBitOfTheDomain) {
    setMasks(GetParam().level, ~DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(logged(), 0);
}

TEST_P(LoggingGate, IsPassedForAWorkersActivityByTheMessagesThatAllowIt) {
    wantForWorkerOnly(GetParam().level);
    EXPECT_EQ(logged(), GetParam().isForWorkersToo ? 1 : 0);
}

TEST_P(LoggingGate, IsShutForAnotherActivity) {
    wantForWorkerOnly(GetParam().level);
    context.category = 3;
    EXPECT_EQ(logged(), 0);
}

TEST_P(LoggingGate, IsShutForTheActivityAtAnotherLevel) {
    wantForWorkerOnly(GetParam().level == NUV_LOG_LEVEL_ERROR ? NUV_LOG_LEVEL_WARNING
                                                              : NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(logged(), 0);
}

TEST_P(LoggingGate, IsShutForAWorkerWithoutActivity) {
    wantForWorkerOnly(GetParam().level);
    callersWorker._activityContext = nullptr;
    EXPECT_EQ(logged(), 0);
}

INSTANTIATE_TEST_SUITE_P(For, LoggingGate, testing::ValuesIn(OCCASIONS),
                         [](const testing::TestParamInfo<Occasion> &occasion) {
                             return occasion.param.name;
                         });

// ---- without a worker, where that is no failed precondition

std::vector<Occasion> occasionsWithoutAWorker() {
    std::vector<Occasion> chosen;
    std::ranges::copy_if(OCCASIONS, std::back_inserter(chosen),
                         [](const Occasion &occasion) { return !occasion.needsWorker; });
    return chosen;
}

using LoggingGateWithoutAWorker = LoggingGate;

TEST_P(LoggingGateWithoutAWorker, IsPassedByTheMasks) {
    worker = nullptr;
    EXPECT_EQ(logged(), 1);
}

TEST_P(LoggingGateWithoutAWorker, IsShutForTheActivity) {
    wantForWorkerOnly(GetParam().level);
    worker = nullptr;
    EXPECT_EQ(logged(), 0);
}

INSTANTIATE_TEST_SUITE_P(For, LoggingGateWithoutAWorker,
                         testing::ValuesIn(occasionsWithoutAWorker()),
                         [](const testing::TestParamInfo<Occasion> &occasion) {
                             return occasion.param.name;
                         });

} // namespace
