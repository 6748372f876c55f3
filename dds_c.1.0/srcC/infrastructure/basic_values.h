// SPDX-License-Identifier: Apache-2.0
/**
 * @file basic_values.h
 * @brief The fields of durations and locators, and the elements of sequences of basic types.
 */
#ifndef INFRASTRUCTURE_BASIC_VALUES_H
#define INFRASTRUCTURE_BASIC_VALUES_H

#include "dds_c/dds_c_locator.h"
#include "infrastructure/value.h"

namespace dds::value {

DDS_ELEMENT(DDS_StringSeq, char *);
DDS_ELEMENT(DDS_OctetSeq, DDS_Octet);
DDS_ELEMENT(DDS_LocatorSeq, struct DDS_Locator_t);

DDS_RECORD(DDS_Duration_t, DDS_FIELD(sec), DDS_FIELD(nanosec));

DDS_RECORD(DDS_Locator_t, DDS_FIELD(kind), DDS_FIELD(port), DDS_FIELD(address));

/** All infinite durations are the same; only one of their spellings is read back. */
template <>
inline bool is_equal(const DDS_Duration_t &left, const DDS_Duration_t &right) {
    const DDS_Boolean is_infinite = DDS_Duration_is_infinite(&left);
    return is_infinite == DDS_Duration_is_infinite(&right) &&
           (is_infinite || (left.sec == right.sec && left.nanosec == right.nanosec));
}

} // namespace dds::value

#endif
