// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;
using testing::HasSubstr;

class SendTest : public testing::Test {
protected:
    bool send(const NUVNetioLocator &destination, std::string_view data) {
        return NUVNetioConfigurator_send(configurator.self, &destination,
                                         reinterpret_cast<const NUV_UINT8 *>(data.data()),
                                         static_cast<NUV_UINT32>(data.size()),
                                         runtime.worker()) != 0;
    }
    std::string receive() const {
        char buffer[65536];
        const ssize_t length = recv(receiver.number, buffer, sizeof buffer, 0);
        return length >= 0 ? std::string(buffer, static_cast<std::size_t>(length)) : "failed";
    }
    void expect_one_error(const LogCapture &log, const char *part) {
        ASSERT_EQ(log.messages().size(), 1u);
        EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
        EXPECT_THAT(log.messages()[0].text, HasSubstr(part));
    }

    void SetUp() override {
        ASSERT_TRUE(receiver.bind_to("127.0.0.1", 0));
    }

    net::TestClock clock;
    net::Runtime runtime;
    net::Configurator configurator{runtime};
    net::PlainSocket receiver;
    const NUVNetioLocator loopback = net::locator("127.0.0.1:1");
};

TEST_F(SendTest, MessageArrivesWhole) {
    const NUVNetioLocator destination = net::locator("127.0.0.1", receiver.port());
    for (const std::string &data : {std::string("hello"), std::string(),
                                    std::string(NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX, 'x')}) {
        EXPECT_TRUE(send(destination, data));
        EXPECT_EQ(receive(), data);
    }
}

TEST_F(SendTest, OneSocketIsOpenedForTheFirstMessageAndKept) {
    const faults::Guard guard;
    const net::Held before;
    EXPECT_EQ(faults::count("socket"), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(send(loopback, "hello"));
    }
    EXPECT_EQ(faults::count("socket"), 1);
    EXPECT_EQ(net::Held().descriptors, before.descriptors + 1);
}

TEST_F(SendTest, ThreadsMaySendAtTheSameTime) {
    std::vector<std::thread> threads;
    const net::Held before;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                EXPECT_TRUE(send(loopback, "hello"));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(net::Held().descriptors, before.descriptors + 1);
}

TEST_F(SendTest, MessageThatIsTooLargeIsAnError) {
    const LogCapture log;
    EXPECT_FALSE(send(loopback, std::string(NUV_NETIO_UDPv4_MESSAGE_SIZE_MAX + 1, 'x')));
    expect_one_error(log, "cannot send 65508 bytes to udpv4://127.0.0.1:1: Message too long "
                          "(EMSGSIZE)");
}

TEST_F(SendTest, UnregisteredTransportIsAnError) {
    const LogCapture log;
    EXPECT_FALSE(send(net::locator("[::1]:7410"), "hello"));
    expect_one_error(log, "udpv6://[::1]:7410: its transport is not registered");
}

TEST_F(SendTest, PortOutOfRangeIsAnError) {
    for (const int port : {-1, 0, 65536}) {
        const LogCapture log;
        EXPECT_FALSE(send(net::locator("127.0.0.1", port), "hello"));
        expect_one_error(log, "allowed ports are 1 to 65535");
    }
}

TEST_F(SendTest, SocketThatCannotBeOpenedIsAnError) {
    const faults::Guard guard;
    const LogCapture log;
    faults::fail_call("socket", 1, EMFILE);
    EXPECT_FALSE(send(loopback, "hello"));
    expect_one_error(log, "(EMFILE)");
    EXPECT_TRUE(send(loopback, "hello"));
}

TEST_F(SendTest, SocketThatCannotBeOpenedForAGroupIsAnError) {
    const faults::Guard guard;
    const LogCapture log;
    faults::fail_call("socket", 1, EMFILE);
    EXPECT_FALSE(send(net::locator("239.255.0.1:1"), "hello"));
    expect_one_error(log, "(EMFILE)");
}

TEST_F(SendTest, FailuresAreOneErrorASecond) {
    const faults::Guard guard;
    const LogCapture log;
    for (int i = 0; i < 5; ++i) {
        faults::fail_call("sendmsg", 1, ENETDOWN);
        EXPECT_FALSE(send(loopback, "hello"));
    }
    expect_one_error(log, "cannot send 5 bytes to udpv4://127.0.0.1:1: Network is down (ENETDOWN)");
    clock.advance(1'000'000'000);
    faults::fail_call("sendmsg", 1, ENETDOWN);
    EXPECT_FALSE(send(loopback, "hello"));
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_THAT(log.messages()[1].text, HasSubstr("(and 4 more like it since the last line)"));
}

TEST_F(SendTest, MistakesOfTheCallerAreAnErrorEach) {
    const LogCapture log;
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(send(net::locator("127.0.0.1", 0), "hello"));
        EXPECT_FALSE(send(net::locator("[::1]:7410"), "hello"));
    }
    EXPECT_EQ(log.messages().size(), 6u);
}

TEST_F(SendTest, InterruptedSendIsRepeated) {
    const faults::Guard guard;
    faults::fail_call("sendmsg", 1, EINTR);
    EXPECT_TRUE(send(loopback, "hello"));
    EXPECT_EQ(faults::count("sendmsg"), 2);
}

TEST_F(SendTest, SendThatIsInterruptedAllTheWhileEndsAsAFailure) {
    const faults::Guard guard;
    const support::LogCapture log;
    faults::fail_every_call("sendmsg", EINTR);
    EXPECT_FALSE(send(loopback, "hello"));
    EXPECT_EQ(faults::count("sendmsg"), 10);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("(EINTR)"));
}

TEST_F(SendTest, GroupIsSentToOnEachInterfaceOnce) {
    const faults::Guard guard;
    NUVNetioInterface other = net::loopback("127.0.0.2");
    runtime.interfaces.set({net::loopback("127.0.0.1"), other});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    EXPECT_TRUE(send(net::locator("239.255.0.1:7400"), "hello"));
    EXPECT_EQ(faults::count("sendmsg"), 1);
}

TEST_F(SendTest, InterfaceThatRefusesAGroupIsAWarningWhileOthersDoNot) {
    const faults::Guard guard;
    NUVNetioInterface twin = net::loopback("127.0.0.2");
    twin.index = 9999;
    runtime.interfaces.set({net::loopback("127.0.0.1"), twin});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    const LogCapture log;
    EXPECT_TRUE(send(net::locator("239.255.0.1:7400"), "hello"));
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("1 of 2 interfaces"));
    EXPECT_TRUE(send(net::locator("239.255.0.1:7400"), "again, within the same second"));
    EXPECT_EQ(log.messages().size(), 1u);
}

TEST_F(SendTest, GroupThatEveryInterfaceRefusesIsOneError) {
    NUVNetioInterface gone = net::interface("gone0", 9999, "192.0.2.2");
    runtime.interfaces.set({gone});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    const LogCapture log;
    EXPECT_FALSE(send(net::locator("239.255.0.1:7400"), "hello"));
    expect_one_error(log, "cannot send 5 bytes to udpv4://239.255.0.1:7400");
}

TEST(GroupSendTest, WithoutKnownInterfacesTheKernelsRoutesDecide) {
    IN_PRIVATE_NETWORK([] {
        net::Runtime runtime(std::vector<NUVNetioInterface>{});
        net::Configurator configurator(runtime);
        const NUVNetioLocator group = net::locator("239.255.0.1:7400");
        const NUV_UINT8 data[] = {'h', 'i'};
        const LogCapture log;
        EXPECT_EQ(NUVNetioConfigurator_send(configurator.self, &group, data, sizeof data,
                                            runtime.worker()),
                  0);
        EXPECT_EQ(log.messages().size(), 1u);
        ASSERT_TRUE(net::run("ip route add 239.0.0.0/8 dev lo"));
        EXPECT_NE(NUVNetioConfigurator_send(configurator.self, &group, data, sizeof data,
                                            runtime.worker()),
                  0);
    });
}

TEST(StuckLinkTest, SendThatFindsNoRoomForLongIsAnError) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::run("ip neigh add 192.0.2.9 lladdr 02:00:00:00:00:09 dev n0"));
        if (!net::run("tc qdisc add dev n0 root tbf rate 8bit burst 2000 limit 10000000")) {
            GTEST_SKIP() << "needs the program tc and the queue tbf";
        }
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        net::Configurator configurator(runtime);
        const NUVNetioLocator destination = net::locator("192.0.2.9:7400");
        const std::vector<NUV_UINT8> data(60'000);
        const LogCapture log;
        int sent = 0;
        while (sent < 1000 && NUVNetioConfigurator_send(configurator.self, &destination,
                                                        data.data(), 60'000, runtime.worker())) {
            ++sent;
        }
        EXPECT_GT(sent, 0);
        ASSERT_EQ(log.messages().size(), 1u);
        EXPECT_THAT(log.messages()[0].text,
                    HasSubstr("cannot send 60000 bytes to udpv4://192.0.2.9:7400"));
        EXPECT_THAT(log.messages()[0].text, HasSubstr("(EAGAIN)"));
    });
}

TEST_F(SendTest, MessageToAGroupWaitsForOneStuckLinkOnly) {
    const faults::Guard guard;
    std::vector<NUVNetioInterface> interfaces(4, net::loopback("127.0.0.1"));
    for (NUV_UINT32 i = 1; i < 4; ++i) {
        interfaces[i].index = 9000 + i;
    }
    runtime.interfaces.set(interfaces);
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
    faults::fail_call("sendmsg", 2, EAGAIN);
    EXPECT_TRUE(send(net::locator("239.255.0.1:7400"), "hello"));
    EXPECT_EQ(faults::count("sendmsg"), 2);
    EXPECT_EQ(faults::count("sendmsg without waiting"), 2);
}

TEST(GroupSendTest, GroupIsReceivedOnAnInterfaceThatAppearsLater) {
    IN_PRIVATE_NETWORK([] {
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        net::Configurator configurator(runtime);
        net::Inbox inbox;
        const NUVNetioLocator group = net::locator("239.255.0.1:7400");
        const NUVNetioReceiveListener listener = inbox.listener();
        NUVNetioReceiveResource *resource = NUVNetioConfigurator_openReceiveResource(
            configurator.self, &group, &listener, runtime.worker());
        ASSERT_NE(resource, nullptr);
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        EXPECT_TRUE(
            net::eventually([] { return net::run("ip maddr show dev n0 | grep -q 239.255.0.1"); }));
        NUVNetioConfigurator_refreshInterfaces(configurator.self, runtime.worker());
        const NUV_UINT8 data[] = {'h', 'i'};
        EXPECT_NE(NUVNetioConfigurator_send(configurator.self, &group, data, sizeof data,
                                            runtime.worker()),
                  0);
        ASSERT_TRUE(inbox.wait_for(1));
        EXPECT_THAT(net::text(inbox.messages()[0].source), HasSubstr("192.0.2.1"));
        NUVNetioReceiveResource_release(resource, runtime.worker());
        EXPECT_TRUE(runtime.flush());
    });
}

TEST(GroupSendTest, GroupGoesOverAllowedInterfacesOnly) {
    IN_PRIVATE_NETWORK([] {
        ASSERT_TRUE(net::add_interface("n0", "192.0.2.1/24"));
        ASSERT_TRUE(net::add_interface("n1", "198.51.100.1/24"));
        net::Runtime runtime(NUV_NETIO_RUNTIME_PROPERTY_DEFAULT);
        net::Configurator configurator(runtime, "udpv4", {"n1"});
        net::Inbox inbox;
        const NUVNetioLocator group = net::locator("239.255.0.1:7400");
        const NUVNetioReceiveListener listener = inbox.listener();
        NUVNetioReceiveResource *resource = NUVNetioConfigurator_openReceiveResource(
            configurator.self, &group, &listener, runtime.worker());
        EXPECT_TRUE(net::run("ip maddr show dev n1 | grep -q 239.255.0.1"));
        EXPECT_FALSE(net::run("ip maddr show dev n0 | grep -q 239.255.0.1"));
        const NUV_UINT8 data[] = {'h', 'i'};
        NUVNetioConfigurator_send(configurator.self, &group, data, sizeof data, runtime.worker());
        ASSERT_TRUE(inbox.wait_for(1));
        EXPECT_THAT(net::text(inbox.messages()[0].source), HasSubstr("198.51.100.1"));
        NUVNetioReceiveResource_release(resource, runtime.worker());
        EXPECT_TRUE(runtime.flush());
    });
}

} // namespace
