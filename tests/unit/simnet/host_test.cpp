// SPDX-License-Identifier: Apache-2.0
// A simulated host: its interfaces, its routes, its ports, its clocks, its end and its return.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated.h"

namespace {

using namespace sim;
using testing::ElementsAre;
using testing::IsEmpty;

class SimHost : public NetTest {
protected:
    /** What a process is told of its host's interfaces: "eth0 2 192.0.2.1", with flags. */
    static std::vector<std::string> listed(Process &process) {
        const NUVNetioInterfaceSource source = process.runtime_property().interfaceSource;
        std::vector<std::string> all;
        EXPECT_NE(source.list(
                      source.param,
                      [](void *param, const NUVNetioInterface *one) {
                          static_cast<std::vector<std::string> *>(param)->push_back(
                              std::string(one->name) + " " + std::to_string(one->index) + " " +
                              to_text(Address{one->transport, one->address}) +
                              (one->isLoopback != 0 ? " loopback" : "") +
                              (one->isMulticast != 0 ? "" : " unicast"));
                          return 1;
                      },
                      &all),
                  0);
        return all;
    }
    std::vector<std::string> listed_of_a() {
        std::vector<std::string> all = listed(a);
        all.erase(all.begin(), all.begin() + 2); // the loopback interface's
        return all;
    }
};

TEST_F(SimHost, ListsItsInterfacesWithTheLoopbackInterfaceFirst) {
    EXPECT_THAT(listed(a),
                ElementsAre("lo 1 127.0.0.1 loopback", "lo 1 ::1 loopback", "eth0 2 192.0.2.1"));
}

TEST_F(SimHost, ListsTheNetmasksOfItsAddresses) {
    eth0(a).set_addresses({"10.1.2.3/12", "fd00::1/61"});
    const NUVNetioInterfaceSource source = a.runtime_property().interfaceSource;
    std::vector<std::string> masks;
    EXPECT_NE(source.list(
                  source.param,
                  [](void *param, const NUVNetioInterface *one) {
                      static_cast<std::vector<std::string> *>(param)->push_back(
                          to_text(Address{one->transport, one->netmask}));
                      return 1;
                  },
                  &masks),
              0);
    EXPECT_THAT(masks, ElementsAre("255.0.0.0", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
                                   "255.240.0.0", "ffff:ffff:ffff:fff8::"));
}

TEST_F(SimHost, ListingEndsWithWhoeverTakesNoMore) {
    const NUVNetioInterfaceSource source = a.runtime_property().interfaceSource;
    int left = 2;
    EXPECT_EQ(source.list(
                  source.param,
                  [](void *param, const NUVNetioInterface *) {
                      return --*static_cast<int *>(param) > 0 ? 1 : 0;
                  },
                  &left),
              0);
    EXPECT_EQ(left, 0);
}

TEST_F(SimHost, InterfaceMayHaveSeveralAddressesAndNoMulticast) {
    host_a.add_interface("tun0", &lan, {"198.51.100.1/24", "fd00::1/64"}, {}, false);
    EXPECT_THAT(listed_of_a(), ElementsAre("eth0 2 192.0.2.1", "tun0 3 198.51.100.1 unicast",
                                           "tun0 3 fd00::1 unicast"));
}

TEST_F(SimHost, LinkLocalAddressesAreNotListed) {
    eth0(a).set_addresses({"fe80::1/64", "fd00::1/64"});
    EXPECT_THAT(listed_of_a(), ElementsAre("eth0 2 fd00::1"));
    EXPECT_EQ(eth0(a).addresses().size(), 2u);
}

TEST_F(SimHost, OnlyInterfacesThatAreUpAndPluggedInAreListed) {
    eth0(a).set_up(false);
    EXPECT_THAT(listed_of_a(), IsEmpty());
    eth0(a).set_up(true);
    EXPECT_THAT(listed_of_a(), ElementsAre("eth0 2 192.0.2.1"));
    eth0(a).move_to(nullptr);
    EXPECT_THAT(listed_of_a(), IsEmpty());
    EXPECT_FALSE(eth0(a).is_usable());
}

TEST_F(SimHost, InterfaceThatIsRemovedIsGone) {
    Interface &removed = eth0(a);
    const Udp member(a, GROUP);
    EXPECT_EQ(member.join(2), 0);
    host_a.remove_interface(removed);
    EXPECT_EQ(host_a.find_interface("eth0"), nullptr);
    EXPECT_THAT(listed_of_a(), IsEmpty());
    EXPECT_EQ(removed.segment(), nullptr);
}

TEST_F(SimHost, MembershipOfAnInterfaceThatIsRemovedLastsUntilItIsLeft) {
    const Udp member(a, GROUP);
    EXPECT_EQ(member.join(2), 0);
    host_a.remove_interface(eth0(a));
    EXPECT_EQ(member.leave(2), 0);
    EXPECT_EQ(member.leave(2), EADDRNOTAVAIL);
}

TEST_F(SimHost, InterfaceThatComesAnewHasAnotherIndexAndNoMembers) {
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    host_b.remove_interface(eth0(b));
    EXPECT_EQ(host_b.add_interface("eth0", &lan, {"192.0.2.2/24"}).index(), 3u);
    EXPECT_EQ(Udp(a).send(GROUP, "unheard", 2), 0);
    run();
    EXPECT_EQ(member.join(3), 0);
    EXPECT_EQ(Udp(a).send(GROUP, "heard", 2), 0);
    run();
    EXPECT_THAT(member.take_all(), ElementsAre("heard"));
}

TEST_F(SimHost, WhatIsOnTheWayToARemovedInterfaceIsLost) {
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run(30 * MICROSECOND);
    host_b.remove_interface(eth0(b));
    run();
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
}

TEST_F(SimHost, WhatItHasSentToItselfIsLostWithTheInterface) {
    const Udp member(a, GROUP);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(Udp(a).send(GROUP, "hello", 2), 0);
    host_a.remove_interface(eth0(a));
    run();
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
}

TEST_F(SimHost, InterfaceThatCannotBeIsRefused) {
    for (const char *name : {"", "eth0", "lo", "sixteen-letters-"}) {
        EXPECT_THROW(host_a.add_interface(name, &lan, {}), std::logic_error) << name;
    }
    EXPECT_THROW(host_a.add_interface("eth1", &lan, {"198.51.100.1"}), std::invalid_argument);
    EXPECT_EQ(host_a.find_interface("eth1"), nullptr);
    EXPECT_EQ(host_a.add_interface("fifteen-letters", &lan, {}).index(), 3u);
}

TEST_F(SimHost, LoopbackInterfaceStays) {
    EXPECT_THROW(host_a.remove_interface(host_a.loopback()), std::logic_error);
    EXPECT_THROW(host_a.remove_interface(eth0(b)), std::logic_error);
    EXPECT_TRUE(host_a.loopback().is_usable());
}

TEST_F(SimHost, AddressesThatCannotBeChangeNothing) {
    EXPECT_THROW(eth0(a).set_addresses({"198.51.100.1/24", "nonsense"}), std::invalid_argument);
    EXPECT_THAT(listed_of_a(), ElementsAre("eth0 2 192.0.2.1"));
}

TEST_F(SimHost, WhatIsFarGoesToARouterByTheLongestRoute) {
    Router &near = world.add_router("near");
    near.plug_in(lan, prefix("192.0.2.100/24"));
    Router &far = world.add_router("far");
    far.plug_in(lan, prefix("192.0.2.101/24"));
    host_a.add_route(prefix("0.0.0.0/0"), address("192.0.2.100"));
    host_a.add_route(prefix("198.51.100.0/24"), address("192.0.2.101"));
    host_a.add_route(prefix("198.51.0.0/16"), address("192.0.2.100"));
    Segment &other = world.add_segment("other");
    far.plug_in(other, prefix("198.51.100.101/24"));
    Process &c = add_to(other, "c", {"198.51.100.1/24"});
    const Udp receiver(c, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("198.51.100.1:7410", "hello"), 0);
    EXPECT_EQ(Udp(a).send("203.0.113.1:7410", "hello"), 0);
    run();
    EXPECT_THAT(receiver.take_all(), ElementsAre("hello"));
    EXPECT_EQ(dropped(Drop::NO_ROUTE), 1u); // of the other router
}

TEST_F(SimHost, RouteIsNotForWhatIsNear) {
    host_a.add_route(prefix("192.0.2.2/32"), address("192.0.2.100"));
    const Udp receiver(b, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_THAT(receiver.take_all(), ElementsAre("hello"));
}

TEST_F(SimHost, StrangerHasAPort) {
    EXPECT_TRUE(host_a.take_port(at("0.0.0.0:7410")));
    EXPECT_FALSE(host_a.take_port(at("192.0.2.1:7410")));
    EXPECT_EQ(Udp(a, "0.0.0.0:7410").error, EADDRINUSE);
    EXPECT_FALSE(host_a.free_port(at("0.0.0.0:7411")));
    EXPECT_TRUE(host_a.free_port(at("0.0.0.0:7410")));
    EXPECT_FALSE(host_a.free_port(at("0.0.0.0:7410")));
    EXPECT_EQ(Udp(a, "0.0.0.0:7410").error, 0);
}

TEST_F(SimHost, StrangerHasNoPortThatAProcessHas) {
    const Udp own(a, "0.0.0.0:7410");
    EXPECT_FALSE(host_a.take_port(at("0.0.0.0:7410")));
    EXPECT_FALSE(host_a.free_port(at("0.0.0.0:7410")));
}

TEST_F(SimHost, StrangerDealsWithWhatItReceives) {
    EXPECT_TRUE(host_b.take_port(at("0.0.0.0:7410")));
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::NO_SOCKET), 0u);
    EXPECT_EQ(world.trace().count(Event::ARRIVED), 0u);
}

TEST_F(SimHost, SaysWhoHasItsPorts) {
    EXPECT_TRUE(host_a.take_port(at("0.0.0.0:7412")));
    const Udp group(a, GROUP);
    const Udp port(a, "0.0.0.0:7410");
    const Udp sender(a);
    EXPECT_THAT(host_a.ports(), ElementsAre(PortHolder{at(GROUP), &a, true},
                                            PortHolder{at("0.0.0.0:7410"), &a, false},
                                            PortHolder{at("0.0.0.0:7412"), nullptr, false}));
}

TEST_F(SimHost, FindsASocketByWhatItIsBoundTo) {
    const Udp port(a, "192.0.2.1:7410");
    const Socket *const found = host_a.find_socket(at("192.0.2.1:7410"));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->process, &a);
    EXPECT_EQ(host_a.find_socket(at("0.0.0.0:7410")), nullptr);
    EXPECT_EQ(host_a.find_socket(at("192.0.2.1:7411")), nullptr);
}

TEST_F(SimHost, HasAnUptimeAndATimeOfDay) {
    run(SECOND);
    EXPECT_EQ(host_a.monotonic(), 1'001 * SECOND);
    EXPECT_EQ(host_a.wall_clock(), EPOCH + SECOND);
}

TEST_F(SimHost, ClocksDriftTogetherAndOnOneHostOnly) {
    host_a.set_drift(1'000);
    run(10 * SECOND);
    EXPECT_EQ(host_a.monotonic() - host_b.monotonic(), 10'000);
    EXPECT_EQ(host_a.wall_clock() - host_b.wall_clock(), 10'000);
}

TEST_F(SimHost, OnlyTheWallClockJumps) {
    host_a.jump_wall_clock(-3'600 * SECOND);
    EXPECT_EQ(host_a.wall_clock(), EPOCH - 3'600 * SECOND);
    EXPECT_EQ(host_a.monotonic(), host_b.monotonic());
}

TEST_F(SimHost, MonotonicClockStandsWhileItIsSuspended) {
    host_a.suspend();
    run(10 * SECOND);
    EXPECT_EQ(host_a.monotonic(), 1'000 * SECOND);
    EXPECT_EQ(host_a.wall_clock(), EPOCH + 10 * SECOND);
    host_a.wake();
    run(SECOND);
    EXPECT_EQ(host_a.monotonic(), 1'001 * SECOND);
}

TEST_F(SimHost, WhatIsSentToASuspendedHostIsLost) {
    const Udp receiver(b, "0.0.0.0:7410");
    host_b.suspend();
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "lost"), 0);
    run();
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
    host_b.wake();
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "heard"), 0);
    run();
    EXPECT_THAT(receiver.take_all(), ElementsAre("heard"));
}

TEST_F(SimHost, WhatIsSentToAFrozenHostWaits) {
    const Udp receiver(b, "0.0.0.0:7410");
    host_b.freeze();
    EXPECT_TRUE(b.is_stopped());
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run();
    host_b.thaw();
    EXPECT_FALSE(b.is_stopped());
    EXPECT_THAT(receiver.take_all(), ElementsAre("hello"));
}

TEST_F(SimHost, ReportsItsGroupsWhenItWakesAndNotBefore) {
    lan.set({.multicast = Multicast::SNOOPS});
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    host_b.suspend();
    lan.restart(SECOND); // it asks then, and is not answered
    run(2 * SECOND);
    EXPECT_EQ(Udp(a).send(GROUP, "unheard", 2), 0);
    run();
    EXPECT_EQ(dropped(Drop::MULTICAST), 1u);
    host_b.wake();
    EXPECT_EQ(Udp(a).send(GROUP, "heard", 2), 0);
    run();
    EXPECT_THAT(member.take_all(), ElementsAre("heard"));
}

TEST_F(SimHost, CrashEndsItsProcessesAndTheirPorts) {
    const Udp port(b, "0.0.0.0:7410");
    EXPECT_TRUE(host_b.take_port(at("0.0.0.0:7412")));
    host_b.crash();
    EXPECT_FALSE(b.is_alive());
    EXPECT_THAT(host_b.ports(), IsEmpty());
    EXPECT_EQ(b.descriptors(), 0u);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
}

TEST_F(SimHost, CrashIsNotAnnounced) {
    lan.set({.multicast = Multicast::SNOOPS});
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    host_b.crash();
    EXPECT_EQ(Udp(a).send(GROUP, "hello", 2), 0);
    run();
    EXPECT_EQ(dropped(Drop::MULTICAST), 0u); // the switch knows nothing of it
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
}

TEST_F(SimHost, StartsAnewAfterACrash) {
    const Udp port(b, "0.0.0.0:7410");
    const Udp group(b, GROUP);
    EXPECT_EQ(group.join(2), 0);
    host_b.crash();
    run(10 * SECOND);
    host_b.wake();
    Process &anew = host_b.add_process("anew");
    EXPECT_EQ(anew.number(), 2u);
    const Udp port_anew(anew, "0.0.0.0:7410");
    const Udp group_anew(anew, GROUP);
    EXPECT_EQ(port_anew.error, 0);
    EXPECT_EQ(group_anew.join(2), 0);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "port"), 0);
    EXPECT_EQ(Udp(a).send(GROUP, "group", 2), 0);
    run();
    EXPECT_THAT(port_anew.take_all(), ElementsAre("port"));
    EXPECT_THAT(group_anew.take_all(), ElementsAre("group"));
    EXPECT_FALSE(port.take());
    EXPECT_FALSE(b.is_alive());
}

TEST_F(SimHost, RuntimeOfANewProcessHasThePortsOfOneThatCrashed) {
    auto before = std::make_unique<Node>(b);
    EXPECT_TRUE(before->open("192.0.2.2:7410"));
    EXPECT_TRUE(before->open(GROUP));
    host_b.crash();
    host_b.wake();
    Node after(host_b.add_process("anew"));
    EXPECT_TRUE(after.open("192.0.2.2:7410"));
    EXPECT_TRUE(after.open(GROUP));
    before.reset(); // and what is left of the former one takes nothing away
    const Node sender(a);
    EXPECT_TRUE(sender.send("192.0.2.2:7410", "port"));
    EXPECT_TRUE(sender.send(GROUP, "group"));
    run();
    EXPECT_THAT(after.texts(), ElementsAre("port", "group"));
}

TEST_F(SimHost, ClockGoesOnAfterACrashOfOneThatWasSuspended) {
    host_b.suspend();
    host_b.crash();
    run(SECOND);
    EXPECT_EQ(host_b.monotonic(), 1'001 * SECOND);
}

TEST_F(SimHost, NoProcessIsStartedWhileItIsDown) {
    host_b.suspend();
    EXPECT_THROW(host_b.add_process("anew"), std::logic_error);
    host_b.wake();
    host_b.crash();
    EXPECT_THROW(host_b.add_process("anew"), std::logic_error);
    host_b.wake();
    EXPECT_NO_THROW(host_b.add_process("anew"));
}

TEST_F(SimHost, HasANameANumberAndItsProcesses) {
    EXPECT_EQ(host_b.name(), "b");
    EXPECT_EQ(host_b.number(), 2u);
    EXPECT_EQ(&host_b.world(), &world);
    EXPECT_EQ(host_b.processes().size(), 1u);
    EXPECT_EQ(&b.host(), &host_b);
    EXPECT_EQ(b.name(), "b");
}

} // namespace
