// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_propertyList.h
 * @brief The properties that a participant announces: the value of PID_PROPERTY_LIST.
 */
#ifndef RTPS_PROPERTY_LIST_H
#define RTPS_PROPERTY_LIST_H

#include "rtps/rtps_refusal.h"
#include "rtps/rtps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Properties as they are represented. It has been read or written by the functions below. */
struct RTPSPropertyList {
    NUV_UINT32 count;
    enum RTPSByteOrder byteOrder;
    struct RTPSOctets octets; /**< empty: no properties */
};

struct RTPSProperty {
    struct RTPSText name;
    struct RTPSText value;
};

/**
 * @brief Takes octets for a property list after a look at the whole of it.
 *
 * What follows the properties, as those with binary values may, is left out.
 * @param out written on success only.
 */
enum RTPSRefusal RTPSPropertyList_read(struct RTPSOctets octets, enum RTPSByteOrder byteOrder,
                                       struct RTPSPropertyList *out);

/** Goes through a property list, which must stay as it is meanwhile. */
struct RTPSPropertyReader {
    NUV_UINT32 left; /**< how many there are still to come */
    struct RTPSPropertyList list;
    size_t position; /**< where in its octets the next one is, but for alignment */
};

void RTPSPropertyReader_initialize(struct RTPSPropertyReader *self,
                                   const struct RTPSPropertyList *list);

/** The next property: non-zero, or 0 at the end. */
int RTPSPropertyReader_next(struct RTPSPropertyReader *self, struct RTPSProperty *out);

/** Puts a property list together in room that is lent. What does not fit is only counted. */
struct RTPSPropertyWriter {
    NUV_UINT8 *buffer; /**< may be null when the capacity is 0 */
    size_t capacity;   /**< octets */
    enum RTPSByteOrder byteOrder;
    size_t length; /**< octets of the list, of which as many as fit are there */
    NUV_UINT32 count;
};

/** Begins a list. @p buffer must stay as long as the writer and the list. */
void RTPSPropertyWriter_initialize(struct RTPSPropertyWriter *self, NUV_UINT8 *buffer,
                                   size_t capacity, enum RTPSByteOrder byteOrder);

void RTPSPropertyWriter_add(struct RTPSPropertyWriter *self, const struct RTPSProperty *property);

/**
 * @brief Ends the list.
 * @param out the list, which lies in the buffer; written when it fits.
 * @return the octets it has; when they are more than there is room for there is no list.
 */
size_t RTPSPropertyWriter_finish(struct RTPSPropertyWriter *self, struct RTPSPropertyList *out);

#ifdef __cplusplus
}
#endif

#endif
