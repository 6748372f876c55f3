// SPDX-License-Identifier: Apache-2.0
// The printing of one message, and the templates that fit any layer.
#include "log/log_message.h"

#include <cerrno>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "osapi/osapi_ntptime.h"
#include "recorder.h"
#include "system_calls.h"

namespace {

using MessageTest = LogTest;

constexpr NUVLogMessageTemplate WITHOUT_ARGUMENTS = {"WITHOUT_ARGUMENTS", "cannot do it"};
constexpr NUVLogMessageTemplate WITH_THREE_TEXTS = {"WITH_THREE_TEXTS", "%s: inconsistent %s: %s"};

NUV_INT64 wall_clock() {
    NUVClock *clock = NUVClock_getRealtime();
    return clock->getNanoseconds(clock);
}

template <typename... Arguments>
void print_template(const NUVLogMessageTemplate &message, Arguments... arguments) {
    NUVLogMessage_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, TEST_LOG_MODULE.id,
                                  "f.cpp", 1, "f", &message, arguments...);
}

void print_with_text(const NUVLogMessageTemplate &message, const std::string &text) {
    NUVLogMessageParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR,
                                             TEST_LOG_MODULE.id, "f.cpp", 1, "f", &message, "%s",
                                             text.c_str());
}

TEST_F(MessageTest, TemplateMessageCarriesAllThatItWasGiven) {
    const NUV_INT64 before = wall_clock();
    NUVLogMessage_printWithParams(42, NUV_LOG_LEVEL_WARNING, TEST_LOG_MODULE.id, "file.cpp", 17,
                                  "function", &NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd, 3, -4);
    ASSERT_EQ(messages_.size(), 1u);
    const Message &message = messages_[0];
    EXPECT_EQ(message.number, 42);
    EXPECT_EQ(message.level, NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(message.module, TEST_LOG_MODULE.id);
    EXPECT_EQ(message.file, "file.cpp");
    EXPECT_EQ(message.line, 17);
    EXPECT_EQ(message.function, "function");
    EXPECT_STREQ(message.name, NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd.name);
    EXPECT_EQ(message.text, "insufficient space: room for 3, needed -4");
    EXPECT_EQ(message.body, message.text);
    EXPECT_LE(before, message.time);
    EXPECT_LE(message.time, wall_clock());
}

TEST_F(MessageTest, TextWithTemplateHasTheCallersTextAsItsBody) {
    NUVLogMessageParamString_printWithParams(7, NUV_LOG_LEVEL_FATAL, TEST_LOG_MODULE.id, "file.cpp",
                                             18, "function", &NUV_LOG_FAILED_TO_ENABLE_TEMPLATE,
                                             "index %d of %s", 5, "domain");
    ASSERT_EQ(messages_.size(), 1u);
    const Message &message = messages_[0];
    EXPECT_EQ(message.number, 7);
    EXPECT_EQ(message.level, NUV_LOG_LEVEL_FATAL);
    EXPECT_EQ(message.module, TEST_LOG_MODULE.id);
    EXPECT_EQ(message.file, "file.cpp");
    EXPECT_EQ(message.line, 18);
    EXPECT_EQ(message.function, "function");
    EXPECT_STREQ(message.name, NUV_LOG_FAILED_TO_ENABLE_TEMPLATE.name);
    EXPECT_EQ(message.body, "index 5 of domain");
    EXPECT_EQ(message.text, "failed to enable: index 5 of domain");
}

TEST_F(MessageTest, TextWithoutTemplateSaysSo) {
    NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_LOCAL, 0, "file.cpp", 19,
                                      "function", "%s=%u", "a", 9u);
    ASSERT_EQ(messages_.size(), 1u);
    const Message &message = messages_[0];
    EXPECT_EQ(message.number, -1);
    EXPECT_EQ(message.level, NUV_LOG_LEVEL_LOCAL);
    EXPECT_EQ(message.module, 0u);
    EXPECT_EQ(message.file, "file.cpp");
    EXPECT_EQ(message.line, 19);
    EXPECT_EQ(message.function, "function");
    EXPECT_EQ(message.name, nullptr);
    EXPECT_EQ(message.body, "a=9");
    EXPECT_EQ(message.text, "a=9");
}

TEST_F(MessageTest, PrintingAsksNoMask) {
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    print_template(NUV_LOG_ANY_FAILURE_s, "x");
    EXPECT_EQ(messages_.size(), 1u);
}

TEST_F(MessageTest, TemplatesWithArgumentsSayWhatHappened) {
    const std::vector<std::pair<const NUVLogMessageTemplate *, std::string>> with_a_string = {
        {&NUV_LOG_PRECONDITION_FAILURE_s, "precondition failed: x"},
        {&NUV_LOG_ANY_FAILURE_s, "failure: x"},
        {&NUV_LOG_CREATION_FAILURE_s, "cannot create x"},
        {&NUV_LOG_DESTRUCTION_FAILURE_s, "cannot delete x"},
        {&NUV_LOG_GET_FAILURE_s, "cannot get x"},
        {&NUV_LOG_INVALID_s, "invalid: x"},
    };
    for (const auto &[message, text] : with_a_string) {
        print_template(*message, "x");
        EXPECT_EQ(messages_.back().text, text);
    }
}

TEST_F(MessageTest, ATemplateMayHaveNoArguments) {
    print_template(WITHOUT_ARGUMENTS);
    EXPECT_EQ(messages_.back().text, "cannot do it");
}

TEST_F(MessageTest, TemplatesThatTakeATextPutTheirWordsAroundIt) {
    const std::vector<std::pair<const NUVLogMessageTemplate *, std::string>> templates = {
        {&NUV_LOG_EMPTY_TEMPLATE, "x"},
        {&NUV_LOG_ENABLE_TEMPLATE, "enable: x"},
        {&NUV_LOG_INITIALIZE_TEMPLATE, "initialize: x"},
        {&NUV_LOG_UPDATE_TEMPLATE, "update: x"},
        {&NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE, "bad parameter: x"},
        {&NUV_LOG_FAILED_TO_CONVERT_TEMPLATE, "failed to convert: x"},
        {&NUV_LOG_FAILED_TO_ENABLE_TEMPLATE, "failed to enable: x"},
        {&NUV_LOG_FAILED_TO_FINALIZE_TEMPLATE, "failed to finalize: x"},
        {&NUV_LOG_FAILED_TO_GET_TEMPLATE, "failed to get: x"},
        {&NUV_LOG_INCONSISTENT_QOS_TEMPLATE, "inconsistent QoS: x"},
    };
    for (const auto &[message, text] : templates) {
        print_with_text(*message, "x");
        EXPECT_EQ(messages_.back().text, text);
        EXPECT_EQ(messages_.back().body, "x");
    }
}

TEST_F(MessageTest, TemplatesKnowTheirNames) {
    EXPECT_STREQ(NUV_LOG_ANY_FAILURE_s.name, "NUV_LOG_ANY_FAILURE_s");
    EXPECT_STREQ(NUV_LOG_EMPTY_TEMPLATE.name, "NUV_LOG_EMPTY_TEMPLATE");
}

TEST_F(MessageTest, TextFollowsATemplateThatHasNoPlaceForIt) {
    print_with_text(WITHOUT_ARGUMENTS, "x");
    EXPECT_EQ(messages_.back().text, "cannot do it: x");
    EXPECT_EQ(messages_.back().body, "x");
}

TEST_F(MessageTest, OtherDirectivesOfATemplateAreNoHarmToAText) {
    print_with_text(NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd, "x");
    EXPECT_EQ(messages_.back().text, "insufficient space: room for %d, needed %d: x");
    print_with_text(WITH_THREE_TEXTS, "x");
    EXPECT_EQ(messages_.back().text, "x: inconsistent %s: %s");
}

TEST_F(MessageTest, PercentSignsOfATextAreNotReadTwice) {
    print_with_text(NUV_LOG_ENABLE_TEMPLATE, "100%s%n%d");
    EXPECT_EQ(messages_.back().text, "enable: 100%s%n%d");
}

TEST_F(MessageTest, TextThatIsTooLongIsCut) {
    const std::string endless(3 * KOLS_CONFIG_LOG_LINE_MAX, 'x');
    const std::string all_that_fits(KOLS_CONFIG_LOG_LINE_MAX - 1, 'x');
    print_template(NUV_LOG_ANY_FAILURE_s, endless.c_str());
    EXPECT_EQ(messages_.back().text, ("failure: " + endless).substr(0, all_that_fits.size()));
    print_with_text(NUV_LOG_ENABLE_TEMPLATE, endless);
    EXPECT_EQ(messages_.back().text, ("enable: " + endless).substr(0, all_that_fits.size()));
    EXPECT_EQ(messages_.back().body, all_that_fits);
    print_with_text(WITHOUT_ARGUMENTS, endless);
    EXPECT_EQ(messages_.back().text.size(), all_that_fits.size());
}

TEST_F(MessageTest, TextThatCannotBeFormattedIsShownAsItsFormat) {
    const wchar_t not_a_character[] = {static_cast<wchar_t>(0xD800), 0};
    NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, 0, "f.cpp", 1, "f",
                                      "name %ls", not_a_character);
    EXPECT_EQ(messages_.back().text, "name %ls");
}

TEST_F(MessageTest, ErrnoStaysAsItWas) {
    KOLS_Config_Logger_set_output_device(
        logger_, [](void *, const KOLS_Config_LogRecord *) { errno = EBADF; }, nullptr);
    errno = EADDRINUSE;
    print_template(NUV_LOG_ANY_FAILURE_s, "x");
    EXPECT_EQ(errno, EADDRINUSE);
    print_with_text(NUV_LOG_ENABLE_TEMPLATE, "x");
    EXPECT_EQ(errno, EADDRINUSE);
    NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, 0, "f.cpp", 1, "f",
                                      "x");
    EXPECT_EQ(errno, EADDRINUSE);
}

TEST_F(MessageTest, PrintingAllocatesNothing) {
    KOLS_Config_Logger_set_output_device(logger_, nullptr, nullptr);
    testing::internal::CaptureStderr();
    const int before = system_calls::allocations();
    print_template(NUV_LOG_ANY_FAILURE_s, "x");
    NUVLogMessageParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_ERROR, 0, "f.cpp", 1,
                                             "f", &NUV_LOG_ENABLE_TEMPLATE, "%s", "x");
    const int after = system_calls::allocations();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(after, before);
}

TEST_F(MessageTest, MessagesOfManyThreadsReachTheDeviceOneAtATime) {
    constexpr int EACH = 500;
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([] {
            for (int i = 0; i < EACH; ++i) {
                print_template(NUV_LOG_ANY_FAILURE_s, "x");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(messages_.size(), 4u * EACH);
    for (const Message &message : messages_) {
        ASSERT_EQ(message.text, "failure: x");
    }
}

TEST(PreconditionTest, NothingIsDetectedUntilAHarnessAsks) {
    EXPECT_EQ(NUVLog_g_detectPrecondition, 0);
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
}

TEST(PreconditionTest, BreakpointHookReturns) {
    NUVLog_onAssertBreakpoint();
}

} // namespace
