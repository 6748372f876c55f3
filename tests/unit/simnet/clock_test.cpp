// SPDX-License-Identifier: Apache-2.0
// A clock that goes by the world's time at a rate of its own.
#include <stdexcept>

#include <gtest/gtest.h>

#include "simnet/simnet_clock.h"

namespace {

using namespace simnet;

TEST(SimClock, GoesByTheWorldsTime) {
    const LocalClock clock(100);
    EXPECT_EQ(clock.read(0), 100);
    EXPECT_EQ(clock.read(SECOND), SECOND + 100);
}

TEST(SimClock, GainsWhatItsDriftSays) {
    LocalClock clock(0);
    clock.set_drift(10 * SECOND, 50'000);
    EXPECT_EQ(clock.read(10 * SECOND), 10 * SECOND);
    EXPECT_EQ(clock.read(20 * SECOND), 20 * SECOND + 500'000);
}

TEST(SimClock, LosesWhatItsDriftSays) {
    LocalClock clock(0);
    clock.set_drift(0, -SECOND / 2);
    EXPECT_EQ(clock.read(3 * SECOND), 3 * SECOND / 2);
}

TEST(SimClock, KeepsWhatItShowsWhenItsDriftChanges) {
    LocalClock clock(0);
    clock.set_drift(0, SECOND);
    clock.set_drift(SECOND, 0);
    EXPECT_EQ(clock.read(SECOND), 2 * SECOND);
    EXPECT_EQ(clock.read(2 * SECOND), 3 * SECOND);
}

TEST(SimClock, ThatDoesNotGoOnIsRefused) {
    LocalClock clock(0);
    EXPECT_THROW(clock.set_drift(0, -SECOND), std::invalid_argument);
    clock.set_drift(0, 1 - SECOND);
    EXPECT_EQ(clock.read(5 * SECOND), 5);
}

TEST(SimClock, StandsAndGoesOnFromThere) {
    LocalClock clock(0);
    clock.stop(SECOND);
    EXPECT_EQ(clock.read(5 * SECOND), SECOND);
    clock.go_on(5 * SECOND);
    EXPECT_EQ(clock.read(6 * SECOND), 2 * SECOND);
}

TEST(SimClock, ThatGoesIsNotChangedByGoingOn) {
    LocalClock clock(0);
    clock.go_on(SECOND);
    EXPECT_EQ(clock.read(2 * SECOND), 2 * SECOND);
}

TEST(SimClock, JumpsForwardAndBack) {
    LocalClock clock(0);
    clock.jump(SECOND, 10);
    EXPECT_EQ(clock.read(2 * SECOND), 2 * SECOND + 10);
    clock.jump(2 * SECOND, -SECOND);
    EXPECT_EQ(clock.read(2 * SECOND), SECOND + 10);
}

TEST(SimClock, JumpsWhileItStands) {
    LocalClock clock(0);
    clock.stop(0);
    clock.jump(SECOND, 10);
    EXPECT_EQ(clock.read(2 * SECOND), 10);
}

TEST(SimClock, SaysWhenItShowsSomethingWhateverItsRate) {
    for (const NUV_INT64 drift : {NUV_INT64{0}, NUV_INT64{1}, NUV_INT64{-1}, NUV_INT64{50'000},
                                  -SECOND / 3, 7 * SECOND, 1'000 * SECOND, 1 - SECOND}) {
        LocalClock clock(5);
        clock.set_drift(SECOND, drift);
        for (const Time shown : {SECOND + 6, SECOND + 100, 3 * SECOND + 7}) {
            const Time when = clock.when(shown);
            EXPECT_GE(clock.read(when), shown) << drift;
            EXPECT_LT(clock.read(when - 1), shown) << drift;
        }
    }
}

TEST(SimClock, ShowsWhatIsPastSinceItWasSet) {
    LocalClock clock(0);
    clock.set_drift(5 * SECOND, 1);
    EXPECT_EQ(clock.when(SECOND), 5 * SECOND);
    clock.stop(6 * SECOND);
    EXPECT_EQ(clock.when(6 * SECOND), 6 * SECOND);
}

TEST(SimClock, ThatStandsNeverShowsWhatIsToCome) {
    LocalClock clock(0);
    clock.stop(0);
    EXPECT_EQ(clock.when(1), INT64_MAX);
}

TEST(SimClock, NeverShowsWhatIsBeyondTheWorldsTime) {
    LocalClock clock(0);
    clock.set_drift(SECOND, -SECOND / 2);
    EXPECT_EQ(clock.when(INT64_MAX), INT64_MAX);
}

TEST(SimClock, DoesNotPassWhatANumberHoldsInACentury) {
    LocalClock clock(SECOND);
    clock.set_drift(0, 100'000);
    constexpr Time CENTURY = Time{100} * 365 * 24 * 3600 * SECOND;
    EXPECT_EQ(clock.read(CENTURY), SECOND + CENTURY + CENTURY / 10'000);
}

} // namespace
