// SPDX-License-Identifier: Apache-2.0
#include "quantities.h"

#include <gmock/gmock.h>

#include "refusal.h"

using namespace ddssim;
using simnet::MILLISECOND;
using simnet::SECOND;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

constexpr Range<simnet::Time> UP_TO_AN_HOUR = {0, 3600 * SECOND};

simnet::Time time(const std::string &text) {
    return to_time(text, UP_TO_AN_HOUR);
}

TEST(QuantityOfTime, HasAUnitOrIsInSeconds) {
    EXPECT_EQ(time("7ns"), 7);
    EXPECT_EQ(time("1.5 ms"), 1'500'000);
    EXPECT_EQ(time("20us"), 20'000);
    EXPECT_EQ(time("3"), 3 * SECOND);
    EXPECT_EQ(time("0.5 s"), 500 * MILLISECOND);
    EXPECT_EQ(time("2 min"), 120 * SECOND);
    EXPECT_EQ(time("1h"), 3600 * SECOND);
}

TEST(QuantityOfTime, IsRefusedWithWhatIsAllowed) {
    for (const char *wrong :
         {"", "x", "-1", "1 year", "2h", "nan", "1e300", "s", "1..2 s", "1 s s"}) {
        EXPECT_THAT([wrong] { (void)time(wrong); },
                    ThrowsMessage<Refusal>(
                        "'" + std::string(wrong) +
                        "' is not a time from 0 s to 1 h, with ns, us, ms, s, min or h"));
    }
}

TEST(QuantityOfTime, IsWrittenInTheLargestUnitThatFits) {
    EXPECT_EQ(text_of_time(90 * SECOND), "90 s");
    EXPECT_EQ(text_of_time(120 * SECOND), "2 min");
    EXPECT_EQ(text_of_time(1'500'000), "1500 us");
    EXPECT_EQ(text_of_time(0), "0 s");
}

TEST(QuantityOfShare, IsOfAHundred) {
    EXPECT_EQ(to_share("10%"), 0.1);
    EXPECT_EQ(to_share("0.5 %"), 0.005);
    EXPECT_EQ(text_of_share(0.1), "10%");
    for (const char *wrong : {"0.1", "101%", "-1%", "%", "nan%"}) {
        EXPECT_THROW((void)to_share(wrong), Refusal) << wrong;
    }
}

TEST(QuantityOfRate, HasAUnitOrNoLimit) {
    EXPECT_EQ(to_rate("54 Mbit/s"), 54'000'000u);
    EXPECT_EQ(to_rate("1.5kbit/s"), 1'500u);
    EXPECT_EQ(to_rate("unlimited"), 0u);
    EXPECT_EQ(text_of_rate(54'000'000), "54 Mbit/s");
    EXPECT_EQ(text_of_rate(0), "unlimited");
    for (const char *wrong : {"54", "0 bit/s", "54 MB/s", "-1 bit/s", "1e9 Gbit/s"}) {
        EXPECT_THROW((void)to_rate(wrong), Refusal) << wrong;
    }
}

TEST(QuantityOfNumbers, IsOneOrARange) {
    constexpr Range<std::int64_t> UP_TO_NINE = {1, 9};

    EXPECT_EQ(to_numbers("3", UP_TO_NINE), (Range<std::int64_t>{3, 3}));
    EXPECT_EQ(to_numbers("1-9", UP_TO_NINE), (Range<std::int64_t>{1, 9}));
    for (const char *wrong : {"", "0", "7-3", "3-", "-3", "1-2-3", "a", "3-10"}) {
        EXPECT_THAT([&] { (void)to_numbers(wrong, UP_TO_NINE); },
                    ThrowsMessage<Refusal>("'" + std::string(wrong) +
                                           "' is not a number N or a range FIRST-LAST, "
                                           "from 1 to 9"));
    }
}

} // namespace
