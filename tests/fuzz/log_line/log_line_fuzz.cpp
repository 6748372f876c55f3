// SPDX-License-Identifier: Apache-2.0
// A message as a line of the log: its time, its level, its function and its text.
#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "dds_c/dds_c_logger.h"
#include "fuzz.h"

namespace {

constexpr NUV_INT64 BILLION = 1'000'000'000;

enum class WhiteSpace { SPACE, OCTETS };

/** The code point in UTF-8. */
std::string encode(std::uint32_t code_point) {
    const auto octet = [](std::uint32_t value) { return static_cast<char>(value); };
    if (code_point < 0x80) {
        return {octet(code_point)};
    }
    if (code_point < 0x800) {
        return {octet(0xC0 | code_point >> 6), octet(0x80 | (code_point & 0x3F))};
    }
    if (code_point < 0x10000) {
        return {octet(0xE0 | code_point >> 12), octet(0x80 | (code_point >> 6 & 0x3F)),
                octet(0x80 | (code_point & 0x3F))};
    }
    return {octet(0xF0 | code_point >> 18), octet(0x80 | (code_point >> 12 & 0x3F)),
            octet(0x80 | (code_point >> 6 & 0x3F)), octet(0x80 | (code_point & 0x3F))};
}

/** The character that a text begins with: the one whose octets these are. -1 when there is none. */
long first_character(std::string_view text) {
    constexpr std::array<std::uint32_t, 4> LEAD_BITS = {0x7F, 0x1F, 0x0F, 0x07};
    for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
        std::uint32_t code_point = LEAD_BITS.at(length - 1) & static_cast<unsigned char>(text[0]);
        for (std::size_t i = 1; i < length; ++i) {
            code_point = code_point << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
        }
        const bool is_scalar =
            code_point <= 0x10FFFF && !(0xD800 <= code_point && code_point <= 0xDFFF);
        if (is_scalar && text.substr(0, length) == encode(code_point)) {
            return static_cast<long>(code_point);
        }
    }
    return -1;
}

/** Controls, and what turns the direction of reading. */
bool is_shown(long character) {
    return character >= 0x20 && !(0x7F <= character && character <= 0x9F) && character != 0x061C &&
           character != 0x200E && character != 0x200F &&
           !(0x202A <= character && character <= 0x202E) &&
           !(0x2066 <= character && character <= 0x2069);
}

/** The text as it should be shown. */
std::string filter(std::string_view text, WhiteSpace white_space) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::string shown;
    while (!text.empty()) {
        const long character = first_character(text);
        const std::size_t length =
            character < 0 ? 1 : encode(static_cast<std::uint32_t>(character)).size();
        if (is_shown(character)) {
            shown += text.substr(0, length);
        } else if ('\t' <= character && character <= '\r' && white_space == WhiteSpace::SPACE) {
            shown += ' ';
        } else {
            for (const char one : text.substr(0, length)) {
                const auto octet = static_cast<unsigned char>(one);
                shown += {'\\', 'x', DIGITS[octet >> 4], DIGITS[octet & 0xF]};
            }
        }
        text.remove_prefix(length);
    }
    return shown;
}

std::string time_text(NUV_INT64 time) {
    const NUV_INT64 seconds = time / BILLION - (time % BILLION < 0 ? 1 : 0);
    const auto whole = static_cast<std::time_t>(seconds);
    std::tm date{};
    gmtime_r(&whole, &date);
    std::array<char, 40> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &date);
    const std::string micros = std::to_string((time % BILLION + BILLION) % BILLION / 1000);
    return std::string(text.data(), length) + "." + std::string(6 - micros.size(), '0') + micros +
           "Z";
}

std::string level_word(NUV_UINT32 level) {
    constexpr std::array<const char *, 5> WORDS = {"FATAL", "ERROR", "WARNING", "STATUS", "DEBUG"};
    for (std::size_t bit = 0; bit < WORDS.size(); ++bit) {
        if ((level >> bit & 1) != 0) {
            return WORDS.at(bit);
        }
    }
    return "-";
}

/** A text in a room of some size: it is cut, between characters, and terminated. */
template <typename Write>
void check_room(const std::string &whole, std::size_t size, Write write) {
    constexpr std::size_t LONGEST_PIECE = 16; // a character of four octets, each as "\x.."
    const auto room = std::make_unique<char[]>(size);
    std::memset(room.get(), 'x', size);
    const std::size_t length = write(room.get(), size);
    if (size == 0) {
        fuzz::must(length == 0, "where there is no room nothing is written");
        return;
    }
    fuzz::must(length < size && std::strlen(room.get()) == length,
               "a line fits its room and is terminated");
    const std::string line(room.get(), length);
    fuzz::must(whole.starts_with(line), "a line is its text, filtered, as far as there is room");
    fuzz::must(line == whole || length + LONGEST_PIECE >= size, "no more is cut than must be");
    fuzz::must(filter(line, WhiteSpace::OCTETS) == line, "nothing in a line steers a terminal");
}

void check_line(const KOLS_Config_LogRecord &record, std::size_t size) {
    std::string body = record.text;
    body.erase(body.find_last_not_of("\r\n") + 1);
    const std::string whole = time_text(record.time) + " " + level_word(record.level) + " - " +
                              filter(record.function, WhiteSpace::SPACE) + ": " +
                              filter(body, WhiteSpace::SPACE);
    const auto write = [&record](char *line, std::size_t room) {
        return KOLS_Config_Logger_format_line(&record, line, room);
    };
    check_room(whole, size, write);
    check_room(whole, whole.size() + 1 + std::strlen(record.text), write);
}

void check_filter(std::string_view text, std::size_t size) {
    const std::string whole = filter(text, WhiteSpace::OCTETS);
    const auto write = [&text](char *line, std::size_t room) {
        return KOLS_Config_Logger_filter_text(text.data(), text.size(), line, room);
    };
    check_room(whole, size, write);
    check_room(whole, 4 * text.size() + 1, [&](char *line, std::size_t room) {
        const std::size_t length = write(line, room);
        fuzz::must(length == whole.size(), "four octets for each are always enough");
        return length;
    });
}

} // namespace

/** "LEVEL SIZE TIME" in a line, the function in another, then the text. */
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    fuzz::Input input(data, size);
    KOLS_Config_LogRecord record{};
    record.level = static_cast<NUV_UINT32>(fuzz::number_in(input.take_to(' ')).value_or(2));
    const auto room =
        static_cast<std::size_t>(fuzz::number_in(input.take_to(' ')).value_or(80)) % 512;
    record.time = fuzz::number_in(input.line()).value_or(0);
    const std::string function(input.line());
    const std::string_view rest = input.rest();
    const std::string text(rest);
    record.function = function.c_str();
    record.text = text.c_str();

    // The message's strings end at a zero; a text to be filtered may have them.
    check_line(record, room);
    check_filter(rest, room);
    fuzz::must(messages.count() == 0, "to format a line says nothing");
    return 0;
}
