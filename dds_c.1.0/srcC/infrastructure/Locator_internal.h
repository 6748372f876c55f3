// SPDX-License-Identifier: Apache-2.0
/**
 * @file Locator_internal.h
 * @brief Public locators and those of the lower layers. Thread-safe; allocates nothing.
 */
#ifndef INFRASTRUCTURE_LOCATOR_INTERNAL_H
#define INFRASTRUCTURE_LOCATOR_INTERNAL_H

#include "dds_c/dds_c_locator.h"
#include "netio/netio_locator.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Takes class, address and port of a locator over. */
void DDS_Locator_from_netio_locatorI(struct DDS_Locator_t *self,
                                     const struct NUVNetioLocator *locator);

#ifdef __cplusplus
}
#endif

#endif
