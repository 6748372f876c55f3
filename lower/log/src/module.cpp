// SPDX-License-Identifier: Apache-2.0
// What is common to all modules: the categories, and the names.
#include "log/log_module.h"

#include "dds_c/dds_c_logger.h"
#include "log/log_message.h"

static_assert(NUV_LOG_INSTRUMENTATION_MASK_DEFAULT == KOLS_CONFIG_LOG_VERBOSITY_ERROR);

NUVLogCategoryMask NUVLog_g_categoryMask[NUV_LOG_LEVEL_DEBUG + 1] = {0};

const char *NUVLog_getModuleName(NUV_UINT32 module) {
    for (const NUVLogModuleNode *node = NUVLog_getModules(); node != nullptr; node = node->_next) {
        if (node->module->id == module) {
            return node->module->name;
        }
    }
    return "-";
}
