// SPDX-License-Identifier: Apache-2.0
// What is in the submessages: their form in either byte order, both ways, and what is refused.
#include "kinds.h"

namespace {

NUVNetioLocator locator(const char *text) {
    NUVNetioLocator result = NUV_NETIO_LOCATOR_INVALID;
    EXPECT_NE(NUVNetioLocator_parse(text, &result), 0) << text;
    return result;
}

RTPSLocators locators(std::initializer_list<const char *> texts) {
    RTPSLocators result{};
    for (const char *text : texts) {
        const NUVNetioLocator it = locator(text);
        RTPSLocators_add(&result, &it, nullptr);
    }
    return result;
}

RTPSAckNack ack_nack() {
    return {1, 0x000003C7, 0x000003C2, {5, 9, {0xA0800000}}, 42};
}

RTPSNackFrag nack_frag() {
    return {0x000003C7, 0x000003C2, 0x100000002, {3, 33, {0x80000000, 0x80000000}}, 7};
}

RTPSHeartbeat heartbeat() {
    return {1, 0, 0, 0x000100C7, 0x000100C2, 1, 0, 3, {}};
}

RTPSHeartbeat group_heartbeat() {
    return {0, 1, 1, 0, 0x000003C2, 1, 2, 4, {9, 6, 8, {1, 2, 3, 4}, {5, 6, 7, 8}}};
}

RTPSHeartbeatFrag heartbeat_frag() {
    return {0x000003C7, 0x000003C2, 2, 17, 5};
}

RTPSGap gap() {
    return {0, 0, 0x000003C7, 0x000003C2, 3, {6, 2, {0x40000000}}, 0, 0, 0};
}

RTPSGap group_gap() {
    return {1, 1, 0x000003C7, 0x000003C2, 3, {6, 0, {}}, 7, 9, 2};
}

TEST(AckNackTest, HasThisForm) {
    expect_form(ACKNACK, ack_nack());
}

TEST(AckNackTest, SetThatCannotBeIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSAckNack>("06 00 001c 00000000 00000000 00000000 00000000 00000001 "
                                      "80000000 00000001"),
              RTPS_REFUSED_NUMBER_SET);
    RTPSAckNack record = ack_nack();
    record.readerSNState.base = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(AckNackTest, OfAReaderThatBeginsWithoutASetHasThisForm) {
    RTPSAckNack record = ack_nack();
    record.readerSNState = {};
    expect_form(BEGINNING_ACKNACK, record);
}

TEST(AckNackTest, SetLongerThanTheSubmessageIsRefused) {
    EXPECT_EQ(refusal_of<RTPSAckNack>(
                  "06 00 001c 00000000 00000000 00000000 00000001 00000040 00000000 00000001"),
              RTPS_REFUSED_LENGTH);
}

TEST(NackFragTest, HasThisForm) {
    expect_form(NACK_FRAG, nack_frag());
}

TEST(NackFragTest, SequenceNumberZeroIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSNackFrag>("12 00 0020 00000000 00000000 00000000 00000000 "
                                       "00000001 00000001 80000000 00000001"),
              RTPS_REFUSED_SEQUENCE_NUMBER);
    RTPSNackFrag record = nack_frag();
    record.writerSN = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(NackFragTest, SetThatCannotBeIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSNackFrag>("12 00 0020 00000000 00000000 00000000 00000001 "
                                       "00000000 00000001 80000000 00000001"),
              RTPS_REFUSED_NUMBER_SET);
    RTPSNackFrag record = nack_frag();
    record.fragmentNumberState.base = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(HeartbeatTest, HasThisForm) {
    expect_form(HEARTBEAT, heartbeat());
}

TEST(HeartbeatTest, OfAGroupHasThisForm) {
    expect_form(GROUP_HEARTBEAT, group_heartbeat());
}

struct Range {
    RTPSSequenceNumber first;
    RTPSSequenceNumber last;
};

class HeartbeatRangeTest : public testing::TestWithParam<Range> {};

TEST_P(HeartbeatRangeTest, IsRefusedAndNotWritten) {
    char octets[96];
    std::snprintf(octets, sizeof octets, "07 00 001c 00000000 00000000 %016llx %016llx 00000001",
                  static_cast<unsigned long long>(GetParam().first),
                  static_cast<unsigned long long>(GetParam().last));
    EXPECT_EQ(refusal_of<RTPSHeartbeat>(octets), RTPS_REFUSED_SEQUENCE_NUMBER);
    RTPSHeartbeat record = heartbeat();
    record.firstSN = GetParam().first;
    record.lastSN = GetParam().last;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

INSTANTIATE_TEST_SUITE_P(, HeartbeatRangeTest,
                         testing::Values(Range{0, 0}, Range{0, 1}, Range{-1, 5}, Range{1, -1},
                                         Range{5, 3}, Range{INT64_MIN, INT64_MAX},
                                         Range{RTPS_SEQUENCE_NUMBER_UNKNOWN, 1}),
                         [](const auto &range) { return "Range" + std::to_string(range.index); });

TEST(HeartbeatTest, GroupWhoseNumbersCannotBeIsNotWritten) {
    for (const RTPSGroupState &group :
         {RTPSGroupState{9, 0, 8, {}, {}}, RTPSGroupState{9, 6, 4, {}, {}},
          RTPSGroupState{7, 6, 8, {}, {}}, RTPSGroupState{5, 6, 5, {}, {}}}) {
        RTPSHeartbeat record = group_heartbeat();
        record.group = group;
        EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
    }
}

TEST(HeartbeatTest, GroupThatIsNotThereMayHaveAnyNumbers) {
    RTPSHeartbeat record = heartbeat();
    record.group.firstGSN = -1;
    EXPECT_NE(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(HeartbeatFragTest, HasThisForm) {
    expect_form(HEARTBEAT_FRAG, heartbeat_frag());
}

TEST(HeartbeatFragTest, SequenceNumberZeroIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSHeartbeatFrag>(
                  "13 00 0018 00000000 00000000 00000000 00000000 00000001 00000001"),
              RTPS_REFUSED_SEQUENCE_NUMBER);
    RTPSHeartbeatFrag record = heartbeat_frag();
    record.writerSN = -1;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(HeartbeatFragTest, FragmentZeroIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSHeartbeatFrag>(
                  "13 00 0018 00000000 00000000 00000000 00000001 00000000 00000001"),
              RTPS_REFUSED_FRAGMENT);
    RTPSHeartbeatFrag record = heartbeat_frag();
    record.lastFragmentNum = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(GapTest, HasThisForm) {
    expect_form(GAP, gap());
}

TEST(GapTest, OfAGroupHasThisForm) {
    expect_form(GROUP_GAP, group_gap());
}

TEST(GapTest, StartZeroIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSGap>("08 00 001c 00000000 00000000 00000000 00000000 "
                                  "00000000 00000001 00000000"),
              RTPS_REFUSED_SEQUENCE_NUMBER);
    RTPSGap record = gap();
    record.gapStart = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(GapTest, ListThatCannotBeIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSGap>("08 00 001c 00000000 00000000 00000000 00000001 "
                                  "00000000 00000000 00000000"),
              RTPS_REFUSED_NUMBER_SET);
    RTPSGap record = gap();
    record.gapList.numBits = 257;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(GapTest, GroupWhoseNumbersCannotBeIsNotWritten) {
    RTPSGap record = group_gap();
    record.gapStartGSN = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
    record = group_gap();
    record.gapEndGSN = 5;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(InfoTimestampTest, HasThisForm) {
    expect_form(INFO_TS, RTPSInfoTimestamp{{0x6553F100, 0x80000000}});
}

TEST(InfoTimestampTest, WithoutATimeIsEmpty) {
    expect_form(INFO_TS_INVALID, RTPSInfoTimestamp{RTPS_TIME_INVALID});
}

TEST(InfoTimestampTest, EmptyOneThatHasATimeIsRefused) {
    EXPECT_EQ(refusal_of<RTPSInfoTimestamp>("09 00 0000"), RTPS_REFUSED_LENGTH);
}

TEST(InfoSourceTest, HasThisForm) {
    expect_form(INFO_SRC, RTPSInfoSource{{{2, 4}, {{0, 0}}, {0x11121314, 0x15161718, 0x191A1B1C}}});
}

TEST(InfoDestinationTest, HasThisForm) {
    expect_form(INFO_DST, RTPSInfoDestination{{0x11121314, 0x15161718, 0x191A1B1C}});
}

TEST(InfoReplyTest, HasThisForm) {
    expect_form(INFO_REPLY,
                RTPSInfoReply{1, locators({"udpv4://192.0.2.2:7410", "udpv6://[fd00::2]:7410"}),
                              locators({"udpv4://239.255.0.1:7400"})});
}

TEST(InfoReplyTest, LocatorsOfUnknownTransportsAreSkipped) {
    const Block message(message_of("0f 00 0034 00000002 "
                                   "00000010 00001cf2 00000000 00000000 00000000 c0000203 "
                                   "00000001 00001cf2 00000000 00000000 00000000 c0000202"));
    RTPSInfoReply record{};
    EXPECT_EQ(read_from(message, &record), RTPS_ACCEPTED);
    EXPECT_EQ(describe(record.unicast), describe(locators({"udpv4://192.0.2.2:7410"})));
}

TEST(InfoReplyTest, MoreLocatorsThanThereAreIsRefused) {
    EXPECT_EQ(refusal_of<RTPSInfoReply>("0f 00 001c ffffffff "
                                        "00000001 00001cf2 00000000 00000000 00000000 c0000202"),
              RTPS_REFUSED_LENGTH);
}

TEST(InfoReplyIp4Test, HasThisForm) {
    expect_form(INFO_REPLY_IP4, RTPSInfoReplyIp4{1, locator("udpv4://192.0.2.2:7410"),
                                                 locator("udpv4://239.255.0.1:7400")});
}

TEST(InfoReplyIp4Test, InvalidLocatorIsAddressAndPortZero) {
    expect_form({"", "0d 00 0008 00000000 00000000", "0d 01 0800 00000000 00000000"},
                RTPSInfoReplyIp4{0, NUV_NETIO_LOCATOR_INVALID, NUV_NETIO_LOCATOR_INVALID});
}

TEST(InfoReplyIp4Test, PortAloneIsALocatorToo) {
    expect_form({"", "0d 00 0008 00000000 00001cf2", "0d 01 0800 00000000 f21c0000"},
                RTPSInfoReplyIp4{0, locator("udpv4://0.0.0.0:7410"), NUV_NETIO_LOCATOR_INVALID});
}

TEST(InfoReplyIp4Test, LocatorOfAnotherTransportIsNotWritten) {
    RTPSInfoReplyIp4 record = {0, locator("udpv6://[fd00::2]:7410"), NUV_NETIO_LOCATOR_INVALID};
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
    record = {1, locator("udpv4://192.0.2.2:7410"), locator("udpv6://[ff02::1]:7410")};
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

/** The parts of the extension in one byte order; views of octets that stay. */
RTPSHeaderExtension header_extension(RTPSByteOrder order) {
    static const auto CHECKSUM = octets("c1c2c3c4c5c6c7c8c9cacbcccdcecfd0");
    static const auto BIG = octets("8001 0004 01020304  0001 0000");
    static const auto LITTLE = octets("0180 0400 01020304  0100 0000");
    const auto &parameters = order == RTPS_BIG_ENDIAN ? BIG : LITTLE;
    return {1,
            1,
            1,
            1,
            76,
            {0x6553F100, 0x40000000},
            {0xA1, 0xA2, 0xA3, 0xA4},
            {0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8},
            {CHECKSUM.data(), CHECKSUM.size()},
            {parameters.data(), parameters.size()}};
}

TEST(HeaderExtensionTest, HasThisForm) {
    expect_form_by_order(HEADER_EXTENSION, header_extension);
}

TEST(HeaderExtensionTest, HasOnlyThePartsThatItsFlagsName) {
    const auto extension = header_extension(RTPS_BIG_ENDIAN);
    RTPSHeaderExtension record{};
    record.hasMessageLength = 1;
    record.messageLength = 28;
    expect_form({"", "00 02 0004 0000001c", "00 03 0400 1c000000"}, record);
    record = {};
    record.hasSendTimestamp = 1;
    record.sendTimestamp = {1, 2};
    expect_form({"", "00 04 0008 00000001 00000002", "00 05 0800 01000000 02000000"}, record);
    record = {};
    record.hasUExtension4 = 1;
    record.uExtension4[0] = 1;
    expect_form({"", "00 08 0004 01000000", "00 09 0400 01000000"}, record);
    record = {};
    record.hasWExtension8 = 1;
    record.wExtension8[7] = 1;
    expect_form({"", "00 10 0008 00000000 00000001", "00 11 0800 00000000 00000001"}, record);
    record = {};
    record.messageChecksum = {extension.messageChecksum.data, 4};
    expect_form({"", "00 20 0004 c1c2c3c4", "00 21 0400 c1c2c3c4"}, record);
    record.messageChecksum.length = 8;
    expect_form({"", "00 40 0008 c1c2c3c4c5c6c7c8", "00 41 0800 c1c2c3c4c5c6c7c8"}, record);
}

TEST(HeaderExtensionTest, ChecksumOfAnotherSizeIsNotWritten) {
    RTPSHeaderExtension record = header_extension(RTPS_BIG_ENDIAN);
    record.messageChecksum.length = 5;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(HeaderExtensionTest, ParametersThatAreNoListAreNotWritten) {
    RTPSHeaderExtension record = header_extension(RTPS_BIG_ENDIAN);
    record.parameters.length -= 4;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(HeaderExtensionTest, ParametersWithoutAnEndAreRefused) {
    EXPECT_EQ(refusal_of<RTPSHeaderExtension>("00 80 0008 8001 0004 01020304"),
              RTPS_REFUSED_NO_SENTINEL);
}

TEST(HeaderExtensionTest, WithoutAnyPartIsNotWritten) {
    EXPECT_EQ(written(RTPSHeaderExtension{}, RTPS_BIG_ENDIAN), "");
}

} // namespace
