// SPDX-License-Identifier: Apache-2.0
// The strict parsers.
#include "reda/reda_string.h"

#include <cstdint>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

/** Parses, and checks that nothing is written on failure. */
template <typename Number, typename Parser>
std::optional<Number> parse(Parser parser, const char *text, Number untouched) {
    Number out = untouched;
    if (parser(text, &out) != 0) {
        return out;
    }
    EXPECT_EQ(out, untouched) << text;
    return std::nullopt;
}

std::optional<int> to_boolean(const char *text) {
    return parse(REDAString_strToBoolean, text, 77);
}

std::optional<NUV_INT32> to_long(const char *text) {
    return parse(REDAString_strToLong, text, NUV_INT32{77});
}

std::optional<NUV_UINT32> to_unsigned(const char *text) {
    return parse(REDAString_strToUnsignedLong, text, NUV_UINT32{77});
}

/** The time as one number, seconds in the upper half. */
std::optional<NUV_UINT64> to_time(const char *text) {
    NUVNtpTime time = {77, 88};
    if (REDAString_strToNtpTime(text, &time) != 0) {
        return (static_cast<NUV_UINT64>(time.sec) << 32) + time.frac;
    }
    EXPECT_EQ(time.sec, 77) << text;
    EXPECT_EQ(time.frac, 88u) << text;
    return std::nullopt;
}

constexpr NUV_UINT64 ntp(NUV_UINT64 sec, NUV_UINT64 frac) {
    return (sec << 32) + frac;
}

TEST(BooleanTest, WordsAreReadInAnyCase) {
    for (const char *text : {"1", "true", "True", "TRUE", "tRuE", "yes", "YES", "on", "On"}) {
        EXPECT_EQ(to_boolean(text), 1) << text;
    }
    for (const char *text : {"0", "false", "False", "FALSE", "no", "No", "off", "OFF"}) {
        EXPECT_EQ(to_boolean(text), 0) << text;
    }
}

TEST(BooleanTest, AllElseIsRefused) {
    for (const char *text : {"", " ", "2", "01", "10", "-1", "t", "tru", "truee", " true", "true ",
                             "true\n", "y", "n", "o", "of", "offf", "yes,no", "t\xd2ue"}) {
        EXPECT_EQ(to_boolean(text), std::nullopt) << text;
    }
    EXPECT_EQ(to_boolean(nullptr), std::nullopt);
}

TEST(LongTest, WholeRangeIsReadWithAnOptionalSign) {
    EXPECT_EQ(to_long("0"), 0);
    EXPECT_EQ(to_long("-0"), 0);
    EXPECT_EQ(to_long("+0"), 0);
    EXPECT_EQ(to_long("7411"), 7411);
    EXPECT_EQ(to_long("+7411"), 7411);
    EXPECT_EQ(to_long("-7411"), -7411);
    EXPECT_EQ(to_long("2147483647"), INT32_MAX);
    EXPECT_EQ(to_long("+2147483647"), INT32_MAX);
    EXPECT_EQ(to_long("-2147483648"), INT32_MIN);
    EXPECT_EQ(to_long("0000000000000000000000012"), 12);
    EXPECT_EQ(to_long("-010"), -10); // decimal, not octal
}

TEST(LongTest, AllElseIsRefused) {
    for (const char *text : {"",
                             " ",
                             "+",
                             "-",
                             "+-1",
                             "-+1",
                             "++1",
                             "--1",
                             " 1",
                             "1 ",
                             "1\n",
                             "1.0",
                             "1e3",
                             "0x10",
                             "1,000",
                             "a",
                             "1a",
                             "2147483648",
                             "-2147483649",
                             "+2147483648",
                             "4294967296",
                             "99999999999999999999999999",
                             "-99999999999999999999999999",
                             "inf",
                             "auto"}) {
        EXPECT_EQ(to_long(text), std::nullopt) << text;
    }
    EXPECT_EQ(to_long(nullptr), std::nullopt);
}

TEST(UnsignedLongTest, WholeRangeIsReadWithoutSign) {
    EXPECT_EQ(to_unsigned("0"), 0u);
    EXPECT_EQ(to_unsigned("7411"), 7411u);
    EXPECT_EQ(to_unsigned("2147483648"), 0x80000000u);
    EXPECT_EQ(to_unsigned("4294967295"), UINT32_MAX);
    EXPECT_EQ(to_unsigned("00000000000000000000000000012"), 12u);
}

TEST(UnsignedLongTest, AllElseIsRefused) {
    for (const char *text : {"", " ", "+", "-", "+1", "-1", "-0", " 1", "1 ", "1.0", "0x10", "a",
                             "1a", "4294967296", "99999999999999999999999999"}) {
        EXPECT_EQ(to_unsigned(text), std::nullopt) << text;
    }
    EXPECT_EQ(to_unsigned(nullptr), std::nullopt);
}

TEST(NtpTimeTextTest, SecondsAndFractionAreRead) {
    EXPECT_EQ(to_time("0"), ntp(0, 0));
    EXPECT_EQ(to_time("2"), ntp(2, 0));
    EXPECT_EQ(to_time("0.125"), ntp(0, 0x20000000));
    EXPECT_EQ(to_time("3.5"), ntp(3, 0x80000000));
    EXPECT_EQ(to_time("3.500000000000000000000000000000000"), ntp(3, 0x80000000));
    EXPECT_EQ(to_time("0003.0"), ntp(3, 0));
    EXPECT_EQ(to_time("2147483646"), ntp(0x7FFFFFFE, 0));
    EXPECT_EQ(to_time("2147483646.5"), ntp(0x7FFFFFFE, 0x80000000));
}

TEST(NtpTimeTextTest, FractionIsRoundedToTheNearestUnit) {
    EXPECT_EQ(to_time("0.000000001"), ntp(0, 4));                  // 4.29
    EXPECT_EQ(to_time("0.0000000001"), ntp(0, 0));                 // 0.43
    EXPECT_EQ(to_time("0.0000000002"), ntp(0, 1));                 // 0.86
    EXPECT_EQ(to_time("0.1"), ntp(0, 429496730));                  // 429496729.6
    EXPECT_EQ(to_time("0.123456789012345678"), ntp(0, 530242871)); // 530242871.3
    EXPECT_EQ(to_time("0.9999999998"), ntp(0, 0xFFFFFFFF));        // 2^32 - 0.86
}

TEST(NtpTimeTextTest, FractionThatRoundsUpToASecondIsCarried) {
    EXPECT_EQ(to_time("0.9999999999"), ntp(1, 0)); // 2^32 - 0.43
    EXPECT_EQ(to_time("41.99999999999999999999999999"), ntp(42, 0));
}

TEST(NtpTimeTextTest, InfiniteIsAWord) {
    EXPECT_EQ(to_time("infinite"), ntp(0x7FFFFFFF, 0xFFFFFFFF));
}

TEST(NtpTimeTextTest, NumberThatWouldMeanInfiniteIsRefused) {
    for (const char *text : {"2147483647", "2147483647.5", "2147483648", "4294967295", "4294967296",
                             "2147483646.99999999999", "99999999999999999999"}) {
        EXPECT_EQ(to_time(text), std::nullopt) << text;
    }
}

TEST(NtpTimeTextTest, AllElseIsRefused) {
    for (const char *text : {"",         " ",       ".",         "1.",   ".5",  "+1",  "-1",
                             "-0",       "1.-5",    "1.+5",      "1. 5", " 1",  "1 ",  "1s",
                             "1.5s",     "1,5",     "1.5.5",     "1..5", "1e3", "0x1", "Infinite",
                             "INFINITE", "infinit", "infinite ", "inf",  "nan", "-",   "0.\xb2"}) {
        EXPECT_EQ(to_time(text), std::nullopt) << text;
    }
    EXPECT_EQ(to_time(nullptr), std::nullopt);
}

TEST(ParserTest, NumbersSurviveTheWayThereAndBack) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 100'000; ++i) {
        const auto number = static_cast<NUV_UINT32>(random());
        const auto with_sign = static_cast<NUV_INT32>(number);
        ASSERT_EQ(to_unsigned(std::to_string(number).c_str()), number);
        ASSERT_EQ(to_long(std::to_string(with_sign).c_str()), with_sign);
    }
}

TEST(ParserTest, NanosecondsOfADurationAreRead) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 100'000; ++i) {
        const auto sec = static_cast<NUV_INT32>(random() % 0x7FFFFFFF);
        const auto nanoseconds = static_cast<int>(random() % 1'000'000'000);
        const std::string digits = std::to_string(nanoseconds);
        const std::string text =
            std::to_string(sec) + "." + std::string(9 - digits.size(), '0') + digits;
        NUVNtpTime time = NUV_NTP_TIME_ZERO;
        ASSERT_NE(REDAString_strToNtpTime(text.c_str(), &time), 0) << text;
        ASSERT_EQ(NUVNtpTime_toNanoseconds(&time), sec * NUV_INT64{1'000'000'000} + nanoseconds);
    }
}

TEST(ParserTest, AnyTextIsEitherReadOrRefusedAndThenNothingIsWritten) {
    constexpr char CHARACTERS[] = "0123456789+-. \ntrueofansyiTRUE\x80\xff";
    std::mt19937 random(3);
    for (int i = 0; i < 200'000; ++i) {
        std::string text(random() % 12, '0');
        for (char &character : text) {
            character = CHARACTERS[random() % (sizeof CHARACTERS - 1)];
        }
        const auto boolean = to_boolean(text.c_str());
        const auto with_sign = to_long(text.c_str());
        const auto without_sign = to_unsigned(text.c_str());
        const auto time = to_time(text.c_str());
        ASSERT_TRUE(!boolean || *boolean == 0 || *boolean == 1) << text;
        if (without_sign && *without_sign <= INT32_MAX) {
            ASSERT_EQ(with_sign, static_cast<NUV_INT32>(*without_sign)) << text;
        }
        if (without_sign && *without_sign < INT32_MAX) {
            ASSERT_EQ(time, ntp(*without_sign, 0)) << text;
        }
    }
}

} // namespace
