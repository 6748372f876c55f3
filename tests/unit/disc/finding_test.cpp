// SPDX-License-Identifier: Apache-2.0
// Participants find each other, and know when the others go.
#include "participants.h"

namespace {

using namespace sim;

constexpr Time MS = MILLISECOND;

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

} // namespace
