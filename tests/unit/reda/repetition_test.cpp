// SPDX-License-Identifier: Apache-2.0
// The limit of repetition.
#include "reda/reda_repetition.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "test_clock.h"

namespace {

constexpr NUV_INT64 SECOND = 1'000'000'000;

class RepetitionTest : public testing::Test {
protected:
    /** What a message of the kind would end with, or "left out". */
    std::string ask(const char *kind) {
        REDALeftOut left_out;
        return REDARepetitions_admits(&repetitions_, kind, &left_out) != 0 ? left_out.text
                                                                           : "left out";
    }

    const faults::Guard guard_;
    TestClock clock_;
    REDARepetitions repetitions_{};
    const char kinds_[REDA_REPETITION_KINDS_MAX + 2] = {};
};

TEST_F(RepetitionTest, FirstIsPrintedAndNothingIsSaidToBeLeftOut) {
    EXPECT_EQ(ask(kinds_), "");
}

TEST_F(RepetitionTest, OthersAreLeftOutUntilASecondHasPassed) {
    ask(kinds_);
    clock_.now = SECOND - 1;
    EXPECT_EQ(ask(kinds_), "left out");
    clock_.now = SECOND;
    EXPECT_EQ(ask(kinds_), " (and 1 more like it since the last line)");
}

TEST_F(RepetitionTest, EachOneLeftOutIsCountedOnce) {
    ask(kinds_);
    for (int i = 0; i < 41; ++i) {
        ask(kinds_);
    }
    clock_.now = 7 * SECOND;
    EXPECT_EQ(ask(kinds_), " (and 41 more like it since the last line)");
    clock_.now = 9 * SECOND;
    EXPECT_EQ(ask(kinds_), "");
}

TEST_F(RepetitionTest, SecondBeginsWithTheLine) {
    ask(kinds_);
    clock_.now = 3 * SECOND / 2;
    EXPECT_EQ(ask(kinds_), "");
    clock_.now = 2 * SECOND;
    EXPECT_EQ(ask(kinds_), "left out");
}

TEST_F(RepetitionTest, KindsDoNotSilenceEachOther) {
    for (int i = 0; i < REDA_REPETITION_KINDS_MAX; ++i) {
        EXPECT_EQ(ask(&kinds_[i]), "") << i;
    }
    for (int i = 0; i < REDA_REPETITION_KINDS_MAX; ++i) {
        EXPECT_EQ(ask(&kinds_[i]), "left out") << i;
    }
}

TEST_F(RepetitionTest, MoreKindsThanThereIsRoomForCountAsOne) {
    for (const char &kind : kinds_) {
        ask(&kind);
    }
    clock_.now = SECOND;
    EXPECT_EQ(ask(&kinds_[REDA_REPETITION_KINDS_MAX]), " (and 2 more like it since the last line)");
    EXPECT_EQ(ask(&kinds_[REDA_REPETITION_KINDS_MAX + 1]), "left out");
}

TEST_F(RepetitionTest, ScopesDoNotSilenceEachOther) {
    REDARepetitions other{};
    REDALeftOut left_out;
    ask(kinds_);
    EXPECT_NE(REDARepetitions_admits(&other, kinds_, &left_out), 0);
}

TEST_F(RepetitionTest, LargestCountFits) {
    ask(kinds_);
    repetitions_._each[0]._leftOut = UINT32_MAX;
    clock_.now = SECOND;
    EXPECT_EQ(ask(kinds_), " (and 4294967295 more like it since the last line)");
}

TEST_F(RepetitionTest, ThreadsPrintOneAndLoseNone) {
    std::atomic<int> printed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                printed += ask(&kinds_[i % 2]) != "left out" ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(printed, 2);
    clock_.now = SECOND;
    EXPECT_EQ(ask(kinds_), " (and 9999 more like it since the last line)");
}

} // namespace
