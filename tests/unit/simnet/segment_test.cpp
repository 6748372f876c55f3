// SPDX-License-Identifier: Apache-2.0
// What a switch passes, and what it keeps.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated.h"

namespace {

using namespace sim;
using testing::ElementsAre;
using testing::IsEmpty;

/** Three hosts, each with a member of a group and a port. */
class SimSegment : public NetTest {
protected:
    SimSegment() {
        for (const Member *one : {&on_a, &on_b, &on_c}) {
            EXPECT_EQ(one->group.join(2), 0);
        }
    }

    struct Member {
        explicit Member(Process &process) : group(process, GROUP), port(process, "0.0.0.0:7410") {}
        Udp group;
        Udp port;
        std::vector<std::string> heard() const {
            std::vector<std::string> all = group.take_all();
            const std::vector<std::string> more = port.take_all();
            all.insert(all.end(), more.begin(), more.end());
            return all;
        }
    };

    /** Sends to the group from the first host, and says who has heard it: "b", "c", "bc". */
    std::string who_hears() {
        return who_hears_of(on_a, GROUP);
    }
    std::string who_hears_of(const Member &sender, const char *destination) {
        EXPECT_EQ(sender.port.send(destination, "hello", 2), 0);
        run(MILLISECOND);
        std::string names;
        for (const auto &[name, member] :
             {std::pair("a", &on_a), std::pair("b", &on_b), std::pair("c", &on_c)}) {
            if (!member->heard().empty() && member != &sender) {
                names += name;
            }
        }
        return names;
    }

    Process &c = add("c", {"192.0.2.3/24"});
    Member on_a{a};
    Member on_b{b};
    Member on_c{c};
};

TEST_F(SimSegment, PassesWhatIsForOneToThatOneOnly) {
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "b");
    EXPECT_EQ(who_hears_of(on_c, "192.0.2.1:7410"), "a");
}

TEST_F(SimSegment, DropsWhatIsForNobody) {
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.99:7410"), "");
    EXPECT_EQ(dropped(Drop::NO_STATION), 1u);
}

TEST_F(SimSegment, NothingReachesWhatTookItsAddressAwayBeforeIt) {
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "b");
    eth0(b).set_addresses({"192.0.2.7/24"});
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "");
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.7:7410"), "b");
}

TEST_F(SimSegment, AddressThatMovesIsFoundWhereItIs) {
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "b");
    eth0(b).set_addresses({});
    eth0(c).set_addresses({"192.0.2.2/24"});
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "c");
}

TEST_F(SimSegment, FloodsWhatIsForAGroup) {
    EXPECT_EQ(who_hears(), "bc");
    EXPECT_EQ(dropped(Drop::MULTICAST), 0u);
}

TEST_F(SimSegment, FloodsToThoseWhoAreNoMembers) {
    on_b.group.leave(2);
    EXPECT_EQ(who_hears(), "c");
    EXPECT_EQ(eth0(b).from_segment.packets_in(), 1u);
}

TEST_F(SimSegment, SnoopsWhoIsAMember) {
    lan.set({.multicast = Multicast::SNOOPS});
    EXPECT_EQ(on_b.group.leave(2), 0);
    EXPECT_EQ(who_hears(), "c");
    EXPECT_EQ(eth0(b).from_segment.packets_in(), 0u);
    EXPECT_EQ(dropped(Drop::MULTICAST), 1u);
    EXPECT_EQ(on_b.group.join(2), 0);
    EXPECT_EQ(who_hears(), "bc");
}

TEST_F(SimSegment, SnoopsWhoIsAMemberOfWhichGroup) {
    lan.set({.multicast = Multicast::SNOOPS});
    EXPECT_EQ(who_hears_of(on_a, "239.255.0.2:7400"), "");
    EXPECT_EQ(dropped(Drop::MULTICAST), 2u);
}

TEST_F(SimSegment, MemberLeavesWithTheLastSocketThatIsOne) {
    lan.set({.multicast = Multicast::SNOOPS});
    {
        const Udp another(b, GROUP);
        EXPECT_EQ(another.join(2), 0);
        EXPECT_EQ(on_b.group.leave(2), 0);
        EXPECT_EQ(who_hears(), "c");
        EXPECT_THAT(another.take_all(), ElementsAre("hello"));
        EXPECT_EQ(dropped(Drop::MULTICAST), 0u);
    }
    EXPECT_EQ(who_hears(), "c");
    EXPECT_EQ(dropped(Drop::MULTICAST), 1u);
}

TEST_F(SimSegment, RemembersMembersAsLongAsSomebodyAsksForThem) {
    lan.set({.multicast = Multicast::SNOOPS, .hasQuerier = true, .membershipTimeout = SECOND});
    run(10 * SECOND);
    EXPECT_EQ(who_hears(), "bc");
}

TEST_F(SimSegment, ForgetsMembersWhereNobodyAsksForThem) {
    lan.set({.multicast = Multicast::SNOOPS, .hasQuerier = false, .membershipTimeout = SECOND});
    run(SECOND - 100 * MICROSECOND);
    EXPECT_EQ(who_hears(), "bc");
    EXPECT_EQ(who_hears(), "");
    EXPECT_EQ(on_c.group.leave(2), 0);
    EXPECT_EQ(on_c.group.join(2), 0);
    EXPECT_EQ(who_hears(), "c");
}

TEST_F(SimSegment, MayPassNothingThatIsForAGroup) {
    lan.set({.multicast = Multicast::NONE});
    EXPECT_EQ(who_hears(), "");
    EXPECT_EQ(dropped(Drop::MULTICAST), 2u);
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "b");
}

TEST_F(SimSegment, MayKeepItsClientsApart) {
    lan.set({.isolatesClients = true});
    EXPECT_EQ(who_hears(), "");
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "");
    EXPECT_EQ(dropped(Drop::ISOLATED), 3u);
}

TEST_F(SimSegment, IsPartedAndHealed) {
    lan.part({&eth0(a), &eth0(b)});
    EXPECT_EQ(who_hears(), "b");
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.3:7410"), "");
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "b");
    EXPECT_EQ(dropped(Drop::PARTED), 2u);
    lan.heal();
    EXPECT_EQ(who_hears(), "bc");
}

TEST_F(SimSegment, PartitionsAddUp) {
    lan.part({&eth0(a), &eth0(b)});
    lan.part({&eth0(a)});
    EXPECT_EQ(who_hears(), "");
    lan.heal();
    lan.part({&eth0(c)});
    EXPECT_EQ(who_hears(), "b");
}

TEST_F(SimSegment, HasAsManyPartitionsAsItCanKeep) {
    for (int i = 0; i < 64; ++i) {
        lan.part({&eth0(a)});
    }
    EXPECT_THROW(lan.part({&eth0(a)}), std::logic_error);
    EXPECT_EQ(who_hears(), "");
}

TEST_F(SimSegment, CannotPartWhatIsNotPluggedIn) {
    EXPECT_THROW(lan.part({&host_a.loopback()}), std::logic_error);
}

TEST_F(SimSegment, WhoIsPluggedInAnewIsOnTheOtherSide) {
    lan.part({&eth0(a), &eth0(b)});
    eth0(b).move_to(&lan);
    EXPECT_EQ(who_hears(), "");
    EXPECT_EQ(who_hears_of(on_c, GROUP), "b");
}

TEST_F(SimSegment, PassesNothingWhileItStartsAnew) {
    lan.restart(SECOND);
    EXPECT_EQ(who_hears(), "");
    EXPECT_EQ(dropped(Drop::PARTED), 1u);
    run(SECOND);
    EXPECT_EQ(who_hears(), "bc");
}

TEST_F(SimSegment, LosesWhatIsOnTheWayToItWhenItStartsAnew) {
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "hello"), 0);
    lan.restart(SECOND);
    run();
    EXPECT_THAT(on_b.heard(), IsEmpty());
    EXPECT_EQ(dropped(Drop::PARTED), 1u);
}

TEST_F(SimSegment, AsksForItsMembersWhenItHasStartedAnew) {
    lan.set({.multicast = Multicast::SNOOPS, .hasQuerier = true});
    lan.restart(SECOND);
    run(SECOND);
    EXPECT_EQ(who_hears(), "bc");
}

TEST_F(SimSegment, StartedAnewKnowsNoMembersWhereNobodyAsks) {
    lan.set({.multicast = Multicast::SNOOPS, .hasQuerier = false});
    lan.restart(SECOND);
    run(SECOND / 2);
    const Udp another(b, "239.255.0.2:7400");
    EXPECT_EQ(another.join(2), 0); // while it hears nothing
    run(SECOND);
    EXPECT_EQ(who_hears(), "");
    EXPECT_EQ(who_hears_of(on_a, "239.255.0.2:7400"), "");
    EXPECT_THAT(another.take_all(), IsEmpty());
}

TEST_F(SimSegment, WhatIsPluggedOutHearsNothing) {
    eth0(b).move_to(nullptr);
    EXPECT_EQ(who_hears(), "c");
    EXPECT_EQ(who_hears_of(on_a, "192.0.2.2:7410"), "");
    EXPECT_EQ(dropped(Drop::NO_STATION), 1u);
}

TEST_F(SimSegment, WhatIsPluggedOutOnTheWayToTheSwitchIsLost) {
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "hello"), 0);
    eth0(b).move_to(nullptr);
    run();
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
    EXPECT_EQ(eth0(b).from_segment.packets_in(), 0u);
}

TEST_F(SimSegment, WhatIsPluggedOutOnTheWayToItIsLost) {
    Segment &other = world.add_segment("other");
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "hello"), 0);
    run(30 * MICROSECOND);
    eth0(b).move_to(&other);
    run();
    EXPECT_THAT(on_b.heard(), IsEmpty());
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
}

TEST_F(SimSegment, WhatMovesTakesItsGroupsAlong) {
    Segment &other = world.add_segment("other", {.multicast = Multicast::SNOOPS});
    eth0(a).move_to(&other);
    eth0(b).move_to(&other);
    EXPECT_EQ(who_hears(), "b");
    EXPECT_EQ(eth0(b).segment(), &other);
}

TEST_F(SimSegment, StationIsPluggedIntoOneAtATime) {
    Segment &other = world.add_segment("other");
    other.attach(eth0(b));
    EXPECT_EQ(who_hears(), "c");
    EXPECT_EQ(eth0(b).segment(), &other);
}

TEST_F(SimSegment, OnlyWhatIsPluggedInIsPluggedOut) {
    Segment &other = world.add_segment("other");
    EXPECT_THROW(other.detach(eth0(b)), std::logic_error);
    lan.detach(eth0(b));
    EXPECT_EQ(eth0(b).segment(), nullptr);
    EXPECT_EQ(who_hears(), "c");
}

TEST_F(SimSegment, BothLinksTakeTheirTime) {
    eth0(a).set_link({.delay = 3 * MILLISECOND});
    eth0(b).set_link({.delay = 4 * MILLISECOND});
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "hello"), 0);
    run(7 * MILLISECOND - 1);
    EXPECT_THAT(on_b.heard(), IsEmpty());
    run(1);
    EXPECT_THAT(on_b.heard(), ElementsAre("hello"));
}

TEST_F(SimSegment, SlowSenderHoldsUpNobodyElse) {
    eth0(a).set_link({.delay = SECOND});
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "slow"), 0);
    EXPECT_EQ(on_c.port.send("192.0.2.2:7410", "fast"), 0);
    run(MILLISECOND);
    EXPECT_THAT(on_b.heard(), ElementsAre("fast"));
    run(2 * SECOND);
    EXPECT_THAT(on_b.heard(), ElementsAre("slow"));
}

TEST_F(SimSegment, LinksOfOneDirectionMayDiffer) {
    eth0(b).from_segment.set({.loss = 1});
    EXPECT_EQ(who_hears(), "c");
    EXPECT_EQ(who_hears_of(on_b, GROUP), "ac");
    eth0(b).to_segment.set({.loss = 1});
    EXPECT_EQ(who_hears_of(on_b, GROUP), "");
    EXPECT_EQ(dropped(Drop::LOST), 2u);
}

TEST_F(SimSegment, WhatIsDuplicatedArrivesTwice) {
    eth0(a).set_link({.duplication = 1});
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_THAT(on_b.heard(), ElementsAre("hello", "hello"));
}

TEST_F(SimSegment, QueueThatIsFullDropsWhatComes) {
    eth0(a).set_link({.bandwidth = 8'000, .queue = 0}); // an octet a millisecond
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "first"), 0);
    EXPECT_EQ(on_a.port.send("192.0.2.2:7410", "second"), 0);
    run();
    EXPECT_THAT(on_b.heard(), ElementsAre("first"));
    EXPECT_EQ(dropped(Drop::QUEUE), 1u);
}

TEST_F(SimSegment, HasANameOfItsOwn) {
    EXPECT_EQ(lan.name(), "lan");
    EXPECT_THROW(world.add_segment("lan"), std::logic_error);
}

TEST_F(SimSegment, StationsHaveAddressesOfTheirOwn) {
    EXPECT_NE(eth0(a).mac(), eth0(b).mac());
    EXPECT_EQ(eth0(a).mac()[0], 0x02); // locally administered, of one station
}

} // namespace
