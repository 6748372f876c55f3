// SPDX-License-Identifier: Apache-2.0
// The text of a boolean, a number or a duration, as in the value of a property.
#include <algorithm>
#include <limits>
#include <optional>
#include <string>

#include "fuzz.h"
#include "osapi/osapi_ntptime.h"
#include "reda/reda_string.h"

namespace {

constexpr long long TOO_LARGE = std::numeric_limits<NUV_UINT32>::max() + 1LL;

bool is_digits(const std::string &text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/** The number that digits make, no larger than TOO_LARGE. */
std::optional<long long> read_digits(const std::string &text) {
    if (!is_digits(text)) {
        return std::nullopt;
    }
    long long value = 0;
    for (const char digit : text) {
        value = std::min(10 * value + (digit - '0'), TOO_LARGE);
    }
    return value;
}

std::optional<int> read_boolean(std::string text) {
    for (char &character : text) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character | 0x20);
        }
    }
    if (text == "1" || text == "true" || text == "yes" || text == "on") {
        return 1;
    }
    if (text == "0" || text == "false" || text == "no" || text == "off") {
        return 0;
    }
    return std::nullopt;
}

template <typename Number>
std::optional<Number> within_range(std::optional<long long> value) {
    if (!value || *value < std::numeric_limits<Number>::min() ||
        *value > std::numeric_limits<Number>::max()) {
        return std::nullopt;
    }
    return static_cast<Number>(*value);
}

std::optional<NUV_INT32> read_long(const std::string &text) {
    const bool has_sign = text.starts_with('+') || text.starts_with('-');
    auto value = read_digits(text.substr(has_sign ? 1 : 0));
    if (value && text.starts_with('-')) {
        value = -*value;
    }
    return within_range<NUV_INT32>(value);
}

std::optional<NUV_UINT32> read_unsigned_long(const std::string &text) {
    return within_range<NUV_UINT32>(read_digits(text));
}

/** Decimal digits after the point, doubled 32 times: what is carried over is the fraction. */
std::uint64_t read_fraction(std::string digits) {
    std::uint64_t fraction = 0;
    for (int bit = 0; bit < 33; ++bit) {
        int carry = 0;
        for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
            const int doubled = 2 * (*digit - '0') + carry;
            *digit = static_cast<char>('0' + doubled % 10);
            carry = doubled / 10;
        }
        fraction = 2 * fraction + static_cast<unsigned>(carry);
    }
    return (fraction + 1) / 2; // of the 33rd bit
}

/** A duration in units of 2^-32 s, the nearest to its text. */
std::optional<std::uint64_t> read_duration(const std::string &text) {
    const std::size_t point = text.find('.');
    const auto seconds = read_unsigned_long(text.substr(0, point));
    if (!seconds) {
        return std::nullopt;
    }
    // From there on all are infinite; the largest would leave no room for a fraction.
    const std::uint64_t whole = std::min(*seconds, 0x80000000u);
    if (point == std::string::npos) {
        return whole << 32;
    }
    const std::string digits = text.substr(point + 1);
    if (!is_digits(digits)) {
        return std::nullopt;
    }
    return (whole << 32) + read_fraction(digits);
}

template <typename Number>
void check(const std::string &text, int (*parse)(const char *, Number *),
           const std::optional<Number> &expected) {
    constexpr Number UNTOUCHED = 0x5A5A5A;
    Number number = UNTOUCHED;
    const bool is_taken = parse(text.c_str(), &number) != 0;
    fuzz::must(is_taken == expected.has_value(), "numbers within range are taken, nothing else");
    fuzz::must(number == expected.value_or(UNTOUCHED),
               "a number is what its text says; a refused text leaves it as it was");
}

void check_duration(const std::string &text) {
    constexpr std::uint64_t INFINITE = std::uint64_t{0x7FFFFFFF} << 32;
    // Of the digits after the point that count, and whether any is left out.
    constexpr std::size_t COUNTED_DIGITS = 18;
    const std::size_t point = std::min(text.find('.'), text.size());
    const std::uint64_t tolerance = text.size() - point > COUNTED_DIGITS + 1 ? 1 : 0;

    NUVNtpTime time = {0x5A5A5A, 0xA5A5A5};
    const bool is_taken = REDAString_strToNtpTime(text.c_str(), &time) != 0;
    if (text == "infinite") {
        fuzz::must(is_taken && NUVNtpTime_isInfinite(&time) != 0, "infinite is a duration");
        return;
    }
    const auto expected = read_duration(text);
    if (!is_taken) {
        fuzz::must(!expected || *expected + tolerance >= INFINITE,
                   "every duration below the infinite one is taken");
        fuzz::must(time.sec == 0x5A5A5A && time.frac == 0xA5A5A5,
                   "a refused text leaves the duration as it was");
        return;
    }
    const std::uint64_t value =
        (std::uint64_t{static_cast<NUV_UINT32>(time.sec)} << 32) + time.frac;
    fuzz::must(expected && value < INFINITE, "seconds with a fraction are taken, nothing else");
    fuzz::must(value <= *expected && *expected - value <= tolerance,
               "a duration is the nearest to its text");

    // In nanoseconds the very longest ones round up to infinite.
    const NUV_INT64 nanoseconds = NUVNtpTime_toNanoseconds(&time);
    const NUVNtpTime again = NUVNtpTime_fromNanoseconds(nanoseconds);
    fuzz::must(nanoseconds / 1'000'000'000 == 0x7FFFFFFF
                   ? NUVNtpTime_isInfinite(&again) != 0
                   : NUVNtpTime_toNanoseconds(&again) == nanoseconds,
               "a duration in nanoseconds stays the same there and back");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    const std::string text = fuzz::text_of(data, size);

    check<int>(text, REDAString_strToBoolean, read_boolean(text));
    check<NUV_INT32>(text, REDAString_strToLong, read_long(text));
    check<NUV_UINT32>(text, REDAString_strToUnsignedLong, read_unsigned_long(text));
    check_duration(text);
    fuzz::must(messages.count() == 0, "reading a value says nothing");
    return 0;
}
