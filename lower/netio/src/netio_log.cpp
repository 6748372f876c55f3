// The module of the log that this layer is.
#include "netio_log.h"

NUV_UINT32 NETIOLog_g_instrumentationMask = NUV_LOG_INSTRUMENTATION_MASK_DEFAULT;
NUV_UINT32 NETIOLog_g_submoduleMask = NUV_LOG_SUBMODULE_MASK_DEFAULT;

namespace {

NUVLogModuleNode node = {&NETIO_LOG_MODULE, nullptr};

__attribute__((constructor)) void register_module() {
    NUVLog_registerModule(&node);
}

} // namespace
