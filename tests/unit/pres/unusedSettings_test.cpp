// Settings that nothing acts on are named once, when the participant is made.
#include "fixture.h"

namespace {

using Property = PRESParticipantProperty;

const std::string BEGINNING =
    "these settings are accepted but nothing acts on them in this version: ";

struct UnusedSetting {
    const char *test_name;
    void (*give)(Property &property);
    const char *name;
};

const UnusedSetting SETTINGS[] = {
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
    std::vector<std::string> warnings_of(const Property &its_property) {
        PRESParticipant *const participant = make(its_property);
        EXPECT_NE(participant, nullptr);
        std::vector<std::string> warnings = messages.take(NUV_LOG_LEVEL_WARNING);
        unmake(participant);
        return warnings;
    }

    Property property = PARTICIPANT_PROPERTY_DEFAULT;
};

class EachUnusedSetting : public UnusedSettings,
                          public ::testing::WithParamInterface<UnusedSetting> {};

TEST_P(EachUnusedSetting, IsNamedInOneWarning) {
    GetParam().give(property);
    EXPECT_EQ(warnings_of(property), std::vector<std::string>{BEGINNING + GetParam().name});
}

INSTANTIATE_TEST_SUITE_P(All, EachUnusedSetting, ::testing::ValuesIn(SETTINGS),
                         [](const auto &setting) { return std::string(setting.param.test_name); });

TEST_F(UnusedSettings, TheDefaultPropertyWarnsOfNothing) {
    EXPECT_TRUE(warnings_of(property).empty());
}

TEST_F(UnusedSettings, TheNumberOfGatheredBuffersIsNotNamed) {
    property.facadeProperty.parent.messageGenerator.gatherSendBufferCountMax = 128;
    EXPECT_TRUE(warnings_of(property).empty());
}

TEST_F(UnusedSettings, TheSecondVersionOfDiscoveryIsNamed) {
    property.facadeProperty.parent.interpreter.isSpdp2 = 1;
    EXPECT_EQ(warnings_of(property),
              std::vector<std::string>{BEGINNING + "discovery_config.builtin_discovery_plugins"});
}

TEST_F(UnusedSettings, SecurityIsNamed) {
    const PRESParticipantSecurity its_security = {};
    security = &its_security;
    EXPECT_EQ(warnings_of(property), std::vector<std::string>{BEGINNING + "security"});
}

TEST_F(UnusedSettings, AllTogetherAreNamedInOneWarning) {
    const PRESParticipantSecurity its_security = {};
    security = &its_security;
    std::string all = BEGINNING;
    for (const UnusedSetting &setting : SETTINGS) {
        setting.give(property);
        all += std::string(setting.name) + ", ";
    }
    EXPECT_EQ(warnings_of(property), std::vector<std::string>{all + "security"});
}

TEST_F(UnusedSettings, NoWarningWhereWarningsAreNotPrinted) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    property.directedWriteGuidSerializationKind = 1;
    EXPECT_TRUE(warnings_of(property).empty());
}

TEST_F(UnusedSettings, NoWarningWhenThereIsNoParticipant) {
    faults::current().facade_fails = true;
    property.directedWriteGuidSerializationKind = 1;
    EXPECT_EQ(make(property), nullptr);
    EXPECT_TRUE(messages.take(NUV_LOG_LEVEL_WARNING).empty());
}

} // namespace
