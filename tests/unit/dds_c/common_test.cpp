// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "dds_c/dds_c_productversion.h"
#include "infrastructure/Common_internal.h"
#include "messages.h"

namespace {

using DurationTest = MessageTest;

NUVNtpTime to_ntp(DDS_Long sec, DDS_UnsignedLong nanosec) {
    const DDS_Duration_t duration = {sec, nanosec};
    NUVNtpTime time = {-77, 77};
    DDS_Duration_to_ntp_time(&duration, &time);
    return time;
}

DDS_Duration_t from_ntp(NUV_INT32 sec, NUV_UINT32 frac) {
    const NUVNtpTime time = {sec, frac};
    DDS_Duration_t duration = {-77, 77};
    DDS_Duration_from_ntp_time(&duration, &time);
    return duration;
}

void expect_time(const NUVNtpTime &time, NUV_INT32 sec, NUV_UINT32 frac) {
    EXPECT_EQ(time.sec, sec);
    EXPECT_EQ(time.frac, frac);
}

void expect_duration(const DDS_Duration_t &duration, DDS_Long sec, DDS_UnsignedLong nanosec) {
    EXPECT_EQ(duration.sec, sec);
    EXPECT_EQ(duration.nanosec, nanosec);
}

TEST(ReturnCodeTest, ValuesAreThoseOfTheStandardMapping) {
    EXPECT_EQ(DDS_RETCODE_OK, 0);
    EXPECT_EQ(DDS_RETCODE_ERROR, 1);
    EXPECT_EQ(DDS_RETCODE_UNSUPPORTED, 2);
    EXPECT_EQ(DDS_RETCODE_BAD_PARAMETER, 3);
    EXPECT_EQ(DDS_RETCODE_PRECONDITION_NOT_MET, 4);
    EXPECT_EQ(DDS_RETCODE_OUT_OF_RESOURCES, 5);
    EXPECT_EQ(DDS_RETCODE_NOT_ENABLED, 6);
    EXPECT_EQ(DDS_RETCODE_IMMUTABLE_POLICY, 7);
    EXPECT_EQ(DDS_RETCODE_INCONSISTENT_POLICY, 8);
    EXPECT_EQ(DDS_RETCODE_ALREADY_DELETED, 9);
    EXPECT_EQ(DDS_RETCODE_TIMEOUT, 10);
    EXPECT_EQ(DDS_RETCODE_NO_DATA, 11);
    EXPECT_EQ(DDS_RETCODE_ILLEGAL_OPERATION, 12);
    EXPECT_EQ(DDS_RETCODE_NOT_ALLOWED_BY_SECURITY, 1000);
}

TEST(ReturnCodeTest, HasAName) {
#define EXPECT_NAME(code) EXPECT_STREQ(DDS_ReturnCode_to_string(code), #code)
    EXPECT_NAME(DDS_RETCODE_OK);
    EXPECT_NAME(DDS_RETCODE_ERROR);
    EXPECT_NAME(DDS_RETCODE_UNSUPPORTED);
    EXPECT_NAME(DDS_RETCODE_BAD_PARAMETER);
    EXPECT_NAME(DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_NAME(DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_NAME(DDS_RETCODE_NOT_ENABLED);
    EXPECT_NAME(DDS_RETCODE_IMMUTABLE_POLICY);
    EXPECT_NAME(DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_NAME(DDS_RETCODE_ALREADY_DELETED);
    EXPECT_NAME(DDS_RETCODE_TIMEOUT);
    EXPECT_NAME(DDS_RETCODE_NO_DATA);
    EXPECT_NAME(DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_NAME(DDS_RETCODE_NOT_ALLOWED_BY_SECURITY);
#undef EXPECT_NAME
    EXPECT_STREQ(DDS_ReturnCode_to_string(static_cast<DDS_ReturnCode_t>(13)),
                 "DDS_RETCODE_UNKNOWN");
}

TEST(ReturnCodeTest, ComesFromAFailReason) {
    const auto convert = DDS_ReturnCode_from_presentation_return_codeI;
    EXPECT_EQ(convert(0x020D1000), DDS_RETCODE_OK);
    EXPECT_EQ(convert(0x020D1001), DDS_RETCODE_ERROR);
    EXPECT_EQ(convert(PRES_RETCODE_UNSUPPORTED), DDS_RETCODE_UNSUPPORTED);
    EXPECT_EQ(convert(PRES_RETCODE_BAD_PARAMETER), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(convert(PRES_RETCODE_PRECONDITION_NOT_MET), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(convert(PRES_RETCODE_OUT_OF_RESOURCES), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(convert(PRES_RETCODE_NOT_ENABLED), DDS_RETCODE_NOT_ENABLED);
    EXPECT_EQ(convert(PRES_RETCODE_IMMUTABLE_POLICY), DDS_RETCODE_IMMUTABLE_POLICY);
    EXPECT_EQ(convert(PRES_RETCODE_INCONSISTENT_POLICY), DDS_RETCODE_INCONSISTENT_POLICY);
    EXPECT_EQ(convert(PRES_RETCODE_ALREADY_DELETED), DDS_RETCODE_ALREADY_DELETED);
    EXPECT_EQ(convert(PRES_RETCODE_TIMEOUT), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(convert(PRES_RETCODE_NOT_ALLOWED_BY_SECURITY), DDS_RETCODE_NOT_ALLOWED_BY_SECURITY);
    EXPECT_EQ(convert(0), DDS_RETCODE_ERROR);
    EXPECT_EQ(convert(0x020D10FF), DDS_RETCODE_ERROR);
}

TEST_F(DurationTest, IsInfiniteByAnyOfItsParts) {
    const auto is_infinite = [](DDS_Long sec, DDS_UnsignedLong nanosec) {
        const DDS_Duration_t duration = {sec, nanosec};
        return DDS_Duration_is_infinite(&duration);
    };
    EXPECT_EQ(is_infinite(0x7FFFFFFF, 0x7FFFFFFF), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_infinite(0x7FFFFFFF, 0), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_infinite(0, 0x7FFFFFFF), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_infinite(0, 0xFFFFFFFF), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_infinite(0x7FFFFFFE, 999999999), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(is_infinite(0, 0), DDS_BOOLEAN_FALSE);
}

TEST_F(DurationTest, IsValidWithinItsRanges) {
    const auto is_valid = [](DDS_Long sec, DDS_UnsignedLong nanosec) {
        const DDS_Duration_t duration = {sec, nanosec};
        return DDS_Duration_is_valid(&duration);
    };
    EXPECT_EQ(is_valid(0, 0), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_valid(0x7FFFFFFE, 999999999), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_valid(0x7FFFFFFF, 0x7FFFFFFF), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_valid(0, 0xFFFFFFFF), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(is_valid(-1, 0), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(is_valid(0, 1000000000), DDS_BOOLEAN_FALSE);
}

TEST_F(DurationTest, BecomesNtpTime) {
    expect_time(to_ntp(0, 0), 0, 0);
    expect_time(to_ntp(3, 500000000), 3, 0x80000000);
    expect_time(to_ntp(0, 125000000), 0, 0x20000000);
    expect_time(to_ntp(0, 1), 0, 4);                  // 4.29 units
    expect_time(to_ntp(0, 999999999), 0, 0xFFFFFFFC); // 4294967291.7 units
    expect_time(to_ntp(0x7FFFFFFE, 0), 0x7FFFFFFE, 0);
    expect_time(to_ntp(1, 2500000000), 3, 0x80000000);
}

TEST_F(DurationTest, InfiniteBecomesInfiniteNtpTime) {
    expect_time(to_ntp(0x7FFFFFFF, 0x7FFFFFFF), 0x7FFFFFFF, 0xFFFFFFFF);
    expect_time(to_ntp(0x7FFFFFFF, 0), 0x7FFFFFFF, 0xFFFFFFFF);
    expect_time(to_ntp(5, 0xFFFFFFFF), 0x7FFFFFFF, 0xFFFFFFFF);
    expect_time(to_ntp(0x7FFFFFFE, 1000000000), 0x7FFFFFFF, 0xFFFFFFFF);
}

TEST_F(DurationTest, ComesFromNtpTime) {
    expect_duration(from_ntp(0, 0), 0, 0);
    expect_duration(from_ntp(3, 0x80000000), 3, 500000000);
    expect_duration(from_ntp(3, 0xFFFFFFFF), 4, 0); // a quarter of a nanosecond less
    expect_duration(from_ntp(0x7FFFFFFF, 0xFFFFFFFF), 0x7FFFFFFF, 0x7FFFFFFF);
    expect_duration(from_ntp(0x7FFFFFFE, 0xFFFFFFFF), 0x7FFFFFFF, 0x7FFFFFFF);
}

TEST_F(DurationTest, ComesBackFromNtpTimeAsItWas) {
    for (DDS_UnsignedLong nanosec = 0; nanosec < 1000000000; nanosec += 9999991) {
        const NUVNtpTime time = to_ntp(7, nanosec);
        expect_duration(from_ntp(time.sec, time.frac), 7, nanosec);
    }
    const NUVNtpTime time = to_ntp(7, 999999999);
    expect_duration(from_ntp(time.sec, time.frac), 7, 999999999);
}

TEST_F(DurationTest, NullIsAFailedPrecondition) {
    DDS_Duration_t duration = DDS_DURATION_ZERO;
    NUVNtpTime time = {1, 2};
    EXPECT_EQ(DDS_Duration_is_infinite(nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_Duration_is_valid(nullptr), DDS_BOOLEAN_FALSE);
    expect_precondition("\"self == ((void *)0)\"");
    DDS_Duration_to_ntp_time(nullptr, &time);
    expect_precondition("\"self == ((void *)0)\"");
    expect_time(time, 1, 2);
    DDS_Duration_to_ntp_time(&duration, nullptr);
    expect_precondition("\"out == ((void *)0)\"");
    DDS_Duration_from_ntp_time(nullptr, &time);
    expect_precondition("\"self == ((void *)0)\"");
    DDS_Duration_from_ntp_time(&duration, nullptr);
    expect_precondition("\"time == ((void *)0)\"");
}

TEST(StatusMaskTest, KeepsWhatThePresentationLayerHas) {
    EXPECT_EQ(DDS_StatusMask_get_presentation_maskI(DDS_STATUS_MASK_NONE), 0u);
    EXPECT_EQ(DDS_StatusMask_get_presentation_maskI(DDS_INCONSISTENT_TOPIC_STATUS),
              PRES_STATUS_KIND_INCONSISTENT_TOPIC);
    EXPECT_EQ(DDS_StatusMask_get_presentation_maskI(DDS_STATUS_MASK_ALL),
              PRES_STATUS_KIND_INCONSISTENT_TOPIC);
    EXPECT_EQ(DDS_StatusMask_get_presentation_maskI(~DDS_INCONSISTENT_TOPIC_STATUS), 0u);
}

class ProductVersionTest : public MessageTest {};

TEST_F(ProductVersionTest, IsOneZero) {
    DDS_ProductVersion_t version = {9, 9, 9, 9};
    DDS_ProductVersion_get_nuvdds_version(&version);
    EXPECT_EQ(version.major, 1);
    EXPECT_EQ(version.minor, 0);
    EXPECT_EQ(version.release, 0);
    EXPECT_EQ(version.revision, 0);
}

TEST_F(ProductVersionTest, IsConvertedMemberByMember) {
    const DDS_ProductVersion_t version = {1, 2, 3, 4};
    PRESProductVersion converted = {};
    EXPECT_EQ(DDS_ProductVersion_to_presentation_qos_policy(&version, &converted), DDS_RETCODE_OK);
    EXPECT_EQ(converted.major, 1);
    EXPECT_EQ(converted.minor, 2);
    EXPECT_EQ(converted.release, 3);
    EXPECT_EQ(converted.revision, 4);
}

TEST_F(ProductVersionTest, NullIsAFailedPrecondition) {
    DDS_ProductVersion_t version = {};
    PRESProductVersion converted = {};
    DDS_ProductVersion_get_nuvdds_version(nullptr);
    expect_precondition("\"out == ((void *)0)\"");
    EXPECT_EQ(DDS_ProductVersion_to_presentation_qos_policy(nullptr, &converted),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_ProductVersion_to_presentation_qos_policy(&version, nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    expect_precondition("\"out == ((void *)0)\"");
}

} // namespace
