// SPDX-License-Identifier: Apache-2.0
/**
 * @file osapi_assert.h
 * @brief Invariants: what holds as long as this library itself is right.
 *
 * Never about what comes from outside, be it a caller, a user or the network: that is checked, and
 * answered, in every build.
 */
#ifndef OSAPI_ASSERT_H
#define OSAPI_ASSERT_H

#ifdef __cplusplus
extern "C" {
#endif

/** Writes one line to stderr and ends the process with SIGABRT. Called by NUV_ASSERT. */
__attribute__((noreturn)) void NUVOsapi_failAssertion(const char *condition, const char *file,
                                                      int line, const char *function);

/**
 * Ends the process when the condition does not hold. With NDEBUG, as in a release build, it is not
 * even evaluated: it must not do anything.
 */
#ifdef NDEBUG
#define NUV_ASSERT(condition) ((void)sizeof(!(condition)))
#else
#define NUV_ASSERT(condition)                                                                      \
    ((condition) ? (void)0 : NUVOsapi_failAssertion(#condition, __FILE__, __LINE__, __func__))
#endif

#ifdef __cplusplus
}
#endif

#endif
