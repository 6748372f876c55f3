// SPDX-License-Identifier: Apache-2.0
// The wait for signals, where what it takes cannot be had.
#include "signals.h"

#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/faults.h"

namespace {

/** What the watch says of a failure to begin. */
std::string reason_of_failure() {
    try {
        const Signals signals;
    } catch (const std::system_error &error) {
        return error.what();
    }
    return "none";
}

/** In a process of its own, which holds the signals from then on. */
class SignalsDeathTest : public testing::Test {
protected:
    static void expect_failure(const char *function, int error, const char *reason) {
        EXPECT_EXIT(
            {
                const faults::Guard guard;
                faults::fail_call(function, 1, error);
                std::fputs(reason_of_failure().c_str(), stderr);
                _exit(0);
            },
            testing::ExitedWithCode(0), reason);
    }
};

TEST_F(SignalsDeathTest, WithoutADescriptorForThemSayWhy) {
    expect_failure("signalfd", EMFILE, "^cannot wait for signals: Too many open files$");
}

TEST_F(SignalsDeathTest, WithoutADescriptorForTheirEndSayWhy) {
    expect_failure("eventfd", EMFILE, "^cannot wait for signals: Too many open files$");
}

TEST_F(SignalsDeathTest, AreHadAlsoWhereNothingCanBePolled) {
    EXPECT_EXIT(
        {
            const faults::Guard guard;
            faults::fail_every_call("poll", EINVAL);
            Event event = Event::TIME_IS_UP;
            {
                const Signals signals;
                for (int i = 0; i < 20000 && !faults::happened(); ++i) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
                (void)kill(getpid(), SIGTERM);
                event = wait_for_event(std::nullopt);
            }
            _exit(event == Event::SIGTERM_CAME && faults::happened() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(SignalsDeathTest, EndInOrderAlsoWhereNothingCanBePolled) {
    EXPECT_EXIT(
        {
            const faults::Guard guard;
            faults::fail_every_call("poll", EINVAL);
            { const Signals signals; }
            _exit(0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
