// SPDX-License-Identifier: Apache-2.0
// The printing of one message. Its text is put together on the stack: no allocation.
#include "log/log_message.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "dds_c/dds_c_logger.h"
#include "log_internal.h"

namespace {

class Text {
public:
    char characters[KOLS_CONFIG_LOG_LINE_MAX];

    void format(const char *format, va_list arguments) NUV_PRINTF_FORMAT(2, 0) {
        if (std::vsnprintf(characters, sizeof characters, format, arguments) < 0) {
            std::snprintf(characters, sizeof characters, "%s", format);
        }
    }

    /**
     * Puts a body in the place of a template's "%s", or after a template that has none. Not done
     * with printf, for which a template with other arguments would be fatal here.
     */
    void insert(std::string_view format, std::string_view body) {
        const std::size_t place = format.find("%s");
        append(format.substr(0, place));
        if (place == std::string_view::npos) {
            append(": ");
            append(body);
        } else {
            append(body);
            append(format.substr(place + 2));
        }
    }

private:
    /** Appends what still fits. */
    void append(std::string_view part) {
        const std::size_t fitting = std::min(part.size(), sizeof characters - 1 - length_);
        std::memcpy(characters + length_, part.data(), fitting);
        length_ += fitting;
        characters[length_] = '\0';
    }

    std::size_t length_ = 0;
};

void deliver(KOLS_Config_LogRecord record) {
    KOLS_Config_Logger_deliverI(KOLS_Config_Logger_get_instance(), &record);
}

} // namespace

void NUVLogMessage_printWithParams(int number, NUV_UINT32 level, NUV_UINT32 module,
                                   const char *file, int line, const char *function,
                                   const NUVLogMessageTemplate *message, ...) {
    const kols::KeptErrno kept_errno;
    Text text;
    va_list arguments;
    va_start(arguments, message);
    text.format(message->format, arguments);
    va_end(arguments);
    deliver({number, level, module, file, line, function, message->name, text.characters,
             text.characters, 0});
}

void NUVLogMessageParamString_printWithParams(int number, NUV_UINT32 level, NUV_UINT32 module,
                                              const char *file, int line, const char *function,
                                              const NUVLogMessageTemplate *message,
                                              const char *format, ...) {
    const kols::KeptErrno kept_errno;
    Text body;
    va_list arguments;
    va_start(arguments, format);
    body.format(format, arguments);
    va_end(arguments);
    Text text;
    text.insert(message->format, body.characters);
    deliver({number, level, module, file, line, function, message->name, body.characters,
             text.characters, 0});
}

void NUVLogParamString_printWithParams(int number, NUV_UINT32 level, NUV_UINT32 module,
                                       const char *file, int line, const char *function,
                                       const char *format, ...) {
    const kols::KeptErrno kept_errno;
    Text text;
    va_list arguments;
    va_start(arguments, format);
    text.format(format, arguments);
    va_end(arguments);
    deliver({number, level, module, file, line, function, nullptr, text.characters, text.characters,
             0});
}
