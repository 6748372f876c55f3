// SPDX-License-Identifier: Apache-2.0
// NTP time and the clocks.
#include "osapi/osapi_ntptime.h"

#include <cstdint>
#include <cstdlib>
#include <random>

#include <gtest/gtest.h>
#include <time.h>

namespace {

constexpr NUV_INT64 SECOND = 1'000'000'000;
constexpr NUVNtpTime INFINITE_TIME = NUV_NTP_TIME_INFINITE;

NUV_INT64 nanoseconds(NUVNtpTime time) {
    return NUVNtpTime_toNanoseconds(&time);
}

int compare(NUVNtpTime left, NUVNtpTime right) {
    return NUVNtpTime_compare(&left, &right);
}

void expect_time(NUVNtpTime time, NUV_INT32 sec, NUV_UINT32 frac) {
    EXPECT_EQ(time.sec, sec);
    EXPECT_EQ(time.frac, frac);
}

TEST(NtpTimeTest, InfiniteIsKnownByItsSeconds) {
    const NUVNtpTime other_fraction = {0x7FFFFFFF, 5};
    const NUVNtpTime finite = {0x7FFFFFFE, 0xFFFFFFFF};
    EXPECT_NE(NUVNtpTime_isInfinite(&INFINITE_TIME), 0);
    EXPECT_NE(NUVNtpTime_isInfinite(&other_fraction), 0);
    EXPECT_EQ(NUVNtpTime_isInfinite(&finite), 0);
}

TEST(NtpTimeTest, CompareOrdersBySecondsThenByFraction) {
    EXPECT_LT(compare({1, 0}, {2, 0}), 0);
    EXPECT_GT(compare({2, 0}, {1, 0xFFFFFFFF}), 0);
    EXPECT_LT(compare({1, 1}, {1, 2}), 0);
    EXPECT_GT(compare({1, 0x80000000}, {1, 0x7FFFFFFF}), 0);
    EXPECT_EQ(compare({1, 7}, {1, 7}), 0);
    EXPECT_LT(compare({-1, 0}, {0, 0}), 0);
    EXPECT_LT(compare({INT32_MIN, 0}, {INT32_MAX, 0}), 0);
}

TEST(NtpTimeTest, AllInfiniteDurationsAreTheSame) {
    EXPECT_EQ(compare({0x7FFFFFFF, 1}, {0x7FFFFFFF, 2}), 0);
    EXPECT_LT(compare({0x7FFFFFFE, 0xFFFFFFFF}, INFINITE_TIME), 0);
}

TEST(NtpTimeTest, FromNanosecondsGivesSecondsAndRoundedFraction) {
    expect_time(NUVNtpTime_fromNanoseconds(0), 0, 0);
    expect_time(NUVNtpTime_fromNanoseconds(SECOND / 2), 0, 0x80000000);
    expect_time(NUVNtpTime_fromNanoseconds(3 * SECOND + SECOND / 8), 3, 0x20000000);
    expect_time(NUVNtpTime_fromNanoseconds(1), 0, 4);                   // 4.29
    expect_time(NUVNtpTime_fromNanoseconds(2), 0, 9);                   // 8.59
    expect_time(NUVNtpTime_fromNanoseconds(SECOND - 1), 0, 0xFFFFFFFC); // 2^32 - 4.29
}

TEST(NtpTimeTest, FromNanosecondsClampsBothEnds) {
    expect_time(NUVNtpTime_fromNanoseconds(-1), 0, 0);
    expect_time(NUVNtpTime_fromNanoseconds(INT64_MIN), 0, 0);
    expect_time(NUVNtpTime_fromNanoseconds(0x7FFFFFFF * SECOND - 1), 0x7FFFFFFE, 0xFFFFFFFC);
    expect_time(NUVNtpTime_fromNanoseconds(0x7FFFFFFF * SECOND), 0x7FFFFFFF, 0xFFFFFFFF);
    expect_time(NUVNtpTime_fromNanoseconds(INT64_MAX), 0x7FFFFFFF, 0xFFFFFFFF);
}

TEST(NtpTimeTest, ToNanosecondsRoundsToTheNearest) {
    EXPECT_EQ(nanoseconds({0, 0}), 0);
    EXPECT_EQ(nanoseconds({2, 0x80000000}), 2 * SECOND + SECOND / 2);
    EXPECT_EQ(nanoseconds({0, 2}), 0);               // 0.47
    EXPECT_EQ(nanoseconds({0, 3}), 1);               // 0.70
    EXPECT_EQ(nanoseconds({0, 0xFFFFFFFF}), SECOND); // 0.99999999977
    EXPECT_EQ(nanoseconds({-1, 0x80000000}), -SECOND / 2);
    EXPECT_EQ(nanoseconds({INT32_MIN, 0}), INT32_MIN * SECOND);
    EXPECT_EQ(nanoseconds({0x7FFFFFFE, 0}), 0x7FFFFFFE * SECOND);
}

TEST(NtpTimeTest, InfiniteIsTheLargestNumberOfNanoseconds) {
    EXPECT_EQ(nanoseconds(INFINITE_TIME), INT64_MAX);
    EXPECT_EQ(nanoseconds({0x7FFFFFFF, 0}), INT64_MAX);
}

TEST(NtpTimeTest, NanosecondsSurviveTheWayThereAndBack) {
    std::mt19937_64 random(1);
    std::uniform_int_distribution<NUV_INT64> any(0, 0x7FFFFFFF * SECOND - 1);
    for (int i = 0; i < 100'000; ++i) {
        const NUV_INT64 number = any(random);
        ASSERT_EQ(nanoseconds(NUVNtpTime_fromNanoseconds(number)), number);
    }
}

NUV_INT64 system_clock(clockid_t id) {
    timespec now{};
    clock_gettime(id, &now);
    return now.tv_sec * SECOND + now.tv_nsec;
}

void expect_follows(NUVClock *clock, clockid_t id) {
    const NUV_INT64 before = system_clock(id);
    const NUV_INT64 read = clock->getNanoseconds(clock);
    const NUV_INT64 after = system_clock(id);
    EXPECT_LE(before, read);
    EXPECT_LE(read, after);
}

TEST(ClockTest, MonotonicIsTheSystemsAndNeverGoesBack) {
    NUVClock *clock = NUVClock_getMonotonic();
    ASSERT_NE(clock, nullptr);
    EXPECT_STREQ(clock->name, "monotonic");
    EXPECT_EQ(clock, NUVClock_getMonotonic());
    expect_follows(clock, CLOCK_MONOTONIC);
    NUV_INT64 last = clock->getNanoseconds(clock);
    for (int i = 0; i < 10'000; ++i) {
        const NUV_INT64 now = clock->getNanoseconds(clock);
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(ClockTest, RealtimeIsTheSystemsWallClock) {
    NUVClock *clock = NUVClock_getRealtime();
    ASSERT_NE(clock, nullptr);
    EXPECT_STREQ(clock->name, "realtime");
    expect_follows(clock, CLOCK_REALTIME);
}

} // namespace
