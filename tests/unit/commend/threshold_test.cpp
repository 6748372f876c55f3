// SPDX-License-Identifier: Apache-2.0
// The edge between what takes long and what does not.
#include <gtest/gtest.h>

#include "facade_fixture.h"
#include "support/log_capture.h"

namespace {

using commend_test::Facade;
using net::SECOND;

constexpr NUVNtpTime THRESHOLD = {1, 0};
/** A facade whose listener takes as long as it is told. */
class ThresholdTest : public testing::Test {
protected:
    ThresholdTest() {
        COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
        property.parent.receiver.processMessageTimeBasedLoggingThreshold = THRESHOLD;
        facade.emplace(runtime, property);
        facade->listen({on_message, this});
        facade->add(locator);
    }

    /** What is said of a message that takes so long; each reading of the clock takes 1 ns. */
    std::vector<std::string> say_of(NUV_INT64 nanoseconds) {
        const support::LogCapture log;
        takes_ = nanoseconds - 1;
        is_done_ = false;
        EXPECT_TRUE(net::PlainSocket().send_to(locator, commend_test::message({1, 2, 3})));
        EXPECT_TRUE(net::eventually([this] { return is_done_.load(); }));
        EXPECT_TRUE(runtime.flush());
        std::vector<std::string> texts;
        for (const support::Message &message : log.messagesOfOtherThreads()) {
            texts.push_back(message.text);
        }
        return texts;
    }

    net::TestClock clock;
    net::Runtime runtime;
    const NUVNetioLocator locator = net::locator("127.0.0.1", net::free_port());
    std::optional<Facade> facade;

private:
    static void on_message(void *param, const NUVNetioMessage * /*message*/,
                           REDAWorker * /*worker*/) {
        auto *self = static_cast<ThresholdTest *>(param);
        self->clock.advance(self->takes_);
        self->is_done_ = true;
    }

    std::atomic<NUV_INT64> takes_{0};
    std::atomic<bool> is_done_{false};
};

TEST_F(ThresholdTest, WhatTakesJustAsLongGoesUnmentioned) {
    EXPECT_EQ(say_of(SECOND), std::vector<std::string>());
}

TEST_F(ThresholdTest, WhatTakesLongerIsMentionedWithBothTimes) {
    EXPECT_EQ(say_of(2 * SECOND + 500'001'999),
              std::vector<std::string>{"processing a received message on port " +
                                       std::to_string(locator.port) +
                                       " took 2.500001 s, longer than 1.000000 s"});
}

TEST_F(ThresholdTest, OneNanosecondMoreIsMentioned) {
    EXPECT_EQ(say_of(SECOND + 1).size(), 1u);
}

} // namespace
