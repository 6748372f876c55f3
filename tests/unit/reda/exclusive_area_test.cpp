// SPDX-License-Identifier: Apache-2.0
// Exclusive areas, and the warning about those that were held for long.
#include "reda/reda_exclusiveArea.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "dds_c/dds_c_logger.h"
#include "log/log_message.h"
#include "log/log_module.h"
#include "osapi/osapi_heap.h"
#include "reda/reda_log.h"
#include "support/faults.h"
#include "support/heap_watch.h"
#include "test_clock.h"

namespace {

using support::live_blocks;

constexpr NUV_INT64 MILLISECOND = 1'000'000;

class ExclusiveAreaTest : public testing::Test {
protected:
    ExclusiveAreaTest() {
        KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_WARNING);
        KOLS_Config_Logger_set_output_device(
            logger_,
            [](void *param, const KOLS_Config_LogRecord *record) {
                auto *self = static_cast<ExclusiveAreaTest *>(param);
                self->texts_.emplace_back(record->text);
                self->last_ = *record;
                if (self->enter_while_logging_) {
                    REDAExclusiveArea_enter(self->area_, nullptr);
                    REDAExclusiveArea_leave(self->area_, nullptr);
                }
            },
            this);
    }

    ~ExclusiveAreaTest() override {
        KOLS_Config_Logger_set_output_device(logger_, nullptr, nullptr);
        KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
        KOLS_Config_Logger_set_verbosity_by_category(logger_, 0xFFFFFFFFu, 0);
        REDAExclusiveArea_delete(area_);
        REDAWorkerFactory_destroyWorker(factory_, worker_);
        REDAWorkerFactory_delete(factory_);
        EXPECT_EQ(live_blocks(), blocks_before_);
    }

    void log_holds(NUV_INT32 level, NUV_INT64 longer_than) {
        const NUVNtpTime threshold = NUVNtpTime_fromNanoseconds(longer_than);
        REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(factory_, level, &threshold);
    }

    void hold(NUV_INT64 nanoseconds) {
        hold(nanoseconds, worker_);
    }

    void hold(NUV_INT64 nanoseconds, REDAWorker *worker) {
        REDAExclusiveArea_enter(area_, worker);
        clock_.now += nanoseconds;
        REDAExclusiveArea_leave(area_, worker);
    }

    const faults::Guard guard_;
    TestClock clock_;
    const NUV_UINT64 blocks_before_ = live_blocks();
    KOLS_Config_Logger *const logger_ = KOLS_Config_Logger_get_instance();
    REDAWorkerFactory *const factory_ = REDAWorkerFactory_new();
    REDAWorker *const worker_ = REDAWorkerFactory_createWorker(factory_, "W");
    REDAExclusiveArea *const area_ = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, "NAME");
    std::vector<std::string> texts_;
    KOLS_Config_LogRecord last_{};
    bool enter_while_logging_ = false;
};

TEST_F(ExclusiveAreaTest, OnlyOneThreadIsInside) {
    int entries = 0; // not atomic: the area guards it
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                REDAExclusiveArea_enter(area_, nullptr);
                ++entries;
                REDAExclusiveArea_leave(area_, nullptr);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(entries, 20'000);
}

TEST_F(ExclusiveAreaTest, AreasDoNotKeepEachOtherOut) {
    REDAExclusiveArea *other = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "OTHER");
    REDAExclusiveArea_enter(area_, worker_);
    REDAExclusiveArea_enter(other, worker_);
    REDAExclusiveArea_leave(other, worker_);
    REDAExclusiveArea_leave(area_, worker_);
    REDAExclusiveArea_delete(other);
}

TEST_F(ExclusiveAreaTest, NullIsAcceptedByDelete) {
    REDAExclusiveArea_delete(nullptr);
}

TEST_F(ExclusiveAreaTest, RunningOutOfMemoryGivesNull) {
    faults::fail_allocation(1);
    EXPECT_EQ(REDAExclusiveArea_new(1, "NAME"), nullptr);
}

TEST_F(ExclusiveAreaTest, SlowHoldIsOneWarningWithItsTime) {
    log_holds(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, 10 * MILLISECOND);
    hold(13'250'000);
    ASSERT_EQ(texts_.size(), 1u);
    EXPECT_EQ(texts_[0], "exclusive area 'NAME' (level 20) was held for 0.013250 s, longer than "
                         "0.010000 s, by worker 'W'");
    EXPECT_EQ(last_.level, NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(last_.module, NUV_LOG_MODULE_REDA);
    EXPECT_STREQ(last_.function, "REDAExclusiveArea_leave");
}

TEST_F(ExclusiveAreaTest, SlowHoldsOfAllWorkersAndAreasAreOneWarningASecond) {
    log_holds(0, 0);
    REDAWorker *other_worker = REDAWorkerFactory_createWorker(factory_, "OTHER");
    REDAExclusiveArea *other = REDAExclusiveArea_new(REDA_EXCLUSIVE_AREA_LEVEL_RECORD, "OTHER");
    hold(1);
    hold(1, other_worker);
    REDAExclusiveArea_enter(other, worker_);
    ++clock_.now;
    REDAExclusiveArea_leave(other, worker_);
    EXPECT_EQ(texts_.size(), 1u);
    hold(1000 * MILLISECOND);
    ASSERT_EQ(texts_.size(), 2u);
    EXPECT_EQ(texts_[1], "exclusive area 'NAME' (level 20) was held for 1.000000 s, longer than "
                         "0.000000 s, by worker 'W' (and 2 more like it since the last line)");
    REDAExclusiveArea_delete(other);
    REDAWorkerFactory_destroyWorker(factory_, other_worker);
}

TEST_F(ExclusiveAreaTest, HoldNotLongerThanTheThresholdGoesUnmentioned) {
    log_holds(REDA_EXCLUSIVE_AREA_LEVEL_TABLE, 10 * MILLISECOND);
    hold(10 * MILLISECOND);
    EXPECT_TRUE(texts_.empty());
    hold(10 * MILLISECOND + 1);
    EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(ExclusiveAreaTest, AreaBelowTheLevelIsNotWatched) {
    log_holds(REDA_EXCLUSIVE_AREA_LEVEL_TABLE + 1, 0);
    hold(1000 * MILLISECOND);
    EXPECT_TRUE(texts_.empty());
    EXPECT_EQ(clock_.readings, 0);
    log_holds(REDA_EXCLUSIVE_AREA_LEVEL_TABLE - 1, 0);
    hold(1000 * MILLISECOND);
    EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(ExclusiveAreaTest, ClockIsReadOnlyWhileTheLoggingIsOn) {
    hold(1);
    EXPECT_EQ(clock_.readings, 0);
    log_holds(0, 0);
    hold(1, nullptr);
    EXPECT_EQ(clock_.readings, 0);
    hold(1);
    EXPECT_EQ(clock_.readings, 3); // the third for the limit of repetition
    const NUVNtpTime off = NUV_NTP_TIME_INFINITE;
    REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(factory_, 0, &off);
    hold(1);
    EXPECT_EQ(clock_.readings, 3);
    EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(ExclusiveAreaTest, HoldThatBeganBeforeTheLoggingIsNotJudged) {
    REDAExclusiveArea_enter(area_, worker_);
    clock_.now += 1000 * MILLISECOND;
    log_holds(0, 0);
    REDAExclusiveArea_leave(area_, worker_);
    EXPECT_TRUE(texts_.empty());
}

TEST_F(ExclusiveAreaTest, HoldThatOutlastsTheLoggingIsNotJudged) {
    log_holds(0, 0);
    REDAExclusiveArea_enter(area_, worker_);
    clock_.now += 1000 * MILLISECOND;
    log_holds(REDA_EXCLUSIVE_AREA_LEVEL_TABLE + 1, 0);
    REDAExclusiveArea_leave(area_, worker_);
    EXPECT_TRUE(texts_.empty());
}

TEST_F(ExclusiveAreaTest, HoldWithoutWorkerOrFactoryIsNotTimed) {
    log_holds(0, 0);
    REDAWorker stray = {nullptr, nullptr, "stray", nullptr};
    hold(1000 * MILLISECOND, nullptr);
    hold(1000 * MILLISECOND, &stray);
    EXPECT_TRUE(texts_.empty());
}

TEST_F(ExclusiveAreaTest, WarningIsPrintedAfterTheAreaHasBeenLeft) {
    enter_while_logging_ = true;
    log_holds(0, 0);
    hold(1); // would hang if the area were still held
    EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(ExclusiveAreaTest, WarningObeysTheMasks) {
    log_holds(0, 0);
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    hold(1);
    EXPECT_TRUE(texts_.empty());
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_WARNING);
    NUVLog_storeMask(&REDALog_g_submoduleMask, ~NUV_LOG_SUBMODULE_ALL);
    hold(1);
    NUVLog_storeMask(&REDALog_g_submoduleMask, 0xFFFFFFFFu);
    EXPECT_TRUE(texts_.empty());
}

TEST_F(ExclusiveAreaTest, WarningIsPrintedForTheWorkersCategoryWhereTheMasksForbidIt) {
    log_holds(0, 0);
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    KOLS_Config_Logger_set_verbosity_by_category(logger_, NUV_LOG_CATEGORY_ENABLE,
                                                 NUV_LOG_LEVEL_WARNING);
    hold(1);
    EXPECT_TRUE(texts_.empty());
    worker_->_activityContext->category = NUV_LOG_CATEGORY_ENABLE;
    hold(1);
    EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(ExclusiveAreaTest, LoggingMayBeSetWhileAreasAreEntered) {
    std::thread setter([this] {
        for (int i = 0; i < 1000; ++i) {
            log_holds(i % 40, 1000 * MILLISECOND);
        }
    });
    for (int i = 0; i < 1000; ++i) {
        hold(1);
    }
    setter.join();
    EXPECT_TRUE(texts_.empty());
}

} // namespace
