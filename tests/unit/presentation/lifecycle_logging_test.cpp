// SPDX-License-Identifier: Apache-2.0
// Which messages are printed, whatever they say: masks, categories, preconditions.
#include "names.h"
#include "support/presentation_fixture.h"

namespace {

using namespace support;

// ---- template messages: the masks decide

class TemplateMessage : public PresentationFixture {
protected:
    /** The number of messages of an operation that fails. */
    size_t printed() {
        EXPECT_EQ(initialize(), DDS_RETCODE_OK);
        log.clear();
        recorder.fail("PRESParticipant_shutdown", {.failReason = PRES_RETCODE_TIMEOUT});
        EXPECT_EQ(DDS_DomainParticipantPresentation_prefinalize(&self, worker),
                  DDS_RETCODE_TIMEOUT);
        return log.messages().size();
    }
};

TEST_F(TemplateMessage, IsPrintedForItsLevelAndSubmodule) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, NUV_LOG_LEVEL_ERROR);
    NUVLog_storeMask(&DDSLog_g_submoduleMask, DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(printed(), 1u);
}

TEST_F(TemplateMessage, IsNotPrintedWithoutItsLevel) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, ~NUV_LOG_LEVEL_ERROR);
    EXPECT_EQ(printed(), 0u);
}

TEST_F(TemplateMessage, IsNotPrintedWithoutItsSubmodule) {
    NUVLog_storeMask(&DDSLog_g_submoduleMask, ~DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(printed(), 0u);
}

TEST_F(TemplateMessage, IsNotPrintedForTheWorkersCategory) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_ERROR], ~0u);
    worker->_activityContext->category = ~0u;
    EXPECT_EQ(printed(), 0u);
}

// ---- messages with a text of their own: the worker's category can let them out too

struct Operation {
    const char *name;
    const char *property; // that is wrong
    const char *value;
};

class TextMessage : public PresentationFixture, public testing::WithParamInterface<Operation> {
protected:
    void SetUp() override {
        PresentationFixture::SetUp();
        keepBuffers();
        setProperty(GetParam().property, GetParam().value);
        worker->_activityContext->category = 0x6;
    }

    size_t printed() {
        initialize();
        EXPECT_EQ(self.participant, nullptr);
        return log.messages().size();
    }

    static void forbid() {
        NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    }

    static void allowCategories(NUVLogCategoryMask categories) {
        NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_ERROR], categories);
    }
};

TEST_P(TextMessage, IsPrintedForItsLevelAndSubmodule) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, NUV_LOG_LEVEL_ERROR);
    NUVLog_storeMask(&DDSLog_g_submoduleMask, DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(printed(), 1u);
}

TEST_P(TextMessage, IsPrintedForItsLevelWithoutAWorker) {
    arguments.isWorkerNull = true;
    EXPECT_EQ(printed(), 1u);
}

TEST_P(TextMessage, IsNotPrintedWithoutItsLevel) {
    forbid();
    EXPECT_EQ(printed(), 0u);
}

TEST_P(TextMessage, IsNotPrintedWithoutItsSubmodule) {
    NUVLog_storeMask(&DDSLog_g_submoduleMask, ~DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(printed(), 0u);
}

TEST_P(TextMessage, IsPrintedForACategoryOfTheWorkersActivity) {
    forbid();
    allowCategories(0xC);
    EXPECT_EQ(printed(), 1u);
}

TEST_P(TextMessage, IsPrintedForACategoryThoughItsSubmoduleIsOff) {
    NUVLog_storeMask(&DDSLog_g_submoduleMask, 0);
    allowCategories(0xC);
    EXPECT_EQ(printed(), 1u);
}

TEST_P(TextMessage, IsNotPrintedForAnotherCategory) {
    forbid();
    allowCategories(~0x6u);
    EXPECT_EQ(printed(), 0u);
}

TEST_P(TextMessage, IsNotPrintedForACategoryOfAnotherLevel) {
    forbid();
    for (const NUV_UINT32 level : {1u, 4u, 8u, 16u}) {
        NUVLog_storeMask(&NUVLog_g_categoryMask[level], ~0u);
    }
    EXPECT_EQ(printed(), 0u);
}

TEST_P(TextMessage, IsNotPrintedForACategoryWithoutAWorker) {
    forbid();
    allowCategories(~0u);
    arguments.isWorkerNull = true;
    EXPECT_EQ(printed(), 0u);
}

TEST_P(TextMessage, IsNotPrintedForACategoryWithoutAnActivityContext) {
    forbid();
    allowCategories(~0u);
    NUVOsapiActivityContext *const context = worker->_activityContext;
    worker->_activityContext = nullptr;
    EXPECT_EQ(printed(), 0u);
    worker->_activityContext = context;
}

INSTANTIATE_TEST_SUITE_P(
    Of, TextMessage,
    testing::Values(Operation{"MismatchLoggingThatIsNoBoolean", MISMATCH, "perhaps"},
                    Operation{"LocatorListSizeBelowZero", MAX_LOCATOR_LIST_SIZE, "-1"},
                    Operation{"LocatorListSizeAboveSixteen", MAX_LOCATOR_LIST_SIZE, "17"}),
    [](const auto &operation) { return std::string(operation.param.name); });

// ---- failed preconditions

class FailedPrecondition : public PresentationFixture,
                           public testing::WithParamInterface<const char *> {
protected:
    void violate() {
        const std::string operation = GetParam();
        if (operation == "initialize") {
            EXPECT_EQ(initialize(nullptr), DDS_RETCODE_BAD_PARAMETER);
        } else if (operation == "finalize") {
            EXPECT_EQ(DDS_DomainParticipantPresentation_finalize(nullptr, worker),
                      DDS_RETCODE_BAD_PARAMETER);
        } else {
            EXPECT_EQ(DDS_DomainParticipantPresentation_enable(&self, &qos, nullptr, nullptr),
                      DDS_RETCODE_ERROR);
        }
    }
};

TEST_P(FailedPrecondition, IsNotedWhenDetectionIsOn) {
    NUVLog_g_detectPrecondition = 1;
    NUVLog_g_preconditionDetected = 0;
    violate();
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
}

TEST_P(FailedPrecondition, IsNotNotedWhenDetectionIsOff) {
    NUVLog_g_detectPrecondition = 0;
    NUVLog_g_preconditionDetected = 0;
    violate();
    EXPECT_EQ(NUVLog_g_preconditionDetected, 0);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
}

TEST_P(FailedPrecondition, StopsAtTheBreakpointAlsoWhenItIsNotPrinted) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, ~NUV_LOG_LEVEL_FATAL);
    NUVLog_g_detectPrecondition = 1;
    NUVLog_g_preconditionDetected = 0;
    violate();
    EXPECT_EQ(log.messages(), Messages());
    EXPECT_EQ(NUVLog_g_preconditionDetected, 1);
    EXPECT_EQ(recorder.count("NUVLog_onAssertBreakpoint"), 1);
}

TEST_P(FailedPrecondition, IsNotPrintedWithoutItsSubmodule) {
    NUVLog_storeMask(&DDSLog_g_submoduleMask, ~DDS_LOG_SUBMODULE_DOMAIN);
    violate();
    EXPECT_EQ(log.messages(), Messages());
}

TEST_P(FailedPrecondition, IsPrintedAtTheFatalLevelOnly) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, NUV_LOG_LEVEL_FATAL);
    violate();
    EXPECT_EQ(log.messages().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Of, FailedPrecondition,
                         testing::Values("initialize", "finalize", "enable"),
                         [](const auto &operation) { return std::string(operation.param); });

} // namespace
