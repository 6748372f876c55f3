// SPDX-License-Identifier: Apache-2.0
// What a flood of messages may print.
#include <chrono>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "facade_fixture.h"
#include "support/log_capture.h"

namespace {

using commend_test::Facade;
using net::SECOND;
using support::LogCapture;
using support::Messages;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

/** Everything takes longer. */
COMMENDActiveFacadeProperty impatient_property() {
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    property.parent.receiver.processMessageTimeBasedLoggingThreshold = NUV_NTP_TIME_ZERO;
    property.parent.sender.sendTimeBasedLoggingThreshold = NUV_NTP_TIME_ZERO;
    return property;
}

std::vector<std::string> texts(const Messages &messages) {
    std::vector<std::string> all;
    for (const support::Message &message : messages) {
        all.push_back(message.text);
    }
    return all;
}

// ---- by the test's clock

class LimitTest : public testing::Test {
protected:
    /** Has each facade receive so many datagrams. */
    void flood(NUV_UINT64 datagrams) {
        for (NUV_UINT64 i = 0; i < datagrams; ++i) {
            for (const auto &[facade, to] : {std::pair(&first, to_first), {&second, to_second}}) {
                ASSERT_TRUE(sender.send_to(to, "no message"));
            }
        }
        rejected += datagrams;
        ASSERT_TRUE(net::eventually([this] {
            return first.statistics().datagramsRejected == rejected &&
                   second.statistics().datagramsRejected == rejected;
        }));
        ASSERT_TRUE(runtime.flush()); // its warnings, too
    }

    net::TestClock clock;
    net::Runtime runtime;
    const NUVNetioLocator to_first = net::locator("127.0.0.1", net::free_port());
    const NUVNetioLocator to_second = net::locator("127.0.0.1", net::free_port());
    Facade first{runtime, impatient_property()};
    Facade second{runtime, impatient_property()};
    const net::PlainSocket sender;
    NUV_UINT64 rejected = 0;
};

TEST_F(LimitTest, SlowMessagesOfAllFacadesAreOneWarningASecond) {
    first.add(to_first);
    second.add(to_second);
    const LogCapture log;
    flood(50);
    EXPECT_THAT(texts(log.messagesOfOtherThreads()), ElementsAre(Not(HasSubstr("more like it"))));
    clock.advance(SECOND);
    flood(1);
    EXPECT_THAT(texts(log.messagesOfOtherThreads()),
                ElementsAre(HasSubstr("processing a received message"),
                            EndsWith(" s (and 99 more like it since the last line)")));
}

TEST_F(LimitTest, SlowSendsOfAllFacadesAreOneWarningASecond) {
    for (Facade *facade : {&first, &second}) {
        facade->add_destination(to_first);
    }
    const LogCapture log;
    for (int i = 0; i < 5; ++i) {
        first.send("x");
        second.send("x");
    }
    clock.advance(SECOND);
    first.send("x");
    EXPECT_THAT(texts(log.messages()),
                ElementsAre(HasSubstr("sending a message"),
                            EndsWith(" s (and 9 more like it since the last line)")));
}

TEST_F(LimitTest, WarningsThatTheMasksForbidAreNotCounted) {
    first.add_destination(to_first);
    const LogCapture log;
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    first.send("x");
    first.send("x");
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_WARNING);
    first.send("x");
    EXPECT_THAT(texts(log.messages()), ElementsAre(Not(HasSubstr("more like it"))));
}

// ---- by the system's clock

TEST(FloodTest, EachKindIsAtMostOneLineASecondHoweverManyDatagramsCome) {
    constexpr int DATAGRAMS = 50'000;
    const auto start = std::chrono::steady_clock::now();
    const NUVNetioLocator to = net::locator("127.0.0.1", net::free_port());
    const net::PlainSocket sender;
    net::Runtime runtime;
    Facade facade(runtime, impatient_property());
    const NUVNtpTime zero = NUV_NTP_TIME_ZERO;
    REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(runtime.factories.workers, 0, &zero);
    facade.add(to);
    facade.add_destination(to);
    const LogCapture log;
    for (int i = 0; i < DATAGRAMS; ++i) {
        if (i % 1000 == 0) {
            facade.send("x"); // slow in an area, slow to send
            facade.statistics();
        }
        ASSERT_TRUE(sender.send_to(to, "x"));
    }
    ASSERT_TRUE(net::eventually([&] { return facade.statistics().datagramsRejected != 0; }));
    ASSERT_TRUE(runtime.flush());
    const auto passed = std::chrono::steady_clock::now() - start;
    std::map<std::string, long> kinds;
    for (const Messages &messages : {log.messages(), log.messagesOfOtherThreads()}) {
        for (const support::Message &message : messages) {
            ++kinds[message.text.substr(0, message.text.find(' '))];
        }
    }
    EXPECT_EQ(kinds.size(), 3u); // "processing", "sending", "exclusive"
    for (const auto &[kind, lines] : kinds) {
        EXPECT_LE(lines, passed / std::chrono::seconds(1) + 1) << kind;
    }
}

} // namespace
