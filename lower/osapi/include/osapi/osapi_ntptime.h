// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_ntptime.h
 * @brief Time as RTPS carries it: seconds and a fraction in units of 2^-32 s (DDSI-RTPS 9.3.2.1).
 */
#ifndef OSAPI_NTPTIME_H
#define OSAPI_NTPTIME_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A time or a duration. Infinite is { 0x7FFFFFFF, 0xFFFFFFFF }. */
struct NUVNtpTime {
    NUV_INT32 sec;
    NUV_UINT32 frac; /**< in units of 2^-32 s */
};

#define NUV_NTP_TIME_ZERO                                                                          \
    { 0, 0u }
#define NUV_NTP_TIME_INFINITE                                                                      \
    { 0x7FFFFFFF, 0xFFFFFFFFu }

/** Non-zero when @p time is the infinite duration (its seconds are 0x7FFFFFFF). */
int NUVNtpTime_isInfinite(const struct NUVNtpTime *time);

/**
 * Less than, equal to or greater than 0 as @p left is before, the same as or after @p right. All
 * infinite durations are the same.
 */
int NUVNtpTime_compare(const struct NUVNtpTime *left, const struct NUVNtpTime *right);

/** @p nanoseconds as NTP time, rounded to the nearest unit; below 0 gives 0, too large infinite. */
struct NUVNtpTime NUVNtpTime_fromNanoseconds(NUV_INT64 nanoseconds);

/** @p time in nanoseconds, rounded to the nearest; infinite gives INT64_MAX. */
NUV_INT64 NUVNtpTime_toNanoseconds(const struct NUVNtpTime *time);

/**
 * @brief A source of time.
 *
 * The two clocks of the system are shared, live as long as the process and may be used from any
 * thread. Whoever is not handed a clock goes by them: sleeps and what is measured by the monotonic
 * one, lines of the log by the other. So whoever has a time of its own, as a simulation does, puts
 * functions of its own into both, while nobody uses them.
 */
struct NUVClock {
    const char *name;
    /** Reads the clock: nanoseconds since its epoch. */
    NUV_INT64 (*getNanoseconds)(const struct NUVClock *self);
    /**
     * Blocks the calling thread until the clock shows this time (signals do not shorten that), or
     * does meanwhile what there is to do. Null of a clock that nobody sleeps by.
     */
    void (*sleepUntil)(const struct NUVClock *self, NUV_INT64 nanoseconds);
};

/** The clock that never goes back (CLOCK_MONOTONIC). */
struct NUVClock *NUVClock_getMonotonic(void);
/** The wall clock (CLOCK_REALTIME), in nanoseconds since 1970-01-01T00:00:00Z. */
struct NUVClock *NUVClock_getRealtime(void);

#ifdef __cplusplus
}
#endif

#endif
