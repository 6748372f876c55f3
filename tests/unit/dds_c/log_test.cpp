// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "infrastructure/dds_log.h"
#include "messages.h"
#include "reda/reda_worker.h"

namespace {

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

class DdsLogTest : public MessageTest {
protected:
    ~DdsLogTest() override {
        NUVLog_storeMask(&DDSLog_g_submoduleMask, 0xFFFFFFFFu);
        NUVLog_g_detectPrecondition = 0;
        NUVLog_g_preconditionDetected = 0;
    }

    int evaluate() {
        ++evaluations_;
        return 5;
    }

    /** Asks for errors of threads that enable something, and only for them. */
    void ask_for_enabling() {
        KOLS_Config_Logger *logger = KOLS_Config_Logger_get_instance();
        KOLS_Config_Logger_set_verbosity(logger, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
        KOLS_Config_Logger_set_verbosity_by_category(logger, NUV_LOG_CATEGORY_ENABLE,
                                                     NUV_LOG_LEVEL_ERROR);
    }

    int evaluations_ = 0;
};

TEST_F(DdsLogTest, AMessageCarriesLevelModuleTemplateAndPlace) {
    DDSLog_message(NUV_LOG_LEVEL_ERROR, DDS_LOG_SET_FAILURE_s, "QoS");
    const Message message = take_message();
    EXPECT_EQ(message.level, NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(message.module, 0xF0000u);
    EXPECT_EQ(message.name, "DDS_LOG_SET_FAILURE_s");
    EXPECT_EQ(message.function, "TestBody");
    EXPECT_EQ(message.body, "cannot set QoS");
}

/** What each template prints of the strings "a", "b" and "c", or of the number 120. */
const std::map<std::string, std::string> TEXTS = {
    {"DDS_LOG_COPY_FAILURE_s", "cannot copy a"},
    {"DDS_LOG_FINALIZE_FAILURE_s", "cannot finalize a"},
    {"DDS_LOG_GET_FAILURE_s", "cannot get a"},
    {"DDS_LOG_GET_TRANSPORT_INFO", "cannot get the transport information"},
    {"DDS_LOG_GET_TRANSPORT_INFO_SIZE_ZERO",
     "no transport information is announced: transport_info_list_max_length is 0"},
    {"DDS_LOG_IMMUTABLE_POLICY_s", "immutable policy: a"},
    {"DDS_LOG_INCONSISTENT_PROPERTY_sss", "a: inconsistent property b: c"},
    {"DDS_LOG_MULTICAST_TRANSPORT_LOCATORS", "cannot compute the multicast locators"},
    {"DDS_LOG_NO_DEFAULT_UNICAST_TRANSPORT_LOCATORS",
     "the participant has no unicast locator for user traffic"},
    {"DDS_LOG_NO_DISCOVERY_TRANSPORT_LOCATORS",
     "the participant has no locator for discovery traffic"},
    {"DDS_LOG_OUT_OF_RESOURCES_s", "out of resources: a"},
    {"DDS_LOG_SET_FAILURE_s", "cannot set a"},
    {"DDS_LOG_UNICAST_TRANSPORT_LOCATORS", "cannot compute the unicast locators"},
    {"NUV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d", "out of memory for a structure of 120 bytes"},
};

TEST_F(DdsLogTest, EachTemplateSaysWhatHappened) {
#define ADDRESS_OF(name, format) &name,
    const std::vector<const NUVLogMessageTemplate *> templates = {DDS_LOG_TEMPLATES(ADDRESS_OF)};
#undef ADDRESS_OF
    std::map<std::string, std::string> texts;

    for (const NUVLogMessageTemplate *one : templates) {
        if (std::string(one->name).ends_with("_d")) {
            DDSLog_message(NUV_LOG_LEVEL_ERROR, *one, 120);
        } else {
            DDSLog_message(NUV_LOG_LEVEL_ERROR, *one, "a", "b", "c");
        }
        texts[one->name] = take_message().body;
    }
    EXPECT_EQ(texts, TEXTS);
}

TEST_F(DdsLogTest, ATextIsFormatted) {
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE, "%s is %d", "x", 3);
    const Message message = take_message();
    EXPECT_EQ(message.name, "NUV_LOG_INCONSISTENT_QOS_TEMPLATE");
    EXPECT_EQ(message.body, "x is 3");
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_INCONSISTENT_QOS_TEMPLATE, "nothing to format");
    EXPECT_EQ(take_message().body, "nothing to format");
}

TEST_F(DdsLogTest, WhatTheLevelForbidsIsNotEvaluated) {
    DDSLog_text(NUV_LOG_LEVEL_WARNING, NUV_LOG_EMPTY_TEMPLATE, "%d", evaluate());
    DDSLog_message(NUV_LOG_LEVEL_WARNING, NUV_LOG_INVALID_s, (evaluate(), "x"));
    EXPECT_EQ(evaluations_, 0);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(DdsLogTest, WhatTheSubmoduleForbidsIsNotPrinted) {
    NUVLog_storeMask(&DDSLog_g_submoduleMask, DDS_LOG_SUBMODULE_DOMAIN);
    DDSLog_text(NUV_LOG_LEVEL_ERROR, NUV_LOG_EMPTY_TEMPLATE, "%d", evaluate());
    DDSLog_precondition("\"x\"");
    EXPECT_EQ(evaluations_, 0);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(DdsLogTest, AWorkerMayAskForWhatTheMasksForbid) {
    ask_for_enabling();
    NUVOsapiActivityContext context = {NUV_LOG_CATEGORY_ENABLE};
    REDAWorker worker = {};
    worker._activityContext = &context;
    DDSLog_textForWorker(&worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_ENABLE_TEMPLATE, "index %d", 3);
    EXPECT_EQ(take_message().body, "index 3");

    DDSLog_textForWorker(&worker, NUV_LOG_LEVEL_WARNING, NUV_LOG_ENABLE_TEMPLATE, "x");
    context.category = 0;
    DDSLog_textForWorker(&worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_ENABLE_TEMPLATE, "x");
    worker._activityContext = nullptr;
    DDSLog_textForWorker(&worker, NUV_LOG_LEVEL_ERROR, NUV_LOG_ENABLE_TEMPLATE, "x");
    const REDAWorker *none = nullptr;
    DDSLog_textForWorker(none, NUV_LOG_LEVEL_ERROR, NUV_LOG_ENABLE_TEMPLATE, "x");
    EXPECT_TRUE(messages_.empty());
}

TEST_F(DdsLogTest, WithoutAWorkerTheMasksDecide) {
    const REDAWorker *none = nullptr;
    DDSLog_textForWorker(none, NUV_LOG_LEVEL_ERROR, NUV_LOG_ENABLE_TEMPLATE, "x");
    EXPECT_EQ(take_message().body, "x");
}

TEST_F(DdsLogTest, AFailedPreconditionIsReportedByTheFunctionItself) {
    DDSLog_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(messages_.front().function, "TestBody");
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
}

TEST_F(DdsLogTest, AFailedPreconditionIsDetectedWhenThatIsAskedFor) {
    NUVLog_g_detectPrecondition = 1;
    DDSLog_precondition("\"x\"");
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    expect_precondition("\"x\"");
}

TEST_F(DdsLogTest, AFailedPreconditionIsDetectedAlsoWhenItIsNotPrinted) {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    NUVLog_g_detectPrecondition = 1;
    DDSLog_precondition("\"x\"");
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    EXPECT_TRUE(messages_.empty());
}

} // namespace
