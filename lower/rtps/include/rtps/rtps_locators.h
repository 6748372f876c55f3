// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_locators.h
 * @brief The locators of one kind that a participant has (DDSI-RTPS 9.3.2.4, 9.4.2.10).
 */
#ifndef RTPS_LOCATORS_H
#define RTPS_LOCATORS_H

#include "netio/netio_locator.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The most locators of one kind that are kept. */
#define RTPS_LOCATORS_MAX 16

struct RTPSLocators {
    NUV_UINT32 count;
    struct NUVNetioLocator locators[RTPS_LOCATORS_MAX]; /**< none after the first @p count counts */
};

/** Which locators are kept where there are more than that, and in which order. */
struct RTPSLocatorRanking {
    /**
     * The higher, the further in front; those of one rank stay in the order in which they came. A
     * negative rank leaves a locator out. Null: all are of one rank.
     */
    NUV_INT32 (*rank)(void *param, const struct NUVNetioLocator *locator);
    void *param;
};

/**
 * @brief Adds a locator by its rank.
 *
 * Left out are those of a transport that there is not or with a port that there is not, those that
 * are there already, and the hindmost where there is no room. What is in front of an address, as of
 * the last four octets of IPv4, becomes zeroes.
 * @param ranking null: all are of one rank.
 */
void RTPSLocators_add(struct RTPSLocators *self, const struct NUVNetioLocator *locator,
                      const struct RTPSLocatorRanking *ranking);

#ifdef __cplusplus
}
#endif

#endif
