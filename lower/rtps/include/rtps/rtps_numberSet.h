// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_numberSet.h
 * @brief Sequence numbers, fragment numbers and sets of them (DDSI-RTPS 9.4.2.5 to 9.4.2.8).
 */
#ifndef RTPS_NUMBER_SET_H
#define RTPS_NUMBER_SET_H

#include "osapi/osapi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The number of a change; those of a writer begin at 1. */
typedef NUV_INT64 RTPSSequenceNumber;
/** The number of a fragment; those of a sample begin at 1. */
typedef NUV_UINT32 RTPSFragmentNumber;

/** SEQUENCENUMBER_UNKNOWN: the high word is -1, the low one 0. */
#define RTPS_SEQUENCE_NUMBER_UNKNOWN (-4294967296LL)

/** The most numbers from the lowest to the highest of a set. */
#define RTPS_NUMBER_SET_BITS_MAX 256
#define RTPS_NUMBER_SET_WORDS_MAX 8

/**
 * @brief Sequence numbers from @p base on.
 *
 * It is valid when the base is 1 or more, there are RTPS_NUMBER_SET_BITS_MAX bits at most, and none
 * of them is for a number that there is not.
 */
struct RTPSSequenceNumberSet {
    RTPSSequenceNumber base;
    NUV_UINT32 numBits;
    /** Bit 31 of the first word is for the base, bit 30 for the number after it, and so on. */
    NUV_UINT32 bitmap[RTPS_NUMBER_SET_WORDS_MAX];
};

/** Fragment numbers from @p base on; the rest is as for sequence numbers. */
struct RTPSFragmentNumberSet {
    RTPSFragmentNumber base;
    NUV_UINT32 numBits;
    NUV_UINT32 bitmap[RTPS_NUMBER_SET_WORDS_MAX];
};

/** Non-zero when the valid set has @p number. */
int RTPSSequenceNumberSet_contains(const struct RTPSSequenceNumberSet *self,
                                   RTPSSequenceNumber number);

/**
 * @brief Adds a number, and bits up to it where there are fewer.
 * @return non-zero on success, 0 when it is below the base or too far above; then nothing changes.
 */
int RTPSSequenceNumberSet_add(struct RTPSSequenceNumberSet *self, RTPSSequenceNumber number);

/** As RTPSSequenceNumberSet_contains. */
int RTPSFragmentNumberSet_contains(const struct RTPSFragmentNumberSet *self,
                                   RTPSFragmentNumber number);

/** As RTPSSequenceNumberSet_add. */
int RTPSFragmentNumberSet_add(struct RTPSFragmentNumberSet *self, RTPSFragmentNumber number);

#ifdef __cplusplus
}
#endif

#endif
