// SPDX-License-Identifier: Apache-2.0
// The loop that makes everything fail in turn.
#pragma once

#include <string>

#include "support/recorder.h"
#include "gtest/gtest.h"

/**
 * Makes the n-th call or allocation fail, n from 1 on, until an operation goes through without.
 *
 *     failEach(recorder, &Recorder::failAllocation, [&](auto arm) {
 *         prepare();
 *         arm(); // from here on something fails
 *         EXPECT_EQ(update(), ...);
 *         return recorder.failed();
 *     });
 *
 * @param tryOnce tells what failed; nothing when all went through.
 * @return how many faults there were, which the test's record has too. There must be some.
 */
template <typename Try>
int failEach(support::Recorder &recorder, void (support::Recorder::*fail)(int), Try tryOnce) {
    constexpr int FAULTS_MAX = 1000; // more than any operation has, lest the loop never ends
    int faults = 0;
    while (faults < FAULTS_MAX && !tryOnce([&] { (recorder.*fail)(faults + 1); }).empty()) {
        ++faults;
    }
    testing::Test::RecordProperty("faults", faults);
    EXPECT_GT(faults, 0) << "nothing was made to fail";
    EXPECT_LT(faults, FAULTS_MAX) << "it never went through";
    return faults;
}
