// SPDX-License-Identifier: Apache-2.0
// Several threads at the same participant; the thread sanitizer judges.
#include <latch>
#include <thread>

#include "fixture.h"

namespace {

constexpr int ROUNDS = 100;

class Threads : public ParticipantQos {
protected:
    /** Runs actions in threads that start together, each many times. */
    template <typename... Action>
    static void together(Action... actions) {
        std::latch start(sizeof...(actions));
        std::vector<std::jthread> threads;
        const auto run = [&start](auto action) {
            start.arrive_and_wait();
            for (int round = 0; round < ROUNDS; ++round) {
                action(round);
            }
        };
        (threads.emplace_back([run, actions] { run(actions); }), ...);
    }
};

TEST_F(Threads, GetSetAndUpdateAtTheSameTime) {
    qos.setUserData({0, 0});
    create();
    const auto reads = [this](int) {
        Qos now;
        EXPECT_EQ(DDS_DomainParticipant_get_qos(participant, now.get()), DDS_RETCODE_OK);
        const DDS_OctetSeq &octets = now->user_data.value;
        ASSERT_EQ(octets._length, 2);
        EXPECT_EQ(octets._buffer[0], octets._buffer[1]) << "the QoS of one change, not of two";
        EXPECT_EQ(now->discovery.initial_peers._length, 2 + octets._buffer[0] % 2);
    };
    const auto writes = [this](int round) {
        Qos next;
        next.setDefault();
        const auto octet = static_cast<DDS_Octet>(round);
        next.setUserData({octet, octet});
        if (octet % 2 != 0) {
            next.addPeer("192.0.2.1");
        }
        EXPECT_EQ(DDS_DomainParticipant_set_qos(participant, next.get()), DDS_RETCODE_OK);
    };
    const auto updates = [this](int) {
        EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        EXPECT_FALSE(locators().empty());
    };
    together(reads, reads, writes, writes, updates, updates);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
}

TEST_F(Threads, EnableWhileOthersGetSetAndUpdate) {
    create(false);
    const auto enables = [this](int) {
        EXPECT_EQ(DDS_DomainParticipant_enable(participant), DDS_RETCODE_OK);
    };
    const auto reads = [this](int) {
        Qos now;
        EXPECT_EQ(DDS_DomainParticipant_get_qos(participant, now.get()), DDS_RETCODE_OK);
        EXPECT_TRUE(now == qos);
    };
    const auto writes = [this](int) { EXPECT_EQ(set(), DDS_RETCODE_OK); };
    const auto updates = [this](int) {
        const DDS_ReturnCode_t result = DDS_DomainParticipant_update_locators(participant);
        EXPECT_TRUE(result == DDS_RETCODE_OK || result == DDS_RETCODE_NOT_ENABLED);
    };
    together(enables, reads, writes, updates);
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
}

TEST_F(Threads, ChangeDifferentParticipantsAtTheSameTime) {
    create();
    DDS_DomainParticipant *const first = participant;
    create();
    DDS_DomainParticipant *const second = participant;
    const auto change = [](DDS_DomainParticipant *of) {
        return [of](int round) {
            Qos next;
            next.setDefault();
            next.setUserData({static_cast<DDS_Octet>(round)});
            EXPECT_EQ(DDS_DomainParticipant_set_qos(of, next.get()), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_DomainParticipant_update_locators(of), DDS_RETCODE_OK);
            Qos now;
            EXPECT_EQ(DDS_DomainParticipant_get_qos(of, now.get()), DDS_RETCODE_OK);
            EXPECT_TRUE(now == next);
        };
    };
    together(change(first), change(second));
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, first), DDS_RETCODE_OK);
}

} // namespace
