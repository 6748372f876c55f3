// SPDX-License-Identifier: Apache-2.0
#include "log.h"

#include <gmock/gmock.h>

#include "infrastructure/dds_log.h"

using testing::EndsWith;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

void say(NUV_UINT32 level, const char *text) {
    if (NUVLog_isEnabled(&DDSLog_g_instrumentationMask, &DDSLog_g_submoduleMask, level, 8)) {
        NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, level, NUV_LOG_MODULE_DDS, __FILE__,
                                          __LINE__, __func__, "%s", text);
    }
}

/** What stderr gets from some messages and the explanation of a failure. */
std::string shown(KOLS_Config_LogVerbosity verbosity,
                  const std::vector<std::pair<NUV_UINT32, const char *>> &messages) {
    CaptureStderr();
    {
        Log log(verbosity);

        for (const auto &[level, text] : messages) {
            say(level, text);
        }
        log.explain(LoggedFailure());
    }
    return GetCapturedStderr();
}

TEST(Log, ShowsWhatIsWantedAsALine) {
    const std::string text =
        shown(KOLS_CONFIG_LOG_VERBOSITY_WARNING,
              {{NUV_LOG_LEVEL_ERROR, "an error"}, {NUV_LOG_LEVEL_LOCAL, "a status"}});

    EXPECT_THAT(text, EndsWith(" ERROR DDS say: an error\n"));
}

TEST(Log, ExplainsAFailureByItsFirstErrorWhenErrorsAreNotShown) {
    EXPECT_EQ(shown(KOLS_CONFIG_LOG_VERBOSITY_SILENT, {{NUV_LOG_LEVEL_WARNING, "a warning"},
                                                       {NUV_LOG_LEVEL_ERROR, "the cause"},
                                                       {NUV_LOG_LEVEL_ERROR, "an effect"}}),
              "ddspart: the cause\n");
}

TEST(Log, SteersNoTerminalWithWhatItExplains) {
    EXPECT_EQ(shown(KOLS_CONFIG_LOG_VERBOSITY_SILENT, {{NUV_LOG_LEVEL_ERROR, "a\x1b[2J\nb"}}),
              "ddspart: a\\x1b[2J b\n");
}

TEST(Log, ExplainsAFailureWithoutAnyMessageAsWellAsItCan) {
    EXPECT_EQ(shown(KOLS_CONFIG_LOG_VERBOSITY_ERROR, {}), "ddspart: the library could not do it\n");
}

TEST(Log, NeitherShowsNorKeepsWhatIsSaidDuringSilence) {
    CaptureStderr();
    {
        Log log(KOLS_CONFIG_LOG_VERBOSITY_SILENT);
        {
            const Silence silence;
            say(NUV_LOG_LEVEL_ERROR, "an attempt");
        }
        say(NUV_LOG_LEVEL_ERROR, "the cause");
        log.explain(LoggedFailure());
    }
    EXPECT_EQ(GetCapturedStderr(), "ddspart: the cause\n");
}

TEST(Log, IsTheDefaultOneAgainAfterwards) {
    CaptureStderr();
    { const Log log(KOLS_CONFIG_LOG_VERBOSITY_SILENT); }
    say(NUV_LOG_LEVEL_ERROR, "an error");
    EXPECT_THAT(GetCapturedStderr(), EndsWith(" ERROR DDS say: an error\n"));
}

} // namespace
