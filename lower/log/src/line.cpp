// SPDX-License-Identifier: Apache-2.0
// A message as one line of text.
#include "dds_c/dds_c_logger.h"

#include <chrono>
#include <cstdio>
#include <string_view>

#include <string.h> // strnlen

#include "log/log_message.h"
#include "log/log_module.h"
#include "log_internal.h"
#include "printable.h"

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

std::string_view without_line_ends(std::string_view text) {
    return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

} // namespace

size_t KOLS_Config_Logger_format_line(const KOLS_Config_LogRecord *record, char *line,
                                      size_t size) {
    if (KOLSLog_isNull(record)) {
        if (size != 0 && line != nullptr) {
            line[0] = '\0';
        }
        return 0;
    }
    if (size == 0 || KOLSLog_isNull(line)) {
        return 0;
    }
    kols::PrintableText text(line, size);
    const auto append = [&](std::string_view part) { text.append(part, kols::WhiteSpace::SPACE); };
    char time[40];
    format_time(record->time, time, sizeof time);
    const char *const body = record->text != nullptr ? record->text : "";

    append(time);
    append(" ");
    append(level_word(record->level));
    append(" ");
    append(NUVLog_getModuleName(record->module));
    append(" ");
    append(record->function != nullptr ? record->function : "-");
    append(": ");
    // No octet of it takes less room in the line: what comes after as many would be cut.
    append(without_line_ends({body, strnlen(body, size)}));
    return text.length();
}
