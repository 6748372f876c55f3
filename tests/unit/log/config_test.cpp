// SPDX-License-Identifier: Apache-2.0
// The verbosity, the output device, the line that a message becomes.
#include "dds_c/dds_c_logger.h"
#include "log/log_message.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "recorder.h"
#include "redirected_stderr.h"
#include "system_calls.h"

namespace {

constexpr NUV_INT64 SECOND = 1'000'000'000;

std::vector<NUV_UINT32> instrumentation_masks() {
    std::vector<NUV_UINT32> values;
    for (const NUVLogModuleNode *node = NUVLog_getModules(); node != nullptr; node = node->_next) {
        values.push_back(NUVLog_loadMask(node->module->instrumentationMask));
    }
    return values;
}

/** What instrumentation_masks gives when all of them are the same. */
std::vector<NUV_UINT32> all_modules(NUV_UINT32 mask) {
    return std::vector<NUV_UINT32>(instrumentation_masks().size(), mask);
}

std::vector<NUVLogCategoryMask> category_masks() {
    std::vector<NUVLogCategoryMask> values;
    for (const NUV_UINT32 level : {1u, 2u, 4u, 8u, 16u}) {
        values.push_back(NUVLog_loadMask(&NUVLog_g_categoryMask[level]));
    }
    return values;
}

KOLS_Config_LogRecord record_with(const char *text) {
    return {NUV_LOG_UNNUMBERED,
            NUV_LOG_LEVEL_ERROR,
            TEST_LOG_MODULE.id,
            "file.cpp",
            1,
            "function",
            nullptr,
            text,
            text,
            0};
}

std::string line_of(const KOLS_Config_LogRecord &record) {
    char line[KOLS_CONFIG_LOG_LINE_MAX];
    const std::size_t length = KOLS_Config_Logger_format_line(&record, line, sizeof line);
    EXPECT_EQ(length, std::strlen(line));
    return line;
}

std::string text_in_line(const std::string &text) {
    static const std::string head = "1970-01-01T00:00:00.000000Z ERROR TEST function: ";
    const std::string line = line_of(record_with(text.c_str()));
    EXPECT_EQ(line.substr(0, head.size()), head);
    return line.substr(head.size());
}

void print(const char *text) {
    NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, TEST_LOG_MODULE.id,
                                      "file.cpp", 1, "function", "%s", text);
}

using VerbosityTest = LogTest;

TEST_F(VerbosityTest, FatalAndErrorAreTheDefault) {
    EXPECT_EQ(KOLS_Config_Logger_get_verbosity(logger_), KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    EXPECT_EQ(instrumentation_masks(), all_modules(3));
}

TEST_F(VerbosityTest, SettingItSetsTheMasksOfAllModules) {
    for (const KOLS_Config_LogVerbosity verbosity :
         {KOLS_CONFIG_LOG_VERBOSITY_SILENT, KOLS_CONFIG_LOG_VERBOSITY_WARNING,
          KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL, KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL}) {
        KOLS_Config_Logger_set_verbosity(logger_, verbosity);
        EXPECT_EQ(KOLS_Config_Logger_get_verbosity(logger_), verbosity);
        EXPECT_EQ(instrumentation_masks(), all_modules(verbosity));
    }
    EXPECT_EQ(TESTLog_g_submoduleMask, 0xFFFFFFFFu);
}

TEST_F(VerbosityTest, CategoriesAreAddedToTheLevelsNamedAndTakenFromTheOthers) {
    using Masks = std::vector<NUVLogCategoryMask>;
    KOLS_Config_Logger_set_verbosity_by_category(logger_, 1u, NUV_LOG_LEVEL_ALL);
    EXPECT_EQ(category_masks(), (Masks{1, 1, 1, 1, 1}));
    KOLS_Config_Logger_set_verbosity_by_category(logger_, 6u, NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(category_masks(), (Masks{1, 1, 7, 1, 1}));
    KOLS_Config_Logger_set_verbosity_by_category(logger_, 3u, 10u);
    EXPECT_EQ(category_masks(), (Masks{0, 3, 4, 3, 0}));
    KOLS_Config_Logger_set_verbosity_by_category(logger_, 0xFFu, 0u);
    EXPECT_EQ(category_masks(), (Masks{0, 0, 0, 0, 0}));
    EXPECT_EQ(instrumentation_masks(), all_modules(3));
}

TEST_F(VerbosityTest, IsSetAndReadByManyThreadsAndEndsTheSameEverywhere) {
    std::vector<std::thread> threads;
    for (const NUV_UINT32 verbosity : {3u, 7u, 15u, 31u}) {
        threads.emplace_back([this, verbosity] {
            for (int i = 0; i < 1000; ++i) {
                KOLS_Config_Logger_set_verbosity(logger_, verbosity);
                KOLS_Config_Logger_set_verbosity_by_category(logger_, verbosity, verbosity);
                KOLS_Config_Logger_get_verbosity(logger_);
                instrumentation_masks();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(instrumentation_masks(), all_modules(KOLS_Config_Logger_get_verbosity(logger_)));
}

class DeviceTest : public LogTest {
protected:
    void use_default_device() {
        KOLS_Config_Logger_set_output_device(logger_, nullptr, nullptr);
    }

    system_calls::StderrWrites calls_;

private:
    /** A file takes what is written to it in plain writes, which the tests look at. */
    const RedirectedStderr redirected_{Kind::REGULAR_FILE};
};

TEST_F(DeviceTest, InstanceIsAlwaysTheSame) {
    EXPECT_NE(logger_, nullptr);
    EXPECT_EQ(logger_, KOLS_Config_Logger_get_instance());
}

TEST_F(DeviceTest, OwnDeviceTakesMessagesFromTheDefaultOne) {
    print("text");
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_EQ(messages_[0].text, "text");
    EXPECT_TRUE(calls_.written.empty());
}

TEST_F(DeviceTest, DefaultWritesOneLineInASingleWrite) {
    use_default_device();
    print("text");
    EXPECT_TRUE(messages_.empty());
    ASSERT_EQ(calls_.written.size(), 1u);
    const std::string &line = calls_.written[0];
    const std::string tail = "Z ERROR TEST function: text\n";
    ASSERT_GT(line.size(), tail.size());
    EXPECT_EQ(line.substr(line.size() - tail.size()), tail);
    EXPECT_EQ(line.substr(0, 2), "20"); // a year of this century
}

TEST_F(DeviceTest, DefaultWritesTheLongestLineWithItsEnd) {
    use_default_device();
    print(std::string(2 * KOLS_CONFIG_LOG_LINE_MAX, 'x').c_str());
    ASSERT_EQ(calls_.written.size(), 1u);
    EXPECT_EQ(calls_.written[0].size(), std::size_t{KOLS_CONFIG_LOG_LINE_MAX});
    EXPECT_EQ(calls_.written[0].back(), '\n');
}

TEST_F(DeviceTest, DefaultGoesOnAfterAnInterruptedOrPartialWrite) {
    use_default_device();
    calls_.next = {{EINTR, 0}, {0, 5}, {EINTR, 0}, {0, 7}};
    print("text");
    EXPECT_EQ(calls_.written.size(), 5u);
    std::string line;
    for (const std::string &part : calls_.written) {
        line += part;
    }
    EXPECT_NE(line.find("Z ERROR TEST function: text\n"), std::string::npos);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
}

TEST_F(DeviceTest, DefaultGivesUpWhenStderrFails) {
    use_default_device();
    calls_.next = {{EIO, 0}};
    errno = 0;
    print("text");
    EXPECT_EQ(calls_.written.size(), 1u);
    EXPECT_EQ(errno, 0);
    calls_.next = {{0, 0}};
    print("text");
    EXPECT_EQ(calls_.written.size(), 2u);
}

TEST_F(DeviceTest, FormerDeviceIsNoLongerInUseOnceItWasReplaced) {
    struct Device {
        std::atomic<int> calls{0};
        int in_use = 1; // not atomic: the thread sanitizer sees a late use
    };
    std::atomic<bool> done{false};
    std::thread printer([&] {
        while (!done) {
            print("text");
        }
    });
    for (int i = 0; i < 200; ++i) {
        auto device = std::make_unique<Device>();
        KOLS_Config_Logger_set_output_device(
            logger_,
            [](void *param, const KOLS_Config_LogRecord *) {
                auto *self = static_cast<Device *>(param);
                self->calls += self->in_use;
            },
            device.get());
        while (i % 20 == 0 && device->calls == 0) {
            std::this_thread::yield();
        }
        KOLS_Config_Logger_set_output_device(
            logger_, [](void *, const KOLS_Config_LogRecord *) {}, nullptr);
        device->in_use = 0;
    }
    done = true;
    printer.join();
}

TEST_F(DeviceTest, MayAskForTheVerbosity) {
    KOLS_Config_LogVerbosity seen = 0;
    KOLS_Config_Logger_set_output_device(
        logger_,
        [](void *param, const KOLS_Config_LogRecord *) {
            *static_cast<KOLS_Config_LogVerbosity *>(param) =
                KOLS_Config_Logger_get_verbosity(KOLS_Config_Logger_get_instance());
        },
        &seen);
    print("text");
    EXPECT_EQ(seen, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
}

TEST(FormatLineTest, HasTimeLevelLayerFunctionAndText) {
    KOLS_Config_LogRecord record = record_with("the text");
    record.level = NUV_LOG_LEVEL_WARNING;
    record.module = TEST_LOG_MODULE.id;
    record.time = 1'769'860'800 * SECOND + 123'456'789;
    EXPECT_EQ(line_of(record), "2026-01-31T12:00:00.123456Z WARNING TEST function: the text");
}

TEST(FormatLineTest, TimeIsThatOfTheCalendar) {
    const std::vector<std::pair<NUV_INT64, std::string>> times = {
        {0, "1970-01-01T00:00:00.000000Z"},
        {-1, "1969-12-31T23:59:59.999999Z"},
        {1'709'164'800 * SECOND, "2024-02-29T00:00:00.000000Z"},
        {4'102'444'799 * SECOND + 999'999'999, "2099-12-31T23:59:59.999999Z"},
        {INT64_MAX, "2262-04-11T23:47:16.854775Z"},
        {INT64_MIN, "1677-09-21T00:12:43.145224Z"},
    };
    KOLS_Config_LogRecord record = record_with("");
    for (const auto &[time, text] : times) {
        record.time = time;
        EXPECT_EQ(line_of(record).substr(0, text.size() + 1), text + " ");
    }
}

TEST(FormatLineTest, LevelIsAWord) {
    const std::vector<std::pair<NUV_UINT32, std::string>> levels = {
        {NUV_LOG_LEVEL_FATAL, "FATAL"},
        {NUV_LOG_LEVEL_ERROR, "ERROR"},
        {NUV_LOG_LEVEL_WARNING, "WARNING"},
        {NUV_LOG_LEVEL_LOCAL, "STATUS"},
        {NUV_LOG_LEVEL_DEBUG, "DEBUG"},
        {0, "-"},
        {6, "ERROR"},
        {32, "-"},
    };
    KOLS_Config_LogRecord record = record_with("text");
    for (const auto &[level, word] : levels) {
        record.level = level;
        EXPECT_EQ(line_of(record), "1970-01-01T00:00:00.000000Z " + word + " TEST function: text");
    }
}

TEST(FormatLineTest, LayerOrFunctionThatIsMissingIsADash) {
    KOLS_Config_LogRecord record = record_with(nullptr);
    record.module = 0;
    record.function = nullptr;
    EXPECT_EQ(line_of(record), "1970-01-01T00:00:00.000000Z ERROR - -: ");
}

TEST(FormatLineTest, LineEndsAtTheEndAreDropped) {
    EXPECT_EQ(text_in_line("text\n"), "text");
    EXPECT_EQ(text_in_line("text\r\n\n"), "text");
    EXPECT_EQ(text_in_line("\n"), "");
    EXPECT_EQ(text_in_line(""), "");
}

TEST(FormatLineTest, ControlCharactersAreReplaced) {
    EXPECT_EQ(text_in_line("a\nb\tc\rd\ve\ff"), "a b c d e f");
    EXPECT_EQ(text_in_line("\x1b[31mred\x07\x7f\x01"), "\\x1b[31mred\\x07\\x7f\\x01");
    EXPECT_EQ(text_in_line("\u009B2J\u202E\xFF"), "\\xc2\\x9b2J\\xe2\\x80\\xae\\xff");
    KOLS_Config_LogRecord record = record_with("text");
    record.function = "fun\nction";
    EXPECT_EQ(line_of(record), "1970-01-01T00:00:00.000000Z ERROR TEST fun ction: text");
}

TEST(FormatLineTest, OtherCharactersAreKept) {
    std::string text;
    for (char c = ' '; c < 0x7F; ++c) {
        text += c;
    }
    text += "Grüße, 東京";
    EXPECT_EQ(text_in_line(text), text);
}

TEST(FormatLineTest, LineIsCutToTheRoomThatThereIs) {
    const KOLS_Config_LogRecord record = record_with("text");
    const std::string whole = line_of(record);
    for (std::size_t size = 1; size <= whole.size() + 2; ++size) {
        std::string line(size + 1, '#');
        const std::size_t length = KOLS_Config_Logger_format_line(&record, line.data(), size);
        EXPECT_EQ(length, std::min(size - 1, whole.size()));
        EXPECT_EQ(line.c_str(), whole.substr(0, size - 1));
        EXPECT_EQ(line[size], '#');
    }
}

TEST(FormatLineTest, NoRoomGivesNoLine) {
    const KOLS_Config_LogRecord record = record_with("text");
    char untouched = '#';
    EXPECT_EQ(KOLS_Config_Logger_format_line(&record, &untouched, 0), 0u);
    EXPECT_EQ(untouched, '#');
    EXPECT_EQ(KOLS_Config_Logger_format_line(&record, nullptr, 0), 0u);
}

} // namespace
