// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_logger.h
 * @brief The logger: what is printed, and where it goes.
 *
 * There is one logger for the whole process. All operations are thread-safe, allocate nothing and
 * leave errno as it was. A null pointer where none is allowed is reported as a failed precondition
 * (a message of level KOLS_CONFIG_LOG_LEVEL_FATAL and of module 0, the logger being no module
 * itself) and changes nothing.
 */
#ifndef DDS_C_LOGGER_H
#define DDS_C_LOGGER_H

#include <stddef.h>
#include <stdint.h>

#include "dds_c/dds_c_api.h"

DDS_C_API_BEGIN

/** The levels of a message: each is a bit, so that a set of them selects several. */
#define KOLS_CONFIG_LOG_LEVEL_FATAL 1u /**< fatal errors and failed preconditions */
#define KOLS_CONFIG_LOG_LEVEL_ERROR 2u /**< an operation failed */
#define KOLS_CONFIG_LOG_LEVEL_WARNING                                                              \
    4u                                  /**< an operation goes on, though not as one may expect    \
                                         */
#define KOLS_CONFIG_LOG_LEVEL_LOCAL 8u  /**< status of this process's own entities */
#define KOLS_CONFIG_LOG_LEVEL_DEBUG 16u /**< what the layers within do, call by call */

struct KOLS_Config_Logger;

/** How much is printed: a set of KOLS_CONFIG_LOG_LEVEL_* bits. */
typedef uint32_t KOLS_Config_LogVerbosity;

#define KOLS_CONFIG_LOG_VERBOSITY_SILENT 0u
#define KOLS_CONFIG_LOG_VERBOSITY_ERROR 3u /**< the default: fatal and error */
#define KOLS_CONFIG_LOG_VERBOSITY_WARNING 7u
#define KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL 15u
#define KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL 31u

/** A set of categories of what a thread does: KOLS_CONFIG_LOG_CATEGORY_* bits. */
typedef uint32_t KOLS_Config_LogCategoryMask;

#define KOLS_CONFIG_LOG_CATEGORY_ENABLE 1u /**< it enables an entity */

/** The number of a message that has none. */
#define KOLS_CONFIG_LOG_UNNUMBERED (-1)

/** One message, as it is handed to the output device. All pointers live only for that call. */
typedef struct KOLS_Config_LogRecord {
    int number;       /**< KOLS_CONFIG_LOG_UNNUMBERED unless the message has one */
    uint32_t level;   /**< one KOLS_CONFIG_LOG_LEVEL_* bit */
    uint32_t module;  /**< id of the layer that it comes from, or 0 */
    const char *file; /**< source file */
    int line;         /**< line in it */
    const char *function;
    /** The name of the message's template, as "NUV_LOG_ANY_FAILURE_s"; null when it has none. */
    const char *name;
    /**
     * Where a template came with a text of its own: that text without the template's words.
     * Otherwise the whole text.
     */
    const char *body;
    const char *text; /**< the whole text */
    int64_t time;     /**< wall clock, nanoseconds since 1970-01-01T00:00:00Z */
} KOLS_Config_LogRecord;

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
 */
void KOLS_Config_Logger_set_verbosity_by_category(struct KOLS_Config_Logger *self,
                                                  KOLS_Config_LogCategoryMask categories,
                                                  KOLS_Config_LogVerbosity verbosity);

/**
 * Takes one message. Calls come one at a time; it must not change the device. What it logs itself
 * does not come back to it but goes to stderr.
 */
typedef void (*KOLS_Config_LoggerDevice)(void *param, const struct KOLS_Config_LogRecord *record);

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
size_t KOLS_Config_Logger_format_line(const struct KOLS_Config_LogRecord *record, char *line,
                                      size_t size);

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
void KOLS_Config_Logger_write_record(const struct KOLS_Config_LogRecord *record);

/**
 * @brief Writes a text to stderr as one line, filtered as KOLS_Config_Logger_format_line does it
 * and in the same way as KOLS_Config_Logger_write_record.
 */
void KOLS_Config_Logger_write_text(const char *text);

DDS_C_API_END

#endif
