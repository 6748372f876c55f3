// SPDX-License-Identifier: Apache-2.0
// The filter: what a terminal shows, and does not obey.
#include "printable.h"

#include <cstring>

#include "dds_c/dds_c_logger.h"
#include "log_internal.h"

namespace kols {

namespace {

struct Character {
    char32_t code_point;
    size_t length; // in octets; 0 when there is none
};

bool is_within(char32_t code_point, char32_t first, char32_t last) {
    return code_point >= first && code_point <= last;
}

/** The character that a text begins with, if it begins with one in well-formed UTF-8. */
Character first_character(std::string_view text) {
    struct Form {
        unsigned char mask;
        unsigned char lead;
        char32_t lowest; // what is below has a shorter form
    };
    static constexpr Form FORMS[] = {
        {0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
    const auto lead = static_cast<unsigned char>(text.front());
    size_t length = 0;

    for (const Form &form : FORMS) {
        ++length;
        if ((lead & form.mask) != form.lead) {
            continue;
        }
        if (text.size() < length) {
            return {0, 0};
        }
        char32_t code_point = lead & static_cast<unsigned char>(~form.mask);
        for (const char character : text.substr(1, length - 1)) {
            const auto octet = static_cast<unsigned char>(character);
            if ((octet & 0xC0) != 0x80) {
                return {0, 0};
            }
            code_point = (code_point << 6) | (octet & 0x3Fu);
        }
        const bool is_surrogate = is_within(code_point, 0xD800, 0xDFFF);
        if (code_point < form.lowest || is_surrogate || code_point > 0x10FFFF) {
            return {0, 0};
        }
        return {code_point, length};
    }
    return {0, 0};
}

/** Controls of a terminal, and those that reorder what it shows so that it reads as another text.
 */
bool is_control(char32_t code_point) {
    return code_point < 0x20 || is_within(code_point, 0x7F, 0x9F) || code_point == 0x061C ||
           is_within(code_point, 0x200E, 0x200F) || is_within(code_point, 0x202A, 0x202E) ||
           is_within(code_point, 0x2066, 0x2069);
}

bool is_white_space(char32_t code_point) {
    return is_within(code_point, '\t', '\r');
}

} // namespace

void PrintableText::append(std::string_view text, WhiteSpace white_space) {
    while (!text.empty() && !is_full_) {
        const Character character = first_character(text);
        // Of what is no character, octet by octet: the next one may begin one.
        const size_t length = character.length != 0 ? character.length : 1;
        const std::string_view octets = text.substr(0, length);

        if (character.length != 0 && !is_control(character.code_point)) {
            is_full_ = !append_whole(octets);
        } else if (character.length != 0 && is_white_space(character.code_point) &&
                   white_space == WhiteSpace::SPACE) {
            is_full_ = !append_whole(" ");
        } else {
            is_full_ = !append_octets(octets);
        }
        text.remove_prefix(length);
    }
}

bool PrintableText::append_whole(std::string_view piece) {
    if (piece.size() > room_ - length_) {
        return false;
    }
    std::memcpy(characters_ + length_, piece.data(), piece.size());
    length_ += piece.size();
    characters_[length_] = '\0';
    return true;
}

bool PrintableText::append_octets(std::string_view octets) {
    static constexpr char DIGITS[] = "0123456789abcdef";

    for (const char character : octets) {
        const auto octet = static_cast<unsigned char>(character);
        const char shown[] = {'\\', 'x', DIGITS[octet >> 4], DIGITS[octet & 0xF]};
        if (!append_whole({shown, sizeof shown})) {
            return false;
        }
    }
    return true;
}

} // namespace kols

size_t KOLS_Config_Logger_filter_text(const char *text, size_t length, char *printable,
                                      size_t size) {
    if (size == 0 || KOLSLog_isNull(printable)) {
        return 0;
    }
    kols::PrintableText filtered(printable, size);
    if (!KOLSLog_isNull(text)) {
        filtered.append({text, length}, kols::WhiteSpace::OCTETS);
    }
    return filtered.length();
}
