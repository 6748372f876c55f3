// SPDX-License-Identifier: Apache-2.0
// Sets of numbers as submessages carry them.
#ifndef RTPS_NUMBER_SET_INTERNAL_H
#define RTPS_NUMBER_SET_INTERNAL_H

#include <algorithm>
#include <limits>
#include <span>

#include "input.h"
#include "output.h"
#include "rtps/rtps_numberSet.h"

namespace rtps {

inline void base(Input &input, RTPSSequenceNumberSet &set) {
    input.wide_number(set.base);
}

inline void base(Input &input, RTPSFragmentNumberSet &set) {
    input.number(set.base);
}

inline void base(Output &output, const RTPSSequenceNumberSet &set) {
    output.wide_number(set.base);
}

inline void base(Output &output, const RTPSFragmentNumberSet &set) {
    output.number(set.base);
}

template <typename Set>
bool is_valid(const Set &set) {
    using Number = decltype(set.base);
    constexpr Number HIGHEST = std::numeric_limits<Number>::max();

    return set.base >= 1 && set.numBits <= RTPS_NUMBER_SET_BITS_MAX &&
           (set.numBits == 0 || HIGHEST - set.base >= static_cast<Number>(set.numBits - 1));
}

/** How many words of the bitmap are represented; none of a set that is not valid. */
template <typename Set>
std::size_t words_of(const Set &set) {
    return is_valid(set) ? (set.numBits + 31) / 32 : 0;
}

template <typename Set>
void number_set(Input &input, Set &set) {
    base(input, set);
    input.number(set.numBits);
    const std::size_t count = words_of(set);
    for (NUV_UINT32 &word : std::span(set.bitmap).first(count)) {
        input.number(word);
    }
    // The bits after the last one mean nothing.
    if (count != 0 && set.numBits % 32 != 0) {
        set.bitmap[count - 1] &= ~NUV_UINT32{0} << (32 - set.numBits % 32);
    }
}

template <typename Set>
void number_set(Output &output, const Set &set) {
    base(output, set);
    output.number(set.numBits);
    for (const NUV_UINT32 word : std::span(set.bitmap).first(words_of(set))) {
        output.number(word);
    }
}

} // namespace rtps

#endif
