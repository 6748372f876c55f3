// The module that the tests of the log print for.
#include "test_module.h"

NUV_UINT32 TESTLog_g_instrumentationMask = NUV_LOG_INSTRUMENTATION_MASK_DEFAULT;
NUV_UINT32 TESTLog_g_submoduleMask = NUV_LOG_SUBMODULE_MASK_DEFAULT;

namespace {

NUVLogModuleNode node = {&TEST_LOG_MODULE, nullptr};

__attribute__((constructor)) void register_module() {
    NUVLog_registerModule(&node);
}

} // namespace
