/**
 * @file log_module.h
 * @brief The layers as the logger knows them: their ids, names and masks.
 *
 * Each layer tests two masks before it prints: its instrumentation mask, which has the bits of the
 * levels that are wanted, and its submodule mask, which has the bits of its wanted submodules.
 * KOLS_Config_Logger_set_verbosity sets the instrumentation masks of all layers; the submodule
 * masks start with every bit set. They are plain words that may be read and written from any thread
 * with NUVLog_loadMask and NUVLog_storeMask.
 */
#ifndef LOG_MODULE_H
#define LOG_MODULE_H

#include "osapi/osapi_context.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NUV_LOG_MODULE_OSAPI 0x10000u
#define NUV_LOG_MODULE_REDA 0x30000u
#define NUV_LOG_MODULE_NETIO 0x90000u
#define NUV_LOG_MODULE_COMMEND 0xB0000u
#define NUV_LOG_MODULE_PRES 0xD0000u
#define NUV_LOG_MODULE_DDS 0xF0000u

/** Submodule bit of a layer that has no parts of its own. */
#define NUV_LOG_SUBMODULE_ALL 1u
/** Submodule bits of the DDS layer. */
#define DDS_LOG_SUBMODULE_INFRASTRUCTURE 4u
#define DDS_LOG_SUBMODULE_DOMAIN 8u

extern NUV_UINT32 OSAPILog_g_instrumentationMask;
extern NUV_UINT32 OSAPILog_g_submoduleMask;
extern NUV_UINT32 REDALog_g_instrumentationMask;
extern NUV_UINT32 REDALog_g_submoduleMask;
extern NUV_UINT32 NETIOLog_g_instrumentationMask;
extern NUV_UINT32 NETIOLog_g_submoduleMask;
extern NUV_UINT32 COMMENDLog_g_instrumentationMask;
extern NUV_UINT32 COMMENDLog_g_submoduleMask;
extern NUV_UINT32 PRESLog_g_instrumentationMask;
extern NUV_UINT32 PRESLog_g_submoduleMask;
extern NUV_UINT32 DDSLog_g_instrumentationMask;
extern NUV_UINT32 DDSLog_g_submoduleMask;

/**
 * For each level (indexed by the level's value) the activity categories whose messages are printed
 * although the masks forbid them. All 0 at first.
 */
extern NUVLogCategoryMask NUVLog_g_categoryMask[17];

/** Reads a mask; sees the newest value that another thread stored, sooner or later. */
static inline NUV_UINT32 NUVLog_loadMask(const NUV_UINT32 *mask) {
    return __atomic_load_n(mask, __ATOMIC_RELAXED);
}

/** Sets a mask. */
static inline void NUVLog_storeMask(NUV_UINT32 *mask, NUV_UINT32 value) {
    __atomic_store_n(mask, value, __ATOMIC_RELAXED);
}

/** Non-zero when a layer's two masks let a message of this level and submodule through. */
static inline int NUVLog_isEnabled(const NUV_UINT32 *instrumentationMask,
                                   const NUV_UINT32 *submoduleMask, NUV_UINT32 level,
                                   NUV_UINT32 submodule) {
    return (NUVLog_loadMask(instrumentationMask) & level) != 0 &&
           (NUVLog_loadMask(submoduleMask) & submodule) != 0;
}

/** Non-zero when messages of this level are printed for the context's category; it may be null. */
static inline int NUVLog_isEnabledForContext(const struct NUVOsapiActivityContext *context,
                                             NUV_UINT32 level) {
    return context != NULL &&
           (context->category & NUVLog_loadMask(&NUVLog_g_categoryMask[level])) != 0;
}

/** The name of a layer by its module id, as "DDS"; "-" when there is none. */
const char *NUVLog_getModuleName(NUV_UINT32 module);

#ifdef __cplusplus
}
#endif

#endif
