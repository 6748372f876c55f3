// SPDX-License-Identifier: Apache-2.0
// Octets put together.
#ifndef RTPS_OUTPUT_H
#define RTPS_OUTPUT_H

#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "rtps/rtps_types.h"

namespace rtps {

/**
 * Writes octets one after the other into room that is lent. What does not fit is counted, and no
 * octet of it written.
 */
class Output {
public:
    /** @param used how many octets there are already, at the beginning of @p room. */
    Output(std::span<NUV_UINT8> room, RTPSByteOrder order, std::size_t used = 0)
        : room_(room), order_(order), size_(used) {}

    /** How many octets there are, or would be if there were room. */
    std::size_t size() const {
        return size_;
    }

    bool fits() const {
        return size_ <= room_.size();
    }

    void octets(std::span<const NUV_UINT8> octets) {
        if (!octets.empty() && fits() && octets.size() <= room_.size() - size_) {
            std::memcpy(room_.data() + size_, octets.data(), octets.size());
        }
        size_ += octets.size();
    }

    void octets(const RTPSOctets &view) {
        octets(std::span(view.data, view.length));
    }

    /** Zeros up to a size that is a multiple of @p alignment. */
    void align(std::size_t alignment) {
        static constexpr std::array<NUV_UINT8, 8> ZEROS{};
        octets(std::span(ZEROS).first((alignment - size_ % alignment) % alignment));
    }

    template <typename Number>
    void number(Number value) {
        write(value, order_);
    }

    void network_number(NUV_UINT32 value) {
        write(value, RTPS_BIG_ENDIAN);
    }

    void wide_number(NUV_INT64 value) {
        write(static_cast<NUV_UINT32>(static_cast<NUV_UINT64>(value) >> 32), order_);
        write(static_cast<NUV_UINT32>(static_cast<NUV_UINT64>(value)), order_);
    }

private:
    template <typename Number>
    void write(Number value, RTPSByteOrder order) {
        std::array<NUV_UINT8, sizeof(Number)> octets_of{};
        auto rest = static_cast<NUV_UINT64>(value);
        for (std::size_t i = 0; i < octets_of.size(); ++i) {
            const std::size_t place = order == RTPS_LITTLE_ENDIAN ? i : octets_of.size() - 1 - i;
            octets_of[place] = static_cast<NUV_UINT8>(rest);
            rest >>= 8;
        }
        octets(std::span<const NUV_UINT8>(octets_of));
    }

    std::span<NUV_UINT8> room_;
    RTPSByteOrder order_;
    std::size_t size_;
};

} // namespace rtps

#endif
