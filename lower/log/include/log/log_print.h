// SPDX-License-Identifier: Apache-2.0
/**
 * @file log_print.h
 * @brief The one way to log a line, which each layer binds to its module.
 *
 * A layer has short macros of its own that say which module and submodule these here are to print
 * for. Each asks first whether the message is wanted; the arguments of one that is not are not
 * evaluated. @p context is the activity context of the worker (or null), which may ask for what the
 * masks forbid. For C++ only.
 *
 * A line carries the name of the function that prints it. A step of an operation logs in the
 * operation's name: where LOG_METHOD is a string, as a constant of the namespace that the steps are
 * in, a member or a parameter, the line carries that.
 *
 *     namespace enabling {
 *     constexpr const char *LOG_METHOD = "DDS_DomainParticipant_enable";
 *     bool reserve_ports(...) { ... }
 *     }
 */
#ifndef LOG_PRINT_H
#define LOG_PRINT_H

#include "log/log_message.h"
#include "log/log_module.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What NUVLog_precondition calls. The message is of level NUV_LOG_LEVEL_FATAL. */
void NUVLog_reportPrecondition(const struct NUVLogModule *module, NUV_UINT32 submodule,
                               const struct NUVOsapiActivityContext *context, const char *file,
                               int line, const char *function, const char *text);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus

/** Stands for the function itself. A function, so that anything else of this name may hide it. */
inline void LOG_METHOD() {}

namespace kols {

/** Where nothing hides LOG_METHOD. */
constexpr const char *method_name(void (*)(), const char *function) {
    return function;
}

constexpr const char *method_name(const char *method, const char * /*function*/) {
    return method;
}

} // namespace kols

/** The name that a line carries, of whoever is the first to say one, from the inside out. */
#define NUV_LOG_METHOD kols::method_name(LOG_METHOD, __func__)

/** Prints a template with its arguments. */
#define NUVLog_message(module, submodule, context, level, TEMPLATE, ...)                           \
    do {                                                                                           \
        if (NUVLog_isWanted(&(module), (submodule), (context), (level)) != 0) {                    \
            NUVLogMessage_printWithParams(NUV_LOG_UNNUMBERED, (level), (module).id, __FILE__,      \
                                          __LINE__, NUV_LOG_METHOD,                                \
                                          &(TEMPLATE)__VA_OPT__(, ) __VA_ARGS__);                  \
        }                                                                                          \
    } while (false)

/** Prints a template with a printf-style format (a literal) and its arguments. */
#define NUVLog_text(module, submodule, context, level, TEMPLATE, ...)                              \
    do {                                                                                           \
        if (NUVLog_isWanted(&(module), (submodule), (context), (level)) != 0) {                    \
            NUVLogMessageParamString_printWithParams(NUV_LOG_UNNUMBERED, (level), (module).id,     \
                                                     __FILE__, __LINE__, NUV_LOG_METHOD,           \
                                                     &(TEMPLATE), __VA_ARGS__);                    \
        }                                                                                          \
    } while (false)

/** Prints a printf-style format (a literal) with its arguments, without a template. */
#define NUVLog_plainText(module, submodule, context, level, ...)                                   \
    do {                                                                                           \
        if (NUVLog_isWanted(&(module), (submodule), (context), (level)) != 0) {                    \
            NUVLogParamString_printWithParams(NUV_LOG_UNNUMBERED, (level), (module).id, __FILE__,  \
                                              __LINE__, NUV_LOG_METHOD, __VA_ARGS__);              \
        }                                                                                          \
    } while (false)

/** Reports a failed precondition; @p text is the expression in quotes of its own. */
#define NUVLog_precondition(module, submodule, context, text)                                      \
    NUVLog_reportPrecondition(&(module), (submodule), (context), __FILE__, __LINE__,               \
                              NUV_LOG_METHOD, (text))

/** An expression: true when the pointer is null, which it then reports as a failed precondition. */
#define NUVLog_isNull(module, submodule, context, pointer)                                         \
    ((pointer) == nullptr &&                                                                       \
     (NUVLog_precondition(module, submodule, context, "\"" #pointer " == ((void *)0)\""), true))

#endif

#endif
