// SPDX-License-Identifier: Apache-2.0
// A test that may make allocations fail, and leaves no memory behind.
#pragma once

#include <gtest/gtest.h>

#include "osapi/osapi_heap.h"
#include "support/fault_loop.h"
#include "support/heap_watch.h"

class HeapTest : public testing::Test {
protected:
    ~HeapTest() override {
        faults::clear();
        EXPECT_EQ(heap_.change(), support::Blocks());
        EXPECT_EQ(heap_.refusals(), 0u);
    }

    const support::HeapWatch heap_;
};
