// SPDX-License-Identifier: Apache-2.0
// The clocks of a host.
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/clocks.h"

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace host {

namespace {

/** Clocks that show something else each time: a reading takes so long. */
class SlowClocks {
public:
    explicit SlowClocks(std::vector<milliseconds> times) : times_(std::move(times)) {}

    nanoseconds read(clockid_t clock) {
        if (clock == CLOCK_MONOTONIC && is_begun_) {
            now_ += readings_ < times_.size() ? times_[readings_] : times_.back();
            ++readings_;
        }
        is_begun_ = clock != CLOCK_MONOTONIC || !is_begun_;
        return now_ + (clock == CLOCK_REALTIME ? seconds(1000) : seconds(0));
    }

    std::size_t readings() const {
        return readings_;
    }

private:
    std::vector<milliseconds> times_;
    nanoseconds now_{seconds(1)};
    bool is_begun_ = false; // a reading begins and ends with the monotonic one
    std::size_t readings_ = 0;
};

TEST(HostClocks, AreReadAtOneMoment) {
    SlowClocks clocks({milliseconds(500), milliseconds(11), milliseconds(10)});
    const auto shown = read_clocks([&](clockid_t clock) { return clocks.read(clock); });

    ASSERT_TRUE(shown);
    EXPECT_EQ(clocks.readings(), 3U);
    EXPECT_EQ(shown->realtime - shown->monotonic, seconds(1000));
}

TEST(HostClocks, AreNotKnownToWhomIsNeverLetRun) {
    SlowClocks clocks({milliseconds(11)});

    EXPECT_FALSE(read_clocks([&](clockid_t clock) { return clocks.read(clock); }));
    EXPECT_EQ(clocks.readings(), 10U);
}

TEST(HostClocks, AreThoseOfTheKernel) {
    const auto before = read_clocks();
    const auto after = read_clocks();

    ASSERT_TRUE(before && after);
    EXPECT_LT(before->monotonic, after->monotonic);
    EXPECT_GE(before->boottime, before->monotonic);
    EXPECT_GT(before->realtime, before->boottime);
}

const Clocks BEFORE = {seconds(5000), seconds(200), seconds(100)};

Clocks later(nanoseconds realtime, nanoseconds boottime, nanoseconds monotonic) {
    return {BEFORE.realtime + realtime, BEFORE.boottime + boottime, BEFORE.monotonic + monotonic};
}

TEST(HostClocks, TellByHowMuchOneWasSet) {
    EXPECT_EQ(step_between(BEFORE, later(seconds(3), seconds(3), seconds(3))), seconds(0));
    EXPECT_EQ(step_between(BEFORE, later(seconds(63), seconds(3), seconds(3))), seconds(60));
    EXPECT_EQ(step_between(BEFORE, later(seconds(-57), seconds(3), seconds(3))), seconds(-60));
}

TEST(HostClocks, TellHowLongTheHostSlept) {
    EXPECT_EQ(sleep_between(BEFORE, later(seconds(3), seconds(3), seconds(3))), seconds(0));
    EXPECT_EQ(sleep_between(BEFORE, later(seconds(63), seconds(63), seconds(3))), seconds(60));
    EXPECT_EQ(step_between(BEFORE, later(seconds(63), seconds(63), seconds(3))), seconds(0));
}

} // namespace

} // namespace host
