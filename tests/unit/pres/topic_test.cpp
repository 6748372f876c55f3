// SPDX-License-Identifier: Apache-2.0
// A participant's topics.
#include "fixture.h"

namespace {

class TopicTest : public ParticipantTest {
protected:
    void SetUp() override {
        participant = make();
    }
    void TearDown() override {
        unmake(participant);
    }

    PRESTopic *try_create(const char *name, const char *type_name) {
        reason = PRES_RETCODE_OK;
        return PRESParticipant_createTopic(participant, &reason, name, type_name, worker);
    }

    PRESParticipant *participant = nullptr;
    int reason = PRES_RETCODE_OK;
};

TEST_F(TopicTest, HasACopyOfItsNameAndType) {
    char name[] = "Square";
    char type_name[] = "Shape";
    PRESTopic *const topic = create_topic(participant, name, type_name);
    name[0] = type_name[0] = '#';
    EXPECT_STREQ(PRESTopic_getName(topic), "Square");
    EXPECT_STREQ(PRESTopic_getTypeName(topic), "Shape");
    EXPECT_EQ(PRESTopic_isEnabled(topic), 0);
    delete_topic(participant, topic);
}

TEST_F(TopicTest, TheParticipantHasATopicUntilTheLastIsDeleted) {
    PRESTopic *const first = create_topic(participant, "1");
    PRESTopic *const second = create_topic(participant, "2");
    PRESTopic *const third = create_topic(participant, "3");
    EXPECT_NE(PRESParticipant_hasTopic(participant, worker), 0);
    delete_topic(participant, second);
    delete_topic(participant, first);
    EXPECT_NE(PRESParticipant_hasTopic(participant, worker), 0);
    delete_topic(participant, third);
    EXPECT_EQ(PRESParticipant_hasTopic(participant, worker), 0);
}

TEST_F(TopicTest, NeedsANameAndAType) {
    const char *const wrong[][2] = {{nullptr, "T"}, {"", "T"}, {"n", nullptr}, {"n", ""}};
    for (const auto &[name, type_name] : wrong) {
        EXPECT_EQ(try_create(name, type_name), nullptr);
        EXPECT_EQ(reason, PRES_RETCODE_BAD_PARAMETER);
        EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
                  std::vector<std::string>{"a topic needs a name and a type"});
    }
    EXPECT_EQ(PRESParticipant_hasTopic(participant, worker), 0);
}

TEST_F(TopicTest, ANameThatExistsIsRefused) {
    PRESTopic *const topic = create_topic(participant, "n", "T");
    EXPECT_EQ(try_create("n", "T"), nullptr);
    EXPECT_EQ(reason, PRES_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{"topic 'n' exists already"});
    delete_topic(participant, topic);
}

TEST_F(TopicTest, ANameIsFreeAgainOnceItsTopicIsDeleted) {
    delete_topic(participant, create_topic(participant, "n", "T"));
    delete_topic(participant, create_topic(participant, "n", "Other"));
}

TEST_F(TopicTest, ANameThatExistsWithAnotherTypeIsRefusedAlsoWithoutAListener) {
    PRESTopic *const topic = create_topic(participant, "n", "T");
    EXPECT_EQ(try_create("n", "Other"), nullptr);
    EXPECT_EQ(reason, PRES_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{
                  "topic 'n' exists already with type 'T' and cannot have type 'Other'"});
    delete_topic(participant, topic);
}

TEST_F(TopicTest, ATopicThatTheParticipantDoesNotHaveCannotBeDeleted) {
    PRESTopic *const topic = create_topic(participant, "n");
    delete_topic(participant, topic);
    EXPECT_EQ(PRESParticipant_deleteTopic(participant, &reason, topic, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(PRESParticipant_deleteTopic(participant, &reason, nullptr, worker), 0);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>(2, "cannot delete a topic that the participant does not "
                                          "have"));
}

TEST_F(TopicTest, EachAllocationThatFailsLeavesNoTopic) {
    const NUV_UINT64 blocks = live_blocks();
    PRESTopic *topic = nullptr;
    const int failed = faults::fail_each_allocation(
        [&] { return (topic = try_create("n", "T")) != nullptr; },
        [&] {
            EXPECT_EQ(reason, PRES_RETCODE_OUT_OF_RESOURCES);
            EXPECT_EQ(PRESParticipant_hasTopic(participant, worker), 0);
            EXPECT_EQ(live_blocks(), blocks);
            EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
                      std::vector<std::string>{"out of memory for topic 'n'"});
        });
    EXPECT_EQ(failed, 3);
    delete_topic(participant, topic);
    EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(TopicTest, NoTopicIsMadeAfterTheWakeUpForShutdown) {
    PRESTopic *const topic = create_topic(participant, "n");
    EXPECT_NE(PRESParticipant_preShutdownWakeup(participant, &reason, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_OK);
    EXPECT_EQ(try_create("m", "T"), nullptr);
    EXPECT_EQ(reason, PRES_RETCODE_ALREADY_DELETED);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{"topic 'm' asked for of a participant that is going down"});
    delete_topic(participant, topic);
}

TEST_F(TopicTest, NoTopicIsMadeAfterTheShutdown) {
    ASSERT_NE(PRESParticipant_shutdown(participant, &reason, worker), 0);
    EXPECT_EQ(try_create("m", "T"), nullptr);
    EXPECT_EQ(reason, PRES_RETCODE_ALREADY_DELETED);
}

TEST_F(TopicTest, AParticipantWithTopicsCannotBeDeleted) {
    PRESTopic *const topic = create_topic(participant, "n");
    EXPECT_EQ(PRESParticipant_delete(participant, &reason, worker), 0);
    EXPECT_EQ(reason, PRES_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(messages.take(NUV_LOG_LEVEL_ERROR),
              std::vector<std::string>{"cannot delete a participant that has topics"});
    EXPECT_STREQ(PRESTopic_getName(topic), "n");
    delete_topic(participant, topic);
}

TEST_F(TopicTest, TopicsAreEnabledWithTheParticipantWhenThatIsAsked) {
    PRESTopic *const first = create_topic(participant, "1");
    PRESTopic *const second = create_topic(participant, "2");
    ASSERT_NE(enable(participant, 1), 0);
    EXPECT_NE(PRESTopic_isEnabled(first), 0);
    EXPECT_NE(PRESTopic_isEnabled(second), 0);
    delete_topic(participant, first);
    delete_topic(participant, second);
}

TEST_F(TopicTest, TopicsStayDisabledWhenEnablingThemIsNotAsked) {
    PRESTopic *const topic = create_topic(participant, "n");
    ASSERT_NE(enable(participant, 0), 0);
    EXPECT_EQ(PRESTopic_isEnabled(topic), 0);
    delete_topic(participant, topic);
}

TEST_F(TopicTest, AnEnabledParticipantEnablesNewTopicsAtOnce) {
    ASSERT_NE(enable(participant), 0);
    PRESTopic *const topic = create_topic(participant, "n");
    EXPECT_NE(PRESTopic_isEnabled(topic), 0);
    delete_topic(participant, topic);
}

TEST_F(TopicTest, UnlessItsPropertySaysOtherwise) {
    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;
    property.parameter.autoenableCreatedEntities = 0;
    ASSERT_NE(enable(participant), 0);
    ASSERT_NE(PRESParticipant_setProperty(participant, &reason, &property, worker), 0);
    PRESTopic *const topic = create_topic(participant, "n");
    EXPECT_EQ(PRESTopic_isEnabled(topic), 0);
    delete_topic(participant, topic);
}

class TopicListenerTest : public ParticipantTest {
protected:
    struct Told {
        PRESParticipant *participant = nullptr;
        std::vector<std::string> names;
        std::vector<int> had_topics; // what the participant answers from within
    };

    static void note(void *param, PRESTopic *topic, REDAWorker *its_worker) {
        Told &told = *static_cast<Told *>(param);
        told.names.push_back(PRESTopic_getName(topic));
        // Would never end with a lock of the participant held.
        told.had_topics.push_back(PRESParticipant_hasTopic(told.participant, its_worker));
    }

    static void delete_and_note(void *param, PRESTopic *topic, REDAWorker *its_worker) {
        Told &told = *static_cast<Told *>(param);
        int reason = PRES_RETCODE_OK;
        EXPECT_NE(PRESParticipant_deleteTopic(told.participant, &reason, topic, its_worker), 0);
        note(param, topic, its_worker);
    }

    void make_with_listener() {
        listener = &topic_listener;
        finalize_listener = &before_finalize;
        told.participant = make();
        // Both were copied.
        topic_listener = {};
        before_finalize = {};
    }

    int ask_for_another_type(const char *name) {
        int reason = PRES_RETCODE_OK;
        EXPECT_EQ(PRESParticipant_createTopic(told.participant, &reason, name, "Other", worker),
                  nullptr);
        return reason;
    }

    Told told;
    PRESParticipantListener topic_listener = {note, &told};
    PRESParticipantEntityFinalizeListener before_finalize = {};
};

TEST_F(TopicListenerTest, IsToldOfAnotherTypeWithNoLockHeld) {
    listener_mask = PRES_STATUS_KIND_INCONSISTENT_TOPIC;
    make_with_listener();
    PRESTopic *const topic = create_topic(told.participant, "n", "T");
    EXPECT_EQ(ask_for_another_type("n"), PRES_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(told.names, std::vector<std::string>{"n"});
    EXPECT_EQ(told.had_topics, std::vector<int>{1});
    delete_topic(told.participant, topic);
    unmake(told.participant);
}

TEST_F(TopicListenerTest, IsNotToldOfTheSameType) {
    listener_mask = PRES_STATUS_KIND_INCONSISTENT_TOPIC;
    make_with_listener();
    PRESTopic *const topic = create_topic(told.participant, "n", "T");
    int reason = PRES_RETCODE_OK;
    EXPECT_EQ(PRESParticipant_createTopic(told.participant, &reason, "n", "T", worker), nullptr);
    EXPECT_TRUE(told.names.empty());
    delete_topic(told.participant, topic);
    unmake(told.participant);
}

TEST_F(TopicListenerTest, IsNotToldWithoutItsBitInTheMask) {
    listener_mask = ~PRES_STATUS_KIND_INCONSISTENT_TOPIC;
    make_with_listener();
    PRESTopic *const topic = create_topic(told.participant, "n", "T");
    ask_for_another_type("n");
    EXPECT_TRUE(told.names.empty());
    delete_topic(told.participant, topic);
    unmake(told.participant);
}

TEST_F(TopicListenerTest, MayHaveNoCallback) {
    topic_listener = {};
    listener_mask = PRES_STATUS_KIND_INCONSISTENT_TOPIC;
    make_with_listener();
    PRESTopic *const topic = create_topic(told.participant, "n", "T");
    EXPECT_EQ(ask_for_another_type("n"), PRES_RETCODE_PRECONDITION_NOT_MET);
    delete_topic(told.participant, topic);
    unmake(told.participant);
}

TEST_F(TopicListenerTest, TheTopicThatItIsToldOfOutlivesTheCall) {
    topic_listener.onInconsistentTopic = delete_and_note;
    listener_mask = PRES_STATUS_KIND_INCONSISTENT_TOPIC;
    make_with_listener();
    create_topic(told.participant, "n", "T");
    ask_for_another_type("n");
    EXPECT_EQ(told.names, std::vector<std::string>{"n"});
    EXPECT_EQ(told.had_topics, std::vector<int>{0});
    unmake(told.participant);
}

TEST_F(TopicListenerTest, IsToldBeforeATopicGoesWithNoLockHeld) {
    before_finalize.onBeforeTopicFinalize = note;
    before_finalize.onBeforeTopicFinalizeParam = &told;
    make_with_listener();
    delete_topic(told.participant, create_topic(told.participant, "n"));
    EXPECT_EQ(told.names, std::vector<std::string>{"n"});
    EXPECT_EQ(told.had_topics, std::vector<int>{0});
    unmake(told.participant);
}

} // namespace
