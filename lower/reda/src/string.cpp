// SPDX-License-Identifier: Apache-2.0
// Strict parsers, independent of the locale.
#include "reda/reda_string.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace {

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

char to_lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A'))
                                                : character;
}

bool equal_in_any_case(std::string_view text, std::string_view lower) {
    if (text.size() != lower.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (to_lower(text[i]) != lower[i]) {
            return false;
        }
    }
    return true;
}

/** Parses the whole text as a decimal number, with a minus sign when the type has one. */
template <typename Number>
bool parse_whole(std::string_view text, Number *out) {
    Number value{};
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end) {
        return false;
    }
    *out = value;
    return true;
}

/** The number that @p count digits of a text make from @p first on; missing digits count as 0. */
NUV_UINT64 read_digits(std::string_view digits, std::size_t first, std::size_t count) {
    NUV_UINT64 value = 0;
    for (std::size_t i = first; i < first + count; ++i) {
        value = 10 * value + (i < digits.size() ? static_cast<NUV_UINT64>(digits[i] - '0') : 0);
    }
    return value;
}

/**
 * The digits after a decimal point in units of 2^-32, rounded to the nearest: up to 2^32 itself.
 * 18 digits count; the others are too small to matter.
 */
NUV_UINT64 to_ntp_fraction(std::string_view digits) {
    constexpr NUV_UINT64 BILLION = 1'000'000'000;
    const NUV_UINT64 billionths = read_digits(digits, 0, 9);
    const NUV_UINT64 their_billionths = read_digits(digits, 9, 9);
    return ((billionths << 32) + (their_billionths << 32) / BILLION + BILLION / 2) / BILLION;
}

bool parse_fraction(std::string_view digits, NUV_UINT64 *out) {
    if (digits.empty()) {
        return false;
    }
    for (const char character : digits) {
        if (!is_digit(character)) {
            return false;
        }
    }
    *out = to_ntp_fraction(digits);
    return true;
}

} // namespace

int REDAString_strToBoolean(const char *text, int *out) {
    if (text == nullptr) {
        return 0;
    }
    for (const std::string_view word : {"1", "true", "yes", "on"}) {
        if (equal_in_any_case(text, word)) {
            *out = 1;
            return 1;
        }
    }
    for (const std::string_view word : {"0", "false", "no", "off"}) {
        if (equal_in_any_case(text, word)) {
            *out = 0;
            return 1;
        }
    }
    return 0;
}

int REDAString_strToLong(const char *text, NUV_INT32 *out) {
    if (text == nullptr) {
        return 0;
    }
    std::string_view number = text;
    if (number.starts_with('+')) {
        number.remove_prefix(1);
        if (number.starts_with('-')) {
            return 0;
        }
    }
    return static_cast<int>(parse_whole(number, out));
}

int REDAString_strToUnsignedLong(const char *text, NUV_UINT32 *out) {
    return static_cast<int>(text != nullptr && parse_whole(std::string_view(text), out));
}

int REDAString_strToNtpTime(const char *text, NUVNtpTime *out) {
    constexpr NUV_UINT64 INFINITE_SEC = 0x7FFFFFFF;
    if (text == nullptr) {
        return 0;
    }
    const std::string_view whole = text;
    if (whole == "infinite") {
        *out = NUV_NTP_TIME_INFINITE;
        return 1;
    }
    const std::size_t point = whole.find('.');
    NUV_UINT32 sec = 0;
    NUV_UINT64 frac = 0;
    if (!parse_whole(whole.substr(0, point), &sec)) {
        return 0;
    }
    if (point != std::string_view::npos && !parse_fraction(whole.substr(point + 1), &frac)) {
        return 0;
    }
    const NUV_UINT64 carried_sec = NUV_UINT64{sec} + (frac >> 32);
    if (carried_sec >= INFINITE_SEC) {
        return 0; // it would come out as infinite
    }
    *out = {static_cast<NUV_INT32>(carried_sec), static_cast<NUV_UINT32>(frac)};
    return 1;
}
