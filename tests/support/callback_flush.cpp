// SPDX-License-Identifier: Apache-2.0
#include "support/callback_flush.h"

#include <chrono>
#include <future>

#include <gtest/gtest.h>

namespace support {

void flush_callbacks(NUVNetioRuntime *runtime) {
    constexpr std::chrono::seconds LONG_ENOUGH{20};
    std::promise<void> called;
    NUVNetioCallback callback{
        [](void *param, REDAWorker *) { static_cast<std::promise<void> *>(param)->set_value(); },
        &called, nullptr, 0};

    ASSERT_NE(NUVNetioRuntime_startCallbacks(runtime), 0);
    NUVNetioRuntime_postCallback(runtime, &callback);
    EXPECT_EQ(called.get_future().wait_for(LONG_ENOUGH), std::future_status::ready);
    EXPECT_NE(NUVNetioRuntime_cancelCallback(runtime, &callback), 0);
}

} // namespace support
