// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets of the codec share: octets that begin at any address, views within them.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <vector>

#include "fuzz.h"
#include "rtps/rtps_types.h"

namespace fuzz {

/** A copy of octets that begins at an odd address and ends where its block of the heap does. */
class Unaligned {
public:
    explicit Unaligned(std::span<const std::uint8_t> octets) : block_(octets.size() + 1) {
        std::memcpy(block_.data() + 1, octets.data(), octets.size());
    }
    RTPSOctets view() const {
        return {block_.data() + 1, block_.size() - 1};
    }

private:
    std::vector<std::uint8_t> block_;
};

inline bool is_within(const void *data, std::size_t size, const RTPSOctets &whole) {
    const auto *const begin = static_cast<const std::uint8_t *>(data);
    const std::less_equal<> comes_before;
    return size == 0 || (comes_before(whole.data, begin) &&
                         comes_before(begin + size, whole.data + whole.length));
}

inline void must_be_within(const RTPSOctets &view, const RTPSOctets &whole) {
    must(is_within(view.data, view.length, whole), "a view lies within what it was read from");
}

/** A text and its terminator; one without characters may be nobody's. */
inline void must_be_within(const RTPSText &text, const RTPSOctets &whole) {
    if (text.length != 0) {
        must(is_within(text.text, text.length + std::size_t{1}, whole) &&
                 std::strlen(text.text) == text.length,
             "a text ends with its terminator, within what it was read from");
    }
}

} // namespace fuzz
