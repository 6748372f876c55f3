// SPDX-License-Identifier: Apache-2.0
// Every allocation and every call of a lower layer fails in turn.
#include "fixture.h"
#include "support/fault_loop.h"

namespace {

const std::vector<std::string_view> LOWER_LAYERS = {
    "COMMENDFacade_new",           "NUVNetioConfigurator_getTransportInfo",
    "NUVNetioConfigurator_new",    "NUVNetioConfigurator_openReceiveResource",
    "NUVNetioRuntime_new",         "NUVOsapiThreadFactory_createThread",
    "NUVOsapiThreadFactory_new",   "PRESParticipant_delete",
    "PRESParticipant_enable",      "PRESParticipant_getProperty",
    "PRESParticipant_new",         "PRESParticipant_preShutdownWakeup",
    "PRESParticipant_setProperty", "PRESParticipant_shutdown",
    "REDAExclusiveArea_new",       "REDAWorkerFactory_new"};

class Failure : public ParticipantTest {
protected:
    void finalize_factory() {
        EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
        factory = nullptr;
    }

    struct Created {
        DDS_DomainParticipant *participant;
        bool has_reason;
    };

    /** Makes a factory and a participant. */
    Created make() {
        log.clear();
        factory = DDS_DomainParticipantFactory_get_instance();
        DDS_DomainParticipant *const participant = factory != nullptr ? create() : nullptr;

        return {participant, !errors().empty() || !messages(NUV_LOG_LEVEL_FATAL).empty()};
    }

    /** Takes away what there is of them; nothing is to be left. */
    void unmake(const Created &created, const std::string &failed) {
        if (created.participant != nullptr) { // it could do without
            EXPECT_GE(DDS_DomainParticipant_get_participant_index(created.participant), 0)
                << failed;
            EXPECT_EQ(remove(created.participant), DDS_RETCODE_OK) << failed;
        } else {
            EXPECT_NE(failed, "");
        }
        finalize_factory();
        ASSERT_EQ(heap.change(), blocks_before) << failed;
        ASSERT_EQ(open_files(), files_before) << failed;
    }

    support::Blocks blocks_before; // without a factory
};

TEST_F(Failure, OfAnyAllocationLeavesAReasonAndNothingElse) {
    finalize_factory();
    blocks_before = heap.change();
    EXPECT_GT(faults::fail_each_allocation(
                  [&] { return make(); },
                  [&](const Created &created, const std::string &failed) {
                      EXPECT_TRUE(created.participant != nullptr || created.has_reason) << failed;
                      unmake(created, failed);
                  }),
              10);
}

TEST_F(Failure, OfAnyCallOfALowerLayerLeavesNothing) {
    finalize_factory();
    blocks_before = heap.change();
    EXPECT_GT(
        faults::fail_each_call(
            LOWER_LAYERS, [&] { return make(); },
            [&](const Created &created, const std::string &failed) { unmake(created, failed); }),
        10);
}

TEST_F(Failure, OfAnyAllocationWhileEnablingLeavesTheParticipantDisabledAndIntact) {
    switch_autoenable_off();
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    const std::multiset<std::string> files = open_files();

    EXPECT_GT(faults::fail_each_allocation(
                  [&] { return DDS_DomainParticipant_enable(participant); },
                  [&](DDS_ReturnCode_t result, const std::string &failed) {
                      if (result != DDS_RETCODE_OK) { // it can do without some of them
                          EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1)
                              << failed;
                          EXPECT_EQ(open_files(), files) << failed;
                      }
                  }),
              2);
    EXPECT_GE(DDS_DomainParticipant_get_participant_index(participant), 0);
}

TEST_F(Failure, OfAnyStepOfDeletingLeavesTheParticipantToBeDeletedAgain) {
    for (const char *step : {"PRESParticipant_preShutdownWakeup", "PRESParticipant_shutdown",
                             "PRESParticipant_delete"}) {
        DDS_DomainParticipant *const participant = create();

        ASSERT_NE(participant, nullptr);
        faults::fail(step, {.on = faults::Thread::THIS});
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_ERROR)
            << step;
        EXPECT_EQ(faults::failed(), step);
        EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(),
                  DDS_RETCODE_PRECONDITION_NOT_MET)
            << step;
        EXPECT_EQ(remove(participant), DDS_RETCODE_OK) << step;
    }
}

TEST_F(Failure, OfTheLastStepOfDeletingLeavesAParticipantThatIsNotEnabled) {
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    faults::fail("PRESParticipant_delete", {.on = faults::Thread::THIS});
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
              DDS_RETCODE_ERROR);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1);
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_NOT_ENABLED);
    for (const LocatorGetter get : {DDS_DomainParticipant_get_default_unicast_locators,
                                    DDS_DomainParticipant_get_default_multicast_locators,
                                    DDS_DomainParticipant_get_metatraffic_unicast_locators,
                                    DDS_DomainParticipant_get_metatraffic_multicast_locators}) {
        EXPECT_THAT(locators(participant, get), testing::IsEmpty());
    }
}

TEST_F(Failure, ToOpenAUnicastPortMeansTheNextIndex) {
    ASSERT_TRUE(DDS_StringSeq_set_length(&qos->discovery.multicast_receive_addresses, 0));
    faults::fail("NUVNetioConfigurator_openReceiveResource");
    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participants[0]), 1);
}

} // namespace
