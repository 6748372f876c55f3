// SPDX-License-Identifier: Apache-2.0
/**
 * @file log_message.h
 * @brief Message templates and the printing of one message.
 *
 * Printing prints: it asks no mask. A caller tests its masks first (NUVLog_isEnabled), so that a
 * message that is not wanted costs neither formatting nor allocation. All operations are
 * thread-safe, allocate nothing and leave errno as it was.
 */
#ifndef LOG_MESSAGE_H
#define LOG_MESSAGE_H

#include <stdarg.h>

#include "dds_c/dds_c_logger.h"
#include "osapi/osapi_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The levels of a message, as the layers call them. */
#define NUV_LOG_LEVEL_FATAL KOLS_CONFIG_LOG_LEVEL_FATAL
#define NUV_LOG_LEVEL_ERROR KOLS_CONFIG_LOG_LEVEL_ERROR
#define NUV_LOG_LEVEL_WARNING KOLS_CONFIG_LOG_LEVEL_WARNING
#define NUV_LOG_LEVEL_LOCAL KOLS_CONFIG_LOG_LEVEL_LOCAL
#define NUV_LOG_LEVEL_DEBUG KOLS_CONFIG_LOG_LEVEL_DEBUG
#define NUV_LOG_LEVEL_ALL KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL

/** A message template: its name, and the printf format of its own arguments. */
struct NUVLogMessageTemplate {
    const char *name;
    const char *format;
};

/*
 * Templates that fit any layer; others belong to the layer that prints them. The suffix names the
 * arguments: s string, d integer, u unsigned.
 */
extern const struct NUVLogMessageTemplate NUV_LOG_PRECONDITION_FAILURE_s;
extern const struct NUVLogMessageTemplate NUV_LOG_ANY_FAILURE_s;
extern const struct NUVLogMessageTemplate NUV_LOG_CREATION_FAILURE_s;
extern const struct NUVLogMessageTemplate NUV_LOG_DESTRUCTION_FAILURE_s;
extern const struct NUVLogMessageTemplate NUV_LOG_GET_FAILURE_s;
extern const struct NUVLogMessageTemplate NUV_LOG_INVALID_s;
extern const struct NUVLogMessageTemplate NUV_LOG_INSUFFICIENT_SPACE_FAILURE_dd;

/* Templates that take a printf-style text of the caller's (a "%s" of their own format). */
extern const struct NUVLogMessageTemplate NUV_LOG_EMPTY_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_ENABLE_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_INITIALIZE_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_UPDATE_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_BAD_PARAMETER_FAILURE_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_FAILED_TO_CONVERT_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_FAILED_TO_ENABLE_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_FAILED_TO_FINALIZE_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_FAILED_TO_GET_TEMPLATE;
extern const struct NUVLogMessageTemplate NUV_LOG_INCONSISTENT_QOS_TEMPLATE;

#define NUV_LOG_UNNUMBERED KOLS_CONFIG_LOG_UNNUMBERED

/** Prints a message made of a template and its arguments. */
void NUVLogMessage_printWithParams(int number, NUV_UINT32 level, NUV_UINT32 module,
                                   const char *file, int line, const char *function,
                                   const struct NUVLogMessageTemplate *message, ...);

/**
 * Prints a message made of a template and a printf-style text with its arguments. The text takes
 * the place of the template's "%s"; it follows a template that has none.
 */
void NUVLogMessageParamString_printWithParams(int number, NUV_UINT32 level, NUV_UINT32 module,
                                              const char *file, int line, const char *function,
                                              const struct NUVLogMessageTemplate *message,
                                              const char *format, ...) NUV_PRINTF_FORMAT(8, 9);

/** Prints a printf-style text with its arguments, without a template. */
void NUVLogParamString_printWithParams(int number, NUV_UINT32 level, NUV_UINT32 module,
                                       const char *file, int line, const char *function,
                                       const char *format, ...) NUV_PRINTF_FORMAT(7, 8);

/** Set to non-zero by a test harness that wants to know of failed preconditions. */
extern int NUVLog_g_detectPrecondition;
/** 1 once a precondition failed while NUVLog_g_detectPrecondition was set. */
extern int NUVLog_g_preconditionDetected;

/** Called after each failed precondition: a place for a debugger's break-point. It returns. */
void NUVLog_onAssertBreakpoint(void);

#ifdef __cplusplus
}
#endif

#endif
