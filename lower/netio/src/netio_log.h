// SPDX-License-Identifier: Apache-2.0
// How this layer prints its messages: one line each, formatted only when it is wanted.
#ifndef NETIO_LOG_H
#define NETIO_LOG_H

#include <cstring>

#include "log/log_print.h"
#include "netio/netio_locator.h"
#include "netio/netio_log.h"
#include "reda/reda_repetition.h"

constexpr NUVLogModule NETIO_LOG_MODULE = {
    NUV_LOG_MODULE_NETIO, "NETIO", &NETIOLog_g_instrumentationMask, &NETIOLog_g_submoduleMask};

#define NETIO_LOG(level, ...)                                                                      \
    NUVLog_text(NETIO_LOG_MODULE, NUV_LOG_SUBMODULE_ALL, nullptr, level, NUV_LOG_EMPTY_TEMPLATE,   \
                __VA_ARGS__)

#define NETIO_ERROR(...) NETIO_LOG(NUV_LOG_LEVEL_ERROR, __VA_ARGS__)
#define NETIO_WARNING(...) NETIO_LOG(NUV_LOG_LEVEL_WARNING, __VA_ARGS__)
#define NETIO_STATUS(...) NETIO_LOG(NUV_LOG_LEVEL_LOCAL, __VA_ARGS__)

// For what traffic or a lasting failure can repeat: at most one a second from each place.
#define NETIO_LOG_LIMITED(level, repetitions, ...)                                                 \
    REDARepetitions_text(repetitions, NETIO_LOG_MODULE, NUV_LOG_SUBMODULE_ALL, nullptr, level,     \
                         NUV_LOG_EMPTY_TEMPLATE, __VA_ARGS__)

#define NETIO_ERROR_LIMITED(...) NETIO_LOG_LIMITED(NUV_LOG_LEVEL_ERROR, __VA_ARGS__)
#define NETIO_WARNING_LIMITED(...) NETIO_LOG_LIMITED(NUV_LOG_LEVEL_WARNING, __VA_ARGS__)

namespace netio {

/** An error number as its description and its name, for "%s (%s)". Both are constant strings. */
inline const char *error_description(int error) {
    const char *text = strerrordesc_np(error);
    return text != nullptr ? text : "unknown error";
}

inline const char *error_name(int error) {
    const char *name = strerrorname_np(error);
    return name != nullptr ? name : "-";
}

} // namespace netio

#endif
