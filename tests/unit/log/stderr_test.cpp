// SPDX-License-Identifier: Apache-2.0
// What the library's own device does on stderr, whatever that is and whoever reads it.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include "recorder.h"
#include "redirected_stderr.h"
#include "system_calls.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

void print(const std::string &text) {
    NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, TEST_LOG_MODULE.id,
                                      "file.cpp", 1, "function", "%s", text.c_str());
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    std::string line;

    while (std::getline(stream, line)) {
        lines.push_back(line);
    }
    return lines;
}

auto number_of_open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");

    return std::distance(begin(files), end(files));
}

class DefaultDevice : public LogTest {
protected:
    DefaultDevice() {
        KOLS_Config_Logger_set_output_device(logger_, nullptr, nullptr);
    }
};

const std::string FILLING(200, 'x');
/** More than any kind of file takes without a reader; at 100 ms each they would take minutes. */
constexpr int MANY = 3000;

/** Prints lines until none is taken any more, and then some. */
void print_without_reader() {
    for (int i = 0; i < MANY; ++i) {
        print(FILLING);
    }
}

class OnEachKind : public DefaultDevice, public testing::WithParamInterface<Kind> {
protected:
    /** The descriptor is put back before a failure is reported. */
    RedirectedStderr stderr_{GetParam()};
};

std::string name_of(const testing::TestParamInfo<Kind> &instance) {
    switch (instance.param) {
    case Kind::REGULAR_FILE:
        return "File";
    case Kind::PIPE:
        return "Pipe";
    case Kind::SOCKET:
        return "Socket";
    case Kind::TERMINAL:
        return "Terminal";
    case Kind::TERMINAL_EMULATOR:
        break;
    }
    return "TerminalEmulator";
}

INSTANTIATE_TEST_SUITE_P(Stderr, OnEachKind,
                         testing::Values(Kind::REGULAR_FILE, Kind::PIPE, Kind::SOCKET,
                                         Kind::TERMINAL, Kind::TERMINAL_EMULATOR),
                         name_of);

TEST_P(OnEachKind, ALineIsWritten) {
    print("text");
    EXPECT_THAT(stderr_.read(), EndsWith("Z ERROR TEST function: text\n"));
}

TEST_P(OnEachKind, TheLongestLineIsWrittenWithItsEnd) {
    print(std::string(2 * KOLS_CONFIG_LOG_LINE_MAX, 'x'));
    const std::string text = stderr_.read();

    EXPECT_EQ(text.size(), std::size_t{KOLS_CONFIG_LOG_LINE_MAX});
    EXPECT_THAT(text, EndsWith("xxx\n"));
}

TEST_P(OnEachKind, TheDescriptorKeepsItsFlags) {
    const int flags = fcntl(STDERR_FILENO, F_GETFL);

    print("text");
    EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFL), flags);
}

TEST_P(OnEachKind, NoFileStaysOpen) {
    const auto files = number_of_open_files();

    print("text");
    EXPECT_EQ(number_of_open_files(), files);
}

TEST_P(OnEachKind, NothingIsAllocatedAndErrnoStays) {
    const int before = system_calls::allocations();

    errno = EDOM;
    KOLS_Config_Logger_write_text("text");
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(system_calls::allocations(), before);
}

TEST_P(OnEachKind, WhereverTheDescriptorGoesTheNextLineFollows) {
    print("here");
    {
        RedirectedStderr elsewhere(GetParam());

        print("there");
        EXPECT_THAT(elsewhere.read(), EndsWith("there\n"));
    }
    EXPECT_THAT(stderr_.read(), EndsWith("here\n"));
}

/** Where nobody reads: the kind, and whether it can be opened again. */
struct Stall {
    Kind kind;
    bool can_be_reopened;
};

class Stalled : public DefaultDevice, public testing::WithParamInterface<Stall> {
protected:
    Stalled() {
        if (!GetParam().can_be_reopened) {
            faults::fail_every_call("open", EMFILE);
        }
    }
    ~Stalled() override {
        faults::clear();
        // A line that is taken: what was dropped here does not concern the next test.
        (void)stderr_.read();
        print("end");
    }

    RedirectedStderr stderr_{GetParam().kind};
};

INSTANTIATE_TEST_SUITE_P(Stderr, Stalled,
                         testing::Values(Stall{Kind::PIPE, true}, Stall{Kind::PIPE, false},
                                         Stall{Kind::SOCKET, true}, Stall{Kind::TERMINAL, true},
                                         Stall{Kind::TERMINAL, false},
                                         Stall{Kind::TERMINAL_EMULATOR, true}),
                         [](const auto &instance) {
                             return name_of({instance.param.kind, instance.index}) +
                                    (instance.param.can_be_reopened ? "" : "ThatCannotBeReopened");
                         });

TEST_P(Stalled, ItHoldsNobody) {
    const auto begin = std::chrono::steady_clock::now();

    print_without_reader();
    // Waiting for each line takes 300 s, and without a bound it never ends.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

TEST_P(Stalled, ItHoldsNoneOfManyThreads) {
    std::vector<std::thread> threads;
    const auto begin = std::chrono::steady_clock::now();

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(print_without_reader);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

TEST_P(Stalled, ItIsToldHowManyLinesItMissedOnceItReads) {
    print_without_reader();
    std::vector<std::string> lines = lines_of(stderr_.read());
    const auto whole = std::count_if(lines.begin(), lines.end(), [](const std::string &line) {
        return line.ends_with(" function: " + FILLING);
    });
    print("the first that is taken again");
    print("the second");
    const std::string text = stderr_.read();

    lines = lines_of(text.substr(text.front() == '\n' ? 1 : 0)); // the end of one broken off
    ASSERT_EQ(lines.size(), 3u) << text;
    EXPECT_THAT(lines[0],
                MatchesRegex("[0-9TZ:.-]+ WARNING - [a-z_]+: " + std::to_string(MANY - whole) +
                             " lines of the log were dropped: stderr took none for a while"));
    EXPECT_THAT(lines[1], EndsWith("function: the first that is taken again"));
    EXPECT_THAT(lines[2], EndsWith("function: the second"));
}

TEST_P(Stalled, ItGetsNoLineGluedToAnother) {
    print_without_reader();
    std::string text = stderr_.read();
    print("after");
    text += stderr_.read();

    for (const std::string &line : lines_of(text)) {
        EXPECT_THAT(line.substr(0, 2), "20") << line; // the year
        EXPECT_EQ(line.find("ERROR"), line.rfind("ERROR")) << line;
    }
}

class WithoutReader : public DefaultDevice, public testing::WithParamInterface<Kind> {};

INSTANTIATE_TEST_SUITE_P(Stderr, WithoutReader,
                         testing::Values(Kind::PIPE, Kind::SOCKET, Kind::TERMINAL), name_of);

TEST_P(WithoutReader, LinesAreGivenUpAndTheProcessLives) {
    RedirectedStderr redirected(GetParam());

    redirected.close_reader();
    print("text");
    print("text");
}

TEST_F(DefaultDevice, EndsALineThatWasBrokenOffBeforeTheNext) {
    const RedirectedStderr redirected(Kind::REGULAR_FILE);
    system_calls::StderrWrites calls;

    calls.next = {{0, 5}, {EIO, 0}};
    KOLS_Config_Logger_write_text("the first");
    KOLS_Config_Logger_write_text("the second");
    EXPECT_THAT(calls.written, testing::ElementsAre("the f", "", "\n", "the second\n"));
}

TEST_F(DefaultDevice, WritesATextAsOneLineThatSteersNoTerminal) {
    RedirectedStderr redirected(Kind::PIPE);

    KOLS_Config_Logger_write_text("a\nb\x1b[2J");
    EXPECT_EQ(redirected.read(), "a b\\x1b[2J\n");
}

TEST_F(DefaultDevice, MayBeCalledByADeviceOfOnesOwn) {
    RedirectedStderr redirected(Kind::PIPE);

    KOLS_Config_Logger_set_output_device(
        logger_,
        [](void *, const KOLS_Config_LogRecord *record) {
            KOLS_Config_Logger_write_record(record);
        },
        nullptr);
    print("text");
    EXPECT_THAT(redirected.read(), EndsWith("Z ERROR TEST function: text\n"));
}

TEST_F(DefaultDevice, TakesWhatADeviceItselfLogs) {
    RedirectedStderr redirected(Kind::PIPE);

    KOLS_Config_Logger_set_output_device(
        logger_, [](void *, const KOLS_Config_LogRecord *) { print("from within"); }, nullptr);
    print("text");
    EXPECT_THAT(redirected.read(), EndsWith("Z ERROR TEST function: from within\n"));
}

} // namespace
