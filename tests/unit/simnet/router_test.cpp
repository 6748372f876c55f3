// SPDX-License-Identifier: Apache-2.0
// What passes packets between segments, and hides what is behind it.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated.h"

namespace {

using namespace sim;
using testing::ElementsAre;
using testing::IsEmpty;

/** A host "a" inside at 10.0.0.1, one "b" outside at 192.0.2.2, and a router between them. */
class SimRouter : public testing::Test, protected Net {
protected:
    void build(const RouterProperty &property = {}) {
        router = &world.add_router("router", property);
        inner = &router->plug_in(inside, prefix("10.0.0.254/24"));
        outer = &router->plug_in(lan, prefix("192.0.2.254/24"));
        a.host().add_route(prefix("0.0.0.0/0"), address("10.0.0.254"));
        b.host().add_route(prefix("0.0.0.0/0"), address("192.0.2.254"));
    }
    void build_nat(const RouterProperty &property = {}) {
        build(property);
        router->hide_behind(*outer);
    }
    void run(Time duration = SECOND) {
        world.run_for(duration);
    }

    static constexpr const char *GROUP = "239.255.0.1:7400";

    Segment &inside = world.add_segment("inside");
    Process &a = add_to(inside, "a", {"10.0.0.1/24"});
    Process &b = add("b", {"192.0.2.2/24"});
    Router *router = nullptr;
    Station *inner = nullptr;
    Station *outer = nullptr;
};

TEST_F(SimRouter, PassesWhatIsForAnotherSegment) {
    build();
    const Udp on_b(b, "0.0.0.0:7410");
    const Udp on_a(a, "0.0.0.0:7410");
    EXPECT_EQ(on_a.send("192.0.2.2:7410", "there"), 0);
    EXPECT_EQ(on_b.send("10.0.0.1:7410", "back"), 0);
    run();
    EXPECT_EQ(on_b.take()->source, "10.0.0.1:7410");
    EXPECT_THAT(on_a.take_all(), ElementsAre("back"));
    EXPECT_EQ(router->name(), "router");
}

TEST_F(SimRouter, DropsWhatIsForNoSegmentAndNoRoute) {
    build();
    EXPECT_EQ(Udp(a).send("203.0.113.1:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::NO_ROUTE), 1u);
}

TEST_F(SimRouter, PassesWhatIsFarToAnotherOneByTheLongestRoute) {
    build();
    Segment &far = world.add_segment("far");
    Process &c = add_to(far, "c", {"203.0.113.1/24"});
    Router &next = world.add_router("next");
    next.plug_in(lan, prefix("192.0.2.253/24"));
    next.plug_in(far, prefix("203.0.113.254/24"));
    router->add_route(prefix("203.0.0.0/16"), address("192.0.2.99"));
    router->add_route(prefix("203.0.113.0/24"), address("192.0.2.253"));
    router->add_route(prefix("0.0.0.0/0"), address("192.0.2.99"));
    const Udp on_c(c, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("203.0.113.1:7410", "hello"), 0);
    run();
    EXPECT_THAT(on_c.take_all(), ElementsAre("hello"));
}

TEST_F(SimRouter, RouteThroughWhatIsNotNearLeadsNowhere) {
    build();
    router->add_route(prefix("203.0.113.0/24"), address("198.51.100.1"));
    EXPECT_EQ(Udp(a).send("203.0.113.1:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::NO_ROUTE), 1u);
}

TEST_F(SimRouter, PacketThatGoesInACircleEndsWithItsTimeToLive) {
    build();
    Router &other = world.add_router("other");
    other.plug_in(lan, prefix("192.0.2.253/24"));
    router->add_route(prefix("203.0.113.0/24"), address("192.0.2.253"));
    other.add_route(prefix("203.0.113.0/24"), address("192.0.2.254"));
    EXPECT_EQ(Udp(a).send("203.0.113.1:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::TTL), 1u);
    EXPECT_EQ(inner->to_segment.packets_in(), 0u);
    EXPECT_EQ(outer->to_segment.packets_in(), 32u); // each of the routers half of 64, less the last
}

TEST_F(SimRouter, PortThatIsPluggedOutLeadsNowhere) {
    build();
    lan.detach(*outer);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::NO_ROUTE), 1u);
}

TEST_F(SimRouter, WhatIsForItselfGoesNowhere) {
    build();
    EXPECT_EQ(Udp(a).send("10.0.0.254:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::NO_STATION), 1u);
}

TEST_F(SimRouter, KeepsGroupsOnTheirSegment) {
    build();
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:0", {64, 0}).send(GROUP, "hello"), 0);
    run();
    EXPECT_FALSE(member.take());
    EXPECT_EQ(dropped(Drop::MULTICAST), 1u);
}

TEST_F(SimRouter, MayPassGroupsAsFarAsTheirTimeToLiveReaches) {
    build({.passesMulticast = true});
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:0", {1, 0}).send(GROUP, "near"), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:0", {2, 0}).send(GROUP, "far"), 0);
    run();
    EXPECT_THAT(member.take_all(), ElementsAre("far"));
    EXPECT_EQ(dropped(Drop::TTL), 1u);
}

TEST_F(SimRouter, HearsGroupsWhereASwitchSnoopsOrKeepsItsClientsApart) {
    build({.passesMulticast = true});
    inside.set({.multicast = Multicast::SNOOPS, .isolatesClients = true});
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:0", {2, 0}).send(GROUP, "hello"), 0);
    run();
    EXPECT_THAT(member.take_all(), ElementsAre("hello"));
    EXPECT_EQ(dropped(Drop::ISOLATED), 0u);
}

TEST_F(SimRouter, OfBothClassesPassesAGroupOnceAndNotBack) {
    build({.passesMulticast = true});
    router->plug_in(inside, prefix("fd00::254/64"));
    router->plug_in(lan, prefix("fd01::254/64"));
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    const Udp own(a, GROUP);
    EXPECT_EQ(own.join(2), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:0", {64, 0}).send(GROUP, "hello"), 0);
    run();
    EXPECT_THAT(member.take_all(), ElementsAre("hello"));
    EXPECT_THAT(own.take_all(), ElementsAre("hello")); // its own, and no echo
    EXPECT_EQ(dropped(Drop::TTL), 0u);
}

TEST_F(SimRouter, OfBothClassesPassesBoth) {
    build({.passesMulticast = true});
    router->plug_in(inside, prefix("fd00::254/64"));
    router->plug_in(lan, prefix("fd01::254/64"));
    eth0(a).set_addresses({"fd00::1/64"});
    eth0(b).set_addresses({"fd01::2/64"});
    a.host().add_route(prefix("::/0"), address("fd00::254"));
    const Udp port(b, "[::]:7410");
    const Udp member(b, "[ff15::1]:7400");
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(Udp(a, "[::]:5000").send("[fd01::2]:7410", "port"), 0);
    EXPECT_EQ(Udp(a, "[::]:5000", {2, 0}).send("[ff15::1]:7400", "group"), 0);
    run();
    EXPECT_THAT(port.take_all(), ElementsAre("port"));
    EXPECT_EQ(member.take()->source, "[fd00::1]:5000");
}

TEST_F(SimRouter, NatStandsForWhatIsInside) {
    build_nat();
    const Udp on_a(a, "0.0.0.0:5000");
    const Udp on_b(b, "0.0.0.0:7410");
    EXPECT_EQ(on_a.send("192.0.2.2:7410", "there"), 0);
    run();
    const std::optional<Udp::Received> received = on_b.take();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->source, "192.0.2.254:20000");
    EXPECT_EQ(on_b.send(received->source, "back"), 0);
    run();
    const std::optional<Udp::Received> answer = on_a.take();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->source, "192.0.2.2:7410");
}

TEST_F(SimRouter, NatKeepsAPortForEachOfThoseInside) {
    build_nat();
    add_to(inside, "c", {"10.0.0.3/24"})
        .host()
        .add_route(prefix("0.0.0.0/0"), address("10.0.0.254"));
    const Udp on_a(a, "0.0.0.0:5000");
    const Udp also_on_a(a, "0.0.0.0:5001");
    const Udp on_c(*world.hosts().back()->processes().front(), "0.0.0.0:5000");
    const Udp on_b(b, "0.0.0.0:7410");
    const Udp also_on_b(b, "0.0.0.0:7411");
    for (const Udp *one : {&on_a, &also_on_a, &on_c, &on_a}) {
        EXPECT_EQ(one->send("192.0.2.2:7410", "there"), 0);
        run();
    }
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20000");
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20001");
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20002");
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20000");
    EXPECT_EQ(on_a.send("192.0.2.2:7411", "there"), 0); // whatever the destination
    run();
    EXPECT_EQ(also_on_b.take()->source, "192.0.2.254:20000");
}

TEST_F(SimRouter, NatLetsNobodyInWhoWasNotSentTo) {
    build_nat();
    const Udp on_a(a, "0.0.0.0:5000");
    const Udp on_b(b, "0.0.0.0:7410");
    EXPECT_EQ(on_a.send("192.0.2.2:7410", "there"), 0);
    run();
    EXPECT_EQ(Udp(b).send("192.0.2.254:20000", "from another port"), 0);
    EXPECT_EQ(on_b.send("192.0.2.254:20001", "to another port"), 0);
    EXPECT_EQ(on_b.send("10.0.0.1:5000", "to what is inside"), 0);
    run();
    EXPECT_THAT(on_a.take_all(), IsEmpty());
    EXPECT_EQ(dropped(Drop::NAT), 3u);
}

TEST_F(SimRouter, NatForgetsWhatHasNotSentForALongTime) {
    build_nat({.natTimeout = 10 * SECOND});
    const Udp on_a(a, "0.0.0.0:5000");
    const Udp on_b(b, "0.0.0.0:7410");
    EXPECT_EQ(on_a.send("192.0.2.2:7410", "1"), 0);
    run(9 * SECOND);
    EXPECT_EQ(on_a.send("192.0.2.2:7410", "2"), 0);
    run(9 * SECOND);
    EXPECT_EQ(on_b.send("192.0.2.254:20000", "in time"), 0);
    run(2 * SECOND);
    EXPECT_EQ(on_b.send("192.0.2.254:20000", "late"), 0); // that something came in does not count
    run();
    EXPECT_THAT(on_a.take_all(), ElementsAre("in time"));
    EXPECT_EQ(dropped(Drop::NAT), 1u);
    EXPECT_EQ(on_a.send("192.0.2.2:7410", "3"), 0);
    run();
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20000");
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20000");
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20001");
}

TEST_F(SimRouter, NatWithoutAPortLeftDropsAndUsesThoseThatGetFree) {
    build_nat({.natTimeout = 10 * SECOND, .natPorts = 2});
    const Udp on_b(b, "0.0.0.0:7410");
    std::vector<std::unique_ptr<Udp>> sockets;
    for (int i = 0; i < 3; ++i) {
        sockets.push_back(std::make_unique<Udp>(a));
        EXPECT_EQ(sockets.back()->send("192.0.2.2:7410", std::to_string(i)), 0);
        run();
    }
    EXPECT_EQ(dropped(Drop::NAT), 1u);
    EXPECT_THAT(on_b.take_all(), ElementsAre("0", "1"));
    run(15 * SECOND / 2); // the first is forgotten
    EXPECT_EQ(sockets[1]->send("192.0.2.2:7410", "1"), 0);
    EXPECT_EQ(sockets[2]->send("192.0.2.2:7410", "2"), 0);
    run();
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20001");
    EXPECT_EQ(on_b.take()->source, "192.0.2.254:20000");
}

TEST_F(SimRouter, NatDoesNotTouchWhatStaysInside) {
    build_nat();
    Segment &garden = world.add_segment("garden");
    router->plug_in(garden, prefix("10.0.1.254/24"));
    const Udp on_c(add_to(garden, "c", {"10.0.1.1/24"}), "0.0.0.0:7410");
    EXPECT_EQ(Udp(a, "0.0.0.0:5000").send("10.0.1.1:7410", "hello"), 0);
    run();
    EXPECT_EQ(on_c.take()->source, "10.0.0.1:5000");
}

TEST_F(SimRouter, HidesBehindAPortOfItsOwn) {
    build();
    Router &other = world.add_router("other");
    Station &foreign = other.plug_in(lan, prefix("192.0.2.253/24"));
    EXPECT_THROW(router->hide_behind(foreign), std::logic_error);
}

} // namespace
