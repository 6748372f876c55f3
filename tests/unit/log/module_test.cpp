// SPDX-License-Identifier: Apache-2.0
// The modules that layers register, and the masks.
#include "log/log_module.h"

#include <set>

#include "commend/commend_log.h"
#include "infrastructure/dds_log.h"
#include "netio/netio_log.h"
#include "pres/pres_log.h"
#include "recorder.h"
#include "reda/reda_log.h"

namespace {

/** A module that nobody has registered yet; it has to be static. */
struct LateModule {
    LateModule(NUV_UINT32 id, const char *name)
        : module{id, name, &instrumentation_mask, &submodule_mask}, node{&module, nullptr} {}
    LateModule(const LateModule &) = delete;
    LateModule &operator=(const LateModule &) = delete;

    NUV_UINT32 instrumentation_mask = NUV_LOG_INSTRUMENTATION_MASK_DEFAULT;
    NUV_UINT32 submodule_mask = NUV_LOG_SUBMODULE_MASK_DEFAULT;
    const NUVLogModule module;
    NUVLogModuleNode node;
};

size_t count_modules() {
    size_t count = 0;
    for (const NUVLogModuleNode *node = NUVLog_getModules(); node != nullptr && count < 1000;
         node = node->_next) {
        ++count;
    }
    return count;
}

/** The masks that a program refers to bring the layer's module with them. */
TEST(ModuleTest, EachLayerWhoseMasksAreUsedHasRegisteredItself) {
    const std::vector<std::pair<const NUV_UINT32 *, NUV_UINT32>> masks = {
        {&REDALog_g_instrumentationMask, NUV_LOG_MODULE_REDA},
        {&NETIOLog_g_instrumentationMask, NUV_LOG_MODULE_NETIO},
        {&COMMENDLog_g_instrumentationMask, NUV_LOG_MODULE_COMMEND},
        {&PRESLog_g_instrumentationMask, NUV_LOG_MODULE_PRES},
        {&DDSLog_g_instrumentationMask, NUV_LOG_MODULE_DDS},
        {&TESTLog_g_instrumentationMask, TEST_LOG_MODULE.id},
    };
    std::set<std::pair<const NUV_UINT32 *, NUV_UINT32>> registered;
    for (const NUVLogModuleNode *node = NUVLog_getModules(); node != nullptr; node = node->_next) {
        registered.emplace(node->module->instrumentationMask, node->module->id);
    }
    for (const auto &mask : masks) {
        EXPECT_TRUE(registered.contains(mask)) << std::hex << mask.second;
    }
}

TEST(ModuleTest, ModulesHaveTheirNames) {
    EXPECT_STREQ(NUVLog_getModuleName(0x30000u), "REDA");
    EXPECT_STREQ(NUVLog_getModuleName(0x90000u), "NETIO");
    EXPECT_STREQ(NUVLog_getModuleName(0xB0000u), "COMMEND");
    EXPECT_STREQ(NUVLog_getModuleName(0xD0000u), "PRES");
    EXPECT_STREQ(NUVLog_getModuleName(0xF0000u), "DDS");
    EXPECT_STREQ(NUVLog_getModuleName(0x70000u), "TEST");
}

TEST(ModuleTest, OtherIdsHaveNoName) {
    EXPECT_STREQ(NUVLog_getModuleName(0), "-");
    EXPECT_STREQ(NUVLog_getModuleName(0xF0001u), "-");
}

TEST(ModuleTest, MasksLetFatalAndErrorOfEverySubmoduleThroughAtFirst) {
    for (const NUVLogModuleNode *node = NUVLog_getModules(); node != nullptr; node = node->_next) {
        EXPECT_EQ(*node->module->instrumentationMask, NUV_LOG_LEVEL_FATAL | NUV_LOG_LEVEL_ERROR);
        EXPECT_EQ(*node->module->submoduleMask, 0xFFFFFFFFu);
    }
    for (const NUVLogCategoryMask mask : NUVLog_g_categoryMask) {
        EXPECT_EQ(mask, 0u);
    }
}

using LateModuleTest = LogTest;

TEST_F(LateModuleTest, HasTheVerbosityThatWasSetBefore) {
    static LateModule late(0x71000u, "LATE");
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL);
    NUVLog_registerModule(&late.node);
    EXPECT_EQ(late.instrumentation_mask, KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL);
    EXPECT_EQ(late.submodule_mask, 0xFFFFFFFFu);
}

TEST_F(LateModuleTest, HasTheVerbosityThatIsSetLater) {
    static LateModule late(0x72000u, "LATE");
    NUVLog_registerModule(&late.node);
    KOLS_Config_Logger_set_verbosity(logger_, KOLS_CONFIG_LOG_VERBOSITY_WARNING);
    EXPECT_EQ(late.instrumentation_mask, KOLS_CONFIG_LOG_VERBOSITY_WARNING);
}

TEST_F(LateModuleTest, HasANameOnceItIsRegistered) {
    static LateModule late(0x73000u, "LATE");
    EXPECT_STREQ(NUVLog_getModuleName(0x73000u), "-");
    NUVLog_registerModule(&late.node);
    EXPECT_STREQ(NUVLog_getModuleName(0x73000u), "LATE");
}

TEST_F(LateModuleTest, IsThereOnceHoweverOftenItIsRegistered) {
    static LateModule late(0x74000u, "LATE");
    const size_t before = count_modules();
    NUVLog_registerModule(&late.node);
    NUVLog_registerModule(&late.node);
    EXPECT_EQ(count_modules(), before + 1);
}

TEST_F(LateModuleTest, KeepsTheMaskThatItWasGivenSinceWhenItIsRegisteredAgain) {
    static LateModule late(0x75000u, "LATE");
    NUVLog_registerModule(&late.node);
    NUVLog_storeMask(&late.instrumentation_mask, NUV_LOG_LEVEL_DEBUG);
    NUVLog_registerModule(&late.node);
    EXPECT_EQ(late.instrumentation_mask, NUV_LOG_LEVEL_DEBUG);
}

TEST(MaskTest, MessageIsEnabledWhenBothMasksHaveItsBits) {
    NUV_UINT32 instrumentation = 0;
    NUV_UINT32 submodule = 0;
    NUVLog_storeMask(&instrumentation, NUV_LOG_LEVEL_ERROR);
    NUVLog_storeMask(&submodule, 8u);
    EXPECT_EQ(NUVLog_loadMask(&instrumentation), NUV_LOG_LEVEL_ERROR);
    EXPECT_NE(NUVLog_isEnabled(&instrumentation, &submodule, NUV_LOG_LEVEL_ERROR, 8u), 0);
    EXPECT_EQ(NUVLog_isEnabled(&instrumentation, &submodule, NUV_LOG_LEVEL_WARNING, 8u), 0);
    EXPECT_EQ(NUVLog_isEnabled(&instrumentation, &submodule, NUV_LOG_LEVEL_ERROR, 4u), 0);
}

TEST(MaskTest, MessageIsEnabledForAContextThatSharesACategoryOfItsLevel) {
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
