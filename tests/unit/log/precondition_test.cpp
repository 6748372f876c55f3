// SPDX-License-Identifier: Apache-2.0
// Null pointers at the logger's own functions.
#include <gmock/gmock.h>

#include <functional>

#include "recorder.h"
#include "redirected_stderr.h"

using testing::HasSubstr;

namespace {

struct NullPointer {
    const char *function;
    const char *pointer;
    std::function<void()> call;

    friend void PrintTo(const NullPointer &self, std::ostream *out) {
        *out << self.function << ", " << self.pointer;
    }
};

KOLS_Config_LogRecord a_record() {
    return {NUV_LOG_UNNUMBERED,
            NUV_LOG_LEVEL_ERROR,
            0,
            "file.cpp",
            1,
            "function",
            nullptr,
            "text",
            "text",
            0};
}

class NullPointerTest : public LogTest, public testing::WithParamInterface<NullPointer> {
protected:
    NullPointerTest() {
        NUVLog_g_detectPrecondition = 1;
        NUVLog_g_preconditionDetected = 0;
    }
    ~NullPointerTest() override {
        NUVLog_g_detectPrecondition = 0;
        NUVLog_g_preconditionDetected = 0;
    }
};

char a_line[64];

INSTANTIATE_TEST_SUITE_P(
    , NullPointerTest,
    testing::Values(
        NullPointer{"KOLS_Config_Logger_get_verbosity", "self",
                    [] {
                        EXPECT_EQ(KOLS_Config_Logger_get_verbosity(nullptr),
                                  KOLS_CONFIG_LOG_VERBOSITY_SILENT);
                    }},
        NullPointer{"KOLS_Config_Logger_set_verbosity", "self",
                    [] { KOLS_Config_Logger_set_verbosity(nullptr, NUV_LOG_LEVEL_ALL); }},
        NullPointer{"KOLS_Config_Logger_set_verbosity_by_category", "self",
                    [] { KOLS_Config_Logger_set_verbosity_by_category(nullptr, 1, 1); }},
        NullPointer{"KOLS_Config_Logger_set_output_device", "self",
                    [] { KOLS_Config_Logger_set_output_device(nullptr, nullptr, nullptr); }},
        NullPointer{"KOLS_Config_Logger_format_line", "record",
                    [] {
                        a_line[0] = '#';
                        EXPECT_EQ(KOLS_Config_Logger_format_line(nullptr, a_line, sizeof a_line),
                                  0u);
                        EXPECT_STREQ(a_line, "");
                    }},
        NullPointer{"KOLS_Config_Logger_format_line", "line",
                    [] {
                        const KOLS_Config_LogRecord record = a_record();
                        EXPECT_EQ(KOLS_Config_Logger_format_line(&record, nullptr, 10), 0u);
                    }},
        NullPointer{"KOLS_Config_Logger_filter_text", "text",
                    [] {
                        a_line[0] = '#';
                        EXPECT_EQ(KOLS_Config_Logger_filter_text(nullptr, 1, a_line, 10), 0u);
                        EXPECT_STREQ(a_line, "");
                    }},
        NullPointer{"KOLS_Config_Logger_filter_text", "printable",
                    [] { EXPECT_EQ(KOLS_Config_Logger_filter_text("a", 1, nullptr, 10), 0u); }},
        NullPointer{"KOLS_Config_Logger_write_record", "record",
                    [] { KOLS_Config_Logger_write_record(nullptr); }},
        NullPointer{"KOLS_Config_Logger_write_text", "text",
                    [] { KOLS_Config_Logger_write_text(nullptr); }}),
    [](const auto &instance) {
        return std::string(instance.param.function) + "_" + instance.param.pointer;
    });

TEST_P(NullPointerTest, IsReportedAsAFailedPrecondition) {
    const NullPointer &null = GetParam();

    null.call();
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    ASSERT_EQ(messages_.size(), 1u);
    const Message &message = messages_[0];
    EXPECT_EQ(message.level, NUV_LOG_LEVEL_FATAL);
    EXPECT_EQ(message.module, 0u);
    EXPECT_EQ(message.function, null.function);
    EXPECT_STREQ(message.name, NUV_LOG_PRECONDITION_FAILURE_s.name);
    EXPECT_EQ(message.text,
              "precondition failed: \"" + std::string(null.pointer) + " == ((void *)0)\"");
}

TEST_P(NullPointerTest, ChangesNothing) {
    const NUVLogCategoryMask mask = NUVLog_loadMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_FATAL]);

    GetParam().call();
    EXPECT_EQ(KOLS_Config_Logger_get_verbosity(logger_), KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    EXPECT_EQ(NUVLog_loadMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_FATAL]), mask);
}

TEST_P(NullPointerTest, IsNotPrintedWhenTheLogIsSilent) {
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    GetParam().call();
    EXPECT_TRUE(messages_.empty());
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
}

TEST_F(LogTest, ADeviceThatPassesANullPointerIsReportedOnStderr) {
    RedirectedStderr redirected(Kind::PIPE);

    KOLS_Config_Logger_set_output_device(
        logger_,
        [](void *, const KOLS_Config_LogRecord *) {
            (void)KOLS_Config_Logger_format_line(nullptr, a_line, sizeof a_line);
        },
        nullptr);
    NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, TEST_LOG_MODULE.id,
                                      "file.cpp", 1, "function", "text");
    EXPECT_THAT(redirected.read(), HasSubstr("FATAL - KOLS_Config_Logger_format_line: precondition "
                                             "failed: \"record == ((void *)0)\"\n"));
}

} // namespace
