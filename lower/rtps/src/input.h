// SPDX-License-Identifier: Apache-2.0
// Octets taken apart.
#ifndef RTPS_INPUT_H
#define RTPS_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <type_traits>

#include "rtps/rtps_types.h"

namespace rtps {

/**
 * Reads octets one after the other. What is asked for beyond their end is 0 or empty, and
 * remembered, so that it is enough to ask once, after all has been read. What it reads has the name
 * that Output has for it: a layout that is a template is the same in both directions.
 */
class Input {
public:
    Input(RTPSOctets octets, RTPSByteOrder order)
        : rest_(octets.data, octets.length), size_(octets.length), order_(order) {}

    /** Whether everything that was asked for was there. */
    bool is_good() const {
        return is_good_;
    }

    RTPSByteOrder order() const {
        return order_;
    }

    std::size_t left() const {
        return rest_.size();
    }

    RTPSOctets take(std::size_t size) {
        if (size > rest_.size()) {
            is_good_ = false;
            rest_ = rest_.last(0);
            return {rest_.data(), 0};
        }
        const RTPSOctets taken = {rest_.data(), size};
        rest_ = rest_.subspan(size);
        return taken;
    }

    RTPSOctets take_rest() {
        return take(rest_.size());
    }

    /** Passes over what comes before the next multiple of @p alignment, seen from the beginning. */
    void align(std::size_t alignment) {
        take((alignment - (size_ - rest_.size()) % alignment) % alignment);
    }

    void octets(std::span<NUV_UINT8> out) {
        const RTPSOctets taken = take(out.size());
        if (taken.length != 0) {
            std::memcpy(out.data(), taken.data, taken.length);
        } else {
            std::fill(out.begin(), out.end(), NUV_UINT8{0});
        }
    }

    template <typename Number>
    void number(Number &out) {
        out = read<Number>(order_);
    }

    /** A number that is in network byte order whatever the rest is. */
    void network_number(NUV_UINT32 &out) {
        out = read<NUV_UINT32>(RTPS_BIG_ENDIAN);
    }

    /** Its high word comes first in either byte order (DDSI-RTPS 9.3.2.1, SequenceNumber_t). */
    void wide_number(NUV_INT64 &out) {
        const auto high = read<NUV_UINT32>(order_);
        const auto low = read<NUV_UINT32>(order_);
        out = static_cast<NUV_INT64>(NUV_UINT64{high} << 32 | low);
    }

private:
    template <typename Number>
    Number read(RTPSByteOrder order) {
        const RTPSOctets taken = take(sizeof(Number));
        std::make_unsigned_t<Number> value = 0;
        for (std::size_t i = 0; i < taken.length; ++i) {
            const std::size_t place = order == RTPS_BIG_ENDIAN ? i : taken.length - 1 - i;
            value = static_cast<std::make_unsigned_t<Number>>((NUV_UINT64{value} << 8) |
                                                              taken.data[place]);
        }
        return static_cast<Number>(value);
    }

    std::span<const NUV_UINT8> rest_;
    std::size_t size_;
    RTPSByteOrder order_;
    bool is_good_ = true;
};

} // namespace rtps

#endif
