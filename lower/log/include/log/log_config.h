/**
 * @file log_config.h
 * @brief The logger's configuration: what is printed, and where it goes.
 *
 * There is one logger for the whole process. All operations are thread-safe, allocate nothing and
 * leave errno as it was. A null pointer where none is allowed is reported as a failed precondition
 * (a message of level NUV_LOG_LEVEL_FATAL and of module 0, the logger being no module itself) and
 * changes nothing.
 */
#ifndef LOG_CONFIG_H
#define LOG_CONFIG_H

#include "log/log_message.h"

#ifdef __cplusplus
extern "C" {
#endif

struct KOLS_Config_Logger;

/** How much is printed: a set of NUV_LOG_LEVEL_* bits. */
typedef NUV_UINT32 KOLS_Config_LogVerbosity;

#define KOLS_CONFIG_LOG_VERBOSITY_SILENT 0u
#define KOLS_CONFIG_LOG_VERBOSITY_ERROR 3u /**< the default: fatal and error */
#define KOLS_CONFIG_LOG_VERBOSITY_WARNING 7u
#define KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL 15u
#define KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL 31u

/** The process's logger; never null. */
struct KOLS_Config_Logger *KOLS_Config_Logger_get_instance(void);

/** The current verbosity; KOLS_CONFIG_LOG_VERBOSITY_SILENT when @p self is null. */
KOLS_Config_LogVerbosity KOLS_Config_Logger_get_verbosity(struct KOLS_Config_Logger *self);

/** Sets the verbosity and with it the instrumentation mask of every layer. */
void KOLS_Config_Logger_set_verbosity(struct KOLS_Config_Logger *self,
                                      KOLS_Config_LogVerbosity verbosity);

/**
 * @brief Prints messages of the given levels for threads whose activity has one of the given
 * categories, also where the verbosity forbids them.
 * @param verbosity  the levels; levels not named lose these categories.
 * @param categories NUV_LOG_CATEGORY_* bits.
 */
void KOLS_Config_Logger_set_verbosity_by_category(struct KOLS_Config_Logger *self,
                                                  NUVLogCategoryMask categories,
                                                  KOLS_Config_LogVerbosity verbosity);

/**
 * Takes one message. Calls come one at a time; it must not change the device. What it logs itself
 * does not come back to it but goes to stderr.
 */
typedef void (*KOLS_Config_LoggerDevice)(void *param, const struct NUVLogRecord *record);

/**
 * @brief Sends messages to @p device from now on; null restores the default, which does what
 * KOLS_Config_Logger_write_record does. When this returns, the former device is no longer in use.
 */
void KOLS_Config_Logger_set_output_device(struct KOLS_Config_Logger *self,
                                          KOLS_Config_LoggerDevice device, void *param);

/** Room that the longest line needs, terminator included. */
#define KOLS_CONFIG_LOG_LINE_MAX 4096

/**
 * @brief Makes a message one line of text without a line end:
 * "2026-01-31T12:00:00.123456Z WARNING DDS function: text". It is filtered as by
 * KOLS_Config_Logger_filter_text, except that tabs and line ends become a space; line ends at the
 * end of the text are dropped. What passes @p size is cut, between characters.
 * @param line may be null when @p size is 0.
 * @return the length of the line as it was written.
 */
size_t KOLS_Config_Logger_format_line(const struct NUVLogRecord *record, char *line, size_t size);

/**
 * @brief Copies a text so that it can be shown to people: nothing in it steers a terminal, starts a
 * line or reorders what is read.
 *
 * Control characters (below U+0020, U+007F to U+009F), those of bidirectional text (U+061C, U+200E,
 * U+200F, U+202A to U+202E, U+2066 to U+2069) and what is not well-formed UTF-8 are shown as their
 * octets, as "\xff". All else stays as it is.
 * @param text      @p length octets, which may have zeros among them.
 * @param printable the copy, terminated; 4 * @p length + 1 octets are always enough. It may be null
 * when @p size is 0. What passes @p size is cut, between characters.
 * @return the length of the copy.
 */
size_t KOLS_Config_Logger_filter_text(const char *text, size_t length, char *printable,
                                      size_t size);

/**
 * @brief Writes a message to stderr, as the line that KOLS_Config_Logger_format_line makes of it.
 * For devices that send messages elsewhere as well.
 *
 * Nobody waits long for a reader that takes nothing: a line that is not taken within 100 ms is
 * dropped, and so are all that follow, without a wait, until stderr takes output again; a line then
 * says how many were dropped. The flags of the descriptor, which other processes may share, are
 * left alone.
 */
void KOLS_Config_Logger_write_record(const struct NUVLogRecord *record);

/**
 * @brief Writes a text to stderr as one line, filtered as KOLS_Config_Logger_format_line does it
 * and in the same way as KOLS_Config_Logger_write_record.
 */
void KOLS_Config_Logger_write_text(const char *text);

#ifdef __cplusplus
}
#endif

#endif
