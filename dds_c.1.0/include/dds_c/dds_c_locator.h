// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_locator.h
 * @brief Locators: where a participant receives (DDSI-RTPS 9.3.2, Locator_t).
 */
#ifndef DDS_C_LOCATOR_H
#define DDS_C_LOCATOR_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_sequence.h"

DDS_C_API_BEGIN

#define DDS_LOCATOR_KIND_INVALID (-1)
#define DDS_LOCATOR_KIND_UDPv4 1
#define DDS_LOCATOR_KIND_UDPv6 2

#define DDS_LOCATOR_ADDRESS_LENGTH 16

/** A transport, an address of it and a port. */
typedef struct DDS_Locator_t {
    DDS_Long kind;         /**< one of DDS_LOCATOR_KIND_* */
    DDS_UnsignedLong port; /**< 0 to 65535 for the UDP kinds */
    /** In network byte order; an IPv4 address is in the last four octets. */
    DDS_Octet address[DDS_LOCATOR_ADDRESS_LENGTH];
} DDS_Locator_t;

/** The initializer of a locator that is none. */
#define DDS_LOCATOR_INVALID                                                                        \
    {                                                                                              \
        DDS_LOCATOR_KIND_INVALID, 0u, {                                                            \
            0u                                                                                     \
        }                                                                                          \
    }

/** Room for the longest text of a locator, terminator included. */
#define DDS_LOCATOR_STRING_SIZE 72

/** A sequence of locators. */
DDS_SEQUENCE(DDS_LocatorSeq, struct DDS_Locator_t);

/** True when kind, port and address are the same. Null is an error, which is logged. */
DDS_Boolean DDS_Locator_is_equal(const struct DDS_Locator_t *left,
                                 const struct DDS_Locator_t *right);

/**
 * @brief Writes a locator as "udpv4://192.0.2.2:7410" or "udpv6://[fd00::2]:7410"; another kind is
 * written as its number and the address in hexadecimal. Thread-safe, allocates nothing.
 * @param locator not null.
 * @param buffer  room for @p size characters, not null; DDS_LOCATOR_STRING_SIZE is always enough.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER for a null argument or a port above 0x7FFFFFFF;
 * DDS_RETCODE_OUT_OF_RESOURCES when the text does not fit. A failure is logged, and nothing is
 * written.
 */
DDS_ReturnCode_t DDS_Locator_to_string(const struct DDS_Locator_t *locator, char *buffer,
                                       size_t size);

DDS_C_API_END

#endif
