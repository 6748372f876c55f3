// SPDX-License-Identifier: Apache-2.0
// Workers and their factory.
#include "reda/reda_worker.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "osapi/osapi_heap.h"
#include "support/faults.h"
#include "support/heap_watch.h"

namespace {

using support::live_blocks;

class WorkerTest : public testing::Test {
protected:
    ~WorkerTest() override {
        REDAWorkerFactory_delete(factory_);
        EXPECT_EQ(live_blocks(), blocks_before_);
    }

    const faults::Guard guard_;
    const NUV_UINT64 blocks_before_ = live_blocks();
    REDAWorkerFactory *const factory_ = REDAWorkerFactory_new();
};

TEST_F(WorkerTest, KnowsItsFactoryItsNameAndHasAContextOfItsOwn) {
    REDAWorker *worker = REDAWorkerFactory_createWorker(factory_, "main");
    REDAWorker *other = REDAWorkerFactory_createWorker(factory_, "other");
    ASSERT_NE(worker, nullptr);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(worker->_manager, factory_);
    EXPECT_STREQ(worker->_name, "main");
    ASSERT_NE(worker->_activityContext, nullptr);
    EXPECT_EQ(worker->_activityContext->category, 0u);
    EXPECT_NE(worker->_activityContext, other->_activityContext);
    REDAWorkerFactory_destroyWorker(factory_, worker);
    REDAWorkerFactory_destroyWorker(factory_, other);
}

TEST_F(WorkerTest, FifteenCharactersOfItsNameAreKept) {
    REDAWorker *longer = REDAWorkerFactory_createWorker(factory_, "123456789012345678");
    REDAWorker *nameless = REDAWorkerFactory_createWorker(factory_, nullptr);
    EXPECT_STREQ(longer->_name, "123456789012345");
    EXPECT_STREQ(nameless->_name, "");
    REDAWorkerFactory_destroyWorker(factory_, longer);
    REDAWorkerFactory_destroyWorker(factory_, nameless);
}

TEST_F(WorkerTest, AreCounted) {
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory_), 0);
    REDAWorker *first = REDAWorkerFactory_createWorker(factory_, "first");
    REDAWorker *second = REDAWorkerFactory_createWorker(factory_, "second");
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory_), 2);
    REDAWorkerFactory_destroyWorker(factory_, first);
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory_), 1);
    REDAWorkerFactory_destroyWorker(factory_, nullptr);
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory_), 1);
    REDAWorkerFactory_destroyWorker(factory_, second);
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory_), 0);
}

TEST_F(WorkerTest, WithoutContextIsDestroyedAsWell) {
    REDAWorker *worker = REDAWorkerFactory_createWorker(factory_, "main");
    NUVOsapiHeap_freeStructure(worker->_activityContext);
    worker->_activityContext = nullptr;
    REDAWorkerFactory_destroyWorker(factory_, worker);
}

TEST_F(WorkerTest, RunningOutOfMemoryGivesNullAndLeavesNothing) {
    const NUV_UINT64 before = live_blocks();
    for (int allowed = 0; allowed < 2; ++allowed) {
        faults::fail_allocation(allowed + 1);
        EXPECT_EQ(REDAWorkerFactory_createWorker(factory_, "main"), nullptr);
        EXPECT_EQ(live_blocks(), before);
        EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory_), 0);
    }
    faults::fail_allocation(1);
    EXPECT_EQ(REDAWorkerFactory_new(), nullptr);
}

TEST_F(WorkerTest, NullFactoryIsAcceptedByDelete) {
    REDAWorkerFactory_delete(nullptr);
}

TEST_F(WorkerTest, TimeBasedLoggingIsOffAtFirst) {
    NUV_INT32 level = -1;
    NUVNtpTime threshold = NUV_NTP_TIME_ZERO;
    REDAWorkerFactory_getEaTimeBasedLogging(factory_, &level, &threshold);
    EXPECT_NE(NUVNtpTime_isInfinite(&threshold), 0);
}

TEST_F(WorkerTest, TimeBasedLoggingIsReadAsItWasSet) {
    const NUVNtpTime set = {3, 12345};
    NUV_INT32 level = -1;
    NUVNtpTime threshold = NUV_NTP_TIME_ZERO;
    REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(factory_, 20, &set);
    REDAWorkerFactory_getEaTimeBasedLogging(factory_, &level, &threshold);
    EXPECT_EQ(level, 20);
    EXPECT_EQ(threshold.sec, 3);
    EXPECT_EQ(threshold.frac, 12345u);
}

TEST_F(WorkerTest, ThreadsMayMakeWorkersAndSetTheLoggingAtOnce) {
    std::vector<std::thread> threads;
    for (int id = 1; id <= 4; ++id) {
        threads.emplace_back([this, id] {
            const NUVNtpTime mine = {id, static_cast<NUV_UINT32>(id)};
            for (int i = 0; i < 500; ++i) {
                REDAWorker *worker = REDAWorkerFactory_createWorker(factory_, "worker");
                REDAWorker_setEaTimeBasedLoggingLevelAndThreshold(factory_, id, &mine);
                NUV_INT32 level = 0;
                NUVNtpTime threshold = NUV_NTP_TIME_ZERO;
                REDAWorkerFactory_getEaTimeBasedLogging(factory_, &level, &threshold);
                ASSERT_EQ(threshold.sec, level); // always of the same call
                ASSERT_EQ(threshold.frac, static_cast<NUV_UINT32>(level));
                REDAWorkerFactory_destroyWorker(factory_, worker);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(factory_), 0);
}

} // namespace
