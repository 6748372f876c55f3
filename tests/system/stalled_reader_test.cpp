// SPDX-License-Identifier: Apache-2.0
// Whoever reads what ddspart writes may stop reading, which is no reason to stay.
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "network.h"
#include "process.h"

using testing::HasSubstr;

namespace {

/** An end takes a second at most; only a machine that is very busy takes longer. */
constexpr std::chrono::seconds LONG_ENOUGH(5);

/** A full pipe that nobody reads. */
class StalledPipe {
public:
    StalledPipe() {
        const std::array<char, 4096> filling{};

        if (pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
        while (write(ends_[1], filling.data(), filling.size()) > 0) {}
    }
    ~StalledPipe() {
        (void)close(ends_[0]);
        (void)close(ends_[1]);
    }
    StalledPipe(const StalledPipe &) = delete;
    StalledPipe &operator=(const StalledPipe &) = delete;

    /** Opened by this name it waits, as a pipe of a shell does. */
    std::string name() const {
        return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(ends_[1]);
    }

private:
    std::array<int, 2> ends_{};
};

/** The parameter: SIGINT or SIGTERM. */
class StalledReader : public HostTest, public testing::WithParamInterface<int> {
protected:
    static Process ddspart_with(const std::string &arguments) {
        return Process({"sh", "-c", "exec " + std::string(DDSPART_PATH) + " " + arguments});
    }

    /** Sends the signal, and waits for an end that comes soon. */
    static Exit stop(Process &process) {
        const auto begin = std::chrono::steady_clock::now();
        const Exit exit = process.stop(GetParam());

        EXPECT_LT(std::chrono::steady_clock::now() - begin, LONG_ENOUGH);
        return exit;
    }

    const StalledPipe pipe;
};

INSTANTIATE_TEST_SUITE_P(, StalledReader, testing::Values(SIGINT, SIGTERM),
                         [](const auto &instance) {
                             return instance.param == SIGINT ? "SIGINT" : "SIGTERM";
                         });

TEST_P(StalledReader, OfThePortTableIsLeftByForceOnASignal) {
    Process process = ddspart_with("ports --index 0-65535 >" + pipe.name());

    ASSERT_TRUE(process.wait_until_signals_are_held()) << process.errors();
    EXPECT_EQ(stop(process).signal, GetParam());
}

TEST_P(StalledReader, OfTheDataOfARunIsLeftByForceOnASignal) {
    Process process = ddspart_with("run >" + pipe.name());

    ASSERT_TRUE(process.wait_until_signals_are_held()) << process.errors();
    EXPECT_EQ(stop(process).signal, GetParam());
    EXPECT_THAT(udp_ports(), testing::IsEmpty());
}

TEST_P(StalledReader, OfTheLogHindersNeitherJoiningNorAnEndInOrder) {
    Process process = ddspart_with("run --verbosity all 2>" + pipe.name());

    ASSERT_TRUE(process.wait_for_output("Joined"));
    const Exit exit = stop(process);

    EXPECT_EQ(exit.code, 0);
    EXPECT_THAT(process.output(), HasSubstr("Left domain 0: SIG"));
}

TEST_P(StalledReader, OfMessagesDoesNotChangeTheExitCode) {
    EXPECT_EQ(ddspart_with("run --domain x 2>" + pipe.name()).wait().code, 2);
    EXPECT_EQ(ddspart_with("run --domain 233 2>" + pipe.name()).wait().code, 1);
}

} // namespace
