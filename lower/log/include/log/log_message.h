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

#include "osapi/osapi_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The levels of a message: each is a bit, so that a mask selects several. */
#define NUV_LOG_LEVEL_FATAL 1u   /**< fatal errors and failed preconditions */
#define NUV_LOG_LEVEL_ERROR 2u   /**< an operation failed */
#define NUV_LOG_LEVEL_WARNING 4u /**< an operation goes on, though not as one may expect */
#define NUV_LOG_LEVEL_LOCAL 8u   /**< status of this process's own entities */
#define NUV_LOG_LEVEL_DEBUG 16u  /**< what the lower layers do, call by call */
#define NUV_LOG_LEVEL_ALL 31u

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

/** The number of a message that has none. */
#define NUV_LOG_UNNUMBERED (-1)

/** One message, as it is handed to the output device. All pointers live only for that call. */
struct NUVLogRecord {
    int number;        /**< NUV_LOG_UNNUMBERED unless the message has one */
    NUV_UINT32 level;  /**< one NUV_LOG_LEVEL_* bit */
    NUV_UINT32 module; /**< module id of the layer, or 0 */
    const char *file;  /**< source file */
    int line;          /**< line in it */
    const char *function;
    const struct NUVLogMessageTemplate *message; /**< null when the text came without a template */
    /**
     * Where a template came with a text of the caller's: that text without the template's words.
     * Otherwise the whole text.
     */
    const char *body;
    const char *text; /**< the whole text */
    NUV_INT64 time;   /**< wall clock, nanoseconds since 1970-01-01T00:00:00Z */
};

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
