// SPDX-License-Identifier: Apache-2.0
// Numbers from text.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

/** The number that is the whole of @p text, if it is one; @p format is what from_chars takes. */
template <class Number, class... Format>
std::optional<Number> to_number(std::string_view text, Format... format) {
    const char *const end = text.data() + text.size();
    Number number = 0;
    const auto [rest, error] = std::from_chars(text.data(), end, number, format...);

    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}
