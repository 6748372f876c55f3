// SPDX-License-Identifier: Apache-2.0
// The order in which a worker enters and leaves exclusive areas, asserted where asserts are on.
#include "reda/reda_exclusiveArea.h"

#include <gtest/gtest.h>

namespace {

class AreaOrderTest : public testing::Test {
protected:
    ~AreaOrderTest() override {
        REDAExclusiveArea_delete(high_);
        REDAExclusiveArea_delete(low_);
        REDAWorkerFactory_destroyWorker(factory_, worker_);
        REDAWorkerFactory_delete(factory_);
    }

    REDAWorkerFactory *const factory_ = REDAWorkerFactory_new();
    REDAWorker *const worker_ = REDAWorkerFactory_createWorker(factory_, "W");
    REDAExclusiveArea *const low_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "LOW");
    REDAExclusiveArea *const high_ =
        REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "HIGH");
};

TEST_F(AreaOrderTest, AGuardIsInItsAreaForAsLongAsItLives) {
    {
        const reda::ExclusiveAreaGuard guard(low_, worker_);
        const reda::ExclusiveAreaGuard inner(high_, worker_);
    }
    const reda::ExclusiveAreaGuard again(low_, worker_);
    const reda::ExclusiveAreaGuard inner_again(high_, worker_);
}

TEST_F(AreaOrderTest, WorkersDoNotOrderEachOther) {
    REDAWorker *const other = REDAWorkerFactory_createWorker(factory_, "OTHER");
    {
        const reda::ExclusiveAreaGuard guard(high_, worker_);
        const reda::ExclusiveAreaGuard of_other(low_, other);
    }
    REDAWorkerFactory_destroyWorker(factory_, other);
}

TEST_F(AreaOrderTest, WithoutAWorkerNothingIsKnown) {
    const reda::ExclusiveAreaGuard guard(high_, nullptr);
    const reda::ExclusiveAreaGuard inner(low_, nullptr);
}

#ifdef NDEBUG

TEST_F(AreaOrderTest, IsNotLookedAtWithoutAsserts) {
    const reda::ExclusiveAreaGuard guard(high_, worker_);
    const reda::ExclusiveAreaGuard inner(low_, worker_);
    EXPECT_EQ(worker_->_innermost, nullptr);
}

#else

TEST_F(AreaOrderTest, AWorkerKnowsTheInnermostAreaThatItIsIn) {
    EXPECT_EQ(worker_->_innermost, nullptr);
    {
        const reda::ExclusiveAreaGuard guard(low_, worker_);
        EXPECT_EQ(worker_->_innermost, low_);
        {
            const reda::ExclusiveAreaGuard inner(high_, worker_);
            EXPECT_EQ(worker_->_innermost, high_);
        }
        EXPECT_EQ(worker_->_innermost, low_);
    }
    EXPECT_EQ(worker_->_innermost, nullptr);
}

using AreaOrderDeathTest = AreaOrderTest;

TEST_F(AreaOrderDeathTest, ALowerLevelWithinAHigherOneFails) {
    const reda::ExclusiveAreaGuard guard(high_, worker_);
    EXPECT_DEATH(REDAExclusiveArea_enter(low_, worker_), "_innermost->level < area->level");
}

TEST_F(AreaOrderDeathTest, TheSameLevelTwiceFails) {
    REDAExclusiveArea *const other =
        REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "OTHER");
    {
        const reda::ExclusiveAreaGuard guard(low_, worker_);
        EXPECT_DEATH(REDAExclusiveArea_enter(other, worker_), "_innermost->level < area->level");
    }
    REDAExclusiveArea_delete(other);
}

TEST_F(AreaOrderDeathTest, EnteringAnAreaTwiceFailsInsteadOfWaitingForEver) {
    const reda::ExclusiveAreaGuard guard(low_, worker_);
    EXPECT_DEATH(REDAExclusiveArea_enter(low_, worker_), "_innermost->level < area->level");
}

TEST_F(AreaOrderDeathTest, LeavingTheOuterAreaFirstFails) {
    const reda::ExclusiveAreaGuard guard(low_, worker_);
    const reda::ExclusiveAreaGuard inner(high_, worker_);
    EXPECT_DEATH(REDAExclusiveArea_leave(low_, worker_), "worker->_innermost == area");
}

#endif

} // namespace
