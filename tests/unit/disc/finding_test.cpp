// SPDX-License-Identifier: Apache-2.0
// Participants find each other, and know when the others go.
#include "participants.h"

#include <cstdlib>
#include <utility>

#include <netdb.h>

#include "netio/netio_callback.h"

namespace {

using namespace sim;

class Finding : public ::testing::Test {
protected:
    Net net;
    Machine left{net.add("left", {"192.0.2.1/24"})};
    Machine right{net.add("right", {"192.0.2.2/24"})};
};

TEST_F(Finding, TwoHostsKnowEachOtherWithinMilliseconds) {
    Party a(left);
    net.world.run_for(SECOND);
    EXPECT_EQ(a.count(), 0u);
    Party b(right);
    net.world.run_for(2 * MS);
    EXPECT_TRUE(a.knows(b));
    EXPECT_TRUE(b.knows(a));
}

TEST_F(Finding, EachFieldIsAsItWasSet) {
    Settings settings;
    settings.name = "radar";
    settings.user_data = std::string("\0\1octets", 8);
    settings.propagated = {{"site", "north"}, {"rack", "4"}};
    settings.property.leaseDuration = {7, 0x80000000u};
    settings.property.announcementPeriod = {1, 0};
    Party a(left, settings);
    Party b(right);
    net.world.run_for(10 * MS);
    const Seen seen = b.see(a.prefix());
    EXPECT_EQ(seen.name, "radar");
    EXPECT_EQ(seen.user_data, settings.user_data);
    EXPECT_EQ(seen.properties, (std::vector<std::string>{"site=north", "rack=4"}));
    EXPECT_EQ(seen.data.leaseDuration.sec, 7);
    EXPECT_EQ(seen.data.leaseDuration.frac, 0x80000000u);
    EXPECT_EQ(seen.metatraffic, (std::vector<std::string>{"udpv4://192.0.2.1:7410"}));
    EXPECT_EQ(seen.unicast, (std::vector<std::string>{"udpv4://192.0.2.1:7411"}));
    EXPECT_EQ(seen.metatraffic_multicast, (std::vector<std::string>{"udpv4://239.255.0.1:7400"}));
    EXPECT_EQ(seen.data.availableBuiltinEndpoints, 3u);
    EXPECT_EQ(seen.data.hasDomainId, 1);
    EXPECT_EQ(seen.data.domainId, 0u);
    EXPECT_EQ(seen.status.isLocal, 0);
    EXPECT_EQ(b.news(), (std::vector<std::string>{"came"}));
}

TEST_F(Finding, WhoLeavesIsGoneAtOnce) {
    Party a(left);
    Party b(right);
    net.world.run_for(SECOND);
    ASSERT_TRUE(b.knows(a));
    (void)b.news();
    a.leave();
    net.world.run_for(2 * MS);
    EXPECT_EQ(b.count(), 0u);
    EXPECT_EQ(b.news(), (std::vector<std::string>{"left"}));
}

TEST_F(Finding, WhoIsKilledIsLostWithItsLease) {
    Settings settings;
    settings.property.leaseDuration = {2, 0};
    settings.property.announcementPeriod = {0, 0x80000000u};
    Party a(left, settings);
    Party b(right);
    net.world.run_for(SECOND);
    ASSERT_TRUE(b.knows(a));
    (void)b.news();
    left.process.kill();
    net.world.run_for(1400 * MS);
    EXPECT_TRUE(b.knows(a));
    net.world.run_for(700 * MS);
    EXPECT_EQ(b.count(), 0u);
    EXPECT_EQ(b.news(), (std::vector<std::string>{"lost"}));
}

TEST_F(Finding, ThoseOfOneProcessMeetWithoutSending) {
    Settings first;
    first.peers = {"239.255.0.1"};
    Settings second = first;
    second.index = 1;
    Party a(left, first);
    Party b(left, second);
    EXPECT_TRUE(a.knows(b));
    EXPECT_TRUE(b.knows(a));
    EXPECT_EQ(b.see(a.prefix()).status.isLocal, 1);
    net.world.run_for(50 * MS);
    EXPECT_EQ(a.statistics().announcementsSent, 1u); // to the group
    a.leave();
    EXPECT_EQ(b.count(), 0u);
    EXPECT_EQ(b.news(), (std::vector<std::string>{"came", "left"}));
}

TEST_F(Finding, ANewUserDataIsKnownToAll) {
    Party a(left);
    Party b(right);
    net.world.run_for(SECOND);
    (void)b.news();
    a.set_user_data("new");
    net.world.run_for(2 * MS);
    EXPECT_EQ(b.see(a.prefix()).user_data, "new");
    EXPECT_EQ(b.news(), (std::vector<std::string>{"changed"}));
}

TEST_F(Finding, WithoutMulticastAPeerIsEnoughAndLasts) {
    net.lan.set({Multicast::NONE});
    Settings settings;
    settings.peers = {"192.0.2.2"};
    Party a(left, settings);
    Party b(right);
    net.world.run_for(10 * MS);
    EXPECT_TRUE(a.knows(b));
    EXPECT_TRUE(b.knows(a));
    net.world.run_for(120 * SECOND);
    EXPECT_TRUE(a.knows(b));
    EXPECT_TRUE(b.knows(a));
    EXPECT_EQ(a.statistics().lost + b.statistics().lost, 0u);
}

TEST_F(Finding, OneThatHearsNoGroupKnowsWhoLivesAsLongAsHeDoes) {
    Settings settings;
    settings.has_group = false;
    Party a(left);
    Party deaf(right, settings);
    net.world.run_for(120 * SECOND);
    EXPECT_TRUE(deaf.knows(a));
    EXPECT_EQ(deaf.statistics().lost, 0u);
    left.process.kill();
    net.world.run_for(20 * SECOND);
    EXPECT_FALSE(deaf.knows(a));
}

TEST_F(Finding, LeasesAreKeptForHours) {
    Party a(left);
    Party b(right);
    net.world.run_for(3600 * SECOND);
    EXPECT_EQ(a.news(), (std::vector<std::string>{"came"}));
    EXPECT_EQ(b.news(), (std::vector<std::string>{"came"}));
}

TEST_F(Finding, AListenerThatDoesNotKeepUpIsNotToldOfThoseThatCameAndWent) {
    Party a(left);
    const Udp socket(right.process);
    for (NUV_UINT32 i = 0; i < 1000; ++i) {
        Made made;
        made.prefix.instanceId = i;
        made.metatraffic = {"192.0.2.2:" + std::to_string(8000 + i)};
        EXPECT_EQ(socket.send("192.0.2.1:7410", announcement(made)), 0);
        made.sequence = 2;
        EXPECT_EQ(socket.send("192.0.2.1:7410", leaving(made)), 0);
        net.world.run_for(MS);
    }
    EXPECT_EQ(a.statistics().left, 1000u);
    EXPECT_EQ(a.news().size(), 256u);
}

/** While it lives the host "there" has an address, or none. */
class Names {
public:
    explicit Names(const std::string &address) {
        answer = address;
        faults::replace("getaddrinfo", [](const char *node, const char *, const addrinfo *,
                                          addrinfo **out) { return resolve(node, out); });
    }
    static inline std::string answer;
    static inline int asked = 0;
    static inline std::function<void()> meanwhile; // once

private:
    static int resolve(const char *node, addrinfo **out) {
        ++asked;
        if (const auto action = std::exchange(meanwhile, nullptr)) {
            action();
        }
        if (std::string(node) != "there" || answer.empty()) {
            return EAI_NONAME;
        }
        struct Block {
            addrinfo info;
            sockaddr_in address;
        };
        auto *block = static_cast<Block *>(std::calloc(1, sizeof(Block)));
        block->address.sin_family = AF_INET;
        inet_pton(AF_INET, answer.c_str(), &block->address.sin_addr);
        block->info.ai_family = AF_INET;
        block->info.ai_addr = reinterpret_cast<sockaddr *>(&block->address);
        block->info.ai_addrlen = sizeof block->address;
        *out = &block->info;
        return 0;
    }

    const faults::Guard guard_;
};

TEST_F(Finding, APeerMayBeTheNameOfAHost) {
    net.lan.set({Multicast::NONE});
    const Names names("192.0.2.2");
    Settings settings;
    settings.peers = {"there"};
    Party a(left, settings);
    Party b(right);
    net.world.run_for(10 * MS);
    EXPECT_TRUE(a.knows(b));
    EXPECT_TRUE(b.knows(a));
}

TEST_F(Finding, WhoEndsWhileANameIsLookedUpLeavesNothing) {
    const Names names("192.0.2.2");
    Settings settings;
    settings.peers = {"there"};
    std::vector<NUV_UINT64> blocks;
    for (int i = 0; i < 4; ++i) {
        auto party = std::make_unique<Party>(left, settings);
        Names::meanwhile = [&party] { party.reset(); };
        net.world.run_for(10 * MS);
        EXPECT_EQ(party, nullptr);
        NUVOsapiHeapStatistics statistics{};
        NUVOsapiHeap_getStatistics(&statistics);
        blocks.push_back(statistics.liveBlocks);
    }
    EXPECT_EQ(blocks.back(), blocks.front());
}

/** When it was posted again it could be under way after it has been freed. */
TEST_F(Finding, ASearchThatHasNotBegunIsNotPostedAgain) {
    const Names names("192.0.2.2");
    int posts = 0;
    faults::replace("NUVNetioRuntime_postCallback",
                    [&](NUVNetioRuntime *runtime, NUVNetioCallback *callback) {
                        ++posts;
                        NUVNetioRuntime_postCallback(runtime, callback);
                    });
    Settings settings;
    settings.peers = {"there"};
    Party a(left, settings);
    a.set_peers({"there"});
    EXPECT_EQ(posts, 1);
    net.world.run_for(MS);
    a.set_peers({"there:7410"});
    EXPECT_EQ(posts, 2);
}

TEST_F(Finding, ANameIsFollowedToItsNewAddress) {
    net.lan.set({Multicast::NONE});
    const Names names("192.0.2.77");
    Settings settings;
    settings.peers = {"there"};
    Party a(left, settings);
    Party b(right);
    net.world.run_for(SECOND);
    EXPECT_FALSE(a.knows(b));
    Names::answer = "192.0.2.2";
    net.world.run_for(9 * SECOND);
    EXPECT_TRUE(a.knows(b));
}

TEST_F(Finding, ANameThatIsNotKnownAnyMoreKeepsItsAddress) {
    const Names names("192.0.2.2");
    const Udp there(right.process, "0.0.0.0:7410");
    Settings settings;
    settings.peers = {"there"};
    Party a(left, settings);
    net.world.run_for(SECOND);
    Names::answer = "";
    net.world.run_for(20 * SECOND);
    (void)there.take_all();
    net.world.run_for(20 * SECOND);
    EXPECT_GE(there.take_all().size(), 5u);
}

TEST_F(Finding, WhoeverOnlyListensAsksForNoName) {
    const Names names("192.0.2.2");
    Settings settings;
    settings.peers = {"there"};
    settings.property.announces = 0;
    Names::asked = 0;
    Party a(left, settings);
    net.world.run_for(20 * SECOND);
    EXPECT_EQ(Names::asked, 0);
}

TEST_F(Finding, ANameIsAskedForOnceInAPeriodAtTheMost) {
    const Names names("192.0.2.2");
    Settings settings;
    settings.peers = {"there:7410"};
    Party a(left, settings);
    net.world.run_for(SECOND);
    Names::asked = 0;
    net.world.run_for(36 * SECOND);
    EXPECT_GE(Names::asked, 9);
    EXPECT_LE(Names::asked, 10);
}

TEST_F(Finding, WhatOneOfTheProcessHasSaidDoesNotBringItBackAfterItsEnd) {
    Settings settings;
    settings.index = 1;
    Party a(left);
    Party b(left, settings);
    net.world.run_for(SECOND);
    left.process.stop(); // what is said waits in the socket of the group
    a.set_user_data("last words");
    left.process.resume();
    net.world.run_for(10 * MS);
    left.process.stop();
    net.world.run_for(5 * SECOND);
    left.process.resume();
    a.leave();
    net.world.run_for(SECOND);
    EXPECT_EQ(b.count(), 0u);
    EXPECT_EQ(b.statistics().came, 1u);
}

TEST_F(Finding, OneHostWithoutMulticastKnowsAllOfItself) {
    net.lan.set({Multicast::NONE});
    Settings settings;
    settings.has_group = false;
    settings.peers = {"127.0.0.1"};
    std::vector<std::unique_ptr<Machine>> machines;
    std::vector<std::unique_ptr<Party>> parties;
    for (int i = 0; i < 12; ++i) {
        machines.push_back(std::make_unique<Machine>(
            left.process.host().add_process("process " + std::to_string(i))));
        settings.index = i;
        parties.push_back(std::make_unique<Party>(*machines.back(), settings));
    }
    net.world.run_for(SECOND);
    // Those of an index above 4 are found by the others only.
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(parties.at(static_cast<std::size_t>(i))->count(), 11u);
    }
    for (std::size_t i = 5; i < 12; ++i) {
        EXPECT_GE(parties.at(i)->count(), 5u);
    }
    parties.clear();
}

TEST_F(Finding, OneThatMovesIsNeverThereTwiceAndLosesNobody) {
    Party a(left);
    Party b(right);
    net.world.run_for(SECOND);
    (void)b.news();
    Interface &interface = eth0(left.process);
    interface.set_addresses({"192.0.2.3/24"});
    a.set_addresses({"192.0.2.3"});
    net.world.run_for(100 * MS);
    EXPECT_EQ(b.see(a.prefix()).metatraffic, (std::vector<std::string>{"udpv4://192.0.2.3:7410"}));
    net.world.run_for(60 * SECOND);
    EXPECT_TRUE(a.knows(b));
    EXPECT_EQ(b.news(), (std::vector<std::string>{"changed"}));
}

} // namespace
