// SPDX-License-Identifier: Apache-2.0
// How this layer prints its messages: one line each, formatted only when it is wanted, by the masks
// or for what the worker (which may be null) does now.
#ifndef PRES_LOG_H
#define PRES_LOG_H

#include "log/log_print.h"
#include "pres/pres_log.h"
#include "reda/reda_worker.h"

constexpr NUVLogModule PRES_LOG_MODULE = {NUV_LOG_MODULE_PRES, "PRES",
                                          &PRESLog_g_instrumentationMask, &PRESLog_g_submoduleMask};

/** Prints a printf-style format (a literal) with its arguments. */
#define PRESLog_text(worker, level, ...)                                                           \
    NUVLog_plainText(PRES_LOG_MODULE, NUV_LOG_SUBMODULE_ALL,                                       \
                     REDAWorker_getActivityContext(worker), level, __VA_ARGS__)

#define PRESLog_error(worker, ...) PRESLog_text(worker, NUV_LOG_LEVEL_ERROR, __VA_ARGS__)
#define PRESLog_debug(worker, ...) PRESLog_text(worker, NUV_LOG_LEVEL_DEBUG, __VA_ARGS__)

/** An expression: true when the pointer is null, which it then reports as a failed precondition. */
#define PRESLog_isNull(worker, pointer)                                                            \
    NUVLog_isNull(PRES_LOG_MODULE, NUV_LOG_SUBMODULE_ALL, REDAWorker_getActivityContext(worker),   \
                  pointer)

#endif
