// SPDX-License-Identifier: Apache-2.0
// The macros that layers log with.
#include "log/log_print.h"

#include "recorder.h"

namespace {

constexpr NUVLogMessageTemplate AT_d = {"AT_d", "at %d"};
constexpr NUV_UINT32 SUBMODULE = 2u;
const NUVOsapiActivityContext *const NO_CONTEXT = nullptr;

class PrintTest : public LogTest {
protected:
    ~PrintTest() override {
        NUVLog_storeMask(&TESTLog_g_submoduleMask, NUV_LOG_SUBMODULE_MASK_DEFAULT);
        NUVLog_g_detectPrecondition = 0;
        NUVLog_g_preconditionDetected = 0;
    }

    int evaluate() {
        ++evaluations_;
        return 5;
    }

    /** One message in each of the ways to print one. */
    void print_in_each_way(NUV_UINT32 level, const NUVOsapiActivityContext *context = nullptr) {
        NUVLog_message(TEST_LOG_MODULE, SUBMODULE, context, level, AT_d, evaluate());
        NUVLog_text(TEST_LOG_MODULE, SUBMODULE, context, level, NUV_LOG_ENABLE_TEMPLATE, "%d",
                    evaluate());
        NUVLog_plainText(TEST_LOG_MODULE, SUBMODULE, context, level, "%d", evaluate());
    }

    /** Checks that there is one message, of the test itself. */
    void expect_message(NUV_UINT32 level, const NUVLogMessageTemplate *message_template,
                        const std::string &text) const {
        ASSERT_EQ(messages_.size(), 1u);
        const Message &message = messages_[0];
        EXPECT_EQ(message.number, NUV_LOG_UNNUMBERED);
        EXPECT_EQ(message.level, level);
        EXPECT_EQ(message.module, TEST_LOG_MODULE.id);
        EXPECT_EQ(message.file, __FILE__);
        EXPECT_EQ(message.function, "TestBody");
        EXPECT_STREQ(message.name, message_template != nullptr ? message_template->name : nullptr);
        EXPECT_EQ(message.text, text);
    }

    int evaluations_ = 0;
};

/** The name that a line of each function here carries. */
void print_in_its_own_name() {
    NUVLog_plainText(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, "x");
}

namespace steps {

constexpr const char *LOG_METHOD = "the_operation";

void print_in_the_operations_name() {
    NUVLog_message(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, AT_d, 1);
    NUVLog_text(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE,
                "x");
    NUVLog_plainText(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, "x");
    NUVLog_precondition(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, "x");
}

} // namespace steps

struct OfAnObject {
    const char *LOG_METHOD;

    void print() const {
        print_in_lambda([this] {
            NUVLog_plainText(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, "x");
        });
    }

    template <typename Function>
    static void print_in_lambda(Function function) {
        function();
    }
};

void print_in_the_name_of(const char *LOG_METHOD) {
    NUVLog_plainText(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, "x");
}

TEST_F(PrintTest, ATemplateIsPrintedWithItsArguments) {
    NUVLog_message(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, AT_d, 7);
    expect_message(NUV_LOG_LEVEL_ERROR, &AT_d, "at 7");
}

TEST_F(PrintTest, ATextIsPrintedInItsTemplate) {
    NUVLog_text(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR,
                NUV_LOG_ENABLE_TEMPLATE, "%s %d", "x", 7);
    expect_message(NUV_LOG_LEVEL_ERROR, &NUV_LOG_ENABLE_TEMPLATE, "enable: x 7");
}

TEST_F(PrintTest, APlainTextHasNoTemplate) {
    NUVLog_plainText(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, NUV_LOG_LEVEL_ERROR, "%s %d", "x", 7);
    expect_message(NUV_LOG_LEVEL_ERROR, nullptr, "x 7");
}

TEST_F(PrintTest, WhatTheLevelForbidsIsNeitherPrintedNorEvaluated) {
    NUVLog_storeMask(&TESTLog_g_instrumentationMask, ~NUV_LOG_LEVEL_WARNING);
    print_in_each_way(NUV_LOG_LEVEL_WARNING);
    EXPECT_EQ(evaluations_, 0);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(PrintTest, WhatTheSubmoduleForbidsIsNeitherPrintedNorEvaluated) {
    NUVLog_storeMask(&TESTLog_g_submoduleMask, ~SUBMODULE);
    print_in_each_way(NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(evaluations_, 0);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(PrintTest, AContextMayAskForWhatTheMasksForbid) {
    const NUVOsapiActivityContext enabling = {NUV_LOG_CATEGORY_ENABLE};
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    KOLS_Config_Logger_set_verbosity_by_category(logger_, NUV_LOG_CATEGORY_ENABLE,
                                                 NUV_LOG_LEVEL_WARNING);
    print_in_each_way(NUV_LOG_LEVEL_WARNING, &enabling);
    EXPECT_EQ(messages_.size(), 3u);
    EXPECT_EQ(evaluations_, 3);
}

TEST_F(PrintTest, AContextThatDoesNotAskChangesNothing) {
    const NUVOsapiActivityContext idle = NUV_OSAPI_ACTIVITY_CONTEXT_DEFAULT;
    const NUVOsapiActivityContext enabling = {NUV_LOG_CATEGORY_ENABLE};
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    KOLS_Config_Logger_set_verbosity_by_category(logger_, NUV_LOG_CATEGORY_ENABLE,
                                                 NUV_LOG_LEVEL_WARNING);
    print_in_each_way(NUV_LOG_LEVEL_WARNING, &idle);
    print_in_each_way(NUV_LOG_LEVEL_ERROR, &enabling);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(PrintTest, ALineCarriesTheNameOfItsFunction) {
    print_in_its_own_name();
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_EQ(messages_[0].function, "print_in_its_own_name");
}

TEST_F(PrintTest, TheStepsOfAnOperationLogInItsName) {
    steps::print_in_the_operations_name();
    ASSERT_EQ(messages_.size(), 4u);
    for (const Message &message : messages_) {
        EXPECT_EQ(message.function, "the_operation");
    }
}

TEST_F(PrintTest, AnObjectMayKnowInWhoseNameItLogs) {
    OfAnObject{"another_operation"}.print();
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_EQ(messages_[0].function, "another_operation");
}

TEST_F(PrintTest, AStepMayBeToldInWhoseNameItLogs) {
    print_in_the_name_of("one_of_several");
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_EQ(messages_[0].function, "one_of_several");
}

TEST_F(PrintTest, ANullPointerIsAFailedPrecondition) {
    const int *pointer = nullptr;
    EXPECT_TRUE(NUVLog_isNull(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, pointer));
    expect_message(NUV_LOG_LEVEL_FATAL, &NUV_LOG_PRECONDITION_FAILURE_s,
                   "precondition failed: \"pointer == ((void *)0)\"");
}

TEST_F(PrintTest, AnotherPointerIsNone) {
    const int value = 0;
    const int *pointer = &value;
    NUVLog_g_detectPrecondition = 1;
    EXPECT_FALSE(NUVLog_isNull(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, pointer));
    EXPECT_TRUE(messages_.empty());
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
}

TEST_F(PrintTest, AFailedPreconditionThatIsNotPrintedIsDetectedAllTheSame) {
    NUVLog_g_detectPrecondition = 1;
    NUVLog_storeMask(&TESTLog_g_submoduleMask, ~SUBMODULE);
    NUVLog_precondition(TEST_LOG_MODULE, SUBMODULE, NO_CONTEXT, "x");
    EXPECT_TRUE(messages_.empty());
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
}

TEST_F(PrintTest, AContextMayAskForAFailedPrecondition) {
    const NUVOsapiActivityContext enabling = {NUV_LOG_CATEGORY_ENABLE};
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    KOLS_Config_Logger_set_verbosity_by_category(logger_, NUV_LOG_CATEGORY_ENABLE,
                                                 NUV_LOG_LEVEL_FATAL);
    NUVLog_precondition(TEST_LOG_MODULE, SUBMODULE, &enabling, "x");
    EXPECT_EQ(messages_.size(), 1u);
}

} // namespace
