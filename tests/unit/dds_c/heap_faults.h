// Makes an allocation fail, and checks that nothing is lost by it.
#pragma once

#include <gtest/gtest.h>

#include "osapi/osapi_heap.h"

namespace heap_faults {

/** The number of allocations of this thread since the last call of fail. */
int count();

/** Makes the @p nth allocation of this thread from now on fail; 0: none. */
void fail(int nth);

inline NUV_UINT64 live_blocks() {
    NUVOsapiHeapStatistics statistics;
    NUVOsapiHeap_getStatistics(&statistics);
    return statistics.liveBlocks;
}

inline NUV_UINT64 refused_frees() {
    NUVOsapiHeapStatistics statistics;
    NUVOsapiHeap_getStatistics(&statistics);
    return statistics.refusedFrees;
}

/**
 * Runs @p operation again and again, with its first, second, ... allocation failing, until it needs
 * no further one. It answers whether it succeeded, and must do so only then.
 * @return the number of allocations of a successful run.
 */
template <typename Operation>
int fail_each_allocation(Operation operation) {
    for (int nth = 1;; ++nth) {
        fail(nth);
        const bool is_done = operation();
        const bool has_failed = count() >= nth;
        fail(0);
        EXPECT_EQ(is_done, !has_failed) << "allocation " << nth;
        if (!has_failed || is_done) {
            return nth - 1;
        }
    }
}

/** A test that leaves no memory behind. */
class HeapTest : public testing::Test {
protected:
    ~HeapTest() override {
        fail(0);
        EXPECT_EQ(live_blocks(), live_before_);
        EXPECT_EQ(refused_frees(), refused_before_);
    }

    const NUV_UINT64 live_before_ = live_blocks();
    const NUV_UINT64 refused_before_ = refused_frees();
};

} // namespace heap_faults

using heap_faults::HeapTest;
