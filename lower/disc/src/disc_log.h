// SPDX-License-Identifier: Apache-2.0
// How this layer prints its messages: one line each, formatted only when it is wanted.
#ifndef DISC_LOG_H
#define DISC_LOG_H

#include "disc/disc_log.h"
#include "log/log_print.h"
#include "reda/reda_repetition.h"

constexpr NUVLogModule DISC_LOG_MODULE = {NUV_LOG_MODULE_DISC, "DISC",
                                          &DISCLog_g_instrumentationMask, &DISCLog_g_submoduleMask};

#define DISC_LOG(level, ...)                                                                       \
    NUVLog_text(DISC_LOG_MODULE, NUV_LOG_SUBMODULE_ALL, nullptr, level, NUV_LOG_EMPTY_TEMPLATE,    \
                __VA_ARGS__)

#define DISC_ERROR(...) DISC_LOG(NUV_LOG_LEVEL_ERROR, __VA_ARGS__)

// For what traffic can repeat: at most one a second from each place.
#define DISC_WARNING_LIMITED(repetitions, ...)                                                     \
    REDARepetitions_text(repetitions, DISC_LOG_MODULE, NUV_LOG_SUBMODULE_ALL, nullptr,             \
                         NUV_LOG_LEVEL_WARNING, NUV_LOG_EMPTY_TEMPLATE, __VA_ARGS__)

#endif
