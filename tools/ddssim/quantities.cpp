// SPDX-License-Identifier: Apache-2.0
#include "quantities.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include "numbers.h"
#include "refusal.h"

namespace ddssim {

namespace {

struct Unit {
    const char *name;
    std::int64_t size;
};

constexpr std::int64_t MINUTE = 60 * simnet::SECOND;
constexpr std::array TIMES = {Unit{"ns", 1},
                              Unit{"us", simnet::MICROSECOND},
                              Unit{"ms", simnet::MILLISECOND},
                              Unit{"s", simnet::SECOND},
                              Unit{"min", MINUTE},
                              Unit{"h", 60 * MINUTE}};
constexpr std::array RATES = {Unit{"bit/s", 1}, Unit{"kbit/s", 1'000}, Unit{"Mbit/s", 1'000'000},
                              Unit{"Gbit/s", 1'000'000'000}};
constexpr const char *UNLIMITED = "unlimited";
constexpr double RATE_MOST = 1e12;
constexpr double PERCENT = 100;

/** A number and the word behind it, whatever blanks are between them. */
struct Quantity {
    std::optional<double> number;
    std::string_view unit;
};

Quantity take_apart(std::string_view text) {
    const std::size_t end = std::min(text.find_first_not_of("+-.0123456789eE"), text.size());
    const std::size_t unit = std::min(text.find_first_not_of(' ', end), text.size());

    return {to_number<double>(text.substr(0, end)), text.substr(unit)};
}

template <std::size_t COUNT>
std::optional<std::int64_t> size_of(const std::array<Unit, COUNT> &units, std::string_view name) {
    for (const Unit &unit : units) {
        if (name == unit.name) {
            return unit.size;
        }
    }
    return std::nullopt;
}

/** The shortest text that is read back as the same. */
std::string shortest(double number) {
    std::array<char, 32> text{};
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general);

    return {text.data(), error == std::errc() ? end : text.data()};
}

/** In the largest unit of which it is a whole number. */
template <std::size_t COUNT>
std::string in_units(const std::array<Unit, COUNT> &units, std::int64_t value) {
    const Unit *best = &units.front();

    for (const Unit &unit : units) {
        if (value % unit.size == 0 && value != 0) {
            best = &unit;
        }
    }
    return std::to_string(value / best->size) + " " + (value == 0 ? "s" : best->name);
}

} // namespace

std::int64_t to_count(const std::string &text, Range<std::int64_t> range) {
    const auto number = to_number<std::int64_t>(text);

    if (!number || !range.contains(*number)) {
        throw Refusal(text, "a whole number from " + std::to_string(range.least) + " to " +
                                std::to_string(range.most));
    }
    return *number;
}

simnet::Time to_time(const std::string &text, Range<simnet::Time> range) {
    const Quantity quantity = take_apart(text);
    const auto size = quantity.unit.empty() ? simnet::SECOND : size_of(TIMES, quantity.unit);
    const double time =
        quantity.number && size ? std::round(*quantity.number * static_cast<double>(*size)) : -1;

    // What is compared as it is may be no number at all, or more than there are nanoseconds.
    if (!(time >= static_cast<double>(range.least) && time <= static_cast<double>(range.most))) {
        throw Refusal(text, "a time from " + text_of_time(range.least) + " to " +
                                text_of_time(range.most) + ", with ns, us, ms, s, min or h");
    }
    return static_cast<simnet::Time>(time);
}

double to_share(const std::string &text) {
    const Quantity quantity = take_apart(text);

    if (!quantity.number || quantity.unit != "%" ||
        !(*quantity.number >= 0 && *quantity.number <= PERCENT)) {
        throw Refusal(text, "a share from 0% to 100%");
    }
    return *quantity.number / PERCENT;
}

double to_factor(const std::string &text, Range<double> range) {
    const auto number = to_number<double>(text);

    if (!number || !range.contains(*number)) {
        throw Refusal(text,
                      "a number from " + shortest(range.least) + " to " + shortest(range.most));
    }
    return *number;
}

std::uint64_t to_rate(const std::string &text) {
    const Quantity quantity = take_apart(text);
    const auto size = size_of(RATES, quantity.unit);
    const double rate =
        quantity.number && size ? std::round(*quantity.number * static_cast<double>(*size)) : 0;

    if (text == UNLIMITED) {
        return 0;
    }
    if (!(rate >= 1 && rate <= RATE_MOST)) {
        throw Refusal(text, "'unlimited' or a rate from 1 bit/s to 1000 Gbit/s, with bit/s, "
                            "kbit/s, Mbit/s or Gbit/s");
    }
    return static_cast<std::uint64_t>(rate);
}

bool to_choice(const std::string &text) {
    if (text != "yes" && text != "no") {
        throw Refusal(text, "'yes' or 'no'");
    }
    return text == "yes";
}

Range<std::int64_t> to_numbers(const std::string &text, Range<std::int64_t> range) {
    const std::size_t dash = text.find('-');
    const auto least = to_number<std::int64_t>(std::string_view(text).substr(0, dash));
    const auto most = dash == std::string::npos
                          ? least
                          : to_number<std::int64_t>(std::string_view(text).substr(dash + 1));

    if (!least || !most || *least < range.least || *most > range.most || *most < *least) {
        throw Refusal(text, "a number N or a range FIRST-LAST, from " +
                                std::to_string(range.least) + " to " + std::to_string(range.most));
    }
    return {*least, *most};
}

std::string text_of_time(simnet::Time time) {
    return in_units(TIMES, time);
}

std::string text_of_share(double share) {
    return shortest(share * PERCENT) + "%";
}

std::string text_of_factor(double factor) {
    return shortest(factor);
}

std::string text_of_rate(std::uint64_t rate) {
    return rate == 0 ? UNLIMITED : in_units(RATES, static_cast<std::int64_t>(rate));
}

std::string text_of_numbers(const Range<std::int64_t> &numbers) {
    const std::string least = std::to_string(numbers.least);

    return numbers.least == numbers.most ? least : least + "-" + std::to_string(numbers.most);
}

} // namespace ddssim
