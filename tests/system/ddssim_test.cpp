// SPDX-License-Identifier: Apache-2.0
// ddssim as a program; tests/unit/ddssim has the details.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "process.h"

using nlohmann::json;
using testing::AllOf;
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

TEST(Ddssim, EndsOnASignalWithWhatItHasSoFar) {
    Process process = ddssim({"--hosts", "50", "--for", "24h", "--json"});

    // Nobody takes the signals before it does.
    EXPECT_TRUE(eventually([&] {
        std::ifstream status("/proc/" + std::to_string(process.id()) + "/status");

        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("SigCgt:")) {
                return (std::stoull(line.substr(7), nullptr, 16) >> (SIGTERM - 1) & 1) != 0;
            }
        }
        return false;
    }));
    EXPECT_EQ(process.stop(SIGTERM).code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("ddssim: ended by SIGTERM"));
    const std::string output = process.output();
    const std::size_t last = output.rfind('\n', output.size() - 2) + 1;
    const json summary = json::parse(output.substr(last));

    EXPECT_EQ(summary["record"], "summary");
    EXPECT_EQ(summary["is_over"], false);
}

TEST(Ddssim, HelpAndVersionGoToStdout) {
    const Outcome help = run({"--help"});

    EXPECT_EQ(help.code, 0);
    EXPECT_THAT(help.output, AllOf(HasSubstr("--hosts"), HasSubstr("Example:")));
    EXPECT_EQ(run({"--version"}).output, "ddssim 1.0.0.0\n");
}

} // namespace
