// SPDX-License-Identifier: Apache-2.0
#include "held_ports.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Evidence = HeldPorts::Evidence;

constexpr uid_t A_USER = 4294967000; // who has no name

/** Sockets in the caller's network and in another one. */
class HeldPortsTest : public testing::Test {
protected:
    HeldPortsTest() : holdings_{{{}, {}}, {}, true} {
        holdings_.networks[0].is_own = true;
        holdings_.networks[0].processes = {1};
        holdings_.networks[1].processes = {2};
    }

    void hold(unsigned short port, pid_t process, std::size_t network = 0) {
        hold(port, Holder{host::HostProcess{process, "talker", 0, ""}, 0}, network);
    }
    void hold_unseen(unsigned short port, uid_t user) {
        hold(port, Holder{std::nullopt, user}, 0);
    }
    void hold(unsigned short port, const Holder &holder, std::size_t network) {
        holdings_.all.push_back(
            {{"0.0.0.0", port, holder.user, holdings_.all.size(), 0, 1}, network, {holder}});
    }
    void hear(DDS_DomainId_t domain, DDS_Long port, const std::string &address) {
        Sighting other;

        other.domain = domain;
        other.builtin_unicast_port = port;
        other.addresses = {address};
        other.vendor = "1.3";
        heard_.push_back(other);
    }
    std::vector<HeldPorts>
    all(const DDS_RtpsWellKnownPorts_t &settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER) const {
        return held_ports(holdings_, port_map(settings), heard_, {"192.0.2.2"});
    }

    Holdings holdings_;
    std::vector<Sighting> heard_;
};

TEST_F(HeldPortsTest, OfAnIndexAreOneRow) {
    hold(7415, 812);
    hold(7414, 812);
    const auto rows = all();

    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_EQ(rows[0].domain, 0);
    EXPECT_EQ(rows[0].index, 2);
    EXPECT_THAT(rows[0].ports,
                ElementsAre(Port{"builtin_unicast", 7414}, Port{"user_unicast", 7415}));
    EXPECT_EQ(rows[0].holders[0].process->id, 812);
    EXPECT_EQ(rows[0].drops, 2u);
}

TEST_F(HeldPortsTest, OfAnIndexAreTwoRowsWhereTwoHoldThem) {
    hold(7414, 812);
    hold(7415, 813);
    EXPECT_THAT(all(), SizeIs(2));
}

TEST_F(HeldPortsTest, OfAGroupAreOneRowWhoeverHoldsThem) {
    hold(7400, 813);
    hold(7400, 812);
    const auto rows = all();

    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_EQ(rows[0].index, std::nullopt);
    ASSERT_THAT(rows[0].holders, SizeIs(2));
    EXPECT_EQ(rows[0].holders[0].process->id, 812);
}

TEST_F(HeldPortsTest, AreSortedByDomainNetworkAndIndex) {
    hold(7660, 812);
    hold(7412, 812, 1);
    hold(7412, 812);
    hold(7410, 812);
    hold(7401, 812);
    const auto rows = all();

    ASSERT_THAT(rows, SizeIs(5));
    EXPECT_EQ(rows[0].index, std::nullopt);
    EXPECT_EQ(rows[1].index, 0);
    EXPECT_EQ(rows[2].index, 1);
    EXPECT_FALSE(rows[3].network.is_own);
    EXPECT_EQ(rows[4].domain, 1);
}

TEST_F(HeldPortsTest, OfWhomHoldsOneUnicastPortAreBlocked) {
    hold(7414, 812);
    EXPECT_TRUE(all()[0].are_blocked());
    EXPECT_THAT(remarks_on(all()[0], true), ElementsAre("announces nothing: blocks index 2"));
}

TEST_F(HeldPortsTest, OfWhomHoldsBothUnicastPortsAreThoseOfAParticipant) {
    hold(7414, 812);
    hold(7415, 812);
    EXPECT_EQ(all()[0].evidence, Evidence::BOTH_UNICAST_PORTS);
    EXPECT_FALSE(all()[0].are_blocked());
    EXPECT_THAT(remarks_on(all()[0], true), IsEmpty());
}

TEST_F(HeldPortsTest, OfWhomHoldsTheMulticastPortTooAreThoseOfAParticipant) {
    hold(7400, 812);
    hold(7414, 812);
    EXPECT_EQ(all()[1].evidence, Evidence::DISCOVERY_BY_MULTICAST);
}

TEST_F(HeldPortsTest, AreBlockedWhereTheMulticastPortIsHeldInAnotherNetwork) {
    hold(7400, 812, 1);
    hold(7414, 812);
    EXPECT_TRUE(all()[0].are_blocked());
}

TEST_F(HeldPortsTest, AreBlockedWhereAnotherProcessHoldsTheMulticastPort) {
    hold(7400, 812);
    hold(7414, 813);
    EXPECT_TRUE(all()[1].are_blocked());
}

TEST_F(HeldPortsTest, AreBlockedWhereTheMulticastPortForUserTrafficIsHeld) {
    hold(7401, 812);
    hold(7414, 812);
    EXPECT_TRUE(all()[1].are_blocked());
}

TEST_F(HeldPortsTest, OfAMulticastPortAreNeverBlocked) {
    hold(7400, 812);
    EXPECT_FALSE(all()[0].are_blocked());
}

TEST_F(HeldPortsTest, HaveTheAnnouncementThatWasHeardOfThem) {
    hold(7414, 812);
    hear(0, 7414, "192.0.2.2");
    ASSERT_TRUE(all()[0].announced);
    EXPECT_EQ(all()[0].announced->vendor, "1.3");
    EXPECT_FALSE(all()[0].are_blocked());
}

TEST_F(HeldPortsTest, HaveNotTheAnnouncementOfAnotherHost) {
    hold(7414, 812);
    hear(0, 7414, "192.0.2.3");
    EXPECT_FALSE(all()[0].announced);
}

TEST_F(HeldPortsTest, HaveNotTheAnnouncementOfAnotherHostWithAnAddressThatThisOneHasToo) {
    hold(7410, 812);
    hear(0, 7410, "192.0.2.2");
    heard_[0].addresses.emplace_back("192.0.2.3");
    EXPECT_FALSE(all()[0].announced);
}

TEST_F(HeldPortsTest, HaveNotTheAnnouncementOfAnotherDomain) {
    hold(7414, 812);
    hear(1, 7414, "192.0.2.2");
    EXPECT_FALSE(all()[0].announced);
}

TEST_F(HeldPortsTest, HaveNotTheAnnouncementOfAnotherPort) {
    hold(7414, 812);
    hear(0, 7416, "192.0.2.2");
    EXPECT_FALSE(all()[0].announced);
}

TEST_F(HeldPortsTest, OfAnotherNetworkHaveNoAnnouncement) {
    hold(7414, 812, 1);
    hear(0, 7414, "192.0.2.2");
    EXPECT_FALSE(all()[0].announced);
}

TEST_F(HeldPortsTest, OfAnUnseenProcessSayWhoMaySeeIt) {
    hold_unseen(7414, 0);
    hold_unseen(7415, 0);
    EXPECT_THAT(remarks_on(all()[0], false), ElementsAre("process unknown: run as root"));
}

TEST_F(HeldPortsTest, OfAnUnseenProcessSayThatItsUserMaySeeIt) {
    hold_unseen(7414, A_USER);
    hold_unseen(7415, A_USER);
    EXPECT_THAT(remarks_on(all()[0], false),
                ElementsAre("process unknown: run as root or as 4294967000"));
}

TEST_F(HeldPortsTest, OfNobodySaySoWhereAllProcessesAreSeen) {
    hold_unseen(7414, 0);
    hold_unseen(7415, 0);
    EXPECT_THAT(remarks_on(all()[0], true),
                ElementsAre("held by no process that is to be seen from here"));
}

TEST_F(HeldPortsTest, WithSeveralUsesHaveARowForEach) {
    DDS_RtpsWellKnownPorts_t settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

    settings.user_multicast_port_offset = 250;
    hold(7650, 812);
    const auto rows = all(settings);

    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_EQ(rows[0].domain, 0);
    EXPECT_EQ(rows[0].ports[0].kind, "user_multicast");
    EXPECT_EQ(rows[1].domain, 1);
    EXPECT_EQ(rows[1].ports[0].kind, "builtin_multicast");
}

TEST_F(HeldPortsTest, OfAParticipantThatBlocksAnotherIndexSayWhichOneItIs) {
    DDS_RtpsWellKnownPorts_t settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

    settings.user_unicast_port_offset = 12; // of index 0 the port that is the other one of index 1
    hold(7400, 812);
    hold(7410, 812);
    hold(7412, 812);
    const auto rows = all(settings);

    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_FALSE(rows[1].are_blocked());
    EXPECT_TRUE(rows[2].are_blocked());
    EXPECT_THAT(remarks_on(rows[2], true), ElementsAre("is index 0 of domain 0: blocks index 1"));
}

TEST_F(HeldPortsTest, OfAGroupThatBlocksAnIndexOfAnotherDomainSayWhoseItIs) {
    DDS_RtpsWellKnownPorts_t settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

    settings.user_multicast_port_offset = 260; // the first unicast port of the next domain
    hold(7410, 812);
    hold(7411, 812);
    hold(7660, 812);
    const auto rows = all(settings);

    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_THAT(remarks_on(rows[2], true),
                ElementsAre("is a multicast port of domain 0: blocks index 0"));
}

TEST_F(HeldPortsTest, AreKeptInTheDomainsAskedFor) {
    hold(7410, 812);
    hold(7660, 812);
    hold(7910, 812);
    auto rows = all();

    keep_domains(rows, {1, 1, false});
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_EQ(rows[0].domain, 1);
}

class TellingPorts : public HeldPortsTest {
protected:
    std::vector<HeldPorts> telling() const {
        auto rows = all();

        keep_telling(rows, {{32768, 60999}, {}});
        return rows;
    }
};

TEST_F(TellingPorts, AreThoseThatTheKernelGivesToNobody) {
    hold(7414, 812);
    EXPECT_THAT(telling(), SizeIs(1));
}

TEST_F(TellingPorts, AreNoneThatTheKernelMayHaveGiven) {
    hold(33150, 812); // the multicast port of domain 103
    hold(33160, 812);
    holdings_.all[0].holders[0].process->id = 813;
    EXPECT_THAT(telling(), IsEmpty());
}

TEST_F(TellingPorts, OfAnotherNetworkAreJudgedByTheUsualRange) {
    hold(33160, 812, 1);
    hold(2000, 812, 1);
    auto rows = all();

    keep_telling(rows, {{1024, 32000}, {}}); // of the caller's
    EXPECT_THAT(rows, IsEmpty());
}

TEST_F(TellingPorts, AreNoTwoInARowThatTheKernelMayHaveGiven) {
    hold(33160, 812);
    hold(33161, 812);
    EXPECT_THAT(telling(), IsEmpty());
}

TEST_F(TellingPorts, AreAllOfADomainWithAParticipant) {
    hold(33150, 812);
    hold(33160, 812);
    hold(33164, 813);
    EXPECT_THAT(telling(), SizeIs(3));
}

TEST(HeldPortsThatAreLookedAtAgain, ReadLikeTheSameButForDrops) {
    HeldPorts before = {};
    HeldPorts now = {};

    now.drops = 5;
    EXPECT_TRUE(now.reads_like(before));
    now.announced = Sighting();
    before.announced = Sighting();
    before.announced->last_heard = WallTime();
    EXPECT_TRUE(now.reads_like(before));
    now.announced->vendor = "1.3";
    EXPECT_FALSE(now.reads_like(before));
}

} // namespace
