// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_context.h
 * @brief The activity context: what a thread is doing, for the logger.
 *
 * A context belongs to one worker and so to one thread; its operations take no lock.
 */
#ifndef OSAPI_CONTEXT_H
#define OSAPI_CONTEXT_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A set of logging categories. */
typedef NUV_UINT32 NUVLogCategoryMask;

/** The thread is enabling an entity. */
#define NUV_LOG_CATEGORY_ENABLE 1u

struct NUVOsapiActivityContext {
    /** The categories of what the thread does now. */
    NUVLogCategoryMask category;
};

/** A context without any category. */
#define NUV_OSAPI_ACTIVITY_CONTEXT_DEFAULT                                                         \
    { 0u }

/**
 * @brief Adds categories to a context and remembers the former ones.
 * @param context   may be null: then @p cachedOut receives 0 and nothing else happens.
 * @param cachedOut receives the categories as they were.
 * @param drop      categories to take away first.
 * @param add       categories to add.
 */
void NUVOsapiContext_addAndCacheCategory(struct NUVOsapiActivityContext *context,
                                         NUVLogCategoryMask *cachedOut, NUVLogCategoryMask drop,
                                         NUVLogCategoryMask add);

/**
 * @brief Sets a context's categories, usually back to cached ones.
 * @param context may be null: nothing happens.
 * @param keep    categories of the context that stay in any case.
 * @param category the categories to set.
 */
void NUVOsapiContext_setCategory(struct NUVOsapiActivityContext *context, NUVLogCategoryMask keep,
                                 NUVLogCategoryMask category);

#ifdef __cplusplus
}
#endif

#endif
