// SPDX-License-Identifier: Apache-2.0
// A signal may come at any moment.
#include <csignal>
#include <thread>

#include <gmock/gmock.h>

#include "network.h"
#include "process.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/** The parameter: SIGINT or SIGTERM. */
class Signal : public HostTest, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(, Signal, testing::Values(SIGINT, SIGTERM), [](const auto &instance) {
    return instance.param == SIGINT ? "SIGINT" : "SIGTERM";
});

TEST_P(Signal, EndsTheStayInOrder) {
    Process process = ddspart({"run", "--domain", "7"});

    ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
    EXPECT_EQ(process.stop(GetParam()).code, 0);
    EXPECT_THAT(process.output(), HasSubstr(GetParam() == SIGINT ? "Left domain 7: SIGINT\n"
                                                                 : "Left domain 7: SIGTERM\n"));
    EXPECT_THAT(udp_ports(), IsEmpty());
}

/** How long joining takes once signals are held. */
std::chrono::steady_clock::duration time_to_join() {
    Process process = ddspart({"run"});

    EXPECT_TRUE(process.wait_until_signals_are_held());
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_TRUE(process.wait_for_output("Joined"));
    return std::chrono::steady_clock::now() - begin;
}

TEST_P(Signal, AtAnyMomentAfterTheStartEndsTheRunInOrder) {
    constexpr int MOMENTS = 40;
    const auto step = time_to_join() * 3 / 2 / MOMENTS;

    for (int moment = 0; moment < MOMENTS; ++moment) {
        Process process = ddspart({"run"});

        ASSERT_TRUE(process.wait_until_signals_are_held());
        std::this_thread::sleep_for(step * moment);
        const Exit exit = process.stop(GetParam());

        ASSERT_EQ(exit.code, 0) << "moment " << moment << ": " << process.errors();
        ASSERT_EQ(count(process.output(), "Left domain 0: SIG"), 1u) << process.output();
        ASSERT_THAT(udp_ports(), IsEmpty()) << "moment " << moment;
    }
}

TEST_P(Signal, ThatComesAgainAndAgainChangesNothing) {
    constexpr int RUNS = 10;

    for (int run = 0; run < RUNS; ++run) {
        Process process = ddspart({"run"});

        ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
        ASSERT_TRUE(eventually([&] {
            process.send(GetParam());
            process.send(SIGINT);
            return process.has_ended();
        }));
        ASSERT_EQ(process.wait().code, 0) << process.errors();
        ASSERT_THAT(udp_ports(), IsEmpty());
    }
}

TEST_P(Signal, DuringALeaveThatTheTimeBeganIsIgnored) {
    Process process = ddspart({"run", "--for", "0"});

    ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
    process.send(GetParam());
    EXPECT_EQ(process.wait().code, 0) << process.errors();
    EXPECT_EQ(count(process.output(), "Left domain 0"), 1u);
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_P(Signal, EndsTheStayOfAProcessThatWasStartedToIgnoreIt) {
    Process process({"sh", "-c", std::string("trap '' INT TERM; exec ") + DDSPART_PATH + " run"});

    ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
    EXPECT_EQ(process.stop(GetParam()).code, 0);
}

} // namespace
