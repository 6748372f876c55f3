// SPDX-License-Identifier: Apache-2.0
// How this layer prints its messages: one line each, formatted only when it is wanted.
#ifndef COMMEND_LOG_H
#define COMMEND_LOG_H

#include "commend/commend_log.h"
#include "log/log_print.h"
#include "reda/reda_repetition.h"

constexpr NUVLogModule COMMEND_LOG_MODULE = {NUV_LOG_MODULE_COMMEND, "COMMEND",
                                             &COMMENDLog_g_instrumentationMask,
                                             &COMMENDLog_g_submoduleMask};

#define COMMEND_LOG(level, ...)                                                                    \
    NUVLog_text(COMMEND_LOG_MODULE, NUV_LOG_SUBMODULE_ALL, nullptr, level, NUV_LOG_EMPTY_TEMPLATE, \
                __VA_ARGS__)

#define COMMEND_ERROR(...) COMMEND_LOG(NUV_LOG_LEVEL_ERROR, __VA_ARGS__)

// For what traffic can repeat: at most one a second from each place.
#define COMMEND_WARNING_LIMITED(repetitions, ...)                                                  \
    REDARepetitions_text(repetitions, COMMEND_LOG_MODULE, NUV_LOG_SUBMODULE_ALL, nullptr,          \
                         NUV_LOG_LEVEL_WARNING, NUV_LOG_EMPTY_TEMPLATE, __VA_ARGS__)

#endif
