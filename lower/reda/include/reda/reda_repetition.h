// SPDX-License-Identifier: Apache-2.0
/**
 * @file reda_repetition.h
 * @brief A limit of repetition for messages that remote senders or lasting failures cause.
 *
 * Such a message is printed at most once a second for each kind; the next line of the kind tells
 * how many were left out. A kind is the place in the source that prints the message. What answers a
 * caller's single call about its own setting is not limited.
 */
#ifndef REDA_REPETITION_H
#define REDA_REPETITION_H

#include "osapi/osapi_ntptime.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The most kinds that one scope tells apart. */
#define REDA_REPETITION_KINDS_MAX 16

/** What is known of one kind. */
struct REDARepetition {
    NUV_INT64 _quietUntil; /**< by the monotonic clock, in nanoseconds */
    NUV_UINT32 _leftOut;   /**< since the last line */
};

/**
 * The kinds of messages within one scope, such as all participants of a process. All zero is the
 * state to start with.
 */
struct REDARepetitions {
    const char *_kinds[REDA_REPETITION_KINDS_MAX];
    struct REDARepetition _each[REDA_REPETITION_KINDS_MAX];
    struct NUVClock *_clock; /**< whose second counts; null for the monotonic clock */
};

/** What a message that is printed ends with, behind all else that it says. */
struct REDALeftOut {
    char text[56]; /**< " (and 41 more like it since the last line)", or empty where there are 0 */
};

/**
 * @brief Asks whether a message may be printed now, and counts it when it may not.
 *
 * To be asked after the masks, so that what nobody wants is neither counted nor costs anything.
 * Thread-safe, without lock or allocation; reads the clock.
 *
 * @param kind an address of the caller's own that stands for the kind. Where there are more kinds
 *             than REDA_REPETITION_KINDS_MAX the last of them count as one.
 * @param out  written only when the message may be printed.
 * @return non-zero when it may.
 */
int REDARepetitions_admits(struct REDARepetitions *self, const char *kind, struct REDALeftOut *out);

#ifdef __cplusplus

/**
 * @brief NUVLog_text for what may be printed at most once a second, from one place in the source.
 *
 * Asks the repetitions only when the message is wanted. What was left out is said at its end.
 * Needs "log/log_print.h".
 */
#define REDARepetitions_text(repetitions, module, submodule, context, level, TEMPLATE, format,     \
                             ...)                                                                  \
    do {                                                                                           \
        static const char kind = 0;                                                                \
        REDALeftOut left_out;                                                                      \
        if (NUVLog_isWanted(&(module), (submodule), (context), (level)) != 0 &&                    \
            REDARepetitions_admits((repetitions), &kind, &left_out) != 0) {                        \
            NUVLogMessageParamString_printWithParams(                                              \
                NUV_LOG_UNNUMBERED, (level), (module).id, __FILE__, __LINE__, NUV_LOG_METHOD,      \
                &(TEMPLATE), format "%s" __VA_OPT__(, ) __VA_ARGS__, left_out.text);               \
        }                                                                                          \
    } while (false)

#endif

#ifdef __cplusplus
}
#endif

#endif
