// SPDX-License-Identifier: Apache-2.0
// Participants of one process: on demand, with a listener, many of them.
#include <atomic>
#include <mutex>
#include <thread>

#include <gmock/gmock.h>

#include "following_library.h"
#include "osapi/osapi_heap.h"

using following::default_port;
using following::Families;
using following::host_addresses;
using following::LibraryTest;
using following::metatraffic_port;
using following::OpenFiles;
using following::Texts;
using support::Blocks;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string address(int i) {
    return "198.51.100." + std::to_string(i);
}

void add_address(int i) {
    ip({"address", "add", address(i) + "/32", "dev", "net0"});
}

void remove_address(int i) {
    ip({"address", "del", address(i) + "/32", "dev", "net0"});
}

class FollowingOnDemand : public LibraryTest {};

TEST_F(FollowingOnDemand, HappensAtOnce) {
    DDS_DomainParticipant *const participant = create();
    Texts addresses = {"192.0.2.2"};

    for (int i = 1; i <= 10; ++i) {
        add_address(i);
        addresses.push_back(address(i));
        ASSERT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        ASSERT_TRUE(has(participant, addresses))
            << testing::PrintToString(default_unicast(participant));
    }
    for (int i = 10; i >= 1; --i) {
        remove_address(i);
        addresses.pop_back();
        ASSERT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        ASSERT_TRUE(has(participant, addresses))
            << testing::PrintToString(default_unicast(participant));
    }
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingOnDemand, TheLastAddressIsLostAndRegainedAtOnce) {
    DDS_DomainParticipant *const participant = create();

    ip({"link", "set", "lo", "down"});
    for (int i = 0; i < 10; ++i) {
        ip({"address", "del", "192.0.2.2/24", "dev", "net0"});
        ASSERT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        ASSERT_THAT(default_unicast(participant), IsEmpty());
        ip({"address", "add", "192.0.2.2/24", "dev", "net0"});
        ASSERT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        ASSERT_TRUE(has(participant, {"192.0.2.2"}));
        ASSERT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    }
    EXPECT_THAT(udp_ports(), ElementsAre(7400, 7410, 7411));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingOnDemand, TakesNoMemoryForGoodWhenNothingChanged) {
    DDS_DomainParticipant *const participant = create();
    NUVOsapiHeapStatistics before;
    NUVOsapiHeapStatistics after;

    ASSERT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    NUVOsapiHeap_getStatistics(&before);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    }
    NUVOsapiHeap_getStatistics(&after);
    EXPECT_EQ(after.liveBlocks, before.liveBlocks);
    EXPECT_EQ(after.liveBytes, before.liveBytes);
}

TEST_F(FollowingOnDemand, HappensFromSeveralThreadsBesideTheMiddlewaresOwn) {
    std::atomic<int> calls = 0;
    std::atomic<bool> is_over = false;
    DDS_DomainParticipant *const participant = create([&](DDS_DomainParticipant *) { ++calls; });
    std::vector<std::thread> threads;

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            while (!is_over) {
                EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
                pause_shortly();
            }
        });
    }
    for (int i = 1; i <= 5; ++i) {
        add_address(i);
        EXPECT_TRUE(eventually([&] { return calls >= 2 * i - 1; }));
        remove_address(i);
        EXPECT_TRUE(eventually([&] { return calls >= 2 * i; }));
    }
    is_over = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    flush(participant);
    EXPECT_EQ(calls, 10);
    EXPECT_TRUE(has(participant, {"192.0.2.2"}));
    EXPECT_THAT(errors(), IsEmpty());
}

class FollowingWithAListener : public LibraryTest {
protected:
    /** The changes of the default unicast locators that are in the log. */
    std::size_t logged_changes() const {
        std::size_t found = 0;

        for (const support::Messages &messages : {log.messages(), log.messagesOfOtherThreads()}) {
            for (const support::Message &message : messages) {
                found += count(message.text, "Default unicast locators have changed");
            }
        }
        return found;
    }
};

TEST_F(FollowingWithAListener, ItIsCalledOncePerChange) {
    std::atomic<std::size_t> calls = 0;
    DDS_DomainParticipant *const participant = create([&](DDS_DomainParticipant *) { ++calls; });

    for (int i = 1; i <= 5; ++i) {
        add_address(i);
        EXPECT_TRUE(eventually([&] { return calls >= static_cast<std::size_t>(i); }));
        // What is no change of the locators is none to be told of.
        EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
        ip({"link", "set", "net0", "mtu", std::to_string(1400 + i)});
    }
    remove_address(5);
    EXPECT_TRUE(eventually([&] { return calls >= 6; }));
    flush(participant);
    EXPECT_EQ(calls, 6u);
    EXPECT_EQ(logged_changes(), 6u);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingWithAListener, ItIsCalledForABurstNoMoreOftenThanTheLogSaysSo) {
    std::atomic<std::size_t> calls = 0;
    Texts lines;
    DDS_DomainParticipant *const participant = create([&](DDS_DomainParticipant *) { ++calls; });

    for (int i = 1; i <= 10; ++i) {
        lines.push_back("address add " + address(i) + "/32 dev net0");
    }
    ip_batch(lines);
    EXPECT_TRUE(
        eventually([&] { return has(participant, host_addresses(Families::IPV4)) && calls > 0; }));
    flush(participant);
    flush_callbacks(participant);
    EXPECT_LE(calls, logged_changes()); // changes that it had not been told of yet are one call
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingWithAListener, ItMayReadTheParticipant) {
    std::mutex mutex;
    Texts unicast;
    Texts multicast;
    DDS_Long index = -1;
    DDS_GUID_t guid = {};
    std::atomic<bool> is_told = false;
    DDS_DomainParticipant *const participant = create([&](DDS_DomainParticipant *self) {
        const std::lock_guard lock(mutex);

        unicast = default_unicast(self);
        multicast =
            following::locators_of(self, DDS_DomainParticipant_get_metatraffic_multicast_locators);
        index = DDS_DomainParticipant_get_participant_index(self);
        EXPECT_EQ(DDS_DomainParticipant_get_guid(self, &guid), DDS_RETCODE_OK);
        DDS_DomainParticipantQos qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
        EXPECT_EQ(DDS_DomainParticipant_get_qos(self, &qos), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos), DDS_RETCODE_OK);
        is_told = true;
    });
    DDS_GUID_t expected = {};

    add_address(1);
    ASSERT_TRUE(eventually([&] { return is_told.load(); }));
    const std::lock_guard lock(mutex);

    EXPECT_EQ(DDS_DomainParticipant_get_guid(participant, &expected), DDS_RETCODE_OK);
    EXPECT_EQ(unicast, following::locators({"192.0.2.2", address(1)}, default_port(0)));
    EXPECT_THAT(multicast, ElementsAre("udpv4://239.255.0.1:7400"));
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(std::equal(std::begin(guid.value), std::end(guid.value), expected.value));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingWithAListener, ItsParticipantCannotBeCreatedOrDeletedInside) {
    DDS_DomainParticipant *created = nullptr;
    DDS_ReturnCode_t deleted = DDS_RETCODE_OK;
    DDS_ReturnCode_t enabled = DDS_RETCODE_OK;
    Texts errors_of_creation;
    Texts errors_of_deletion;
    std::atomic<int> calls = 0;
    DDS_DomainParticipant *const participant = create([&](DDS_DomainParticipant *self) {
        if (calls == 0) {
            created = DDS_DomainParticipantFactory_create_participant(
                factory, 0, DDS_PARTICIPANT_QOS_DEFAULT, nullptr, DDS_STATUS_MASK_NONE);
            errors_of_creation = errors();
            deleted = DDS_DomainParticipantFactory_delete_participant(factory, self);
            errors_of_deletion = errors();
            enabled = DDS_DomainParticipant_enable(self);
        }
        ++calls;
    });

    add_address(1);
    ASSERT_TRUE(eventually([&] { return calls > 0; }));
    EXPECT_EQ(created, nullptr);
    EXPECT_EQ(deleted, DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_EQ(enabled, DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_EQ(errors_of_creation.size(), 1u);
    EXPECT_EQ(errors_of_deletion.size(), 2u);
    EXPECT_THAT(errors(), testing::SizeIs(3));
    EXPECT_THAT(errors(), Each(HasSubstr("within a listener")));

    // Nothing has become of it: it goes on, and another may be created.
    add_address(2);
    EXPECT_TRUE(eventually([&] { return calls > 1; }));
    EXPECT_TRUE(has(participant, {"192.0.2.2", address(1), address(2)}));
    EXPECT_TRUE(has(create(), {"192.0.2.2", address(1), address(2)}));
}

/** One participant's listener does not return until it is let go. */
class FollowingWithABusyListener : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        if (!IsSkipped()) {
            busy = create([this](DDS_DomainParticipant *) {
                if (is_wanted) {
                    is_busy = true;
                    EXPECT_TRUE(eventually([this] { return !is_wanted; }));
                    is_busy = false;
                }
            });
        }
    }

    void TearDown() override {
        is_wanted = false;
        LibraryTest::TearDown();
    }

    void occupy() {
        add_address(99);
        ASSERT_TRUE(eventually([this] { return is_busy.load(); }));
    }

    DDS_DomainParticipant *busy = nullptr;
    std::atomic<bool> is_wanted = true;
    std::atomic<bool> is_busy = false;
};

TEST_F(FollowingWithABusyListener, TheOthersFollowAllTheSameAndAreToldWhenItReturns) {
    std::atomic<int> calls = 0;
    DDS_DomainParticipant *const participant = create([&](DDS_DomainParticipant *) { ++calls; });

    occupy();
    add_address(1);
    EXPECT_TRUE(eventually([&] {
        return has(participant, {"192.0.2.2", address(99), address(1)});
    }));
    EXPECT_EQ(calls, 0);
    is_wanted = false;
    EXPECT_TRUE(eventually([&] { return calls == 1; })); // once for both changes
}

TEST_F(FollowingWithABusyListener, AnotherParticipantIsCreatedAndDeletedMeanwhile) {
    occupy();
    DDS_DomainParticipant *const other = create([](DDS_DomainParticipant *) {});

    std::erase(participants, other);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, other), DDS_RETCODE_OK);
    EXPECT_TRUE(is_busy);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FollowingWithABusyListener, ItsOwnParticipantIsShutDownAndCanBeDeletedWhenItReturns) {
    occupy();
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, busy), DDS_RETCODE_TIMEOUT);
    EXPECT_TRUE(is_busy);
    EXPECT_THAT(errors(), ElementsAre("on_locators_changed of a participant in domain 0 does not "
                                      "return"));
    EXPECT_THAT(udp_ports(), IsEmpty());
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(busy), -1);
    EXPECT_EQ(DDS_DomainParticipant_update_locators(busy), DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_PRECONDITION_NOT_MET);
    is_wanted = false; // the end of the test deletes it
}

/** Whether the participant with index 1 has chosen it. */
class FollowingWithoutAnyAddress : public FollowingWithABusyListener,
                                   public testing::WithParamInterface<DDS_Long> {};

TEST_P(FollowingWithoutAnyAddress, NobodyHasToCloseAPortForItsReturn) {
    DDS_DomainParticipantQos qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&qos), DDS_RETCODE_OK);
    qos.wire_protocol.participant_id = GetParam();
    DDS_DomainParticipant *const participant = create(nullptr, &qos);

    EXPECT_EQ(DDS_DomainParticipantQos_finalize(&qos), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DomainParticipant_get_participant_index(participant), 1);
    occupy();
    ip({"link", "set", "lo", "down"});
    ip({"link", "set", "net0", "down"});
    ASSERT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    ASSERT_THAT(default_unicast(participant), IsEmpty());
    ip({"link", "set", "net0", "up"});
    ASSERT_TRUE(eventually([] { return is_running("net0"); }));
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    is_wanted = false;
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 1);
    EXPECT_TRUE(has(participant, {"192.0.2.2", address(99)}));
    EXPECT_THAT(errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(WithAnIndex, FollowingWithoutAnyAddress,
                         testing::Values(DDS_PARTICIPANT_ID_AUTO, 1),
                         [](const auto &each) { return each.param == 1 ? "fixed" : "chosen"; });

class FollowingTogether : public LibraryTest {};

TEST_F(FollowingTogether, TwentyParticipantsFollowOneChange) {
    constexpr int NUMBER = 20;
    std::vector<std::atomic<int>> calls(NUMBER);

    for (std::atomic<int> &each : calls) {
        create([&each](DDS_DomainParticipant *) { ++each; });
    }
    const OpenFiles files = following::open_files();
    const Blocks blocks = heap.change();

    add_address(1);
    for (std::atomic<int> &each : calls) {
        EXPECT_TRUE(eventually([&] { return each >= 1; }));
    }
    for (int i = 0; i < NUMBER; ++i) {
        DDS_DomainParticipant *const participant = participants.at(static_cast<std::size_t>(i));

        EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), i);
        EXPECT_TRUE(has(participant, {"192.0.2.2", address(1)}));
        following::expect_arrival(address(1), "net0", i);
    }
    remove_address(1);
    for (std::atomic<int> &each : calls) {
        EXPECT_TRUE(eventually([&] { return each >= 2; }));
    }
    flush(participants.front());
    for (std::atomic<int> &each : calls) {
        EXPECT_EQ(each, 2);
    }
    for (DDS_DomainParticipant *participant : participants) {
        EXPECT_TRUE(has(participant, {"192.0.2.2"}));
    }
    EXPECT_EQ(following::open_files(), files);
    EXPECT_EQ(heap.change(), blocks);
    EXPECT_THAT(errors(), IsEmpty());
}

} // namespace
