// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_productversion.h
 * @brief The version of the library.
 */
#ifndef DDS_C_PRODUCT_VERSION_H
#define DDS_C_PRODUCT_VERSION_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_common.h"

DDS_C_API_BEGIN

/** A version, as 1.0.0.0. */
typedef struct DDS_ProductVersion_t {
    DDS_Octet major;    /**< changes when programs have to change */
    DDS_Octet minor;    /**< changes with what is new */
    DDS_Octet release;  /**< changes with what is corrected */
    DDS_Octet revision; /**< tells builds of one release apart */
} DDS_ProductVersion_t;

/**
 * @brief The version of the library that the program runs with. Thread-safe.
 * @param out not null; else the error is logged and nothing else happens.
 */
void DDS_ProductVersion_get_nuvdds_version(struct DDS_ProductVersion_t *out);

DDS_C_API_END

#endif
