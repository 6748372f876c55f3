// SPDX-License-Identifier: Apache-2.0
// Several threads at the same time; the thread sanitizer judges.
#include <algorithm>
#include <atomic>
#include <latch>
#include <mutex>
#include <thread>

#include "fixture.h"

namespace {

constexpr int THREADS = 4;

/** Runs an action in several threads that start together. */
template <class Action>
void in_threads(Action action) {
    std::latch start(THREADS);
    std::vector<std::jthread> threads;

    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            action(i);
        });
    }
}

class Threads : public ParticipantTest {};

TEST_F(Threads, CreateAndDeleteParticipants) {
    constexpr int ROUNDS = 25;

    in_threads([&](int) {
        for (int round = 0; round < ROUNDS; ++round) {
            DDS_DomainParticipant *const participant =
                DDS_DomainParticipantFactory_create_participant(factory, 0, qos.get(), nullptr, 0);
            DDS_GUID_t guid = {};

            ASSERT_NE(participant, nullptr);
            EXPECT_GE(DDS_DomainParticipant_get_participant_index(participant), 0);
            EXPECT_EQ(DDS_DomainParticipant_get_guid(participant, &guid), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                      DDS_RETCODE_OK);
        }
    });
}

TEST_F(Threads, GetParticipantsWithDifferentIndices) {
    std::mutex mutex;
    std::set<DDS_Long> indices;

    in_threads([&](int) {
        DDS_DomainParticipant *const participant =
            DDS_DomainParticipantFactory_create_participant(factory, 0, qos.get(), nullptr, 0);
        const DDS_Long index = DDS_DomainParticipant_get_participant_index(participant);
        const std::lock_guard lock(mutex);

        participants.push_back(participant);
        indices.insert(index);
    });
    EXPECT_EQ(indices, (std::set<DDS_Long>{0, 1, 2, 3}));
}

TEST_F(Threads, EnableOneParticipantOnce) {
    switch_autoenable_off();
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    in_threads([&](int) {
        EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    });
}

TEST_F(Threads, DeleteOneParticipantOnce) {
    DDS_DomainParticipant *const participant = create();
    std::atomic<int> deleted = 0;

    ASSERT_NE(participant, nullptr);
    participants.clear();
    in_threads([&](int) {
        const DDS_ReturnCode_t result =
            DDS_DomainParticipantFactory_delete_participant(factory, participant);

        EXPECT_TRUE(result == DDS_RETCODE_OK || result == DDS_RETCODE_BAD_PARAMETER);
        deleted += result == DDS_RETCODE_OK ? 1 : 0;
    });
    EXPECT_EQ(deleted, 1);
}

TEST_F(Threads, UseTopicsAndLocatorsOfOneParticipant) {
    constexpr int ROUNDS = 100;
    DDS_DomainParticipant *const participant = create();

    ASSERT_NE(participant, nullptr);
    in_threads([&](int thread) {
        const std::string name = "topic" + std::to_string(thread);

        for (int round = 0; round < ROUNDS; ++round) {
            DDS_Topic *const topic =
                DDS_DomainParticipant_create_topic(participant, name.c_str(), "type");

            ASSERT_NE(topic, nullptr);
            EXPECT_FALSE(
                locators(participant, DDS_DomainParticipant_get_default_unicast_locators).empty());
            EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
        }
    });
}

TEST_F(Threads, DoNotFinalizeTheFactoryWhileOthersUseIt) {
    constexpr int ROUNDS = 25;

    ASSERT_NE(create(), nullptr);
    in_threads([&](int thread) {
        for (int round = 0; round < ROUNDS; ++round) {
            if (thread == 0) {
                EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(),
                          DDS_RETCODE_PRECONDITION_NOT_MET);
            } else {
                DDS_DomainParticipant *const participant =
                    DDS_DomainParticipantFactory_create_participant(factory, 0, qos.get(), nullptr,
                                                                    0);

                ASSERT_NE(participant, nullptr);
                EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                          DDS_RETCODE_OK);
            }
        }
    });
}

TEST_F(Threads, MakeAndFinalizeTheFactory) {
    constexpr int ROUNDS = 5000; // many, so that threads are interrupted in between

    in_threads([&](int) {
        for (int round = 0; round < ROUNDS; ++round) {
            EXPECT_NE(DDS_DomainParticipantFactory_get_instance(), nullptr);
            EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
        }
    });
}

TEST_F(Threads, SetAndGetTheQosOfTheFactory) {
    constexpr int ROUNDS = 1000;

    in_threads([&](int) {
        for (int round = 0; round < ROUNDS; ++round) {
            const DDS_DomainParticipantFactoryQos given = {{DDS_BOOLEAN_FALSE}};
            DDS_DomainParticipantFactoryQos read = {{DDS_BOOLEAN_TRUE}};

            EXPECT_EQ(DDS_DomainParticipantFactory_set_qos(factory, &given), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_DomainParticipantFactory_get_qos(factory, &read), DDS_RETCODE_OK);
            EXPECT_EQ(read.entity_factory.autoenable_created_entities, DDS_BOOLEAN_FALSE);
        }
    });
}

TEST_F(Threads, GetTheSameFactory) {
    ASSERT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    std::vector<DDS_DomainParticipantFactory *> factories(THREADS);

    in_threads([&](int thread) {
        factories.at(static_cast<std::size_t>(thread)) =
            DDS_DomainParticipantFactory_get_instance();
    });
    factory = factories[0];
    EXPECT_EQ(std::ranges::count(factories, factory), THREADS);
}

} // namespace
