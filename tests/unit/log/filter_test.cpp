// SPDX-License-Identifier: Apache-2.0
// The filter before everything that people read.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dds_c/dds_c_logger.h"

namespace {

std::string filtered(const std::string &text) {
    std::string room(4 * text.size() + 1, '#');
    const std::size_t length =
        KOLS_Config_Logger_filter_text(text.data(), text.size(), room.data(), room.size());

    EXPECT_LT(length, room.size());
    EXPECT_EQ(room[length], '\0');
    return room.substr(0, length);
}

/** The octets of a text as the filter shows them. */
std::string octets(const std::string &text) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string shown;

    for (const char character : text) {
        const auto octet = static_cast<unsigned char>(character);

        shown += {'\\', 'x', DIGITS[octet >> 4], DIGITS[octet & 0xF]};
    }
    return shown;
}

/** A code point below 0x10000, which may be one that no text can have. */
std::string encoded(unsigned code_point) {
    const auto last = [&](unsigned shift) {
        return static_cast<char>(0x80 | ((code_point >> shift) & 0x3F));
    };

    if (code_point < 0x80) {
        return {static_cast<char>(code_point)};
    }
    if (code_point < 0x800) {
        return {static_cast<char>(0xC0 | (code_point >> 6)), last(0)};
    }
    return {static_cast<char>(0xE0 | (code_point >> 12)), last(6), last(0)};
}

bool is_to_be_shown_as_octets(unsigned code_point) {
    const auto within = [&](unsigned first, unsigned last) {
        return first <= code_point && code_point <= last;
    };

    return within(0, 0x1F) || within(0x7F, 0x9F) || code_point == 0x61C || within(0x200E, 0x200F) ||
           within(0x202A, 0x202E) || within(0x2066, 0x2069) || within(0xD800, 0xDFFF);
}

TEST(Filter, ShowsControlsAsOctetsAndKeepsAllOtherCharacters) {
    for (unsigned code_point = 0; code_point <= 0xFFFF; ++code_point) {
        const std::string text = encoded(code_point);

        ASSERT_EQ(filtered("a" + text + "b"),
                  "a" + (is_to_be_shown_as_octets(code_point) ? octets(text) : text) + "b")
            << std::hex << code_point;
    }
}

TEST(Filter, KeepsCharactersOfFourOctetsUpToTheLast) {
    for (const std::string text : {"\xF0\x90\x80\x80", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(filtered(text), text);
    }
}

TEST(Filter, ShowsWhatIsNotUtf8AsOctets) {
    for (const std::string text : {
             "\x80", "\xBF", "\xFE", "\xFF",             // never begin a character
             "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF",     // overlong
             "\xF0\x8F\xBF\xBF", "\xC0\x9B",             // overlong
             "\xED\xA0\x80", "\xED\xBF\xBF",             // surrogates
             "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", // beyond the last
             "\xC3", "\xE6\x9D", "\xF0\x9F\x98",         // cut at the end
         }) {
        EXPECT_EQ(filtered(text), octets(text));
    }
}

TEST(Filter, KeepsWhatFollowsASequenceThatWasCut) {
    EXPECT_EQ(filtered("\xE6\x9D"
                       "a"),
              "\\xe6\\x9d"
              "a");
    EXPECT_EQ(filtered("\xC3\xC3\xBC"), "\\xc3\xC3\xBC");
}

TEST(Filter, SeesACharacterBehindATruncatedOne) {
    EXPECT_EQ(filtered("\xE6\x1b[2J"), "\\xe6\\x1b[2J");
}

TEST(Filter, ChangesNothingThatItHasMade) {
    const std::string once = filtered("\x1b\xFF\u202E a");

    EXPECT_EQ(filtered(once), once);
}

TEST(Filter, CutsBetweenCharactersAndNeverWithinOne) {
    const std::vector<std::string> pieces = {"a", "\u00FC", "\u6771", "\U0001F600", "\\x1b", "b"};
    const std::string text = "a\u00FC\u6771\U0001F600\x1b"
                             "b";

    for (std::size_t size = 1; size <= 20; ++size) {
        std::string expected;
        std::string room(size + 1, '#');

        for (const std::string &piece : pieces) {
            if (expected.size() + piece.size() >= size) {
                break;
            }
            expected += piece;
        }
        EXPECT_EQ(KOLS_Config_Logger_filter_text(text.data(), text.size(), room.data(), size),
                  expected.size());
        EXPECT_STREQ(room.c_str(), expected.c_str());
        EXPECT_EQ(room[size], '#');
    }
}

TEST(Filter, WithoutRoomWritesNothing) {
    EXPECT_EQ(KOLS_Config_Logger_filter_text("text", 4, nullptr, 0), 0u);
}

} // namespace
