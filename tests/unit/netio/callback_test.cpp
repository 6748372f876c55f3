// SPDX-License-Identifier: Apache-2.0
#include <atomic>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net_fixture.h"
#include "netio/netio_callback.h"
#include "support/faults.h"
#include "support/hurried_waits.h"
#include "support/log_capture.h"

namespace {

using support::LogCapture;

/** A callback that counts its calls, and waits in each until it is let go. */
struct CallbackCounter {
    std::atomic<int> calls{0};
    std::atomic<bool> let_go{true};
    std::function<void()> also = [] {};
    NUVNetioCallback callback{on_call, this, nullptr, 0};

    static void on_call(void *param, REDAWorker *worker) {
        auto *self = static_cast<CallbackCounter *>(param);
        EXPECT_NE(worker, nullptr);
        ++self->calls;
        self->also();
        EXPECT_TRUE(net::eventually([self] { return self->let_go.load(); }));
    }
    bool wait_for(int number) const {
        return net::eventually([&] { return calls >= number; });
    }
};

class CallbackTest : public testing::Test {
protected:
    void post(CallbackCounter &counter) const {
        NUVNetioRuntime_postCallback(runtime.runtime, &counter.callback);
    }
    bool cancel(CallbackCounter &counter) const {
        return NUVNetioRuntime_cancelCallback(runtime.runtime, &counter.callback) != 0;
    }

    /** Has a callback run, which does so until it is let go. */
    void begin(CallbackCounter &counter) const {
        counter.let_go = false;
        NUVNetioRuntime_startCallbacks(runtime.runtime);
        post(counter);
        EXPECT_TRUE(counter.wait_for(1));
    }

    net::Runtime runtime;
};

TEST_F(CallbackTest, StartsItsThreadOnce) {
    EXPECT_NE(NUVNetioRuntime_startCallbacks(runtime.runtime), 0);
    EXPECT_NE(NUVNetioRuntime_startCallbacks(runtime.runtime), 0);
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(runtime.factories.workers), 3);
}

TEST_F(CallbackTest, CallsOnAThreadOfItsOwn) {
    CallbackCounter counter;
    std::atomic<bool> is_reactor{true};
    counter.also = [&] { is_reactor = NUVNetioRuntime_isReactorThread(runtime.runtime) != 0; };
    NUVNetioRuntime_startCallbacks(runtime.runtime);
    post(counter);
    EXPECT_TRUE(counter.wait_for(1));
    EXPECT_FALSE(is_reactor);
    EXPECT_TRUE(cancel(counter));
    EXPECT_EQ(counter.calls, 1);
}

TEST_F(CallbackTest, PostedTwiceBeforeItBeginsIsCalledOnce) {
    CallbackCounter first;
    CallbackCounter counter;
    begin(first);
    post(counter);
    post(counter);
    first.let_go = true;
    EXPECT_TRUE(counter.wait_for(1));
    EXPECT_TRUE(cancel(counter));
    EXPECT_TRUE(cancel(first));
    EXPECT_EQ(counter.calls, 1);
}

TEST_F(CallbackTest, PostedWhileItRunsIsCalledAgain) {
    CallbackCounter counter;
    begin(counter);
    post(counter);
    counter.let_go = true;
    EXPECT_TRUE(counter.wait_for(2));
    EXPECT_TRUE(cancel(counter));
}

TEST_F(CallbackTest, TheReactorGoesOnWhileOneRuns) {
    CallbackCounter counter;
    begin(counter);
    EXPECT_TRUE(runtime.flush());
    counter.let_go = true;
    EXPECT_TRUE(cancel(counter));
}

TEST_F(CallbackTest, OneThatWaitsIsTakenBackWhileAnotherRuns) {
    CallbackCounter running;
    CallbackCounter waiting;
    begin(running);
    post(waiting);
    EXPECT_TRUE(cancel(waiting));
    running.let_go = true;
    EXPECT_TRUE(cancel(running));
    EXPECT_EQ(waiting.calls, 0);
}

TEST_F(CallbackTest, OneThatRunsOnIsNotTakenBackInTime) {
    CallbackCounter counter;
    begin(counter);
    EXPECT_FALSE(cancel(counter)); // after all of the time
    counter.let_go = true;
    EXPECT_TRUE(cancel(counter));
}

TEST_F(CallbackTest, OneMayTakeItselfBack) {
    CallbackCounter counter;
    counter.also = [&] {
        post(counter);
        EXPECT_TRUE(cancel(counter));
    };
    NUVNetioRuntime_startCallbacks(runtime.runtime);
    post(counter);
    EXPECT_TRUE(counter.wait_for(1));
    EXPECT_TRUE(cancel(counter));
    EXPECT_EQ(counter.calls, 1);
}

TEST_F(CallbackTest, RuntimeIsNotDeletedWhileACallbackRunsOn) {
    net::Factories factories;
    net::Interfaces interfaces({});
    const NUVNetioRuntimeProperty property = net::runtime_property(interfaces.source());
    NUVNetioRuntime *const other =
        NUVNetioRuntime_new(&property, factories.threads, factories.workers);
    CallbackCounter counter;
    counter.let_go = false;
    NUVNetioRuntime_startCallbacks(other);
    NUVNetioRuntime_postCallback(other, &counter.callback);
    EXPECT_TRUE(counter.wait_for(1));
    {
        const LogCapture log;
        const support::HurriedWaits hurried;
        EXPECT_EQ(NUVNetioRuntime_delete(other), 0);
        ASSERT_EQ(log.messages().size(), 1u);
        EXPECT_EQ(log.messages()[0].level, NUV_LOG_LEVEL_ERROR);
        EXPECT_EQ(log.messages()[0].text,
                  "the thread 'callback' does not end: a callback has not returned for 4 s");
    }
    counter.let_go = true;
    EXPECT_NE(NUVNetioRuntime_delete(other), 0);
}

TEST_F(CallbackTest, ThreadThatCannotBeStartedIsOneErrorAndCanBeStartedLater) {
    const faults::Guard guard;
    const LogCapture log;
    faults::fail_call("NUVOsapiThreadFactory_createThread", 1, EAGAIN);
    EXPECT_EQ(NUVNetioRuntime_startCallbacks(runtime.runtime), 0);
    for (int nth = 1; nth <= 2; ++nth) { // its worker's two blocks
        faults::fail_allocation(nth);
        EXPECT_EQ(NUVNetioRuntime_startCallbacks(runtime.runtime), 0);
    }
    ASSERT_EQ(log.messages().size(), 3u);
    EXPECT_EQ(log.messages()[0].text, "cannot start the thread 'callback': Resource temporarily "
                                      "unavailable (EAGAIN)");
    EXPECT_EQ(log.messages()[2].text, "out of memory for the worker of the thread 'callback'");
    EXPECT_EQ(REDAWorkerFactory_getWorkerCount(runtime.factories.workers), 2);
    EXPECT_NE(NUVNetioRuntime_startCallbacks(runtime.runtime), 0);
}

} // namespace
