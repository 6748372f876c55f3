// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_log.h
 * @brief Logging of the DDS layer: its module, its templates, and its macros, one line a message.
 *
 * A source says which submodule it belongs to, in a constant of its own:
 * `constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;`. The steps of an
 * operation log in its name by a LOG_METHOD, as log_print.h describes it. Each macro asks first
 * whether the message is wanted; the arguments of one that is not are not evaluated.
 */
#ifndef INFRASTRUCTURE_DDS_LOG_H
#define INFRASTRUCTURE_DDS_LOG_H

#include "log/log_print.h"
#include "reda/reda_worker.h"

/** The id that messages of this layer carry. */
#define NUV_LOG_MODULE_DDS 0xF0000u

/** Submodule bits. */
#define DDS_LOG_SUBMODULE_INFRASTRUCTURE 4u
#define DDS_LOG_SUBMODULE_DOMAIN 8u

extern "C" NUV_UINT32 DDSLog_g_instrumentationMask;
extern "C" NUV_UINT32 DDSLog_g_submoduleMask;

/** This layer as a module of the log. */
constexpr NUVLogModule DDS_LOG_MODULE = {NUV_LOG_MODULE_DDS, "DDS", &DDSLog_g_instrumentationMask,
                                         &DDSLog_g_submoduleMask};

/**
 * The templates that only this layer prints: the name, and the printf format of its arguments. The
 * suffix of a name tells its arguments: s string, d integer.
 */
#define DDS_LOG_TEMPLATES(TEMPLATE)                                                                \
    TEMPLATE(DDS_LOG_COPY_FAILURE_s, "cannot copy %s")                                             \
    TEMPLATE(DDS_LOG_FINALIZE_FAILURE_s, "cannot finalize %s")                                     \
    TEMPLATE(DDS_LOG_GET_FAILURE_s, "cannot get %s")                                               \
    TEMPLATE(DDS_LOG_GET_TRANSPORT_INFO, "cannot get the transport information")                   \
    TEMPLATE(DDS_LOG_GET_TRANSPORT_INFO_SIZE_ZERO,                                                 \
             "no transport information is announced: transport_info_list_max_length is 0")         \
    TEMPLATE(DDS_LOG_IMMUTABLE_POLICY_s, "immutable policy: %s")                                   \
    TEMPLATE(DDS_LOG_INCONSISTENT_PROPERTY_sss, "%s: inconsistent property %s: %s")                \
    TEMPLATE(DDS_LOG_MULTICAST_TRANSPORT_LOCATORS, "cannot compute the multicast locators")        \
    TEMPLATE(DDS_LOG_NO_DEFAULT_UNICAST_TRANSPORT_LOCATORS,                                        \
             "the participant has no unicast locator for user traffic")                            \
    TEMPLATE(DDS_LOG_NO_DISCOVERY_TRANSPORT_LOCATORS,                                              \
             "the participant has no locator for discovery traffic")                               \
    TEMPLATE(DDS_LOG_OUT_OF_RESOURCES_s, "out of resources: %s")                                   \
    TEMPLATE(DDS_LOG_SET_FAILURE_s, "cannot set %s")                                               \
    TEMPLATE(DDS_LOG_UNICAST_TRANSPORT_LOCATORS, "cannot compute the unicast locators")            \
    TEMPLATE(NUV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d, "out of memory for a structure of %d "     \
                                                        "bytes")

#define DDS_LOG_DEFINE_TEMPLATE(name, format)                                                      \
    inline constexpr NUVLogMessageTemplate name = {#name, format};
DDS_LOG_TEMPLATES(DDS_LOG_DEFINE_TEMPLATE)
#undef DDS_LOG_DEFINE_TEMPLATE

/** True when the masks let a message of this level out of this source file. */
#define DDSLog_isEnabled(level)                                                                    \
    (NUVLog_isWanted(&DDS_LOG_MODULE, LOG_SUBMODULE, nullptr, level) != 0)

/** Prints a template with its arguments. */
#define DDSLog_message(level, TEMPLATE, ...)                                                       \
    NUVLog_message(DDS_LOG_MODULE, LOG_SUBMODULE, nullptr, level,                                  \
                   TEMPLATE __VA_OPT__(, ) __VA_ARGS__)

/** Prints a template with a printf-style format (a literal) and its arguments. */
#define DDSLog_text(level, TEMPLATE, ...)                                                          \
    NUVLog_text(DDS_LOG_MODULE, LOG_SUBMODULE, nullptr, level, TEMPLATE, __VA_ARGS__)

/** As DDSLog_text; prints also where the masks forbid it but the worker's activity asks for it. */
#define DDSLog_textForWorker(worker, level, TEMPLATE, ...)                                         \
    NUVLog_text(DDS_LOG_MODULE, LOG_SUBMODULE, REDAWorker_getActivityContext(worker), level,       \
                TEMPLATE, __VA_ARGS__)

/** Reports a failed precondition; @p text is the expression in quotes of its own. */
#define DDSLog_precondition(text) NUVLog_precondition(DDS_LOG_MODULE, LOG_SUBMODULE, nullptr, text)

/** An expression: true when the pointer is null, which it then reports as a failed precondition. */
#define DDSLog_isNull(pointer) NUVLog_isNull(DDS_LOG_MODULE, LOG_SUBMODULE, nullptr, pointer)

#endif
