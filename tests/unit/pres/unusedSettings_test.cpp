// The settings that nothing acts on, named for whoever warns of them.
#include "fixture.h"

namespace {

using Property = PRESParticipantProperty;

using Names = std::vector<std::string>;

struct UnusedSetting {
    const char *test_name;
    void (*give)(Property &property);
    const char *name;
};

const UnusedSetting SETTINGS[] = {
    {"Send",
     [](Property &p) {
         p.facadeProperty.parent.sender.sendTimeBasedLoggingThreshold = {5, 0};
     },
     "dds.participant.logging.time_based_logging.send.timeout"},
    {"Authentication",
     [](Property &p) {
         p.authenticationTimeThreshold = {5, 0};
     },
     "dds.participant.logging.time_based_logging.authentication.timeout"},
    {"Alignment",
     [](Property &p) { p.facadeProperty.parent.interpreter.enforceSubmessageAlignment = 1; },
     "dds.participant.use_45d_compatible_alignment_enforcement"},
    {"Mismatch",
     [](Property &p) { p.facadeProperty.parent.interpreter.logParticipantDiscoveryMismatch = 1; },
     "dds.participant.discovery_config.log_discovery_mismatch"},
    {"Plugins", [](Property &p) { p.parameter.builtinDiscoveryPlugins = 0; },
     "discovery_config.builtin_discovery_plugins"},
    {"Reachability",
     [](Property &p) {
         p.parameter.reachabilityLeaseDuration = {30, 0};
     },
     "discovery_config.locator_reachability_lease_duration"},
    {"DirectedWrite", [](Property &p) { p.directedWriteGuidSerializationKind = 1; },
     "dds.participant.directed_write_serialization_kind"},
    {"ThreadDestruction",
     [](Property &p) {
         p.facadeProperty.parent.jobDispatcher.executionThreadDestructionTimeout = 0;
     },
     "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout"},
};

class UnusedSettings : public ParticipantTest {
protected:
    Names names_of(const Property &its_property) {
        PRESParticipant *const participant = make(its_property);
        EXPECT_NE(participant, nullptr);
        Names names;
        PRESParticipant_listUnusedSettings(
            participant,
            [](void *list, const char *name) { static_cast<Names *>(list)->emplace_back(name); },
            &names, worker);
        unmake(participant);
        return names;
    }

    Property property = PARTICIPANT_PROPERTY_DEFAULT;
};

class EachUnusedSetting : public UnusedSettings,
                          public ::testing::WithParamInterface<UnusedSetting> {};

TEST_P(EachUnusedSetting, IsNamed) {
    GetParam().give(property);
    EXPECT_EQ(names_of(property), Names{GetParam().name});
}

INSTANTIATE_TEST_SUITE_P(All, EachUnusedSetting, ::testing::ValuesIn(SETTINGS),
                         [](const auto &setting) { return std::string(setting.param.test_name); });

TEST_F(UnusedSettings, AreNoneInTheDefaultProperty) {
    EXPECT_EQ(names_of(property), Names());
}

TEST_F(UnusedSettings, TheNumberOfGatheredBuffersIsNotNamed) {
    property.facadeProperty.parent.messageGenerator.gatherSendBufferCountMax = 128;
    EXPECT_EQ(names_of(property), Names());
}

TEST_F(UnusedSettings, TheSecondVersionOfDiscoveryIsNamed) {
    property.facadeProperty.parent.interpreter.isSpdp2 = 1;
    EXPECT_EQ(names_of(property), Names{"discovery_config.builtin_discovery_plugins"});
}

TEST_F(UnusedSettings, SecurityIsNamed) {
    const PRESParticipantSecurity its_security = {};
    security = &its_security;
    EXPECT_EQ(names_of(property), Names{"security"});
}

TEST_F(UnusedSettings, ThePresentationLayerWarnsOfNone) {
    property.directedWriteGuidSerializationKind = 1;
    (void)names_of(property);
    EXPECT_TRUE(messages.take(NUV_LOG_LEVEL_WARNING).empty());
}

} // namespace
