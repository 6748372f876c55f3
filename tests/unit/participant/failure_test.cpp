// Every allocation and every call of a lower layer fails in turn.
#include <utility>

#include "fixture.h"
#include "seams.h"

using support::Blocks;

namespace {

constexpr int MORE_THAN_THERE_ARE = 2000;

class Failure : public ParticipantTest {
protected:
    void finalize_factory() {
        EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
        factory = nullptr;
    }

    /**
     * Creates a factory and a participant and deletes both, again and again, with another failure
     * that @p prepare brings about each time, until none happens any more.
     */
    template <class Prepare>
    void fail_each_in_turn(Prepare prepare, bool wants_reason) {
        finalize_factory();
        const Blocks before = heap.change();

        for (int nth = 0; nth < MORE_THAN_THERE_ARE; ++nth) {
            log.clear();
            prepare(nth);
            factory = DDS_DomainParticipantFactory_get_instance();
            DDS_DomainParticipant *const participant = factory != nullptr ? create() : nullptr;
            const std::string failed = std::exchange(seams::current(), {}).failed;
            const bool has_reason = !errors().empty() || !messages(NUV_LOG_LEVEL_FATAL).empty();

            if (participant != nullptr) { // it could do without
                EXPECT_GE(DDS_DomainParticipant_get_participant_index(participant), 0) << failed;
                EXPECT_EQ(remove(participant), DDS_RETCODE_OK) << failed;
            }
            EXPECT_TRUE(participant != nullptr || has_reason || !wants_reason) << failed;
            finalize_factory();
            ASSERT_EQ(heap.change(), before) << nth << ": " << failed;
            ASSERT_EQ(open_files(), files_before) << nth << ": " << failed;
            if (failed.empty()) {
                EXPECT_NE(participant, nullptr);
                EXPECT_GT(nth, 10);
                return;
            }
        }
        FAIL() << "there is no end of it";
    }

    const seams::Guard guard;
};

TEST_F(Failure, OfAnyAllocationLeavesAReasonAndNothingElse) {
    fail_each_in_turn([](int nth) { seams::current().allocations_until_failure = nth; }, true);
}

TEST_F(Failure, OfAnyCallOfALowerLayerLeavesNothing) {
    fail_each_in_turn([](int nth) { seams::current().calls_until_failure = nth; }, false);
}

TEST_F(Failure, OfAnyAllocationWhileEnablingLeavesTheParticipantDisabledAndIntact) {
    switch_autoenable_off();
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    const std::multiset<std::string> files = open_files();

    for (int nth = 0; nth < MORE_THAN_THERE_ARE; ++nth) {
        seams::current().allocations_until_failure = nth;
        const DDS_ReturnCode_t result = DDS_DomainParticipant_enable(participant);
        const std::string failed = std::exchange(seams::current(), {}).failed;

        if (result == DDS_RETCODE_OK) {
            EXPECT_GE(DDS_DomainParticipant_get_participant_index(participant), 0);
            EXPECT_GT(nth, 2);
            return;
        }
        ASSERT_NE(failed, "");
        EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1) << failed;
        EXPECT_EQ(open_files(), files) << failed;
    }
    FAIL() << "there is no end of it";
}

TEST_F(Failure, OfAnyStepOfDeletingLeavesTheParticipantToBeDeletedAgain) {
    for (const char *step : {"PRESParticipant_preShutdownWakeup", "PRESParticipant_shutdown",
                             "PRESParticipant_delete"}) {
        DDS_DomainParticipant *const participant = create();

        ASSERT_NE(participant, nullptr);
        seams::current().call_to_fail = step;
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_ERROR)
            << step;
        EXPECT_EQ(seams::current().failed, step);
        EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(),
                  DDS_RETCODE_PRECONDITION_NOT_MET)
            << step;
        EXPECT_EQ(remove(participant), DDS_RETCODE_OK) << step;
    }
}

TEST_F(Failure, ToOpenAUnicastPortMeansTheNextIndex) {
    ASSERT_TRUE(DDS_StringSeq_set_length(&qos->discovery.multicast_receive_addresses, 0));
    seams::current().call_to_fail = "NUVNetioConfigurator_openReceiveResource";
    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participants[0]), 1);
}

} // namespace
