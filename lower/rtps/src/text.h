// SPDX-License-Identifier: Apache-2.0
// Texts as parameters carry them: their length with the terminator, then the characters and it.
#ifndef RTPS_TEXT_H
#define RTPS_TEXT_H

#include <cstring>

#include "input.h"
#include "output.h"
#include "rtps/rtps_refusal.h"

namespace rtps {

/** A text ends at its first terminator. The length 0, which some give an empty one, is fine too. */
inline RTPSRefusal text(Input &input, RTPSText &out) {
    NUV_UINT32 size = 0;
    input.number(size);
    const RTPSOctets characters = input.take(size);
    if (!input.is_good()) {
        return RTPS_REFUSED_LENGTH;
    }
    if (size == 0) {
        out = {"", 0};
        return RTPS_ACCEPTED;
    }
    const auto *const begin = reinterpret_cast<const char *>(characters.data);
    const auto *const end = static_cast<const char *>(std::memchr(begin, '\0', size));
    if (end == nullptr) {
        return RTPS_REFUSED_TEXT;
    }
    out = {begin, static_cast<NUV_UINT32>(end - begin)};
    return RTPS_ACCEPTED;
}

inline void text(Output &output, const RTPSText &it) {
    constexpr NUV_UINT8 TERMINATOR = 0;

    output.number(it.length + 1);
    output.octets(RTPSOctets{reinterpret_cast<const NUV_UINT8 *>(it.text), it.length});
    output.number(TERMINATOR);
}

} // namespace rtps

#endif
