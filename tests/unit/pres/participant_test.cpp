// SPDX-License-Identifier: Apache-2.0
// The life of a participant: made, enabled, shut down, deleted.
#include <algorithm>

#include "fixture.h"

namespace {

constexpr int YES = 1;

TEST_F(ParticipantTest, ANewParticipantIsNotEnabledAndHasNothing) {
    PRESParticipant *const participant = make();
    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(PRESParticipant_isEnabled(participant, worker), 0);
    EXPECT_EQ(PRESParticipant_hasTopic(participant, worker), 0);
    EXPECT_EQ(PRESParticipant_getTransportInfoLength(participant, worker), 0u);
    unmake(participant);
}

TEST_F(ParticipantTest, KnowsItsGuid) {
    PRESParticipant *const participant = make();
    guid = {{9, 9, 9}, 9};
    NUVOsapiRtpsGuid out{};
    PRESParticipant_getGuid(participant, &out);
    EXPECT_EQ(out.prefix.hostId, 0x11u);
    EXPECT_EQ(out.prefix.appId, 0x22u);
    EXPECT_EQ(out.prefix.instanceId, 0x33u);
    EXPECT_EQ(out.objectId, NUV_OSAPI_RTPS_OBJECT_ID_PARTICIPANT);
    unmake(participant);
}

TEST_F(ParticipantTest, HasAFacadeAndDeletesIt) {
    PRESParticipant *const participant = make();
    COMMENDFacade *const facade = PRESParticipant_getFacade(participant);
    ASSERT_NE(facade, nullptr);
    EXPECT_EQ(PRESParticipant_getFacade(participant), facade);
    const COMMENDFacade *deleted = nullptr;
    faults::replace("COMMENDFacade_delete", [&](COMMENDFacade *self, REDAWorker *caller) {
        deleted = self;
        return COMMENDFacade_delete(self, caller);
    });
    unmake(participant);
    EXPECT_EQ(deleted, facade);
}

TEST_F(ParticipantTest, AFailingFacadeFailsTheParticipantAndSaysNoMore) {
    const NUV_UINT64 blocks = live_blocks();
    faults::fail("COMMENDFacade_new"); // without a word, unlike the real one
    EXPECT_EQ(make(full_source().property), nullptr);
    EXPECT_TRUE(messages.take(NUV_LOG_LEVEL_ERROR).empty());
    EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(ParticipantTest, PartsLongerThanTheLimitsFailTheParticipant) {
    Source source = full_source();
    source.property.parameter.resourceLimits.userDataMaxLength = 3;
    EXPECT_EQ(make(source.property), nullptr);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{
                  "cannot create a participant: resource_limits.participant_user_data_max_length: "
                  "4 octets of user data, at most 3"});
}

TEST_F(ParticipantTest, EachAllocationThatFailsFailsTheParticipantWithOneMessage) {
    const Source source = full_source();
    const NUV_UINT64 blocks = live_blocks();
    PRESParticipant *participant = nullptr;
    const int failed = faults::fail_each_allocation(
        [&] { return (participant = make(source.property)) != nullptr; },
        [&] {
            EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR).size(), 1u);
            EXPECT_EQ(live_blocks(), blocks);
        });
    EXPECT_GE(failed, 5); // the participant, four parts of its property, its facade
    ASSERT_NE(participant, nullptr);
    unmake(participant);
}

TEST_F(ParticipantTest, MissingAreasGuidOrPropertyAreFailedPreconditions) {
    const auto make_with = [this](const NUVOsapiRtpsGuid *its_guid, REDAExclusiveArea *table,
                                  REDAExclusiveArea *record,
                                  const PRESParticipantProperty *property) {
        return PRESParticipant_new(its_guid, configurator, worker_factory, nullptr, nullptr,
                                   nullptr, table, record, nullptr, nullptr, nullptr, property,
                                   nullptr, 0, nullptr, nullptr, nullptr, nullptr, worker);
    };
    const auto failed = [this](const char *what) {
        const int detected = NUVLog_g_preconditionDetected;
        NUVLog_g_preconditionDetected = 0;
        return detected == 1 &&
               messages.take(NUV_LOG_LEVEL_FATAL) ==
                   std::vector<std::string>{"precondition failed: \"" + std::string(what) +
                                            " == ((void *)0)\""};
    };
    NUVLog_g_detectPrecondition = 1;
    EXPECT_EQ(make_with(nullptr, table_ea, record_ea, &PARTICIPANT_PROPERTY_DEFAULT), nullptr);
    EXPECT_TRUE(failed("guid"));
    EXPECT_EQ(make_with(&guid, nullptr, record_ea, &PARTICIPANT_PROPERTY_DEFAULT), nullptr);
    EXPECT_TRUE(failed("tableEa"));
    EXPECT_EQ(make_with(&guid, table_ea, nullptr, &PARTICIPANT_PROPERTY_DEFAULT), nullptr);
    EXPECT_TRUE(failed("recordEa"));
    EXPECT_EQ(make_with(&guid, table_ea, record_ea, nullptr), nullptr);
    EXPECT_TRUE(failed("property"));
    NUVLog_g_detectPrecondition = 0;
}

TEST_F(ParticipantTest, EnablingHandsLocatorsAndTransportsOver) {
    const auto default_unicast = locators({1, 2}, 7411);
    const auto metatraffic_unicast = locators({1}, 7410);
    auto metatraffic_multicast = locators<PRESReducedLocatorQosPolicy>({3}, 7400);
    metatraffic_multicast.locatorList[0].hostname = "host";
    std::vector<NUVNetioTransportInfo> infos = {{KOLS_TRANSPORT_CLASSID_UDPv4, 65507},
                                                {KOLS_TRANSPORT_CLASSID_UDPv6, 65527}};
    const PRESSequenceTransportInfo transports = {12, 2, infos.data()};

    PRESParticipant *const participant = make();
    EXPECT_NE(PRESParticipant_enable(participant, nullptr, &default_unicast, &metatraffic_unicast,
                                     &metatraffic_multicast, &transports, worker),
              0);
    EXPECT_NE(PRESParticipant_isEnabled(participant, worker), 0);
    EXPECT_EQ(PRESParticipant_getTransportInfoLength(participant, worker), 2u);
    Target now;
    ASSERT_NE(PRESParticipant_getProperty(participant, &now.property, worker), 0);
    const PRESParticipantParameter &parameter = now.property.parameter;
    EXPECT_EQ(to_text(parameter.defaultUnicastLocator),
              "udpv4://192.0.2.1:7411, udpv4://192.0.2.2:7411");
    EXPECT_EQ(to_text(parameter.metatrafficUnicastLocator), "udpv4://192.0.2.1:7410");
    EXPECT_EQ(to_text(parameter.metatrafficMulticastLocator), "udpv4://192.0.2.3:7400");
    EXPECT_EQ(parameter.metatrafficMulticastLocator.locatorList[0].hostname, nullptr);
    unmake(participant);
}

TEST_F(ParticipantTest, EnablingWorksWithoutTransports) {
    const PRESSequenceTransportInfo none = {0, 0, nullptr};
    PRESParticipant *const participant = make();
    EXPECT_NE(PRESParticipant_enable(participant, nullptr, &LOCATOR_QOS_POLICY_DEFAULT,
                                     &LOCATOR_QOS_POLICY_DEFAULT,
                                     &REDUCED_LOCATOR_QOS_POLICY_DEFAULT, &none, worker),
              0);
    EXPECT_EQ(PRESParticipant_getTransportInfoLength(participant, worker), 0u);
    unmake(participant);
}

TEST_F(ParticipantTest, EnablingTwiceChangesNothing) {
    PRESParticipant *const participant = make();
    PRESTopic *const topic = create_topic(participant, "t");
    ASSERT_NE(enable(participant), 0);
    const NUV_UINT64 blocks = live_blocks();

    const auto others = locators({7});
    NUVNetioTransportInfo infos[2] = {};
    const PRESSequenceTransportInfo transports = {2, 2, infos};
    EXPECT_NE(PRESParticipant_enable(participant, &YES, &others, &others,
                                     &REDUCED_LOCATOR_QOS_POLICY_DEFAULT, &transports, worker),
              0);
    EXPECT_EQ(PRESParticipant_getTransportInfoLength(participant, worker), 1u);
    EXPECT_EQ(PRESTopic_isEnabled(topic), 0);
    EXPECT_EQ(live_blocks(), blocks);
    Target now;
    ASSERT_NE(PRESParticipant_getProperty(participant, &now.property, worker), 0);
    EXPECT_EQ(to_text(now.property.parameter.defaultUnicastLocator), "udpv4://192.0.2.1:7411");
    delete_topic(participant, topic);
    unmake(participant);
}

TEST_F(ParticipantTest, EnablingWithoutMemoryLeavesTheParticipantAsItWas) {
    PRESParticipant *const participant = make();
    const NUV_UINT64 blocks = live_blocks();
    const int failed = faults::fail_each_allocation(
        [&] { return enable(participant) != 0; },
        [&] {
            EXPECT_EQ(PRESParticipant_isEnabled(participant, worker), 0);
            EXPECT_EQ(PRESParticipant_getTransportInfoLength(participant, worker), 0u);
            EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
                      std::vector<std::string>{"out of memory for the list of 1 transports"});
            EXPECT_EQ(live_blocks(), blocks);
            Target now;
            ASSERT_NE(PRESParticipant_getProperty(participant, &now.property, worker), 0);
            EXPECT_EQ(now.property.parameter.defaultUnicastLocator.count, 0);
        });
    EXPECT_EQ(failed, 1);
    EXPECT_NE(PRESParticipant_isEnabled(participant, worker), 0);
    unmake(participant);
}

TEST_F(ParticipantTest, AParticipantThatWasShutDownCannotBeEnabled) {
    int reason = PRES_RETCODE_OK;
    PRESParticipant *const participant = make();
    ASSERT_NE(PRESParticipant_shutdown(participant, &reason, worker), 0);
    EXPECT_EQ(enable(participant), 0);
    EXPECT_EQ(PRESParticipant_isEnabled(participant, worker), 0);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{"cannot enable a participant that was shut down"});
    unmake(participant);
}

TEST_F(ParticipantTest, ShuttingDownEndsBeingEnabledAndMayBeRepeated) {
    int reason = PRES_RETCODE_OK;
    PRESParticipant *const participant = make();
    ASSERT_NE(enable(participant), 0);
    EXPECT_NE(PRESParticipant_shutdown(participant, &reason, worker), 0);
    EXPECT_EQ(PRESParticipant_isEnabled(participant, worker), 0);
    EXPECT_NE(PRESParticipant_shutdown(participant, &reason, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_OK);
    unmake(participant);
}

TEST_F(ParticipantTest, DeletingNeedsTheShutdownOfAnEnabledParticipant) {
    int reason = PRES_RETCODE_OK;
    PRESParticipant *const participant = make();
    ASSERT_NE(enable(participant), 0);
    EXPECT_EQ(PRESParticipant_delete(participant, &reason, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{"cannot delete a participant that was not shut down"});
    EXPECT_NE(PRESParticipant_isEnabled(participant, worker), 0);
    unmake(participant);
}

TEST_F(ParticipantTest, AParticipantThatNeverWasEnabledIsDeletedAtOnce) {
    int reason = PRES_RETCODE_OK;
    const NUV_UINT64 blocks = live_blocks();
    PRESParticipant *const participant = make(full_source().property);
    EXPECT_NE(PRESParticipant_delete(participant, &reason, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_OK);
    EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(ParticipantTest, DeletingFreesEverything) {
    const NUV_UINT64 blocks = live_blocks();
    PRESParticipant *const participant = make(full_source().property);
    ASSERT_NE(enable(participant), 0);
    EXPECT_GT(live_blocks(), blocks);
    unmake(participant);
    EXPECT_EQ(live_blocks(), blocks);
}

// Stands in the facade's slot and keeps what it is given.
COMMENDMessageListener last_listener = {};
int listeners_set = 0;

void keep_listener(COMMENDFacade *, const COMMENDMessageListener *its_listener, REDAWorker *) {
    last_listener = *its_listener;
    ++listeners_set;
}

class MessageHandOn : public ParticipantTest {
protected:
    void SetUp() override {
        last_listener = {};
        listeners_set = 0;
        participant = make();
        PRESParticipant_getFacade(participant)->setMessageListener = keep_listener;
    }

    PRESParticipant *participant = nullptr;
};

TEST_F(MessageHandOn, StartsWhenEnabledAndEndsWithTheShutdown) {
    EXPECT_EQ(last_listener.onMessage, nullptr);
    ASSERT_NE(enable(participant), 0);
    EXPECT_NE(last_listener.onMessage, nullptr);
    ASSERT_NE(enable(participant), 0);
    EXPECT_EQ(listeners_set, 1);

    int reason = PRES_RETCODE_OK;
    ASSERT_NE(PRESParticipant_shutdown(participant, &reason, worker), 0);
    EXPECT_EQ(last_listener.onMessage, nullptr);
    EXPECT_EQ(listeners_set, 2);
    unmake(participant);
    EXPECT_EQ(listeners_set, 2);
}

TEST_F(MessageHandOn, TheShutdownTellsHowManyMessagesCame) {
    ASSERT_NE(enable(participant), 0);
    ASSERT_NE(last_listener.onMessage, nullptr);
    const NUVNetioMessage message = {};
    for (int i = 0; i < 3; ++i) {
        last_listener.onMessage(last_listener.param, &message, worker);
    }
    messages.take(NUV_LOG_LEVEL_DEBUG);
    unmake(participant);
    const std::vector<std::string> told = messages.take(NUV_LOG_LEVEL_DEBUG);
    EXPECT_NE(std::find(told.begin(), told.end(), "shut down after 3 messages"), told.end());
}

TEST_F(ParticipantTest, NothingIsPrintedThatTheMasksForbid) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    PRESParticipant *const participant = make();
    EXPECT_EQ(PRESParticipant_delete(participant, nullptr, nullptr), 1);
    Source source = full_source();
    source.property.parameter.resourceLimits.userDataMaxLength = 3;
    EXPECT_EQ(make(source.property), nullptr);
    EXPECT_TRUE(messages.take(NUV_LOG_LEVEL_ERROR).empty());
}

TEST_F(ParticipantTest, WhatTheWorkerDoesCanAskForMessagesThatTheMasksForbid) {
    KOLS_Config_Logger *const logger = KOLS_Config_Logger_get_instance();
    KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    KOLS_Config_Logger_set_verbosity_by_category(logger, NUV_LOG_CATEGORY_ENABLE,
                                                 NUV_LOG_LEVEL_ERROR);
    worker->_activityContext->category = NUV_LOG_CATEGORY_ENABLE;
    Source source = full_source();
    source.property.parameter.resourceLimits.userDataMaxLength = 3;
    EXPECT_EQ(make(source.property), nullptr);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR).size(), 1u);
}

} // namespace
