/**
 * @file log_config.h
 * @brief The logger's configuration: what is printed, and where it goes.
 *
 * There is one logger for the whole process. All operations are thread-safe.
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

/** The current verbosity. */
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

/** Takes one message. Calls come one at a time; it must not log and must not change the device. */
typedef void (*KOLS_Config_LoggerDevice)(void *param, const struct NUVLogRecord *record);

/**
 * @brief Sends messages to @p device from now on; null restores the default, which writes one line
 * a message to stderr. When this returns, the former device is no longer in use.
 */
void KOLS_Config_Logger_set_output_device(struct KOLS_Config_Logger *self,
                                          KOLS_Config_LoggerDevice device, void *param);

/** Room that the longest line needs, terminator included. */
#define KOLS_CONFIG_LOG_LINE_MAX 4096

/**
 * @brief Writes a message as one line of text without a line end:
 * "2026-01-31T12:00:00.123456Z WARNING DDS function: text". Control characters of the text are
 * replaced, line ends at its end are dropped; what passes @p size is cut.
 * @return the length of the line as it was written.
 */
size_t KOLS_Config_Logger_format_line(const struct NUVLogRecord *record, char *line, size_t size);

#ifdef __cplusplus
}
#endif

#endif
