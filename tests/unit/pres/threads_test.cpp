// SPDX-License-Identifier: Apache-2.0
// Several threads at one participant. That nothing races is for the thread sanitizer to say.
#include <atomic>
#include <functional>
#include <thread>

#include "fixture.h"

namespace {

class ParticipantThreads : public ParticipantTest {
protected:
    static constexpr int ROUNDS = 300;

    void SetUp() override {
        KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                         KOLS_CONFIG_LOG_VERBOSITY_SILENT);
        participant = make();
    }
    void TearDown() override {
        unmake(participant);
    }

    /** Runs each action ROUNDS times in a thread with a worker of its own. */
    void run_together(const std::vector<std::function<void(REDAWorker *)>> &actions) {
        std::vector<std::thread> threads;
        for (const auto &action : actions) {
            threads.emplace_back([this, action] {
                REDAWorker *const mine = REDAWorkerFactory_createWorker(worker_factory, "thread");
                for (int i = 0; i < ROUNDS; ++i) {
                    action(mine);
                }
                REDAWorkerFactory_destroyWorker(worker_factory, mine);
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    }

    PRESParticipant *participant = nullptr;
};

TEST_F(ParticipantThreads, APropertyIsReadWholeWhileOthersReplaceIt) {
    Source ones;
    ones.set_user_data("1").add_property("1", "1").set_partition("1");
    Source twos;
    twos.set_user_data("22").add_property("22", "22").set_partition("22");
    int reason = PRES_RETCODE_OK;
    ASSERT_NE(PRESParticipant_setProperty(participant, &reason, &ones.property, worker), 0);

    const auto set = [this](const Source &source) {
        return [this, &source](REDAWorker *mine) {
            int its_reason = PRES_RETCODE_OK;
            EXPECT_NE(PRESParticipant_setProperty(participant, &its_reason, &source.property, mine),
                      0);
        };
    };
    const auto get = [this](REDAWorker *mine) {
        Target now;
        EXPECT_NE(PRESParticipant_getProperty(participant, &now.property, mine), 0);
        const std::string text = now.user_data();
        EXPECT_TRUE(text == "1" || text == "22");
        EXPECT_EQ(now.properties(), std::vector<std::string>{text + "=" + text + "/0"});
        EXPECT_EQ(now.partition(), text);
    };
    run_together({set(ones), set(twos), get, get});
}

TEST_F(ParticipantThreads, OfSeveralThatAskForANameOneGetsIt) {
    std::atomic<int> holders = 0;
    const auto create_and_delete = [&](REDAWorker *mine) {
        int reason = PRES_RETCODE_OK;
        PRESTopic *const topic = PRESParticipant_createTopic(participant, &reason, "n", "T", mine);
        if (topic == nullptr) {
            EXPECT_EQ(reason, PRES_RETCODE_PRECONDITION_NOT_MET);
            return;
        }
        EXPECT_EQ(++holders, 1);
        EXPECT_STREQ(PRESTopic_getName(topic), "n");
        --holders;
        EXPECT_NE(PRESParticipant_deleteTopic(participant, &reason, topic, mine), 0);
    };
    const auto ask_for_another_type = [&](REDAWorker *mine) {
        int reason = PRES_RETCODE_OK;
        PRESTopic *const topic =
            PRESParticipant_createTopic(participant, &reason, "n", "Other", mine);
        if (topic != nullptr) {
            EXPECT_NE(PRESParticipant_deleteTopic(participant, &reason, topic, mine), 0);
        }
    };
    run_together({create_and_delete, create_and_delete, ask_for_another_type});
}

TEST_F(ParticipantThreads, EverythingElseMayGoOnTogether) {
    const auto change = [this](REDAWorker *mine) {
        int reason = PRES_RETCODE_OK;
        PRESParticipant_setProperty(participant, &reason, &PARTICIPANT_PROPERTY_DEFAULT, mine);
        PRESParticipant_preShutdownWakeup(participant, &reason, mine);
    };
    const auto look = [this](REDAWorker *mine) {
        NUVOsapiRtpsGuid out{};
        PRESParticipant_getGuid(participant, &out);
        PRESParticipant_isEnabled(participant, mine);
        PRESParticipant_hasTopic(participant, mine);
        PRESParticipant_getTransportInfoLength(participant, mine);
        PRESParticipant_getFacade(participant);
    };
    const auto topics = [this](REDAWorker *mine) {
        int reason = PRES_RETCODE_OK;
        PRESTopic *const topic = PRESParticipant_createTopic(participant, &reason, "n", "T", mine);
        if (topic != nullptr) {
            PRESTopic_isEnabled(topic);
            PRESParticipant_deleteTopic(participant, &reason, topic, mine);
        }
    };
    const auto life = [this, round = 0](REDAWorker *mine) mutable {
        const PRESSequenceTransportInfo none = {0, 0, nullptr};
        const int topics_too = 1;
        int reason = PRES_RETCODE_OK;
        if (++round < ROUNDS) {
            PRESParticipant_enable(participant, &topics_too, &LOCATOR_QOS_POLICY_DEFAULT,
                                   &LOCATOR_QOS_POLICY_DEFAULT, &REDUCED_LOCATOR_QOS_POLICY_DEFAULT,
                                   &none, mine);
        } else {
            PRESParticipant_shutdown(participant, &reason, mine);
        }
    };
    run_together({change, look, topics, life});
}

} // namespace
