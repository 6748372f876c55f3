// SPDX-License-Identifier: Apache-2.0
// Which entryports a facade has, and what is sent from them.
#include <array>
#include <atomic>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "facade_fixture.h"
#include "support/faults.h"
#include "support/log_capture.h"

namespace {

using commend_test::Facade;
using support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Ne;

class SendFromTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(receiver.bind_to("127.0.0.1", 0));
    }
    NUVNetioLocator unicast(int number) const {
        return net::locator("127.0.0.1", number);
    }
    NUVNetioLocator there() const {
        return unicast(receiver.port());
    }
    /** The port that the next message comes from. */
    int source_port() const {
        std::array<char, 16> data{};
        sockaddr_in source{};
        socklen_t length = sizeof source;
        EXPECT_EQ(recvfrom(receiver.number, data.data(), data.size(), 0,
                           reinterpret_cast<sockaddr *>(&source), &length),
                  5);
        return ntohs(source.sin_port);
    }

    const faults::Guard guard;
    net::TestClock clock;
    net::Runtime runtime;
    const net::PlainSocket receiver;
    const int port = net::free_port();
    Facade facade{runtime};
    const NUVNetioLocator group = net::locator("udpv4://239.255.0.1:7400");
};

TEST_F(SendFromTest, MessageComesFromTheEntryport) {
    facade.add(unicast(port));
    EXPECT_EQ(facade.send_from(port, there()), 1);
    EXPECT_EQ(source_port(), port);
}

TEST_F(SendFromTest, PortThatIsNotReservedIsNotSentFrom) {
    Facade other(runtime);
    other.add(unicast(port));
    EXPECT_EQ(facade.send_from(port, there()), 1);
    EXPECT_NE(source_port(), port);
    EXPECT_EQ(facade.send_from(0, there()), 1);
    EXPECT_NE(source_port(), port);
}

TEST_F(SendFromTest, EntryportThatWasGivenBackIsNotSentFrom) {
    const REDAWeakReference first = facade.add(unicast(port));
    const REDAWeakReference second = facade.add(unicast(port));
    facade.remove(first);
    EXPECT_EQ(facade.send_from(port, there()), 1);
    EXPECT_EQ(source_port(), port);
    facade.remove(second);
    EXPECT_EQ(facade.send_from(port, there()), 1);
    EXPECT_NE(source_port(), port);
}

TEST_F(SendFromTest, EntryportOfAGroupIsNotSentFrom) {
    facade.add(net::locator("239.255.0.1", port));
    EXPECT_EQ(facade.send_from(port, there()), 1);
    EXPECT_NE(source_port(), port);
}

TEST_F(SendFromTest, EntryportIsThatOfTheDestinationsTransport) {
    Facade both(runtime, COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT, "udpv4,udpv6");
    both.add(net::locator("[::1]", port));
    std::vector<int> from;
    faults::replace("sendmsg without waiting", [&](int socket, const msghdr *, int) -> ssize_t {
        sockaddr_in6 name{}; // the port is where that of IPv4 is
        socklen_t length = sizeof name;
        EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr *>(&name), &length), 0);
        from.push_back(ntohs(name.sin6_port));
        return 0;
    });
    EXPECT_EQ(both.send_from(port, there()), 1);
    EXPECT_EQ(both.send_from(port, net::locator("[::1]:1")), 1);
    EXPECT_THAT(from, ElementsAre(Ne(port), port));
}

TEST_F(SendFromTest, GroupIsSentToOverEachInterfaceAndCountsOnce) {
    runtime.interfaces.set(
        {net::interface("n0", 9998, "192.0.2.2"), net::interface("n1", 9999, "192.0.2.1")});
    runtime.renew();
    NUVNetioConfigurator_refreshInterfaces(facade.configurator.self, runtime.worker());
    faults::replace("sendmsg without waiting",
                    [](int, const msghdr *, int) -> ssize_t { return 0; });
    for (const int from : {port, 0}) {
        EXPECT_EQ(facade.send_from(from, group), 2);
        facade.add(unicast(port));
    }
    EXPECT_EQ(facade.statistics().messagesSent, 2u);
}

TEST_F(SendFromTest, MessageThatNobodyTookIsNotCounted) {
    facade.add(unicast(port));
    const LogCapture log;
    for (const int from : {port, 0}) {
        faults::fail_call("sendmsg without waiting", 1, ENETDOWN);
        EXPECT_EQ(facade.send_from(from, there()), 0);
    }
    EXPECT_EQ(facade.statistics().messagesSent, 0u);
    EXPECT_EQ(log.messages().size(), 2u);
}

TEST_F(SendFromTest, NeitherWaitsForRoom) {
    facade.add(unicast(port));
    for (const int from : {port, 0}) {
        EXPECT_EQ(facade.send_from(from, there()), 1);
        EXPECT_EQ(facade.send_from(from, group), 1);
    }
    EXPECT_EQ(faults::count("sendmsg"), 0);
    EXPECT_EQ(faults::count("sendmsg without waiting"), 4);
}

TEST_F(SendFromTest, TransportThatIsNotRegisteredIsAnError) {
    const LogCapture log;
    EXPECT_EQ(facade.send_from(port, net::locator("[::1]:7410")), 0);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_THAT(log.messages()[0].text, HasSubstr("its transport is not registered"));
}

TEST_F(SendFromTest, SendingThatTakesLongerIsOneWarning) {
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    property.parent.sender.sendTimeBasedLoggingThreshold = {0, 0}; // anything takes longer
    Facade timed(runtime, property);
    timed.add(unicast(port));
    const LogCapture log;
    EXPECT_EQ(timed.send_from(port, there()), 1);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(log.messages()[0].function, "COMMENDFacade_sendFrom");
    EXPECT_THAT(log.messages()[0].text,
                MatchesRegex("sending a message to udpv4://127\\.0\\.0\\.1:" +
                             std::to_string(receiver.port()) +
                             " took [0-9]+\\.[0-9]{6} s, longer than 0\\.000000 s"));
}

TEST_F(SendFromTest, ReactorMayAnswerAndTheCallerMayBeInALowerArea) {
    struct Answering {
        static void on_message(void *param, const NUVNetioMessage *message, REDAWorker *worker) {
            auto *self = static_cast<Answering *>(param);
            const reda::ExclusiveAreaGuard guard(self->area, worker);
            EXPECT_EQ(COMMENDFacade_sendFrom(self->facade.self, message->port, &message->source,
                                             message->data, 5, worker),
                      1);
        }
        Facade &facade;
        REDAExclusiveArea *area;
    };
    Answering answering{facade, REDAExclusiveArea_new(40, "test")};
    facade.add(unicast(port));
    facade.listen({Answering::on_message, &answering});
    ASSERT_TRUE(receiver.send_to(unicast(port), commend_test::message({1, 2, 3})));
    EXPECT_EQ(source_port(), port);
    EXPECT_TRUE(runtime.flush());
    REDAExclusiveArea_delete(answering.area);
}

TEST_F(SendFromTest, ThreadsMaySendWhileTheEntryportComesAndGoes) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            while (!stop) {
                EXPECT_EQ(facade.send_from(port, unicast(port)), 1);
                EXPECT_EQ(facade.send_from(port, group), 1);
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        facade.remove(facade.add(unicast(port)));
        EXPECT_TRUE(net::is_free(port));
    }
    stop = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(facade.has(unicast(port)));
}

// ---- which there are

TEST_F(SendFromTest, EntryportIsHadFromItsReservationToItsLastRemoval) {
    EXPECT_FALSE(facade.has(unicast(port)));
    const REDAWeakReference first = facade.add(unicast(port));
    const REDAWeakReference second = facade.add(unicast(port));
    EXPECT_TRUE(facade.has(unicast(port)));
    facade.remove(first);
    EXPECT_TRUE(facade.has(unicast(port)));
    facade.remove(second);
    EXPECT_FALSE(facade.has(unicast(port)));
}

TEST_F(SendFromTest, EntryportIsHadByTransportPortAndGroup) {
    Facade both(runtime, COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT, "udpv4,udpv6");
    both.add(unicast(port));
    both.add(group);
    EXPECT_TRUE(both.has(net::locator("192.0.2.1", port))); // it is the same port at any address
    EXPECT_FALSE(both.has(unicast(port + 1)));
    EXPECT_FALSE(both.has(net::locator("[::1]", port)));
    EXPECT_TRUE(both.has(group));
    EXPECT_FALSE(both.has(net::locator("239.255.0.2:7400")));
    EXPECT_FALSE(both.has(net::locator("239.255.0.1", port)));
    EXPECT_FALSE(both.has(unicast(7400)));
    EXPECT_FALSE(facade.has(unicast(port)));
}

TEST_F(SendFromTest, EntryportThatIsGivenBackDuringAMessageIsNotHad) {
    commend_test::Listener listener;
    facade.listen(listener.listener());
    const REDAWeakReference reference = facade.add(unicast(port));
    listener.hold();
    ASSERT_TRUE(receiver.send_to(unicast(port), commend_test::message({1, 2, 3})));
    ASSERT_TRUE(listener.wait_until_held());
    facade.remove(reference);
    EXPECT_TRUE(facade.is_active());
    EXPECT_FALSE(facade.has(unicast(port)));
    EXPECT_EQ(facade.send_from(port, there()), 1);
    EXPECT_NE(source_port(), port);
    listener.let_go();
    EXPECT_TRUE(facade.flush());
}

TEST_F(SendFromTest, ConfiguratorIsTheOneThatTheFacadeWasMadeWith) {
    EXPECT_EQ(COMMENDFacade_getConfigurator(facade.self), facade.configurator.self);
}

} // namespace
