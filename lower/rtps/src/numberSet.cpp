// SPDX-License-Identifier: Apache-2.0
// Which numbers are in a set.
#include "numberSet.h"

namespace {

/** The bit of a number in its word. */
NUV_UINT32 bit_of(NUV_UINT32 offset) {
    return NUV_UINT32{1} << (31 - offset % 32);
}

template <typename Set, typename Number>
int contains(const Set &set, Number number) {
    if (number < set.base || number - set.base >= static_cast<Number>(set.numBits)) {
        return 0;
    }
    const auto offset = static_cast<NUV_UINT32>(number - set.base);
    return static_cast<int>((set.bitmap[offset / 32] & bit_of(offset)) != 0);
}

template <typename Set, typename Number>
int add(Set &set, Number number) {
    if (set.base < 1 || number < set.base || number - set.base >= RTPS_NUMBER_SET_BITS_MAX) {
        return 0;
    }
    const auto offset = static_cast<NUV_UINT32>(number - set.base);
    set.bitmap[offset / 32] |= bit_of(offset);
    set.numBits = std::max(set.numBits, offset + 1);
    return 1;
}

} // namespace

int RTPSSequenceNumberSet_contains(const RTPSSequenceNumberSet *self, RTPSSequenceNumber number) {
    return contains(*self, number);
}

int RTPSSequenceNumberSet_add(RTPSSequenceNumberSet *self, RTPSSequenceNumber number) {
    return add(*self, number);
}

int RTPSFragmentNumberSet_contains(const RTPSFragmentNumberSet *self, RTPSFragmentNumber number) {
    return contains(*self, number);
}

int RTPSFragmentNumberSet_add(RTPSFragmentNumberSet *self, RTPSFragmentNumber number) {
    return add(*self, number);
}
