// The module of the log that this layer is.
#include "reda_log.h"

NUV_UINT32 REDALog_g_instrumentationMask = NUV_LOG_INSTRUMENTATION_MASK_DEFAULT;
NUV_UINT32 REDALog_g_submoduleMask = NUV_LOG_SUBMODULE_MASK_DEFAULT;

namespace {

NUVLogModuleNode node = {&REDA_LOG_MODULE, nullptr};

__attribute__((constructor)) void register_module() {
    NUVLog_registerModule(&node);
}

} // namespace
