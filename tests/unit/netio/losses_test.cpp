// SPDX-License-Identifier: Apache-2.0
// What is told of a datagram beside its octets: its number, its interface, and what was lost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "memory_network.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

class ArrivalTest : public testing::Test {
protected:
    NUVNetioReceiveResource *open(const net::Configurator &by, const NUVNetioLocator &locator,
                                  net::Inbox &to) {
        const NUVNetioReceiveListener listener = to.listener();
        NUVNetioReceiveResource *const resource = NUVNetioConfigurator_openReceiveResource(
            by.self, &locator, &listener, runtime.worker());
        EXPECT_NE(resource, nullptr);
        return resource;
    }
    NUV_UINT64 lost() const {
        return NUVNetioRuntime_getLostDatagrams(runtime.runtime);
    }

    net::Inbox inbox;
    net::Inbox other_inbox;
    net::Runtime runtime;
    net::Configurator configurator{runtime};
    net::Configurator other{runtime};
    const NUVNetioLocator unicast = net::locator("127.0.0.1", net::free_port());
    const NUVNetioLocator group = net::locator("239.255.0.1", net::free_port());
};

TEST_F(ArrivalTest, DatagramsHaveNumbersThatRiseFromOneWhateverTheirPort) {
    NUVNetioReceiveResource *const first = open(configurator, unicast, inbox);
    NUVNetioReceiveResource *const second = open(configurator, group, inbox);
    const net::PlainSocket sender;
    ASSERT_TRUE(sender.set_multicast_interface(group, "lo"));
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_TRUE(sender.send_to(i % 2 == 0 ? unicast : group, "hello"));
        ASSERT_TRUE(inbox.wait_for(i + 1));
        EXPECT_EQ(inbox.messages()[i].arrival, i + 1);
    }
    NUVNetioReceiveResource_release(first, runtime.worker());
    NUVNetioReceiveResource_release(second, runtime.worker());
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ArrivalTest, DatagramHasOneNumberForAllWhoAreHandedIt) {
    NUVNetioReceiveResource *const first = open(configurator, group, inbox);
    NUVNetioReceiveResource *const second = open(other, group, other_inbox);
    const net::PlainSocket sender;
    ASSERT_TRUE(sender.set_multicast_interface(group, "lo"));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(sender.send_to(group, "hello"));
    }
    ASSERT_TRUE(inbox.wait_for(2));
    ASSERT_TRUE(other_inbox.wait_for(2));
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(inbox.messages()[i].arrival, i + 1);
        EXPECT_EQ(other_inbox.messages()[i].arrival, i + 1);
    }
    NUVNetioReceiveResource_release(first, runtime.worker());
    NUVNetioReceiveResource_release(second, runtime.worker());
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ArrivalTest, InterfaceIsToldOfWhatWasSentToAGroupOnly) {
    NUVNetioReceiveResource *const first = open(configurator, unicast, inbox);
    NUVNetioReceiveResource *const second = open(configurator, group, other_inbox);
    const net::PlainSocket sender;
    ASSERT_TRUE(sender.set_multicast_interface(group, "lo"));
    ASSERT_TRUE(sender.send_to(unicast, "hello"));
    ASSERT_TRUE(sender.send_to(group, "hello"));
    ASSERT_TRUE(inbox.wait_for(1));
    ASSERT_TRUE(other_inbox.wait_for(1));
    EXPECT_EQ(inbox.messages()[0].interface, 0u);
    EXPECT_EQ(other_inbox.messages()[0].interface, if_nametoindex("lo"));
    NUVNetioReceiveResource_release(first, runtime.worker());
    NUVNetioReceiveResource_release(second, runtime.worker());
    EXPECT_TRUE(runtime.flush());
}

/** Sends more than a socket has room for while nobody receives; answers how many did arrive. */
std::size_t overflow(const net::Runtime &runtime, const NUVNetioLocator &destination,
                     net::Inbox &inbox, std::size_t count) {
    const net::PlainSocket sender;
    EXPECT_TRUE(NUVNetioLocator_isMulticast(&destination) == 0 ||
                sender.set_multicast_interface(destination, "lo"));
    const std::string large(60'000, 'x');
    const std::size_t before = inbox.messages().size();
    {
        net::Blocker blocker(runtime);
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_TRUE(sender.send_to(destination, large));
        }
    }
    EXPECT_TRUE(runtime.flush());
    // The first that arrives after them tells of them.
    EXPECT_TRUE(sender.send_to(destination, "last"));
    EXPECT_TRUE(net::eventually([&] { return inbox.messages().back().data == "last"; }));
    return inbox.messages().size() - 1 - before;
}

TEST_F(ArrivalTest, WhatFindsNoRoomIsCountedOverAllSockets) {
    NUVNetioReceiveResource *const first = open(configurator, unicast, inbox);
    NUVNetioReceiveResource *const second = open(configurator, group, other_inbox);
    EXPECT_EQ(lost(), 0u);
    std::size_t missing = 20 - overflow(runtime, unicast, inbox, 20);
    EXPECT_GT(missing, 0u);
    EXPECT_EQ(lost(), missing);
    missing += 30 - overflow(runtime, group, other_inbox, 30);
    EXPECT_EQ(lost(), missing);
    missing += 10 - overflow(runtime, unicast, inbox, 10);
    EXPECT_EQ(lost(), missing);
    NUVNetioReceiveResource_release(first, runtime.worker());
    NUVNetioReceiveResource_release(second, runtime.worker());
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ArrivalTest, SocketIsAskedForItsLossesWhenItIsFirstReceivedFrom) {
    const faults::Guard guard;
    NUVNetioReceiveResource *const resource = open(configurator, unicast, inbox);
    EXPECT_EQ(faults::count("setsockopt"), 0);
    const net::PlainSocket sender;
    for (std::size_t i = 1; i <= 3; ++i) {
        ASSERT_TRUE(sender.send_to(unicast, "hello"));
        ASSERT_TRUE(inbox.wait_for(i));
    }
    EXPECT_EQ(faults::count("setsockopt"), 1);
    NUVNetioReceiveResource_release(resource, runtime.worker());
    EXPECT_TRUE(runtime.flush());
}

TEST_F(ArrivalTest, SocketThatCannotTellOfLossesIsUsedWithoutAWord) {
    const faults::Guard guard;
    const support::LogCapture log;
    NUVNetioReceiveResource *const resource = open(configurator, unicast, inbox);
    faults::fail_every_call("setsockopt", ENOPROTOOPT);
    EXPECT_LT(overflow(runtime, unicast, inbox, 20), 20u);
    EXPECT_TRUE(faults::happened());
    EXPECT_EQ(lost(), 0u);
    EXPECT_TRUE(runtime.flush());
    EXPECT_THAT(log.messages(), testing::IsEmpty());
    EXPECT_THAT(log.messagesOfOtherThreads(), testing::IsEmpty());
    NUVNetioReceiveResource_release(resource, runtime.worker());
    EXPECT_TRUE(runtime.flush());
}

TEST(LossCountTest, NewSocketBeginsWithoutLosses) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        net::Inbox inbox;
        const net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        const net::Configurator configurator(runtime, "udpv4", {"n0"});
        const NUVNetioLocator first = net::locator("192.0.2.1", net::free_port());
        const NUVNetioLocator second = net::locator("198.51.100.1", first.port);
        const NUVNetioReceiveListener listener = inbox.listener();
        NUVNetioReceiveResource *const resource = NUVNetioConfigurator_openReceiveResource(
            configurator.self, &first, &listener, runtime.worker());
        ASSERT_NE(resource, nullptr);
        std::size_t missing = 20 - overflow(runtime, first, inbox, 20);
        ASSERT_TRUE(net::run("ip addr add 198.51.100.1/24 dev n0"));
        ASSERT_TRUE(net::run("ip addr del 192.0.2.1/24 dev n0"));
        NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
        ASSERT_NE(NUVNetioReceiveResource_cover(resource, &second, runtime.worker()), 0);
        missing += 10 - overflow(runtime, second, inbox, 10);
        EXPECT_EQ(NUVNetioRuntime_getLostDatagrams(runtime.runtime), missing);
        NUVNetioReceiveResource_release(resource, runtime.worker());
        EXPECT_TRUE(runtime.flush());
    });
}

TEST(LossCountTest, DatagramWithoutLossesOrInterfaceSaysSo) {
    const NUVNetioTransport &udp = NUV_NETIO_TRANSPORT_UDPv4;
    const NUVNetioSendOptions options = NUV_NETIO_SEND_OPTIONS_DEFAULT;
    const NUVNetioLocator port = net::locator("127.0.0.1", net::free_port());
    const NUVNetioSocket_t socket = udp.openUnicast(udp.param, &options);
    ASSERT_NE(udp.bindUnicast(udp.param, socket, &port.address, port.port), 0);
    udp.watchLosses(udp.param, socket);
    ASSERT_TRUE(net::PlainSocket().send_to(port, "hello"));
    NUVNetioDatagram datagram{};
    datagram.interfaceIndex = 7;
    datagram.lost = 7;
    NUV_UINT8 buffer[16];
    ASSERT_NE(udp.receive(udp.param, socket, buffer, sizeof buffer, &datagram), 0);
    EXPECT_EQ(datagram.interfaceIndex, 0u);
    EXPECT_EQ(datagram.lost, 0u);
    udp.close(udp.param, socket);
}

TEST(LossCountTest, SocketsCountMayBeginAnew) {
    net::VirtualClock clock;
    net::MemoryNetwork network;
    net::VirtualHost host(clock, network);
    const net::VirtualConfigurator configurator(host);
    net::Inbox inbox;
    const NUVNetioLocator port = net::locator("192.0.2.10:7410");
    NUVNetioReceiveResource *const resource = configurator.open(port, inbox);
    for (const NUV_UINT32 lost : {0xFFFFFFFEu, 0xFFFFFFFEu, 3u}) {
        network.lost = lost;
        network.arrive(port, "hello");
        host.loop.pass(0);
    }
    EXPECT_EQ(NUVNetioRuntime_getLostDatagrams(host.runtime), 0x100000003u);
    inbox.release(resource, host.worker());
}

} // namespace
