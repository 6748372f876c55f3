// SPDX-License-Identifier: Apache-2.0
// Numbers that follow from a seed.
#include <gtest/gtest.h>

#include "simnet/simnet_random.h"

namespace {

using simnet::Random;

constexpr int DRAWS = 10'000;

TEST(SimRandom, GivesWhatTheStandardSaysOfItsEngine) {
    Random random(5489); // [rand.predef]
    NUV_UINT64 last = 0;
    for (int i = 0; i < DRAWS; ++i) {
        last = random.bits();
    }
    EXPECT_EQ(last, 9981545732273789042u);
}

TEST(SimRandom, UpToReachesBothEnds) {
    Random random(1);
    std::array<int, 4> counts{};
    for (int i = 0; i < DRAWS; ++i) {
        ++counts.at(random.up_to(3));
    }
    for (const int count : counts) {
        EXPECT_NEAR(count, DRAWS / 4, 150);
    }
}

TEST(SimRandom, UpToTheLargestNumberTakesAllBits) {
    Random random(1);
    Random same(1);
    EXPECT_EQ(random.up_to(UINT64_MAX), same.bits());
}

TEST(SimRandom, BetweenReachesBothEnds) {
    Random random(1);
    NUV_INT64 least = 0;
    NUV_INT64 most = 0;
    for (int i = 0; i < DRAWS; ++i) {
        const NUV_INT64 one = random.between(-3, 2);
        least = std::min(least, one);
        most = std::max(most, one);
    }
    EXPECT_EQ(least, -3);
    EXPECT_EQ(most, 2);
}

TEST(SimRandom, UnitIsSpreadOverItsRange) {
    Random random(1);
    double sum = 0;
    for (int i = 0; i < DRAWS; ++i) {
        const double one = random.unit();
        EXPECT_TRUE(one >= 0 && one < 1);
        sum += one;
    }
    EXPECT_NEAR(sum / DRAWS, 0.5, 0.01);
}

TEST(SimRandom, HappensInItsShareOfCases) {
    Random random(1);
    int count = 0;
    for (int i = 0; i < DRAWS; ++i) {
        count += random.happens(0.3) ? 1 : 0;
    }
    EXPECT_NEAR(count, 3000, 150);
}

TEST(SimRandom, AsksForNoNumberWhereThereIsNothingToChoose) {
    Random random(1);
    Random same(1);
    EXPECT_FALSE(random.happens(0));
    EXPECT_TRUE(random.happens(1));
    EXPECT_EQ(random.bits(), same.bits());
}

} // namespace
