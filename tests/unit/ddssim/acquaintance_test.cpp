// SPDX-License-Identifier: Apache-2.0
#include "acquaintance.h"

#include <gmock/gmock.h>

using namespace ddssim;

namespace {

constexpr auto CAME = DDS_DISCOVERED_PARTICIPANT_CAME;
constexpr auto LEFT = DDS_DISCOVERED_PARTICIPANT_LEFT;
constexpr auto LOST = DDS_DISCOVERED_PARTICIPANT_LOST;

DDS_GUID_t guid(DDS_Octet number) {
    return {{number}};
}

class AcquaintanceTest : public testing::Test {
protected:
    AcquaintanceTest() {
        all.add(1, guid(1));
        all.add(2, guid(2));
    }

    Acquaintance all;
    const Acquaintance::Number first = 0;
    const Acquaintance::Number second = 1;
};

TEST_F(AcquaintanceTest, IsCompleteWhenEachKnowsEach) {
    all.note(3, first, guid(2), CAME);
    EXPECT_FALSE(all.now().is_complete());
    EXPECT_EQ(all.now().share(), 0.5);
    all.note(4, second, guid(1), CAME);
    EXPECT_TRUE(all.now().is_complete());
    EXPECT_EQ(all.complete_since(2), 4);
}

TEST_F(AcquaintanceTest, WhoeverIsGoneNeedsNotBeKnown) {
    all.note(3, first, guid(2), CAME);
    all.remove(4, second);
    EXPECT_TRUE(all.now().is_complete());
    EXPECT_EQ(all.count(), 1u);
    all.note(5, first, guid(2), LOST);
    EXPECT_EQ(all.lost_living(), 0u);
}

TEST_F(AcquaintanceTest, CountsWhoIsTakenForGoneAndIsThere) {
    all.note(3, first, guid(2), CAME);
    all.note(4, first, guid(2), LOST);
    all.note(5, first, guid(2), CAME);
    all.note(6, first, guid(2), LEFT);
    EXPECT_EQ(all.lost_living(), 1u);
    EXPECT_EQ(all.now().known, 0u);
}

TEST_F(AcquaintanceTest, OneMayBeKnownBeforeItHasToldItsName) {
    all.note(3, first, guid(3), CAME);
    EXPECT_EQ(all.now().known, 0u);
    all.add(4, guid(3));
    EXPECT_EQ(all.now().known, 1u);
    EXPECT_EQ(all.now().wanted, 6u);
}

TEST_F(AcquaintanceTest, TheCurveHasWhatChangedByAHundredth) {
    all.note(3, first, guid(2), CAME);
    all.note(4, second, guid(1), CAME);
    ASSERT_EQ(all.curve().size(), 4u); // one alone knows all
    EXPECT_EQ(all.curve()[2].time, 3);
    EXPECT_EQ(all.curve()[2].known, 1u);
}

TEST_F(AcquaintanceTest, TheCurveLeavesOutWhatIsLessThanAHundredth) {
    for (DDS_Octet i = 3; i <= 21; ++i) {
        all.add(3, guid(i));
    }
    const std::size_t before = all.curve().size();

    for (DDS_Octet i = 2; i <= 21; ++i) {
        all.note(3 + i, first, guid(i), CAME); // each is a 420th
    }
    EXPECT_EQ(all.curve().size(), before + 4);
}

} // namespace
