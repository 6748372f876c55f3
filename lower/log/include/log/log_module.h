// SPDX-License-Identifier: Apache-2.0
/**
 * @file log_module.h
 * @brief The layers as the logger knows them: modules that register themselves.
 *
 * Each layer tests two masks before it prints: its instrumentation mask, which has the bits of the
 * levels that are wanted, and its submodule mask, which has the bits of its wanted submodules.
 * KOLS_Config_Logger_set_verbosity sets the instrumentation masks of all modules; the submodule
 * masks start with every bit set. They are plain words that may be read and written from any thread
 * with NUVLog_loadMask and NUVLog_storeMask.
 *
 * The masks, the id, the name and the templates of a layer are the layer's own. One source of it
 * defines the masks and registers the module (NUV_LOG_DEFINE_MODULE); since whoever prints tests
 * the masks, a linker that takes only what is needed takes that source along.
 */
#ifndef LOG_MODULE_H
#define LOG_MODULE_H

#include "osapi/osapi_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A layer as the logger knows it. */
struct NUVLogModule {
    NUV_UINT32 id;    /**< carried by its messages */
    const char *name; /**< printed with them, as "DDS" */
    NUV_UINT32 *instrumentationMask;
    NUV_UINT32 *submoduleMask;
};

/** The place of a module among the registered ones. */
struct NUVLogModuleNode {
    const struct NUVLogModule *module;
    struct NUVLogModuleNode *_next; /**< the logger's */
};

/** What masks start with, so that a layer can print before it has been registered. */
#define NUV_LOG_INSTRUMENTATION_MASK_DEFAULT 3u /**< fatal and error */
#define NUV_LOG_SUBMODULE_MASK_DEFAULT 0xFFFFFFFFu

/** Submodule bit of a layer that has no parts of its own. */
#define NUV_LOG_SUBMODULE_ALL 1u

/**
 * @brief Makes a module known to the logger, and sets its instrumentation mask to the verbosity.
 *
 * Meant for a function that runs when the layer is loaded. Thread-safe; allocates nothing. A node
 * that is registered already is left alone.
 *
 * @param node stays registered until the process ends, and so do the node, its module and the
 *             masks.
 */
void NUVLog_registerModule(struct NUVLogModuleNode *node);

/**
 * @brief Has a layer be a module: defines its masks, and registers it when it is loaded.
 *
 * To stand once, in a source of the layer. With NETIO it is about NETIO_LOG_MODULE,
 * NETIOLog_g_instrumentationMask and NETIOLog_g_submoduleMask, which have been declared.
 */
#define NUV_LOG_DEFINE_MODULE(PREFIX)                                                              \
    __attribute__((constructor)) static void PREFIX##Log_registerModule(void) {                    \
        static struct NUVLogModuleNode node = {&PREFIX##_LOG_MODULE, NULL};                        \
        NUVLog_registerModule(&node);                                                              \
    }                                                                                              \
    NUV_UINT32 PREFIX##Log_g_instrumentationMask = NUV_LOG_INSTRUMENTATION_MASK_DEFAULT;           \
    NUV_UINT32 PREFIX##Log_g_submoduleMask = NUV_LOG_SUBMODULE_MASK_DEFAULT

/**
 * @brief Sets the verbosity as KOLS_Config_Logger_set_verbosity does, unless that has been called.
 * @param verbosity a set of NUV_LOG_LEVEL_* bits.
 * @return non-zero when it is the verbosity now.
 */
int NUVLog_setDefaultVerbosity(NUV_UINT32 verbosity);

/** The first of the registered modules, null when there is none; the others follow at _next. */
const struct NUVLogModuleNode *NUVLog_getModules(void);

/** The name of a registered module by its id; "-" when there is none. */
const char *NUVLog_getModuleName(NUV_UINT32 module);

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

/** Non-zero when the module's masks let a message out, or the context, which may be null, asks. */
static inline int NUVLog_isWanted(const struct NUVLogModule *module, NUV_UINT32 submodule,
                                  const struct NUVOsapiActivityContext *context, NUV_UINT32 level) {
    return NUVLog_isEnabled(module->instrumentationMask, module->submoduleMask, level, submodule) ||
           NUVLog_isEnabledForContext(context, level);
}

#ifdef __cplusplus
}
#endif

#endif
