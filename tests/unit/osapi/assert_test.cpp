// SPDX-License-Identifier: Apache-2.0
// Invariants.
#include "osapi/osapi_assert.h"

#include <gtest/gtest.h>

namespace {

bool is_fulfilled(int &evaluations, bool answer) {
    ++evaluations;
    return answer;
}

#ifdef NDEBUG

TEST(AssertTest, IsNotEvaluatedInARelease) {
    int evaluations = 0;
    NUV_ASSERT(is_fulfilled(evaluations, false));
    EXPECT_EQ(evaluations, 0);
}

#else

TEST(AssertTest, GoesOnWhenTheConditionHolds) {
    int evaluations = 0;
    NUV_ASSERT(is_fulfilled(evaluations, true));
    EXPECT_EQ(evaluations, 1);
}

TEST(AssertDeathTest, EndsTheProcessWithAbortWhenItDoesNot) {
    int evaluations = 0;
    EXPECT_EXIT(NUV_ASSERT(is_fulfilled(evaluations, false)), testing::KilledBySignal(SIGABRT), "");
}

#endif

TEST(AssertDeathTest, AFailureSaysWhatAndWhere) {
    EXPECT_EXIT(NUVOsapi_failAssertion("count >= 0", "file.cpp", 12, "function"),
                testing::KilledBySignal(SIGABRT),
                "^file\\.cpp:12: function: 'count >= 0' does not hold\n");
}

TEST(AssertDeathTest, AnEndlessConditionIsCut) {
    const std::string endless(5000, 'x');
    EXPECT_EXIT(NUVOsapi_failAssertion(endless.c_str(), "file.cpp", 12, "function"),
                testing::KilledBySignal(SIGABRT), "^file\\.cpp:12: function: 'x+$");
}

} // namespace
