// SPDX-License-Identifier: Apache-2.0
// What a simulated host's kernel does: sockets, ports, memberships, what is sent and received.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated.h"

namespace {

using namespace sim;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SimSocket : public NetTest {
protected:
    Process &also_a = host_a.add_process("also a");
};

TEST_F(SimSocket, ReceivesWhatIsSentToItsPort) {
    const Udp receiver(b, "0.0.0.0:7410");
    const Udp sender(a, "0.0.0.0:5000");
    EXPECT_EQ(sender.send("192.0.2.2:7410", "hello"), 0);
    EXPECT_THAT(receiver.take_all(), IsEmpty());
    EXPECT_EQ(errno, EAGAIN);
    run();
    const std::optional<Udp::Received> received = receiver.take();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->data, "hello");
    EXPECT_EQ(received->source, "192.0.2.1:5000");
    EXPECT_EQ(received->interface, 0u);
}

TEST_F(SimSocket, ReceivesInTheOrderOfArrival) {
    const Udp receiver(b, "0.0.0.0:7410");
    const Udp sender(a);
    for (const char *text : {"1", "2", "3"}) {
        EXPECT_EQ(sender.send("192.0.2.2:7410", text), 0);
    }
    run();
    EXPECT_THAT(receiver.take_all(), ElementsAre("1", "2", "3"));
}

TEST_F(SimSocket, DatagramIsCutToTheSizeOfTheBuffer) {
    const Udp receiver(b, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", ""), 0);
    run();
    EXPECT_EQ(receiver.take(2)->data, "he");
    EXPECT_EQ(receiver.take()->data, "");
    EXPECT_FALSE(receiver.take());
}

TEST_F(SimSocket, OfIPv6ReceivesAsWell) {
    eth0(a).set_addresses({"fd00::1/64"});
    eth0(b).set_addresses({"fd00::2/64"});
    const Udp receiver(b, "[::]:7410");
    const Udp other(b, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a, "[::]:5000").send("[fd00::2]:7410", "hello"), 0);
    run();
    EXPECT_EQ(receiver.take()->source, "[fd00::1]:5000");
    EXPECT_FALSE(other.take());
}

TEST_F(SimSocket, PortIsExclusiveOnAHost) {
    const Udp first(a, "0.0.0.0:7410");
    EXPECT_EQ(Udp(also_a, "0.0.0.0:7410").error, EADDRINUSE);
    EXPECT_EQ(Udp(also_a, "192.0.2.1:7410").error, EADDRINUSE);
    EXPECT_EQ(Udp(b, "0.0.0.0:7410").error, 0);
    EXPECT_EQ(Udp(also_a, "0.0.0.0:7411").error, 0);
    EXPECT_EQ(Udp(also_a, "[::]:7410").error, 0);
}

TEST_F(SimSocket, PortIsFreeWhenItsSocketIsClosed) {
    { const Udp first(a, "0.0.0.0:7410"); }
    EXPECT_EQ(Udp(also_a, "0.0.0.0:7410").error, 0);
}

TEST_F(SimSocket, PortOfDifferentAddressesIsNotTheSame) {
    const Udp first(a, "192.0.2.1:7410");
    const Udp second(a, "127.0.0.1:7410");
    EXPECT_EQ(second.error, 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:7410").error, EADDRINUSE);
}

TEST_F(SimSocket, ThatCouldNotBeBoundIsUsedAgain) {
    const Udp first(a, "0.0.0.0:7410");
    const Udp second(a);
    EXPECT_EQ(second.bind("0.0.0.0:7410"), EADDRINUSE);
    EXPECT_EQ(second.bind("0.0.0.0:7412"), 0);
    EXPECT_EQ(second.bind("0.0.0.0:7414"), EINVAL);
}

TEST_F(SimSocket, IsBoundToAnAddressOfTheHost) {
    EXPECT_EQ(Udp(a, "192.0.2.2:7410").error, EADDRNOTAVAIL);
    eth0(a).set_up(false);
    EXPECT_EQ(Udp(a, "192.0.2.1:7410").error, EADDRNOTAVAIL);
}

TEST_F(SimSocket, IsBoundToAPortThatThereIs) {
    const Udp one(a);
    EXPECT_EQ(one.bind("0.0.0.0:0"), EINVAL);
    EXPECT_EQ(one.bind("0.0.0.0:65535"), 0);
}

TEST_F(SimSocket, IsDistinctFromThatOfAnotherAddressOfItsPort) {
    eth0(a).set_addresses({"192.0.2.1/24", "192.0.2.9/24"});
    const Udp first(a, "192.0.2.1:7410");
    const Udp second(a, "192.0.2.9:7410");
    EXPECT_EQ(Udp(b).send("192.0.2.9:7410", "hello"), 0);
    run();
    EXPECT_THAT(first.take_all(), IsEmpty());
    EXPECT_THAT(second.take_all(), ElementsAre("hello"));
}

TEST_F(SimSocket, WhatIsForAPortThatNobodyHasIsDropped) {
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_EQ(dropped(Drop::NO_SOCKET), 1u);
}

TEST_F(SimSocket, SenderIsGivenAPortThatIsFree) {
    host_a.take_port(at("0.0.0.0:32768"));
    const Udp receiver(b, "0.0.0.0:7410");
    const Udp first(a);
    const Udp second(a);
    for (const Udp *one : {&first, &second, &first}) {
        EXPECT_EQ(one->send("192.0.2.2:7410", "hello"), 0);
    }
    run();
    EXPECT_EQ(receiver.take()->source, "192.0.2.1:32769");
    EXPECT_EQ(receiver.take()->source, "192.0.2.1:32770");
    EXPECT_EQ(receiver.take()->source, "192.0.2.1:32769");
}

TEST_F(SimSocket, DescriptorsRunOut) {
    a.limit_descriptors(2);
    const Udp first(a);
    {
        const Udp second(a, GROUP);
        EXPECT_EQ(a.descriptors(), 2u);
        EXPECT_EQ(Udp(a).error, EMFILE);
        const Udp group(a, GROUP);
        EXPECT_EQ(group.error, EMFILE);
        EXPECT_STREQ(group.step, "open a socket");
        EXPECT_EQ(Udp(also_a).error, 0);
    }
    EXPECT_EQ(a.descriptors(), 1u);
    EXPECT_EQ(Udp(a).error, 0);
}

TEST_F(SimSocket, BufferThatIsFullDropsAndCounts) {
    Host &host = world.add_host("small", {.receiveBuffer = 3 * (768 + 5)});
    host.add_interface("eth0", &lan, {"192.0.2.3/24"});
    const Udp receiver(host.add_process("c"), "0.0.0.0:7410");
    const Udp sender(a);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(sender.send("192.0.2.3:7410", "hello"), 0);
    }
    run();
    EXPECT_EQ(dropped(Drop::BUFFER), 2u);
    EXPECT_EQ(host.find_socket(at("0.0.0.0:7410"))->dropped, 2u);
    EXPECT_EQ(host.find_socket(at("0.0.0.0:7410"))->waiting, 3u * (768 + 5));
    EXPECT_THAT(receiver.take_all(), SizeIs(3));
    EXPECT_EQ(host.find_socket(at("0.0.0.0:7410"))->waiting, 0u);
    EXPECT_EQ(sender.send("192.0.2.3:7410", "hello"), 0);
    run();
    EXPECT_THAT(receiver.take_all(), SizeIs(1));
}

TEST_F(SimSocket, DatagramTellsHowManyWereLostBeforeIt) {
    Host &host = world.add_host("small", {.receiveBuffer = 2 * (768 + 5)});
    host.add_interface("eth0", &lan, {"192.0.2.3/24"});
    const Udp receiver(host.add_process("c"), "0.0.0.0:7410");
    const Udp sender(a);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(sender.send("192.0.2.3:7410", "hello"), 0);
    }
    run();
    EXPECT_EQ(receiver.take()->lost, 0u);
    EXPECT_EQ(receiver.take()->lost, 0u); // it came before those that were lost
    EXPECT_EQ(sender.send("192.0.2.3:7410", "hello"), 0);
    run();
    EXPECT_EQ(receiver.take()->lost, 3u);
}

TEST_F(SimSocket, BufferTakesOneDatagramWhateverItsSize) {
    Host &host = world.add_host("small", {.receiveBuffer = 10});
    host.add_interface("eth0", &lan, {"192.0.2.3/24"});
    const Udp receiver(host.add_process("c"), "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("192.0.2.3:7410", std::string(1'000, 'x')), 0);
    run();
    EXPECT_THAT(receiver.take_all(), SizeIs(1));
}

TEST_F(SimSocket, MessageThatIsTooLargeIsRefused) {
    eth0(a).set_addresses({"192.0.2.1/24", "fd00::1/64"});
    const Udp ipv4(a);
    EXPECT_EQ(ipv4.send("192.0.2.2:7410", std::string(65'507, 'x')), 0);
    EXPECT_EQ(ipv4.send("192.0.2.2:7410", std::string(65'508, 'x')), EMSGSIZE);
    const Udp ipv6(a, "[::]:5000");
    EXPECT_EQ(ipv6.send("[fd00::2]:7410", std::string(65'527, 'x')), 0);
    EXPECT_EQ(ipv6.send("[fd00::2]:7410", std::string(65'528, 'x')), EMSGSIZE);
}

TEST_F(SimSocket, NothingIsSentToWhereThereIsNoWay) {
    const Udp sender(a);
    EXPECT_EQ(sender.send("198.51.100.1:7410", "hello"), ENETUNREACH);
    EXPECT_EQ(sender.send("192.0.2.2:7410", "hello", 1), ENETUNREACH);
    EXPECT_EQ(sender.send(GROUP, "hello", 7), ENETUNREACH);
    eth0(a).set_up(false);
    EXPECT_EQ(sender.send("192.0.2.2:7410", "hello"), ENETUNREACH);
    EXPECT_EQ(sender.send(GROUP, "hello"), ENETUNREACH);
}

TEST_F(SimSocket, ReachesItsOwnHostAtOnceAndWithoutAWire) {
    const Udp receiver(also_a, "0.0.0.0:7410");
    const Udp sender(a, "0.0.0.0:5000");
    EXPECT_EQ(sender.send("192.0.2.1:7410", "hello"), 0);
    EXPECT_EQ(sender.send("127.0.0.1:7410", "hello"), 0);
    run(5 * MICROSECOND - 1);
    EXPECT_FALSE(receiver.take());
    run(1);
    EXPECT_EQ(receiver.take()->source, "192.0.2.1:5000");
    EXPECT_EQ(receiver.take()->source, "127.0.0.1:5000");
    EXPECT_EQ(eth0(a).to_segment.packets_in(), 0u);
}

TEST_F(SimSocket, LoopbackAddressIsThatOfEachHost) {
    const Udp on_b(b, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("127.0.0.1:7410", "hello"), 0);
    run();
    EXPECT_FALSE(on_b.take());
    EXPECT_EQ(dropped(Drop::NO_SOCKET), 1u);
}

TEST_F(SimSocket, SourceIsTheAddressInTheSubnetOfTheDestination) {
    eth0(a).set_addresses({"fe80::1/10", "198.51.100.1/24", "192.0.2.1/24", "fd00::1/64"});
    eth0(b).set_addresses({"192.0.2.2/24", "fd00::2/64"});
    const Udp ipv4(b, "0.0.0.0:7410");
    const Udp ipv6(b, "[::]:7410");
    const Udp group(b, "[ff12::1]:7412");
    EXPECT_EQ(group.error, 0);
    EXPECT_EQ(group.join(2), 0);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    const Udp sender(a, "[::]:5000");
    EXPECT_EQ(sender.send("[fd00::2]:7410", "hello"), 0);
    EXPECT_EQ(sender.send("[ff12::1]:7412", "hello", 2), 0);
    run();
    EXPECT_EQ(ipv4.take()->source, "192.0.2.1:32768");
    EXPECT_EQ(ipv6.take()->source, "[fd00::1]:5000");
    EXPECT_EQ(group.take()->source, "[fd00::1]:5000");
}

TEST_F(SimSocket, SourceIsWhatItIsBoundTo) {
    eth0(a).set_addresses({"192.0.2.1/24", "192.0.2.9/24"});
    const Udp receiver(b, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a, "192.0.2.9:5000").send("192.0.2.2:7410", "hello"), 0);
    run();
    EXPECT_EQ(receiver.take()->source, "192.0.2.9:5000");
}

TEST_F(SimSocket, WhatIsForAnAddressThatWasTakenAwayMeanwhileIsDropped) {
    const Udp receiver(b, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    eth0(b).set_addresses({});
    run();
    EXPECT_FALSE(receiver.take());
    EXPECT_EQ(dropped(Drop::NO_STATION), 1u);
}

TEST_F(SimSocket, InterfaceThatIsDownReceivesNothing) {
    const Udp receiver(b, "0.0.0.0:7410");
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    eth0(b).set_up(false);
    run();
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
    eth0(b).set_up(true);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "again"), 0);
    run();
    EXPECT_THAT(receiver.take_all(), ElementsAre("again"));
}

TEST_F(SimSocket, WhatIsForTheHostItselfIsLostWithItsLoopbackInterface) {
    const Udp receiver(a, "0.0.0.0:7410");
    host_a.loopback().set_up(false);
    EXPECT_EQ(Udp(a).send("192.0.2.1:7410", "hello"), 0);
    run();
    EXPECT_FALSE(receiver.take());
    EXPECT_EQ(dropped(Drop::DOWN), 1u);
}

TEST_F(SimSocket, GroupIsReceivedOnTheInterfacesWhereItIsJoined) {
    host_b.add_interface("eth1", &world.add_segment("other"), {"198.51.100.2/24"});
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(3), 0);
    EXPECT_EQ(Udp(a).send(GROUP, "unheard", 2), 0);
    run();
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:5000").send(GROUP, "heard", 2), 0);
    run();
    const std::optional<Udp::Received> received = member.take();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->data, "heard");
    EXPECT_EQ(received->source, "192.0.2.1:5000");
    EXPECT_EQ(received->interface, 2u);
    EXPECT_FALSE(member.take());
    EXPECT_EQ(dropped(Drop::NO_SOCKET), 0u);
}

TEST_F(SimSocket, GroupOfAPortIsAnotherThanThatOfTheNext) {
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(Udp(a).send("239.255.0.1:7401", "port", 2), 0);
    EXPECT_EQ(Udp(a).send("239.255.0.2:7400", "group", 2), 0);
    run();
    EXPECT_FALSE(member.take());
}

TEST_F(SimSocket, GroupIsSharedByAllWhoAreMembers) {
    const Udp first(a, GROUP);
    const Udp second(also_a, GROUP);
    for (const Udp *one : {&first, &second}) {
        EXPECT_EQ(one->error, 0);
        EXPECT_EQ(one->join(2), 0);
    }
    EXPECT_EQ(Udp(a).send(GROUP, "own", 2), 0); // to the host's own members as well
    EXPECT_EQ(Udp(b).send(GROUP, "other", 2), 0);
    run();
    EXPECT_THAT(first.take_all(), ElementsAre("own", "other"));
    EXPECT_THAT(second.take_all(), ElementsAre("own", "other"));
}

TEST_F(SimSocket, PortOfAGroupIsNoneOfUnicast) {
    const Udp port(a, "0.0.0.0:7400");
    const Udp group(also_a, GROUP);
    EXPECT_EQ(group.error, EADDRINUSE);
    EXPECT_STREQ(group.step, "bind the socket");
    EXPECT_EQ(also_a.descriptors(), 0u);
    const Udp on_b(b, GROUP);
    EXPECT_EQ(Udp(b, "0.0.0.0:7400").error, EADDRINUSE);
}

TEST_F(SimSocket, UnicastIsNotForMembersOfAGroup) {
    const Udp member(b, GROUP);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7400", "hello"), 0);
    run();
    EXPECT_FALSE(member.take());
    EXPECT_EQ(dropped(Drop::NO_SOCKET), 1u);
}

TEST_F(SimSocket, GroupIsJoinedOncePerInterface) {
    const Udp member(a, GROUP);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(member.join(2), EADDRINUSE);
    EXPECT_EQ(member.join(7), ENODEV);
    EXPECT_EQ(member.leave(2), 0);
    EXPECT_EQ(member.leave(2), EADDRNOTAVAIL);
    EXPECT_EQ(member.join(2), 0);
}

TEST_F(SimSocket, GroupThatIsLeftIsNotReceived) {
    const Udp member(b, GROUP);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(member.leave(2), 0);
    EXPECT_EQ(Udp(a).send(GROUP, "hello", 2), 0);
    run();
    EXPECT_FALSE(member.take());
}

TEST_F(SimSocket, MembershipsOfOneAreLimited) {
    Host &host = world.add_host("c", {.membershipsMax = 2});
    Process &process = host.add_process("c");
    host.add_interface("eth0", &lan, {"192.0.2.3/24"});
    host.add_interface("eth1", &lan, {"198.51.100.3/24"});
    const Udp member(process, GROUP);
    EXPECT_EQ(member.join(1), 0);
    EXPECT_EQ(member.join(2), 0);
    EXPECT_EQ(member.join(3), ENOBUFS);
    const Udp another(process, GROUP);
    EXPECT_EQ(another.join(3), 0);
}

TEST_F(SimSocket, TimeToLiveOfZeroStaysOnTheHost) {
    const Udp own(a, GROUP);
    const Udp other(b, GROUP);
    EXPECT_EQ(own.join(2) + other.join(2), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:0", {0, 0}).send(GROUP, "hello", 2), 0);
    run();
    EXPECT_THAT(own.take_all(), ElementsAre("hello"));
    EXPECT_THAT(other.take_all(), IsEmpty());
}

TEST_F(SimSocket, GroupIsSentToOnTheFirstInterfaceThatCanUnlessOneIsNamed) {
    const Udp on_loopback(a, GROUP);
    EXPECT_EQ(on_loopback.join(1), 0);
    const Udp other(b, GROUP);
    EXPECT_EQ(other.join(2), 0);
    EXPECT_EQ(Udp(a).send(GROUP, "out"), 0);
    EXPECT_EQ(Udp(a).send(GROUP, "in", 1), 0);
    run();
    EXPECT_THAT(on_loopback.take_all(), ElementsAre("in"));
    EXPECT_THAT(other.take_all(), ElementsAre("out"));
}

TEST_F(SimSocket, GroupIsNotSentToOnAnInterfaceWithoutMulticast) {
    Host &host = world.add_host("c");
    host.add_interface("tun0", &lan, {"192.0.2.3/24"}, {}, false);
    EXPECT_EQ(Udp(host.add_process("c")).send(GROUP, "hello", 2), ENETUNREACH);
}

} // namespace
