// SPDX-License-Identifier: Apache-2.0
#include <atomic>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "commend/commend_log.h"
#include "facade_fixture.h"
#include "support/log_capture.h"

namespace {

using commend_test::Facade;
using commend_test::Listener;
using commend_test::message;
using commend_test::OTHER;
using commend_test::OWN;
using support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

COMMENDActiveFacadeProperty own_property() {
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    property.parent.guidPrefix = OWN;
    return property;
}

// ---- receiving

class FacadeReceiveTest : public testing::Test {
protected:
    void SetUp() override {
        facade.listen(listener.listener());
        facade.add(to);
    }
    void send(const std::string &data) {
        ASSERT_TRUE(sender.send_to(to, data));
        ++sent;
        ASSERT_TRUE(net::eventually([&] {
            const COMMENDFacadeStatistics statistics = facade.statistics();
            return statistics.messagesReceived + statistics.datagramsRejected == sent;
        }));
    }

    net::Runtime runtime;
    const int port = net::free_port();
    const NUVNetioLocator to = net::locator("127.0.0.1", port);
    Listener listener;
    Facade facade{runtime, own_property()};
    net::PlainSocket sender;
    NUV_UINT64 sent = 0;
};

TEST_F(FacadeReceiveTest, MessagesAreHandedOnWhole) {
    send(message(OTHER, "one"));
    send(message(OTHER));
    EXPECT_TRUE(listener.wait_for(2));
    EXPECT_THAT(listener.messages(), ElementsAre(message(OTHER, "one"), message(OTHER)));
    EXPECT_EQ(facade.statistics().messagesReceived, 2u);
}

TEST_F(FacadeReceiveTest, MessagesOfTheParticipantItselfAreCountedAndNotHandedOn) {
    send(message(OWN, "echo"));
    send(message(OTHER));
    EXPECT_TRUE(listener.wait_for(1));
    EXPECT_THAT(listener.messages(), ElementsAre(message(OTHER)));
    EXPECT_EQ(facade.statistics().messagesReceived, 2u);
    EXPECT_EQ(facade.statistics().messagesFromSelf, 1u);
}

TEST_F(FacadeReceiveTest, EveryPartOfTheGuidPrefixCounts) {
    for (std::size_t i = 8; i < 20; ++i) {
        std::string almost_own = message(OWN);
        almost_own[i] = static_cast<char>(almost_own[i] ^ 1);
        send(almost_own);
    }
    EXPECT_TRUE(listener.wait_for(12));
    EXPECT_EQ(facade.statistics().messagesFromSelf, 0u);
}

TEST_F(FacadeReceiveTest, WhatIsNoRtpsMessageIsRejected) {
    std::vector<std::string> rejected = {"", "R", "RTPS", message(OTHER).substr(0, 19),
                                         std::string(1000, 'x')};
    for (std::size_t i = 0; i < 5; ++i) { // each byte of "RTPS", and the major version
        std::string wrong = message(OTHER);
        wrong[i] = static_cast<char>(wrong[i] + 1);
        rejected.push_back(wrong);
    }
    std::string old = message(OTHER);
    old[4] = 1;
    rejected.push_back(old);
    for (const std::string &data : rejected) {
        send(data);
    }
    EXPECT_EQ(facade.statistics().datagramsRejected, rejected.size());
    EXPECT_EQ(facade.statistics().messagesReceived, 0u);
    EXPECT_TRUE(listener.messages().empty());
}

TEST_F(FacadeReceiveTest, AnyMinorVersionAndVendorIsTaken) {
    std::string other_vendor = message(OTHER);
    other_vendor[5] = '\xFF';
    other_vendor[6] = 1;
    other_vendor[7] = 2;
    send(other_vendor);
    EXPECT_EQ(facade.statistics().messagesReceived, 1u);
    EXPECT_THAT(listener.messages(), ElementsAre(other_vendor));
}

TEST_F(FacadeReceiveTest, ListenerMayBeReplacedAndTakenAway) {
    Listener second;
    send(message(OTHER, "1"));
    EXPECT_TRUE(listener.wait_for(1));
    facade.listen(second.listener());
    send(message(OTHER, "2"));
    EXPECT_TRUE(second.wait_for(1));
    facade.listen({nullptr, nullptr});
    send(message(OTHER, "3"));
    EXPECT_TRUE(runtime.flush());
    EXPECT_THAT(listener.messages(), ElementsAre(message(OTHER, "1")));
    EXPECT_THAT(second.messages(), ElementsAre(message(OTHER, "2")));
    EXPECT_EQ(facade.statistics().messagesReceived, 3u);
}

TEST_F(FacadeReceiveTest, ListenerMayUseTheFacade) {
    struct User {
        Facade *facade;
        int port;
        std::atomic<bool> done{false};
        static void on_message(void *param, const NUVNetioMessage *, REDAWorker *) {
            auto *self = static_cast<User *>(param);
            EXPECT_TRUE(
                self->facade->remove(self->facade->add(net::locator("127.0.0.1", self->port))));
            self->facade->listen({nullptr, nullptr});
            self->facade->send("x");
            self->done = true;
        }
    } user{&facade, net::free_port()};
    facade.listen({User::on_message, &user});
    send(message(OTHER));
    EXPECT_TRUE(net::eventually([&] { return user.done.load(); }));
}

TEST_F(FacadeReceiveTest, GroupIsReceivedOverTheLoopbackInterface) {
    const NUVNetioLocator group = net::locator("239.255.0.1", net::free_port());
    Facade other(runtime);
    Listener others;
    other.listen(others.listener());
    other.add(group);
    EXPECT_TRUE(facade.add_destination(group));
    EXPECT_EQ(facade.send(message(OTHER, "to all")), 1);
    EXPECT_TRUE(others.wait_for(1));
}

// ---- slow receiving

void expect_slow_receive_warning(const support::Message &warning, int port) {
    EXPECT_EQ(warning.level, NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(warning.module, NUV_LOG_MODULE_COMMEND);
    EXPECT_EQ(warning.function, "receive");
    EXPECT_THAT(warning.text,
                MatchesRegex("processing a received message on port " + std::to_string(port) +
                             " took [0-9]+\\.[0-9]{6} s, longer than 0\\.001000 s"));
}

/** What the reactor warns of when a listener takes 5 ms and the threshold is 1 ms, or as given. */
support::Messages receive_slowly(const std::string &ports, int port,
                                 NUVNtpTime threshold = {0, 0x00418937}) {
    net::Runtime runtime;
    COMMENDActiveFacadeProperty property = own_property();
    std::string copied = ports;
    property.parent.receiver.processMessageTimeBasedLoggingExplicitPorts =
        ports == "null" ? nullptr : copied.data();
    property.parent.receiver.processMessageTimeBasedLoggingThreshold = threshold;
    Listener listener;
    listener.milliseconds = 5;
    Facade facade(runtime, property);
    copied.assign(copied.size(), '#'); // the facade has a copy
    const LogCapture log;
    facade.listen(listener.listener());
    const NUVNetioLocator to = net::locator("127.0.0.1", port);
    facade.add(to);
    EXPECT_TRUE(net::PlainSocket().send_to(to, message(OTHER)));
    EXPECT_TRUE(listener.wait_for(1));
    EXPECT_TRUE(runtime.flush());
    return log.messagesOfOtherThreads();
}

TEST(SlowReceiveTest, ProcessingThatTakesLongerIsOneWarning) {
    const int port = net::free_port();
    const support::Messages messages = receive_slowly("null", port);
    ASSERT_EQ(messages.size(), 1u);
    expect_slow_receive_warning(messages[0], port);
}

TEST(SlowReceiveTest, EmptyListMeansEveryPort) {
    EXPECT_EQ(receive_slowly("", net::free_port()).size(), 1u);
}

TEST(SlowReceiveTest, OnlyTrackedPortsAreTimed) {
    const int port = net::free_port();
    const std::string number = std::to_string(port);
    const std::string before = std::to_string(port - 1);
    const std::string after = std::to_string(port + 1);
    for (const std::string &tracking : std::vector<std::string>{
             number, "1," + number, number + ",65535", "1-65535", before + "-" + after,
             "1-2," + number + "-" + number, number + "-" + after, before + "-" + number}) {
        EXPECT_EQ(receive_slowly(tracking, port).size(), 1u) << tracking;
    }
    for (const std::string &other : std::vector<std::string>{
             before, after, "1-" + before, after + "-65535", before + "," + after}) {
        EXPECT_EQ(receive_slowly(other, port).size(), 0u) << other;
    }
}

TEST(SlowReceiveTest, InfiniteThresholdTurnsItOff) {
    EXPECT_EQ(receive_slowly("null", net::free_port(), NUV_NTP_TIME_INFINITE).size(), 0u);
}

TEST(SlowReceiveTest, ProcessingWithinTheThresholdGoesUnmentioned) {
    EXPECT_EQ(receive_slowly("null", net::free_port(), {1000, 0}).size(), 0u);
}

TEST(TrackedPortsTest, MalformedListsAreRefusedWithWhatIsAllowed) {
    net::Runtime runtime;
    net::Configurator configurator(runtime);
    for (const char *wrong : {" ",
                              ",",
                              "7410,",
                              ",7410",
                              "7410,,7411",
                              "7410 ",
                              " 7410",
                              "7410, 7411",
                              "0",
                              "65536",
                              "-1",
                              "+1",
                              "-",
                              "1-",
                              "-2",
                              "2-1",
                              "1-2-3",
                              "1--2",
                              "a",
                              "7410a",
                              "0x10",
                              "1.5",
                              "7410;",
                              "99999999999999999999",
                              "1-99999999999999999999",
                              "0-1",
                              "1-65536"}) {
        COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
        std::string text = wrong;
        property.parent.receiver.processMessageTimeBasedLoggingExplicitPorts = text.data();
        const net::Held before;
        const LogCapture log;
        EXPECT_EQ(COMMENDFacade_new(&property, configurator.self, runtime.worker()), nullptr)
            << wrong;
        EXPECT_EQ(net::Held(), before);
        ASSERT_EQ(log.messages().size(), 1u) << wrong;
        EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
        EXPECT_THAT(log.messages()[0].text, HasSubstr("dds.participant.logging.time_based_logging."
                                                      "process_received_message.tracked_ports"));
        EXPECT_THAT(log.messages()[0].text, HasSubstr("'" + text + "'"));
        EXPECT_THAT(log.messages()[0].text, HasSubstr("1 to 65535"));
    }
}

// ---- sending

class FacadeSendTest : public testing::Test {
protected:
    void SetUp() override {
        for (const net::PlainSocket *receiver : {&first, &second}) {
            ASSERT_TRUE(receiver->bind_to("127.0.0.1", 0));
        }
    }
    static NUVNetioLocator locator(const net::PlainSocket &receiver) {
        return net::locator("127.0.0.1", receiver.port());
    }
    static std::string receive(const net::PlainSocket &receiver) {
        char buffer[100];
        const ssize_t length = recv(receiver.number, buffer, sizeof buffer, 0);
        return length >= 0 ? std::string(buffer, static_cast<std::size_t>(length)) : "failed";
    }

    net::Runtime runtime;
    Facade facade{runtime};
    net::PlainSocket first;
    net::PlainSocket second;
};

TEST_F(FacadeSendTest, MessageGoesToEveryDestination) {
    EXPECT_EQ(facade.send("to nobody"), 0);
    EXPECT_TRUE(facade.add_destination(locator(first)));
    EXPECT_TRUE(facade.add_destination(locator(second)));
    EXPECT_EQ(facade.send("hello"), 2);
    EXPECT_EQ(receive(first), "hello");
    EXPECT_EQ(receive(second), "hello");
    EXPECT_EQ(facade.statistics().messagesSent, 2u);
}

TEST_F(FacadeSendTest, DestinationIsAddedOnce) {
    NUVNetioLocator again = locator(first);
    again.hostname = "localhost";
    EXPECT_TRUE(facade.add_destination(locator(first)));
    EXPECT_TRUE(facade.add_destination(again));
    EXPECT_EQ(facade.send("hello"), 1);
}

TEST_F(FacadeSendTest, RemovedDestinationIsForgotten) {
    EXPECT_FALSE(facade.remove_destination(locator(first)));
    facade.add_destination(locator(first));
    facade.add_destination(locator(second));
    EXPECT_TRUE(facade.remove_destination(locator(first)));
    EXPECT_FALSE(facade.remove_destination(locator(first)));
    EXPECT_EQ(facade.send("hello"), 1);
    EXPECT_EQ(receive(second), "hello");
}

TEST_F(FacadeSendTest, AnyNumberOfDestinationsMayBeAdded) {
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(facade.add_destination(net::locator("127.0.0.1", 1000 + i)));
    }
    EXPECT_EQ(facade.send("hello"), 20);
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(facade.remove_destination(net::locator("127.0.0.1", 1000 + i)));
    }
    EXPECT_EQ(facade.send("hello"), 0);
}

TEST_F(FacadeSendTest, DestinationThatFailsIsNotCountedAndOthersGetTheMessage) {
    facade.add_destination(net::locator("[::1]:7410"));
    facade.add_destination(locator(first));
    const LogCapture log;
    EXPECT_EQ(facade.send("hello"), 1);
    EXPECT_EQ(receive(first), "hello");
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(facade.statistics().messagesSent, 1u);
}

TEST_F(FacadeSendTest, DestinationsAreKeptWhenMemoryRunsOut) {
    const faults::Guard guard;
    int added = 0;
    for (bool failed = false; !failed && added < 100;) {
        faults::fail_allocation(added == 0 ? 0 : 1);
        failed = !facade.add_destination(net::locator("127.0.0.1", 1000 + added));
        added += failed ? 0 : 1;
    }
    EXPECT_TRUE(faults::happened());
    EXPECT_EQ(facade.send("hello"), added);
}

TEST_F(FacadeSendTest, ThreadsMaySendAndChangeDestinationsAtTheSameTime) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                facade.add_destination(net::locator("127.0.0.1", 1000 + t));
                facade.send("hello");
                facade.remove_destination(net::locator("127.0.0.1", 1000 + (t + i) % 4));
                facade.statistics();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_F(FacadeSendTest, SendingThatTakesLongerIsOneWarning) {
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    property.parent.sender.sendTimeBasedLoggingThreshold = {0, 0}; // anything takes longer
    Facade timed(runtime, property);
    timed.add_destination(locator(first));
    const LogCapture log;
    EXPECT_EQ(timed.send("hello"), 1);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_WARNING);
    EXPECT_THAT(log.messages()[0].text,
                MatchesRegex(
                    "sending a message to udpv4://127\\.0\\.0\\.1:" + std::to_string(first.port()) +
                    " took [0-9]+\\.[0-9]{6} s, longer than 0\\.000000 s"));
}

TEST_F(FacadeSendTest, SendingWithinTheThresholdGoesUnmentioned) {
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    property.parent.sender.sendTimeBasedLoggingThreshold = {1000, 0};
    Facade timed(runtime, property);
    timed.add_destination(locator(first));
    const LogCapture log;
    EXPECT_EQ(timed.send("hello"), 1);
    EXPECT_TRUE(log.messages().empty());
}

} // namespace
