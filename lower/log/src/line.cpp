// A message as one line of text.
#include "log/log_config.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include <string.h> // strnlen

#include "log/log_module.h"

namespace {

/** The word for the most severe of the levels. */
const char *level_word(NUV_UINT32 level) {
    if ((level & NUV_LOG_LEVEL_FATAL) != 0) {
        return "FATAL";
    }
    if ((level & NUV_LOG_LEVEL_ERROR) != 0) {
        return "ERROR";
    }
    if ((level & NUV_LOG_LEVEL_WARNING) != 0) {
        return "WARNING";
    }
    if ((level & NUV_LOG_LEVEL_LOCAL) != 0) {
        return "STATUS";
    }
    if ((level & NUV_LOG_LEVEL_DEBUG) != 0) {
        return "DEBUG";
    }
    return "-";
}

/** Formats "2026-01-31T12:00:00.123456Z". The C library's calendar would take a lock. */
void format_time(NUV_INT64 nanoseconds, char *text, size_t size) {
    using namespace std::chrono;
    const sys_time<microseconds> time{floor<microseconds>(std::chrono::nanoseconds{nanoseconds})};
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    std::snprintf(
        text, size, "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
}

/** White space and line ends become a space, what else could steer a terminal a question mark. */
char printable(char character) {
    if (std::strchr("\t\n\v\f\r", character) != nullptr) {
        return ' ';
    }
    const bool control = static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
    return control ? '?' : character;
}

int length_without_line_ends(const char *text) {
    size_t length = strnlen(text, KOLS_CONFIG_LOG_LINE_MAX);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) {
        --length;
    }
    return static_cast<int>(length);
}

} // namespace

size_t KOLS_Config_Logger_format_line(const struct NUVLogRecord *record, char *line, size_t size) {
    if (size == 0) {
        return 0;
    }
    char time[40];
    format_time(record->time, time, sizeof time);
    const char *text = record->text != nullptr ? record->text : "";
    const int wanted = std::snprintf(
        line, size, "%s %s %s %s: %.*s", time, level_word(record->level),
        NUVLog_getModuleName(record->module), record->function != nullptr ? record->function : "-",
        length_without_line_ends(text), text);
    const size_t length = std::min(static_cast<size_t>(std::max(wanted, 0)), size - 1);
    line[length] = '\0';
    std::transform(line, line + length, line, printable);
    return length;
}
