// SPDX-License-Identifier: Apache-2.0
// Octets as tests write and show them.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rtps/rtps_types.h"

/** The octets that a text has in hexadecimal; what is no such digit only separates. */
inline std::vector<NUV_UINT8> octets(std::string_view text) {
    std::vector<NUV_UINT8> result;
    std::string digits;
    for (const char character : text) {
        if (std::isxdigit(static_cast<unsigned char>(character)) != 0) {
            digits += character;
        }
        if (digits.size() == 2) {
            result.push_back(static_cast<NUV_UINT8>(std::stoi(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return result;
}

inline std::string hex(std::span<const NUV_UINT8> octets) {
    std::string text;
    for (const NUV_UINT8 octet : octets) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(octet));
        text += digits;
    }
    return text;
}

inline std::string hex(const RTPSOctets &octets) {
    return hex(std::span(octets.data, octets.length));
}

/** The same digits without what separates them. */
inline std::string compact(std::string_view text) {
    return hex(octets(text));
}

/**
 * Octets in a block of the heap that has this size and not one more, so that an instrumented test
 * sees who reads or writes past them.
 */
class Block {
public:
    explicit Block(std::span<const NUV_UINT8> contents)
        : size_(contents.size()), octets_(new NUV_UINT8[contents.size()]) {
        std::copy(contents.begin(), contents.end(), octets_.get());
    }
    explicit Block(std::string_view text) : Block(octets(text)) {}
    explicit Block(std::size_t size) : Block(std::vector<NUV_UINT8>(size, 0xEE)) {}

    NUV_UINT8 *data() {
        return octets_.get();
    }
    std::size_t size() const {
        return size_;
    }
    RTPSOctets view() const {
        return {octets_.get(), size_};
    }

private:
    std::size_t size_;
    std::unique_ptr<NUV_UINT8[]> octets_;
};
