/**
 * @file dds_log.h
 * @brief Logging of the DDS layer: one line a message.
 *
 * A source file says which submodule it belongs to before it includes this header:
 * `#define DDS_LOG_SUBMODULE DDS_LOG_SUBMODULE_INFRASTRUCTURE`. A message carries the name of the
 * function that prints it; a file whose operations are split into steps defines DDS_LOG_FUNCTION as
 * the operation's name ahead of the steps. Each macro tests the masks first; the arguments of a
 * message that is not wanted are not evaluated.
 */
#ifndef INFRASTRUCTURE_DDS_LOG_H
#define INFRASTRUCTURE_DDS_LOG_H

#include "log/log_message.h"
#include "log/log_module.h"

#ifndef DDS_LOG_SUBMODULE
#error "define DDS_LOG_SUBMODULE before including this header"
#endif

#ifndef DDS_LOG_FUNCTION
#define DDS_LOG_FUNCTION __func__
#endif

/** True when the masks let a message of this level out of this source file. */
#define DDSLog_isEnabled(level)                                                                    \
    (NUVLog_isEnabled(&DDSLog_g_instrumentationMask, &DDSLog_g_submoduleMask, (level),             \
                      DDS_LOG_SUBMODULE) != 0)

/** True when messages of this level are wanted for what the worker does now; it may be null. */
#define DDSLog_isEnabledForWorker(worker, level)                                                   \
    ((worker) != nullptr && NUVLog_isEnabledForContext((worker)->_activityContext, (level)) != 0)

/** Prints a template with its arguments. */
#define DDSLog_message(level, TEMPLATE, ...)                                                       \
    do {                                                                                           \
        if (DDSLog_isEnabled(level)) {                                                             \
            NUVLogMessage_printWithParams(NUV_LOG_UNNUMBERED, (level), NUV_LOG_MODULE_DDS,         \
                                          __FILE__, __LINE__, DDS_LOG_FUNCTION,                    \
                                          &(TEMPLATE)__VA_OPT__(, ) __VA_ARGS__);                  \
        }                                                                                          \
    } while (0)

/** Prints a template with a printf-style format (a literal) and its arguments. */
#define DDSLog_text(level, TEMPLATE, ...)                                                          \
    do {                                                                                           \
        if (DDSLog_isEnabled(level)) {                                                             \
            NUVLogMessageParamString_printWithParams(NUV_LOG_UNNUMBERED, (level),                  \
                                                     NUV_LOG_MODULE_DDS, __FILE__, __LINE__,       \
                                                     DDS_LOG_FUNCTION, &(TEMPLATE), __VA_ARGS__);  \
        }                                                                                          \
    } while (0)

/** As DDSLog_text; prints also where the masks forbid it but the worker's activity asks for it. */
#define DDSLog_textForWorker(worker, level, TEMPLATE, ...)                                         \
    do {                                                                                           \
        if (DDSLog_isEnabled(level) || DDSLog_isEnabledForWorker(worker, level)) {                 \
            NUVLogMessageParamString_printWithParams(NUV_LOG_UNNUMBERED, (level),                  \
                                                     NUV_LOG_MODULE_DDS, __FILE__, __LINE__,       \
                                                     DDS_LOG_FUNCTION, &(TEMPLATE), __VA_ARGS__);  \
        }                                                                                          \
    } while (0)

/** Reports a failed precondition; @p text is the expression in quotes of its own. */
#define DDSLog_precondition(text)                                                                  \
    DDSLog_reportPrecondition(DDS_LOG_SUBMODULE, __FILE__, __LINE__, DDS_LOG_FUNCTION, (text))

/** An expression: true when the pointer is null, which it then reports as a failed precondition. */
#define DDSLog_isNull(pointer)                                                                     \
    ((pointer) == nullptr && (DDSLog_precondition("\"" #pointer " == ((void *)0)\""), true))

static inline void DDSLog_reportPrecondition(NUV_UINT32 submodule, const char *file, int line,
                                             const char *function, const char *text) {
    if (NUVLog_isEnabled(&DDSLog_g_instrumentationMask, &DDSLog_g_submoduleMask,
                         NUV_LOG_LEVEL_FATAL, submodule)) {
        NUVLogMessage_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_FATAL, NUV_LOG_MODULE_DDS,
                                      file, line, function, &NUV_LOG_PRECONDITION_FAILURE_s, text);
    }
    if (NUVLog_g_detectPrecondition) {
        NUVLog_g_preconditionDetected = 1;
    }
    NUVLog_onAssertBreakpoint();
}

#endif
