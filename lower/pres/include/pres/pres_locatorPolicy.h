// SPDX-License-Identifier: Apache-2.0
/**
 * @file pres_locatorPolicy.h
 * @brief Lists of locators with a fixed capacity.
 *
 * The two list types begin alike (a count, then the locators), so one set of operations serves
 * both: a reduced list is passed as a PRESLocatorQosPolicy and is read and written only as far as
 * the source's count, which never exceeds the capacity of either side. Pure functions.
 */
#ifndef PRES_LOCATOR_POLICY_H
#define PRES_LOCATOR_POLICY_H

#include "netio/netio_locator.h"

#ifdef __cplusplus
extern "C" {
#endif

#define PRES_LOCATOR_LIST_MAX 16
#define PRES_REDUCED_LOCATOR_LIST_MAX 4

struct PRESLocatorQosPolicy {
    NUV_INT32 count; /**< 0 to 16 */
    struct NUVNetioLocator locatorList[PRES_LOCATOR_LIST_MAX];
};

struct PRESReducedLocatorQosPolicy {
    NUV_INT32 count; /**< 0 to 4 */
    struct NUVNetioLocator locatorList[PRES_REDUCED_LOCATOR_LIST_MAX];
};

#define PRES_FOUR_INVALID_LOCATORS                                                                 \
    NUV_NETIO_LOCATOR_INVALID, NUV_NETIO_LOCATOR_INVALID, NUV_NETIO_LOCATOR_INVALID,               \
        NUV_NETIO_LOCATOR_INVALID

/** No locators: count 0, every locator zeroed with transport -1. */
#define PRES_LOCATOR_QOS_POLICY_DEFAULT                                                            \
    {                                                                                              \
        0, {                                                                                       \
            PRES_FOUR_INVALID_LOCATORS, PRES_FOUR_INVALID_LOCATORS, PRES_FOUR_INVALID_LOCATORS,    \
                PRES_FOUR_INVALID_LOCATORS                                                         \
        }                                                                                          \
    }
#define PRES_REDUCED_LOCATOR_QOS_POLICY_DEFAULT                                                    \
    {                                                                                              \
        0, {                                                                                       \
            PRES_FOUR_INVALID_LOCATORS                                                             \
        }                                                                                          \
    }

extern const struct PRESLocatorQosPolicy LOCATOR_QOS_POLICY_DEFAULT;
extern const struct PRESReducedLocatorQosPolicy REDUCED_LOCATOR_QOS_POLICY_DEFAULT;

/** A reduced list in the form that the operations below take. */
static inline struct PRESLocatorQosPolicy *
PRESReducedLocatorQosPolicy_asLocatorPolicy(struct PRESReducedLocatorQosPolicy *self) {
    return (struct PRESLocatorQosPolicy *)(void *)self;
}

/** The same for a list that is only read. */
static inline const struct PRESLocatorQosPolicy *
PRESReducedLocatorQosPolicy_asConstLocatorPolicy(const struct PRESReducedLocatorQosPolicy *self) {
    return (const struct PRESLocatorQosPolicy *)(const void *)self;
}

/** Copies the count and that many locators; the rest of @p dst stays as it is. */
void PRESLocatorQosPolicy_copy(struct PRESLocatorQosPolicy *dst,
                               const struct PRESLocatorQosPolicy *src);

/** 0 when both lists name the same locators in the same order; non-zero when they differ. */
int PRESLocatorQosPolicy_compare(const struct PRESLocatorQosPolicy *left,
                                 const struct PRESLocatorQosPolicy *right);

/**
 * @brief Writes the locators joined by ", "; nothing (an empty text) for an empty list.
 * @return non-zero on success; 0 when the text does not fit @p size bytes with its terminator: then
 * @p buffer holds an empty text.
 */
int PRESLocatorQosPolicy_toString(const struct PRESLocatorQosPolicy *self, char *buffer,
                                  NUV_INT32 size);

#ifdef __cplusplus
}
#endif

#endif
