// SPDX-License-Identifier: Apache-2.0
// ddssim as a program; tests/unit/ddssim has the details.
#include <array>
#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "process.h"

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

Process ddssim(const std::vector<std::string> &arguments) {
    std::vector<std::string> command = {DDSSIM_PATH};

    command.insert(command.end(), arguments.begin(), arguments.end());
    return Process(command);
}

struct Outcome {
    int code;
    std::string output;
    std::string errors;
};

Outcome run(const std::vector<std::string> &arguments) {
    Process process = ddssim(arguments);
    const int code = process.wait().code;

    return {code, process.output(), process.errors()};
}

/** One line on stderr, and nothing on stdout. */
void expect_refused(const Outcome &outcome, int code, const std::string &reason) {
    EXPECT_EQ(outcome.code, code);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_EQ(count(outcome.errors, "\n"), 1u) << outcome.errors;
    EXPECT_THAT(outcome.errors, AllOf(StartsWith("ddssim: "), HasSubstr(reason)));
}

TEST(Ddssim, ShowsAReport) {
    const Outcome shown = run({"--hosts", "3"});

    EXPECT_EQ(shown.code, 0);
    EXPECT_THAT(shown.output, HasSubstr("all know all"));
    EXPECT_THAT(shown.errors, IsEmpty());
}

TEST(Ddssim, IsTheSameInEachProcess) {
    const std::vector<std::string> arguments = {"--hosts", "4",      "--loss", "10%",   "--for",
                                                "5",       "--seed", "7",      "--json"};
    const auto hash = [&] {
        const std::string output = run(arguments).output;

        return output.substr(output.rfind("\"hash\""));
    };

    EXPECT_EQ(hash(), hash());
}

TEST(Ddssim, HasFindingsWhenNotAllKnowAll) {
    EXPECT_EQ(run({"--hosts", "2", "--loss", "100%", "--for", "1"}).code, 3);
    EXPECT_EQ(run({"--hosts", "2", "--loss", "100%", "--for", "1", "--seeds", "1-2"}).code, 3);
}

TEST(Ddssim, HasALineForEachSeedAndTheSpread) {
    std::istringstream lines(run({"--seeds", "0-2", "--json"}).output);
    std::vector<std::string> records;

    for (std::string line; std::getline(lines, line);) {
        records.push_back(json::parse(line)["record"]);
    }
    EXPECT_THAT(records, ElementsAre("scenario", "summary", "summary", "summary", "spread",
                                     "spread", "spread", "spread"));
}

TEST(Ddssim, RefusesWhatCannotBe) {
    expect_refused(run({"--hosts", "0"}), 2, "--hosts: '0' is not a whole number from 1 to 4000");
    expect_refused(run({"--period", "1h"}), 2, "period: '1 h' is not at most 5 s");
}

TEST(Ddssim, NamesThePlaceOfAMistakeInAFile) {
    const std::string path =
        std::filesystem::temp_directory_path() / ("ddssim." + std::to_string(getpid()) + ".yaml");

    std::ofstream(path) << "hosts: 3\nloss: much\n";
    expect_refused(run({path}), 2, path + ":2:7: loss: 'much' is not a share from 0% to 100%");
    std::filesystem::remove(path);
    expect_refused(run({path}), 1, path + ": No such file or directory");
}

TEST(Ddssim, SaysThatACaptureCannotBeWritten) {
    expect_refused(run({"--pcap", "/dev/full"}), 1, "/dev/full: No space left on device");
    expect_refused(run({"--pcap", "/nowhere/x"}), 1, "/nowhere/x: No such file or directory");
}

TEST(Ddssim, SaysThatStdoutCannotBeWritten) {
    Process process({"/bin/sh", "-c", std::string(DDSSIM_PATH) + " >/dev/full"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("cannot write to stdout"));
}

/** What the kernel tells of a process under a name; empty: nothing. */
std::string status_of(const Process &process, const std::string &name) {
    std::ifstream status("/proc/" + std::to_string(process.id()) + "/status");

    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":\t")) {
            return line.substr(name.size() + 2);
        }
    }
    return "";
}

/** Whether SIGTERM is in a set of the process: "SigCgt" are those it takes, "ShdPnd" wait. */
bool has_sigterm(const Process &process, const std::string &set) {
    const std::string signals = status_of(process, set);

    return !signals.empty() && (std::stoull(signals, nullptr, 16) >> (SIGTERM - 1) & 1) != 0;
}

TEST(Ddssim, EndsOnASignalWithWhatItHasSoFar) {
    Process process = ddssim({"--hosts", "50", "--for", "24h", "--json"});

    // Nobody takes the signals before it does.
    EXPECT_TRUE(eventually([&] { return has_sigterm(process, "SigCgt"); }));
    EXPECT_EQ(process.stop(SIGTERM).code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("ddssim: ended by SIGTERM"));
    const std::string output = process.output();
    const std::size_t last = output.rfind('\n', output.size() - 2) + 1;
    const json summary = json::parse(output.substr(last));

    EXPECT_EQ(summary["record"], "summary");
    EXPECT_EQ(summary["is_over"], false);
}

TEST(Ddssim, TakesTwoSignalsAtOnceForOneWhileItWrites) {
    const std::string path =
        std::filesystem::temp_directory_path() / ("ddssim." + std::to_string(getpid()) + ".fifo");

    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int fifo = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    Process process(
        {"/bin/sh", "-c", std::string("exec ") + DDSSIM_PATH + " --seeds 1-1000000000 >" + path});
    const auto waits_for_reader = [&] {
        int length = 0;

        return ioctl(fifo, FIONREAD, &length) == 0 &&
               length > fcntl(fifo, F_GETPIPE_SZ) - PIPE_BUF &&
               status_of(process, "State").starts_with("S");
    };

    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(eventually([&] { return waits_for_reader() || process.has_ended(); }));
        process.send(SIGTERM);
        EXPECT_TRUE(
            eventually([&] { return !has_sigterm(process, "ShdPnd") || process.has_ended(); }));
    }
    std::array<char, 4096> part{};

    while (!process.has_ended()) {
        (void)::read(fifo, part.data(), part.size());
    }
    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), StartsWith("ddssim: ended by SIGTERM;"));
    (void)close(fifo);
    std::filesystem::remove(path);
}

TEST(Ddssim, HelpAndVersionGoToStdout) {
    const Outcome help = run({"--help"});

    EXPECT_EQ(help.code, 0);
    EXPECT_THAT(help.output, AllOf(HasSubstr("--hosts"), HasSubstr("Example:")));
    EXPECT_EQ(run({"--version"}).output, "ddssim 1.0.0.0\n");
}

} // namespace
