// SPDX-License-Identifier: Apache-2.0
// What an update could not have is had later, by itself and without a word until then.
#include <map>

#include "../netio/net_fixture.h"
#include "domain/CallWorker.h"
#include "domain/DomainParticipant_internal.h"
#include "following_fixture.h"
#include "reda/reda_exclusiveArea.h"
#include "support/log_capture.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

using following::default_port;
using following::FollowingTest;
using following::metatraffic_port;
using following::on_one_interface;
using following::Stranger;
using following::Texts;
using support::Messages;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/** A stranger at one address only, as somebody who was faster than the participant. */
class StrangerAt {
public:
    StrangerAt(const char *address, DDS_Long port)
        : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = htons(static_cast<in_port_t>(port));
        inet_pton(AF_INET, address, &name.sin_addr);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&name), sizeof name), 0);
    }
    ~StrangerAt() {
        close(socket_);
    }
    StrangerAt(const StrangerAt &) = delete;
    StrangerAt &operator=(const StrangerAt &) = delete;

private:
    const int socket_;
};

/** Restricted to one interface: each of its addresses is bound. They are loopback's, so it can. */
class Recovery : public FollowingTest {
protected:
    Recovery() {
        finalize_factory();
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(
                      &qos->property, "dds.transport.allow_interfaces", "test0", DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
        blocks_before = heap.change();
        factory = DDS_DomainParticipantFactory_get_instance();
        interfaces.set(on_one_interface({"127.0.0.2"}));
    }

    /** The participant is not told of it by an event: it looks because it is asked to. */
    DDS_ReturnCode_t add_address(DDS_DomainParticipant *participant) {
        interfaces.set(on_one_interface({"127.0.0.2", "127.0.0.3"}));
        return DDS_DomainParticipant_update_locators(participant);
    }

    /** Lets time pass, with the tries that are due then. */
    void pass(int seconds) {
        constexpr NUV_INT64 NANOSECONDS_PER_SECOND = 1'000'000'000;

        clock_.advance(seconds * NANOSECONDS_PER_SECOND);
        flush();
    }

    /** All messages of a level, by text, with how often each came; of every thread. */
    std::map<std::string, int> counts(NUV_UINT32 level) const {
        std::map<std::string, int> counted;

        for (const Messages &messages : {log.messages(), log.messagesOfOtherThreads()}) {
            for (const support::Message &message : messages) {
                if (message.level == level) {
                    ++counted[message.text];
                }
            }
        }
        return counted;
    }

    std::string taken(DDS_Long port) const {
        return "udpv4 port " + std::to_string(port) + " is taken";
    }

    static constexpr const char *INCOMPLETE =
        "the participant in domain 0 does not receive at all of its locators yet, which is tried "
        "again: ";

private:
    net::TestClock clock_;
};

TEST_F(Recovery, OfAnAddressWhosePortAStrangerHasComesWhenHeLeaves) {
    DDS_DomainParticipant *const participant = create_follower();
    auto stranger = std::make_unique<StrangerAt>("127.0.0.3", default_port());

    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK); // which says nothing
    EXPECT_FALSE(has(participant, {"127.0.0.2", "127.0.0.3"}));
    stranger.reset();
    pass(1);
    EXPECT_TRUE(has(participant, {"127.0.0.2", "127.0.0.3"}));
    EXPECT_FALSE(net::PlainSocket().bind_to("127.0.0.3", default_port()));
    EXPECT_FALSE(net::PlainSocket().bind_to("127.0.0.3", metatraffic_port()));
    EXPECT_TRUE(net::PlainSocket().bind_to("127.0.0.4", default_port())); // none but its own
}

TEST_F(Recovery, HasTheReasonAtTheLevelOfTheErrorOnceWhateverTheTries) {
    DDS_DomainParticipant *const participant = create_follower();
    auto stranger = std::make_unique<StrangerAt>("127.0.0.3", default_port());

    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK);
    const std::map<std::string, int> errors_of_failure = {
        {"cannot set default unicast entryports", 1},
        {INCOMPLETE + taken(default_port()), 1},
    };
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR), errors_of_failure);
    const auto status = counts(NUV_LOG_LEVEL_LOCAL);
    pass(1);
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR), errors_of_failure);
    EXPECT_EQ(counts(NUV_LOG_LEVEL_LOCAL), status);
    EXPECT_EQ(counts(NUV_LOG_LEVEL_WARNING), (std::map<std::string, int>()));
    stranger.reset();
    pass(2);
    EXPECT_TRUE(has(participant, {"127.0.0.2", "127.0.0.3"}));
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR), errors_of_failure);
    // The change is said once for the failure and once for the success.
    const std::string line =
        "update: Default unicast locators have changed from {udpv4://127.0.0.2:" +
        std::to_string(default_port()) +
        "} to {udpv4://127.0.0.2:" + std::to_string(default_port()) +
        ", udpv4://127.0.0.3:" + std::to_string(default_port()) + "}.\n";
    EXPECT_EQ(counts(NUV_LOG_LEVEL_LOCAL)[line], 2);
}

TEST_F(Recovery, TellsTheListenerWhenItComes) {
    std::atomic<int> calls = 0;
    DDS_DomainParticipant *const participant =
        create_follower([&](DDS_DomainParticipant *) { ++calls; });
    auto default_stranger = std::make_unique<StrangerAt>("127.0.0.3", default_port());
    auto metatraffic_stranger = std::make_unique<StrangerAt>("127.0.0.3", metatraffic_port());

    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK);
    flush_callbacks();
    EXPECT_EQ(calls, 0);
    default_stranger.reset();
    metatraffic_stranger.reset();
    pass(1);
    EXPECT_TRUE(has(participant, {"127.0.0.2", "127.0.0.3"}));
    flush_callbacks();
    EXPECT_EQ(calls, 1);
}

TEST_F(Recovery, OfAMomentWithoutDescriptorsComesSoon) {
    DDS_DomainParticipant *const participant = create_follower();

    faults::fail("socket", {.error = EMFILE, .on = faults::Thread::THIS});
    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK);
    EXPECT_EQ(faults::failed(), "socket");
    const std::string reason =
        "cannot receive at udpv4://127.0.0.3:" + std::to_string(default_port()) +
        ": cannot open a socket: Too many open files (EMFILE)";
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR),
              (std::map<std::string, int>{{reason, 1},
                                          {"cannot set default unicast entryports", 1},
                                          {INCOMPLETE + reason, 1}}));
    pass(1);
    EXPECT_TRUE(has(participant, {"127.0.0.2", "127.0.0.3"}));
}

TEST_F(Recovery, OfAPropertyThatCouldNotBePushedComesSoon) {
    DDS_DomainParticipant *const participant = create_follower();

    faults::fail("PRESParticipant_setProperty",
                 {.failReason = PRES_RETCODE_OUT_OF_RESOURCES, .on = faults::Thread::THIS});
    EXPECT_EQ(add_address(participant), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_THAT(errors(), ElementsAre("cannot set participant QoS",
                                      std::string(INCOMPLETE) + "DDS_RETCODE_OUT_OF_RESOURCES"));
    const auto is_announced = [&] {
        CallWorker worker(participant->resources.workerFactory);
        const reda::ExclusiveAreaGuard lock(participant->ea, worker.get());

        return DDS_DomainParticipantPresentation_are_locators_servedI(&participant->presentation,
                                                                      worker.get()) != 0;
    };

    EXPECT_FALSE(is_announced());
    pass(1);
    EXPECT_TRUE(is_announced());
}

TEST_F(Recovery, IsNoLongerTriedForWhenTheAddressHasGone) {
    DDS_DomainParticipant *const participant = create_follower();
    const StrangerAt stranger("127.0.0.3", default_port());

    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK);
    interfaces.set(on_one_interface({"127.0.0.2"}));
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    log.clear();
    pass(1);
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR), (std::map<std::string, int>()));
    EXPECT_TRUE(has(participant, {"127.0.0.2"}));
}

TEST_F(Recovery, OfAPortThatTheSearchDidNotAskForComesToo) {
    qos->wire_protocol.rtps_reserved_port_mask =
        DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST | DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST;
    auto stranger = std::make_unique<StrangerAt>("127.0.0.2", default_port());
    DDS_DomainParticipant *const participant = create_follower();

    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    EXPECT_THAT(errors(), ElementsAre("cannot set default unicast entryports",
                                      INCOMPLETE + taken(default_port())));
    stranger.reset();
    pass(1);
    EXPECT_FALSE(net::PlainSocket().bind_to("127.0.0.2", default_port()));
}

TEST_F(Recovery, IsTriedForAfterAPauseThatIsTwiceAsLongEachTimeUpTo30Seconds) {
    DDS_DomainParticipant *const participant = create_follower();
    const StrangerAt stranger("127.0.0.3", default_port());

    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK);
    for (const int pause : {1, 2, 4, 8, 16, 30, 30}) {
        const int binds = faults::count("bind");

        pass(pause - 1);
        EXPECT_EQ(faults::count("bind"), binds) << pause;
        pass(1);
        EXPECT_GT(faults::count("bind"), binds) << pause;
    }
}

TEST_F(Recovery, OfAShortageIsTriedForEverySecond) {
    DDS_DomainParticipant *const participant = create_follower();

    faults::fail_every_call("socket", EMFILE);
    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK);
    for (int i = 0; i < 3; ++i) {
        const int sockets = faults::count("socket");

        pass(1);
        EXPECT_GT(faults::count("socket"), sockets);
    }
}

TEST_F(Recovery, EndsWithTheParticipant) {
    DDS_DomainParticipant *const participant = create_follower();
    const StrangerAt stranger("127.0.0.3", default_port());

    EXPECT_EQ(add_address(participant), DDS_RETCODE_OK);
    EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
}

/** Without any address at first. */
class RecoveryOfTheIndex : public Recovery {
protected:
    RecoveryOfTheIndex() {
        interfaces.set({});
    }

    DDS_ReturnCode_t add_address(DDS_DomainParticipant *participant) {
        interfaces.set(on_one_interface({"127.0.0.2"}));
        return DDS_DomainParticipant_update_locators(participant);
    }
};

TEST_F(RecoveryOfTheIndex, ThatIsFixedComesWhenTheStrangerLeavesWithoutAWordUntilThen) {
    qos->wire_protocol.participant_id = 0;
    DDS_DomainParticipant *const participant = create_follower();
    auto stranger = std::make_unique<Stranger>(metatraffic_port());

    EXPECT_EQ(add_address(participant), DDS_RETCODE_ERROR);
    const auto errors_of_failure = counts(NUV_LOG_LEVEL_ERROR);
    const auto warnings = counts(NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(errors_of_failure,
              (std::map<std::string, int>{
                  {"failed to enable: No index available for participant", 1},
                  {"failed to enable: the participant gets no index in domain 0: " +
                       taken(metatraffic_port()),
                   1}}));
    pass(1);
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR), errors_of_failure);
    EXPECT_EQ(counts(NUV_LOG_LEVEL_WARNING), warnings);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), -1);
    stranger.reset();
    pass(2);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_TRUE(has(participant, {"127.0.0.2"}));
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR), errors_of_failure);
}

TEST_F(RecoveryOfTheIndex, ThatIsChosenComesWhenDescriptorsAreBack) {
    DDS_DomainParticipant *const participant = create_follower();

    faults::fail("socket", {.error = EMFILE, .every = true, .on = faults::Thread::THIS});
    EXPECT_EQ(add_address(participant), DDS_RETCODE_ERROR);
    faults::stop();
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR).size(), 3u); // the reason, no index, both
    pass(1);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_EQ(counts(NUV_LOG_LEVEL_ERROR).size(), 3u);
}

TEST_F(RecoveryOfTheIndex, WithoutDescriptorsSaysItsReasonOnceForAllIndices) {
    DDS_DomainParticipant *const participant = create_follower();

    faults::fail("socket", {.error = EMFILE, .every = true, .on = faults::Thread::THIS});
    EXPECT_EQ(add_address(participant), DDS_RETCODE_ERROR);
    faults::stop();
    EXPECT_THAT(errors(),
                ElementsAre(HasSubstr("cannot open a socket: Too many open files (EMFILE)"),
                            "failed to enable: No index available for participant",
                            HasSubstr("the participant gets no index in domain 0: cannot receive "
                                      "at udpv4://")));
    EXPECT_EQ(counts(NUV_LOG_LEVEL_WARNING)["Trying next port..."], 120);
}

} // namespace
