// Logging of the presentation layer: one line a message.
//
// Each macro tests the masks, and what the worker (which may be null) does now, before anything is
// formatted; the arguments of a message that is not wanted are not evaluated.
#ifndef PRES_LOG_H
#define PRES_LOG_H

#include "log/log_message.h"
#include "log/log_module.h"
#include "reda/reda_worker.h"

/** True when the masks let a message of this level out, or the worker's activity asks for it. */
static inline bool PRESLog_isEnabled(const struct REDAWorker *worker, NUV_UINT32 level) {
    return NUVLog_isEnabled(&PRESLog_g_instrumentationMask, &PRESLog_g_submoduleMask, level,
                            NUV_LOG_SUBMODULE_ALL) != 0 ||
           (worker != nullptr && NUVLog_isEnabledForContext(worker->_activityContext, level) != 0);
}

/** Prints a printf-style format (a literal) with its arguments. */
#define PRESLog_text(worker, level, ...)                                                           \
    do {                                                                                           \
        if (PRESLog_isEnabled(worker, level)) {                                                    \
            NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, (level), NUV_LOG_MODULE_PRES,    \
                                              __FILE__, __LINE__, __func__, __VA_ARGS__);          \
        }                                                                                          \
    } while (0)

#define PRESLog_error(worker, ...) PRESLog_text(worker, NUV_LOG_LEVEL_ERROR, __VA_ARGS__)
#define PRESLog_debug(worker, ...) PRESLog_text(worker, NUV_LOG_LEVEL_DEBUG, __VA_ARGS__)

/** An expression: true when the pointer is null, which it then reports as a failed precondition. */
#define PRESLog_isNull(worker, pointer)                                                            \
    ((pointer) == nullptr && (PRESLog_reportPrecondition((worker), __FILE__, __LINE__, __func__,   \
                                                         "\"" #pointer " == ((void *)0)\""),       \
                              true))

static inline void PRESLog_reportPrecondition(const struct REDAWorker *worker, const char *file,
                                              int line, const char *function, const char *text) {
    if (PRESLog_isEnabled(worker, NUV_LOG_LEVEL_FATAL)) {
        NUVLogMessage_printWithParams(NUV_LOG_UNNUMBERED, NUV_LOG_LEVEL_FATAL, NUV_LOG_MODULE_PRES,
                                      file, line, function, &NUV_LOG_PRECONDITION_FAILURE_s, text);
    }
    if (NUVLog_g_detectPrecondition) {
        NUVLog_g_preconditionDetected = 1;
    }
    NUVLog_onAssertBreakpoint();
}

#endif
