// The masks and names of the layers.
#include "log/log_module.h"

#include "log/log_config.h"

NUV_UINT32 OSAPILog_g_instrumentationMask = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
NUV_UINT32 OSAPILog_g_submoduleMask = 0xFFFFFFFFu;
NUV_UINT32 REDALog_g_instrumentationMask = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
NUV_UINT32 REDALog_g_submoduleMask = 0xFFFFFFFFu;
NUV_UINT32 NETIOLog_g_instrumentationMask = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
NUV_UINT32 NETIOLog_g_submoduleMask = 0xFFFFFFFFu;
NUV_UINT32 COMMENDLog_g_instrumentationMask = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
NUV_UINT32 COMMENDLog_g_submoduleMask = 0xFFFFFFFFu;
NUV_UINT32 PRESLog_g_instrumentationMask = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
NUV_UINT32 PRESLog_g_submoduleMask = 0xFFFFFFFFu;
NUV_UINT32 DDSLog_g_instrumentationMask = KOLS_CONFIG_LOG_VERBOSITY_ERROR;
NUV_UINT32 DDSLog_g_submoduleMask = 0xFFFFFFFFu;

NUVLogCategoryMask NUVLog_g_categoryMask[17] = {0};

const char *NUVLog_getModuleName(NUV_UINT32 module) {
    switch (module) {
    case NUV_LOG_MODULE_OSAPI:
        return "OSAPI";
    case NUV_LOG_MODULE_REDA:
        return "REDA";
    case NUV_LOG_MODULE_NETIO:
        return "NETIO";
    case NUV_LOG_MODULE_COMMEND:
        return "COMMEND";
    case NUV_LOG_MODULE_PRES:
        return "PRES";
    case NUV_LOG_MODULE_DDS:
        return "DDS";
    default:
        return "-";
    }
}
