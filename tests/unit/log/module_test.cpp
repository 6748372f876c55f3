#include "log/log_module.h"

#include <vector>

#include <gtest/gtest.h>

#include "log/log_message.h"

namespace {

TEST(ModuleTest, LayersHaveTheirNames) {
    EXPECT_STREQ(NUVLog_getModuleName(NUV_LOG_MODULE_OSAPI), "OSAPI");
    EXPECT_STREQ(NUVLog_getModuleName(NUV_LOG_MODULE_REDA), "REDA");
    EXPECT_STREQ(NUVLog_getModuleName(NUV_LOG_MODULE_NETIO), "NETIO");
    EXPECT_STREQ(NUVLog_getModuleName(NUV_LOG_MODULE_COMMEND), "COMMEND");
    EXPECT_STREQ(NUVLog_getModuleName(NUV_LOG_MODULE_PRES), "PRES");
    EXPECT_STREQ(NUVLog_getModuleName(NUV_LOG_MODULE_DDS), "DDS");
}

TEST(ModuleTest, OtherIdsHaveNoName) {
    EXPECT_STREQ(NUVLog_getModuleName(0), "-");
    EXPECT_STREQ(NUVLog_getModuleName(0xF0001u), "-");
}

TEST(ModuleTest, MasksLetFatalAndErrorOfEverySubmoduleThroughAtFirst) {
    for (const NUV_UINT32 *mask :
         {&OSAPILog_g_instrumentationMask, &REDALog_g_instrumentationMask,
          &NETIOLog_g_instrumentationMask, &COMMENDLog_g_instrumentationMask,
          &PRESLog_g_instrumentationMask, &DDSLog_g_instrumentationMask}) {
        EXPECT_EQ(*mask, NUV_LOG_LEVEL_FATAL | NUV_LOG_LEVEL_ERROR);
    }
    for (const NUV_UINT32 *mask :
         {&OSAPILog_g_submoduleMask, &REDALog_g_submoduleMask, &NETIOLog_g_submoduleMask,
          &COMMENDLog_g_submoduleMask, &PRESLog_g_submoduleMask, &DDSLog_g_submoduleMask}) {
        EXPECT_EQ(*mask, 0xFFFFFFFFu);
    }
    for (const NUVLogCategoryMask mask : NUVLog_g_categoryMask) {
        EXPECT_EQ(mask, 0u);
    }
}

TEST(ModuleTest, MessageIsEnabledWhenBothMasksHaveItsBits) {
    NUV_UINT32 instrumentation = 0;
    NUV_UINT32 submodule = 0;
    NUVLog_storeMask(&instrumentation, NUV_LOG_LEVEL_ERROR);
    NUVLog_storeMask(&submodule, DDS_LOG_SUBMODULE_DOMAIN);
    EXPECT_EQ(NUVLog_loadMask(&instrumentation), NUV_LOG_LEVEL_ERROR);
    EXPECT_NE(NUVLog_isEnabled(&instrumentation, &submodule, NUV_LOG_LEVEL_ERROR,
                               DDS_LOG_SUBMODULE_DOMAIN),
              0);
    EXPECT_EQ(NUVLog_isEnabled(&instrumentation, &submodule, NUV_LOG_LEVEL_WARNING,
                               DDS_LOG_SUBMODULE_DOMAIN),
              0);
    EXPECT_EQ(NUVLog_isEnabled(&instrumentation, &submodule, NUV_LOG_LEVEL_ERROR,
                               DDS_LOG_SUBMODULE_INFRASTRUCTURE),
              0);
}

TEST(ModuleTest, MessageIsEnabledForAContextThatSharesACategoryOfItsLevel) {
    const NUVOsapiActivityContext enabling = {NUV_LOG_CATEGORY_ENABLE};
    const NUVOsapiActivityContext idle = NUV_OSAPI_ACTIVITY_CONTEXT_DEFAULT;
    EXPECT_EQ(NUVLog_isEnabledForContext(&enabling, NUV_LOG_LEVEL_LOCAL), 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_LOCAL], NUV_LOG_CATEGORY_ENABLE | 2u);
    EXPECT_NE(NUVLog_isEnabledForContext(&enabling, NUV_LOG_LEVEL_LOCAL), 0);
    EXPECT_EQ(NUVLog_isEnabledForContext(&enabling, NUV_LOG_LEVEL_WARNING), 0);
    EXPECT_EQ(NUVLog_isEnabledForContext(&idle, NUV_LOG_LEVEL_LOCAL), 0);
    EXPECT_EQ(NUVLog_isEnabledForContext(nullptr, NUV_LOG_LEVEL_LOCAL), 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[NUV_LOG_LEVEL_LOCAL], 0);
}

} // namespace
