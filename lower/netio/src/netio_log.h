// How this layer prints its messages: one line each, formatted only when it is wanted.
#ifndef NETIO_LOG_H
#define NETIO_LOG_H

#include <cstring>

#include "log/log_message.h"
#include "log/log_module.h"
#include "netio/netio_locator.h"
#include "reda/reda_repetition.h"

// The arguments are evaluated only when the masks let the message through.
#define NETIO_LOG(level, ...)                                                                      \
    do {                                                                                           \
        if (NUVLog_isEnabled(&NETIOLog_g_instrumentationMask, &NETIOLog_g_submoduleMask, (level),  \
                             NUV_LOG_SUBMODULE_ALL) != 0) {                                        \
            NUVLogMessageParamString_printWithParams(                                              \
                NUV_LOG_UNNUMBERED, (level), NUV_LOG_MODULE_NETIO, __FILE__, __LINE__, __func__,   \
                &NUV_LOG_EMPTY_TEMPLATE, __VA_ARGS__);                                             \
        }                                                                                          \
    } while (false)

#define NETIO_ERROR(...) NETIO_LOG(NUV_LOG_LEVEL_ERROR, __VA_ARGS__)
#define NETIO_WARNING(...) NETIO_LOG(NUV_LOG_LEVEL_WARNING, __VA_ARGS__)
#define NETIO_STATUS(...) NETIO_LOG(NUV_LOG_LEVEL_LOCAL, __VA_ARGS__)

// For what traffic or a lasting failure can repeat: at most one a second from each place.
#define NETIO_LOG_LIMITED(level, repetitions, format, ...)                                         \
    do {                                                                                           \
        static const char kind = 0;                                                                \
        REDALeftOut left_out;                                                                      \
        if (NUVLog_isEnabled(&NETIOLog_g_instrumentationMask, &NETIOLog_g_submoduleMask, (level),  \
                             NUV_LOG_SUBMODULE_ALL) != 0 &&                                        \
            REDARepetitions_admits((repetitions), &kind, &left_out) != 0) {                        \
            NUVLogMessageParamString_printWithParams(                                              \
                NUV_LOG_UNNUMBERED, (level), NUV_LOG_MODULE_NETIO, __FILE__, __LINE__, __func__,   \
                &NUV_LOG_EMPTY_TEMPLATE, format "%s", __VA_ARGS__ __VA_OPT__(, ) left_out.text);   \
        }                                                                                          \
    } while (false)

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

/** A locator's text, as an argument of a message. */
class LocatorText {
public:
    explicit LocatorText(const NUVNetioLocator &locator) {
        NUVNetioLocator_toString(&locator, text_, sizeof text_);
    }

    const char *get() const {
        return text_;
    }

private:
    char text_[NUV_NETIO_LOCATOR_STRING_SIZE] = "";
};

} // namespace netio

#endif
