// SPDX-License-Identifier: Apache-2.0
// The activity context.
#include "osapi/osapi_context.h"

void NUVOsapiContext_addAndCacheCategory(NUVOsapiActivityContext *context,
                                         NUVLogCategoryMask *cachedOut, NUVLogCategoryMask drop,
                                         NUVLogCategoryMask add) {
    if (context == nullptr) {
        *cachedOut = 0;
        return;
    }
    *cachedOut = context->category;
    context->category = (context->category & ~drop) | add;
}

void NUVOsapiContext_setCategory(NUVOsapiActivityContext *context, NUVLogCategoryMask keep,
                                 NUVLogCategoryMask category) {
    if (context != nullptr) {
        context->category = (context->category & keep) | category;
    }
}
