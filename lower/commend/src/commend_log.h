// How this layer prints its messages: one line each, formatted only when it is wanted.
#ifndef COMMEND_LOG_H
#define COMMEND_LOG_H

#include "log/log_message.h"
#include "log/log_module.h"
#include "reda/reda_repetition.h"

// The arguments are evaluated only when the masks let the message through.
#define COMMEND_LOG(level, ...)                                                                    \
    do {                                                                                           \
        if (NUVLog_isEnabled(&COMMENDLog_g_instrumentationMask, &COMMENDLog_g_submoduleMask,       \
                             (level), NUV_LOG_SUBMODULE_ALL) != 0) {                               \
            NUVLogMessageParamString_printWithParams(                                              \
                NUV_LOG_UNNUMBERED, (level), NUV_LOG_MODULE_COMMEND, __FILE__, __LINE__, __func__, \
                &NUV_LOG_EMPTY_TEMPLATE, __VA_ARGS__);                                             \
        }                                                                                          \
    } while (false)

#define COMMEND_ERROR(...) COMMEND_LOG(NUV_LOG_LEVEL_ERROR, __VA_ARGS__)

// For what traffic can repeat: at most one a second from each place.
#define COMMEND_WARNING_LIMITED(repetitions, format, ...)                                          \
    do {                                                                                           \
        static const char kind = 0;                                                                \
        REDALeftOut left_out;                                                                      \
        if (NUVLog_isEnabled(&COMMENDLog_g_instrumentationMask, &COMMENDLog_g_submoduleMask,       \
                             NUV_LOG_LEVEL_WARNING, NUV_LOG_SUBMODULE_ALL) != 0 &&                 \
            REDARepetitions_admits((repetitions), &kind, &left_out) != 0) {                        \
            NUVLogMessageParamString_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_WARNING,    \
                                                     NUV_LOG_MODULE_COMMEND, __FILE__, __LINE__,   \
                                                     __func__, &NUV_LOG_EMPTY_TEMPLATE,            \
                                                     format "%s", __VA_ARGS__, left_out.text);     \
        }                                                                                          \
    } while (false)

#endif
