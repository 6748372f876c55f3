// SPDX-License-Identifier: Apache-2.0
// Points of time, GUIDs, sets of numbers and lists of locators.
#include <initializer_list>
#include <string>

#include "kinds.h"

namespace {

constexpr NUV_INT64 SECOND = 1'000'000'000;

TEST(TimeTest, IsTheWallClocksInHalves) {
    const RTPSTime time = RTPSTime_fromNanoseconds(1'700'000'000 * SECOND + SECOND / 2);
    EXPECT_EQ(time.seconds, 1'700'000'000u);
    EXPECT_EQ(time.fraction, 0x80000000u);
}

TEST(TimeTest, LastsUntil2106) {
    EXPECT_EQ(RTPSTime_fromNanoseconds(0xFFFFFFFELL * SECOND).seconds, 0xFFFFFFFEu);
}

TEST(TimeTest, WhatItCannotTellIsInvalid) {
    for (const NUV_INT64 nanoseconds : {NUV_INT64{-1}, -SECOND, NUV_INT64{0xFFFFFFFF} * SECOND}) {
        const RTPSTime time = RTPSTime_fromNanoseconds(nanoseconds);
        EXPECT_EQ(RTPSTime_isValid(&time), 0) << nanoseconds;
    }
}

TEST(TimeTest, LastNanosecondOfASecondIsNotTheNextOne) {
    EXPECT_EQ(RTPSTime_fromNanoseconds(2 * SECOND - 1).seconds, 1u);
}

TEST(TimeTest, OnlyInvalidIsInvalid) {
    constexpr RTPSTime INVALID = RTPS_TIME_INVALID;
    constexpr RTPSTime BEFORE = {0xFFFFFFFF, 0xFFFFFFFE};
    EXPECT_EQ(RTPSTime_isValid(&INVALID), 0);
    EXPECT_NE(RTPSTime_isValid(&BEFORE), 0);
}

TEST(TimeTest, SecondsComeBeforeFractions) {
    const RTPSTime times[] = {{1, 2}, {1, 3}, {2, 0}, {0x80000000, 0}};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            EXPECT_EQ(RTPSTime_compare(&times[i], &times[j]), (i > j) - (i < j));
        }
    }
}

TEST(GuidTest, IsTheSameInOctets) {
    const NUVOsapiRtpsGuid guid = {{0x01020304, 0x05060708, 0x090A0B0C}, 0x000001C1};
    Block room(RTPS_GUID_SIZE);
    RTPSGuid_toOctets(&guid, room.data());
    EXPECT_EQ(hex(room.view()), "0102030405060708090a0b0c000001c1");
    const NUVOsapiRtpsGuid again = RTPSGuid_fromOctets(room.data());
    EXPECT_EQ(again.prefix.hostId, guid.prefix.hostId);
    EXPECT_EQ(again.prefix.appId, guid.prefix.appId);
    EXPECT_EQ(again.prefix.instanceId, guid.prefix.instanceId);
    EXPECT_EQ(again.objectId, guid.objectId);
}

TEST(NumberSetTest, HasWhatWasAddedAndNothingElse) {
    RTPSSequenceNumberSet set = {5, 0, {}};
    for (const RTPSSequenceNumber number : {5, 36, 37, 260}) {
        EXPECT_NE(RTPSSequenceNumberSet_add(&set, number), 0);
    }
    std::string found;
    for (RTPSSequenceNumber number = 0; number < 300; ++number) {
        found +=
            RTPSSequenceNumberSet_contains(&set, number) != 0 ? std::to_string(number) + " " : "";
    }
    EXPECT_EQ(found, "5 36 37 260 ");
}

TEST(NumberSetTest, HasBitsUpToItsHighestNumber) {
    RTPSSequenceNumberSet set = {5, 0, {}};
    RTPSSequenceNumberSet_add(&set, 9);
    RTPSSequenceNumberSet_add(&set, 7);
    EXPECT_EQ(set.numBits, 5u);
    EXPECT_EQ(set.bitmap[0], 0x28000000u);
}

TEST(NumberSetTest, TakesNoNumberBelowItsBaseOrTooFarAbove) {
    RTPSSequenceNumberSet set = {5, 0, {}};
    const std::string before = describe(set);
    EXPECT_EQ(RTPSSequenceNumberSet_add(&set, 4), 0);
    EXPECT_EQ(RTPSSequenceNumberSet_add(&set, 5 + 256), 0);
    EXPECT_EQ(RTPSSequenceNumberSet_add(&set, INT64_MAX), 0);
    EXPECT_EQ(describe(set), before);
    EXPECT_NE(RTPSSequenceNumberSet_add(&set, 5 + 255), 0);
}

TEST(NumberSetTest, TakesNothingWithoutABase) {
    RTPSSequenceNumberSet set = {0, 0, {}};
    EXPECT_EQ(RTPSSequenceNumberSet_add(&set, 0), 0);
    set.base = INT64_MIN;
    EXPECT_EQ(RTPSSequenceNumberSet_add(&set, INT64_MAX), 0);
}

TEST(NumberSetTest, OfFragmentsReachesToTheHighestOne) {
    RTPSFragmentNumberSet set = {0xFFFFFF00, 0, {}};
    EXPECT_NE(RTPSFragmentNumberSet_add(&set, 0xFFFFFFFF), 0);
    EXPECT_NE(RTPSFragmentNumberSet_contains(&set, 0xFFFFFFFF), 0);
    EXPECT_EQ(RTPSFragmentNumberSet_contains(&set, 0xFFFFFFFE), 0);
    EXPECT_EQ(set.numBits, 256u);
}

TEST(NumberSetTest, OfFragmentsTakesNoNumberBelowItsBaseOrTooFarAbove) {
    RTPSFragmentNumberSet set = {5, 0, {}};
    EXPECT_EQ(RTPSFragmentNumberSet_add(&set, 4), 0);
    EXPECT_EQ(RTPSFragmentNumberSet_add(&set, 5 + 256), 0);
    EXPECT_EQ(RTPSFragmentNumberSet_contains(&set, 4), 0);
    EXPECT_EQ(RTPSFragmentNumberSet_contains(&set, 5), 0);
    set.base = 0;
    EXPECT_EQ(RTPSFragmentNumberSet_add(&set, 0), 0);
}

struct SetOctets {
    const char *name;
    const char *octets; ///< base, number of bits, bitmap
    RTPSRefusal refusal;
};

class SequenceNumberSetTest : public testing::TestWithParam<SetOctets> {};

TEST_P(SequenceNumberSetTest, IsRefusedUnlessItCanBe) {
    const std::string contents = std::string("00000000 00000000 ") + GetParam().octets + "00000001";
    char header[16];
    std::snprintf(header, sizeof header, "06 00 %04zx ", octets(contents).size());
    EXPECT_EQ(refusal_of<RTPSAckNack>(header + contents), GetParam().refusal);
}

constexpr const char *WORDS_8 = "ffffffff ffffffff ffffffff ffffffff "
                                "ffffffff ffffffff ffffffff ffffffff ";
const std::string FULL = std::string("00000000 00000001 00000100 ") + WORDS_8;
const std::string TOO_LONG = std::string("00000000 00000001 00000101 ") + WORDS_8 + "ffffffff ";

INSTANTIATE_TEST_SUITE_P(
    , SequenceNumberSetTest,
    testing::Values(
        SetOctets{"Empty", "00000000 00000001 00000000 ", RTPS_ACCEPTED},
        SetOctets{"Full", FULL.c_str(), RTPS_ACCEPTED},
        SetOctets{"TooLong", TOO_LONG.c_str(), RTPS_REFUSED_NUMBER_SET},
        SetOctets{"EndlesslyLong", "00000000 00000001 ffffffff ffffffff ", RTPS_REFUSED_NUMBER_SET},
        SetOctets{"BaseZero", "00000000 00000000 00000001 80000000 ", RTPS_REFUSED_NUMBER_SET},
        SetOctets{"BaseNegative", "80000000 00000001 00000000 ", RTPS_REFUSED_NUMBER_SET},
        SetOctets{"UpToTheHighest", "7fffffff ffffffff 00000001 80000000 ", RTPS_ACCEPTED},
        SetOctets{"BeyondTheHighest", "7fffffff ffffffff 00000002 80000000 ",
                  RTPS_REFUSED_NUMBER_SET},
        SetOctets{"EmptyAtTheHighest", "7fffffff ffffffff 00000000 ", RTPS_ACCEPTED}),
    [](const auto &set) { return set.param.name; });

TEST(NumberSetTest, OfFragmentsBeyondTheHighestOneIsRefused) {
    constexpr const char *BEFORE = "12 00 0020 00000000 00000000 00000000 00000001 ";
    EXPECT_EQ(refusal_of<RTPSNackFrag>(BEFORE + std::string("ffffffff 00000001 80000000 00000001")),
              RTPS_ACCEPTED);
    EXPECT_EQ(refusal_of<RTPSNackFrag>(BEFORE + std::string("ffffffff 00000002 80000000 00000001")),
              RTPS_REFUSED_NUMBER_SET);
}

TEST(NumberSetTest, BitsBehindItsLastOneAreNone) {
    const Block message(
        message_of("06 00 001c 00000000 00000000 00000000 00000001 00000002 ffffffff 00000001"));
    RTPSAckNack record{};
    EXPECT_EQ(read_from(message, &record), RTPS_ACCEPTED);
    EXPECT_EQ(record.readerSNState.bitmap[0], 0xC0000000u);
}

/** Locators of ports, as the ports. */
class LocatorsTest : public testing::Test {
protected:
    static NUVNetioLocator locator(KOLS_Transport_Port_t port) {
        NUVNetioLocator result = NUV_NETIO_LOCATOR_INVALID;
        result.transport = KOLS_TRANSPORT_CLASSID_UDPv4;
        result.port = port;
        return result;
    }
    void add(std::initializer_list<int> ports, const RTPSLocatorRanking *ranking = nullptr) {
        for (const int port : ports) {
            const NUVNetioLocator it = locator(port);
            RTPSLocators_add(&list_, &it, ranking);
        }
    }
    std::string ports() const {
        std::string text;
        for (NUV_UINT32 i = 0; i < list_.count; ++i) {
            text += std::to_string(list_.locators[i].port) + " ";
        }
        return text;
    }

    RTPSLocators list_{};
    /** The thousands of the port, of which 9 is none. */
    const RTPSLocatorRanking by_thousands_ = {[](void * /*param*/, const NUVNetioLocator *locator) {
                                                  return locator->port / 1000 == 9
                                                             ? -1
                                                             : locator->port / 1000;
                                              },
                                              nullptr};
};

TEST_F(LocatorsTest, StayInTheirOrderWithoutRanks) {
    add({3, 1, 2});
    EXPECT_EQ(ports(), "3 1 2 ");
}

TEST_F(LocatorsTest, AreThereOnce) {
    add({3, 1, 3});
    EXPECT_EQ(ports(), "3 1 ");
}

TEST_F(LocatorsTest, OfNoTransportOrPortAreLeftOut) {
    add({0, -1, 65536, 65535});
    NUVNetioLocator unknown = locator(1);
    unknown.transport = 16;
    RTPSLocators_add(&list_, &unknown, nullptr);
    EXPECT_EQ(ports(), "65535 ");
}

TEST_F(LocatorsTest, OfIPv4AreThereOnceWhateverIsInFrontOfTheAddress) {
    NUVNetioLocator disguised = locator(7410);
    disguised.address.network_ordered_value[11] = 1;
    add({7410});
    RTPSLocators_add(&list_, &disguised, nullptr);
    EXPECT_EQ(ports(), "7410 ");
}

TEST_F(LocatorsTest, OfIPv4HaveZeroesInFrontOfTheAddress) {
    NUVNetioLocator disguised = locator(7410);
    disguised.address.network_ordered_value[0] = 1;
    RTPSLocators_add(&list_, &disguised, nullptr);
    const NUVNetioLocator plain = locator(7410);
    ASSERT_EQ(list_.count, 1u);
    EXPECT_NE(NUVNetioLocator_isSame(&list_.locators[0], &plain), 0);
}

TEST_F(LocatorsTest, OfIPv6DifferByEachOctet) {
    for (const NUV_UINT8 first : {NUV_UINT8{0xFD}, NUV_UINT8{0xFC}}) {
        NUVNetioLocator it = locator(7410);
        it.transport = KOLS_TRANSPORT_CLASSID_UDPv6;
        it.address.network_ordered_value[0] = first;
        RTPSLocators_add(&list_, &it, nullptr);
    }
    EXPECT_EQ(ports(), "7410 7410 ");
}

TEST_F(LocatorsTest, BeyondTheLastOneAreLeftOut) {
    add({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18});
    EXPECT_EQ(ports(), "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 ");
}

TEST_F(LocatorsTest, OfAHigherRankComeFirst) {
    add({1000, 2000, 1, 2001, 3000, 1001}, &by_thousands_);
    EXPECT_EQ(ports(), "3000 2000 2001 1000 1001 1 ");
}

TEST_F(LocatorsTest, OfANegativeRankAreLeftOut) {
    add({9000, 1000, 9001}, &by_thousands_);
    EXPECT_EQ(ports(), "1000 ");
}

TEST_F(LocatorsTest, OfALowerRankMakeRoom) {
    add({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 1000, 2000, 17}, &by_thousands_);
    EXPECT_EQ(ports(), "2000 1000 1 2 3 4 5 6 7 8 9 10 11 12 13 14 ");
}

TEST_F(LocatorsTest, WithoutAFunctionAreOfOneRank) {
    const RTPSLocatorRanking none = {nullptr, nullptr};
    add({1, 1000}, &none);
    EXPECT_EQ(ports(), "1 1000 ");
}

} // namespace
