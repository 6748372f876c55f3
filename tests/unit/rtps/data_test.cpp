// SPDX-License-Identifier: Apache-2.0
// Changes and their fragments: their form in either byte order, both ways, and what is refused.
#include <map>
#include <string>
#include <vector>

#include "kinds.h"

namespace {

constexpr const char *FIXED = "0000 0010 00000000 00000000 00000000 00000001 ";

/** Views of octets that stay. */
RTPSOctets view(const std::string &text) {
    static std::map<std::string, std::vector<NUV_UINT8>> all;
    auto [place, is_new] = all.try_emplace(text);
    if (is_new) {
        place->second = octets(text);
    }
    return {place->second.data(), place->second.size()};
}

RTPSData data() {
    return {RTPS_PAYLOAD_DATA,
            0,
            0x000003C7,
            0x000003C2,
            1,
            {nullptr, 0},
            view("00010000 61626364 65666768")};
}

/** A view of what is written by one of the functions that have no message; it stays. */
template <typename Write>
RTPSOctets view_of(Write write) {
    std::vector<NUV_UINT8> octets(write(nullptr, 0));
    write(octets.data(), octets.size());
    return view(hex(octets));
}

/** The participant of our header leaves. */
RTPSData leaving(RTPSByteOrder order) {
    const NUVOsapiRtpsGuid guid = {HEADER_RECORD.guidPrefix, RTPS_ENTITYID_PARTICIPANT};
    RTPSInlineQos qos = {1, {}, RTPS_STATUS_INFO_DISPOSED | RTPS_STATUS_INFO_UNREGISTERED};
    RTPSGuid_toOctets(&guid, qos.keyHash);
    return {RTPS_PAYLOAD_KEY,
            0,
            RTPS_ENTITYID_UNKNOWN,
            RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER,
            7,
            view_of([&](NUV_UINT8 *room, std::size_t size) {
                return RTPSInlineQos_write(&qos, order, room, size);
            }),
            view_of([&](NUV_UINT8 *room, std::size_t size) {
                return RTPSParticipantKey_write(&guid, order, room, size);
            })};
}

RTPSDataFrag data_frag() {
    return {0, 0, 0x000003C7, 0x000003C2, 1, 2, 2, 4, 11, {nullptr, 0}, view("65666768 696a6b")};
}

RTPSDataFrag key_frag(RTPSByteOrder order) {
    const char *qos = order == RTPS_BIG_ENDIAN ? "0071 0004 00000001  0001 0000"
                                               : "7100 0400 00000001  0100 0000";
    return {1, 0, 0x000003C7, 0x000003C2, 1, 2, 1, 8, 28, view(qos), view("01020304 05060708")};
}

TEST(DataTest, HasThisForm) {
    expect_form(DATA, data());
}

TEST(DataTest, OfAKeyWithInlineQosHasThisForm) {
    expect_form_by_order(KEY_WITH_INLINE_QOS, leaving);
}

TEST(DataTest, WithoutPayloadHasNone) {
    RTPSData record = data();
    record.payloadKind = RTPS_PAYLOAD_NONE;
    record.payload.length = 0;
    expect_form({"", "15 00 0014 0000 0010 000003c7 000003c2 00000000 00000001",
                 "15 01 1400 0000 1000 000003c7 000003c2 00000000 01000000"},
                record);
}

TEST(DataTest, NonStandardPayloadIsOne) {
    RTPSData record = data();
    record.isNonStandardPayload = 1;
    record.payload.length = 4;
    expect_form({"", "15 14 0018 0000 0010 000003c7 000003c2 00000000 00000001 00010000",
                 "15 15 1800 0000 1000 000003c7 000003c2 00000000 01000000 00010000"},
                record);
}

TEST(DataTest, WhatALaterVersionPutsBeforeTheInlineQosIsPassedOver) {
    const Block message(message_of("15 04 0020 0000 0018 000003c7 000003c2 00000000 00000001 "
                                   "deadbeef deadbeef 00010000"));
    RTPSData record{};
    EXPECT_EQ(read_from(message, &record), RTPS_ACCEPTED);
    EXPECT_EQ(hex(record.payload), "00010000");
}

TEST(DataTest, PayloadWithoutAFlagIsNone) {
    const Block message(message_of(std::string("15 00 0018 ") + FIXED + "00010000"));
    RTPSData record{};
    EXPECT_EQ(read_from(message, &record), RTPS_ACCEPTED);
    EXPECT_EQ(record.payload.length, 0u);
}

TEST(DataTest, DataAndKeyAtOnceIsRefused) {
    EXPECT_EQ(refusal_of<RTPSData>(std::string("15 0c 0018 ") + FIXED + "00010000"),
              RTPS_REFUSED_FLAGS);
}

TEST(DataTest, SequenceNumberZeroIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSData>("15 04 0014 0000 0010 00000000 00000000 00000000 00000000"),
              RTPS_REFUSED_SEQUENCE_NUMBER);
    RTPSData record = data();
    record.writerSN = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(DataTest, UnknownSequenceNumberIsRefused) {
    EXPECT_EQ(refusal_of<RTPSData>("15 04 0014 0000 0010 00000000 00000000 ffffffff 00000000"),
              RTPS_REFUSED_SEQUENCE_NUMBER);
}

TEST(DataTest, OffsetOfInlineQosIntoTheFixedPartIsRefused) {
    EXPECT_EQ(refusal_of<RTPSData>("15 04 0014 0000 000f 00000000 00000000 00000000 00000001"),
              RTPS_REFUSED_LENGTH);
}

TEST(DataTest, OffsetOfInlineQosBeyondTheEndIsRefused) {
    EXPECT_EQ(refusal_of<RTPSData>("15 04 0014 0000 0011 00000000 00000000 00000000 00000001"),
              RTPS_REFUSED_LENGTH);
}

TEST(DataTest, InlineQosWithoutAnEndIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSData>(std::string("15 02 001c ") + FIXED + "0071 0004 00000001"),
              RTPS_REFUSED_NO_SENTINEL);
    RTPSData record = data();
    record.inlineQos = view("0071 0004 00000001");
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(DataTest, InlineQosLongerThanTheSubmessageIsRefused) {
    EXPECT_EQ(refusal_of<RTPSData>(std::string("15 02 001c ") + FIXED + "0071 0008 00000001"),
              RTPS_REFUSED_LENGTH);
}

TEST(DataTest, InlineQosWithMoreBehindItIsNotWritten) {
    RTPSData record = data();
    record.inlineQos = view("0001 0000 00000000");
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(DataTest, PayloadOfNoKindIsNotWritten) {
    RTPSData record = data();
    record.payloadKind = RTPS_PAYLOAD_NONE;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(DataTest, PayloadIsPaddedToAMultipleOfFour) {
    RTPSData record = data();
    record.payload.length = 5;
    const std::string message = written(record, RTPS_BIG_ENDIAN);
    EXPECT_EQ(message.substr(message.size() - 16), "0001000061000000");
}

TEST(DataFragTest, HasThisForm) {
    expect_form(DATA_FRAG, data_frag());
}

TEST(DataFragTest, OfAKeyWithInlineQosHasThisForm) {
    expect_form_by_order(KEY_FRAG, key_frag);
}

TEST(DataFragTest, SequenceNumberZeroIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSDataFrag>("16 00 0024 0000 001c 00000000 00000000 00000000 00000000 "
                                       "00000001 0001 0004 00000004 61626364"),
              RTPS_REFUSED_SEQUENCE_NUMBER);
    RTPSDataFrag record = data_frag();
    record.writerSN = 0;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

struct Fragments {
    const char *name;
    const char *octets; ///< starting number, how many, size, size of the sample, payload
    RTPSRefusal refusal;
};

class FragmentsTest : public testing::TestWithParam<Fragments> {};

TEST_P(FragmentsTest, AreRefusedUnlessTheyAreOfTheirSample) {
    const std::string contents =
        std::string("0000 001c 00000000 00000000 00000000 00000001 ") + GetParam().octets;
    char header[16];
    std::snprintf(header, sizeof header, "16 00 %04zx ", octets(contents).size());
    EXPECT_EQ(refusal_of<RTPSDataFrag>(header + contents), GetParam().refusal);
}

INSTANTIATE_TEST_SUITE_P(
    , FragmentsTest,
    testing::Values(
        Fragments{"TheOnlyOne", "00000001 0001 0004 00000004 61626364", RTPS_ACCEPTED},
        Fragments{"TheLastOne", "00000002 0001 0004 00000006 61620000", RTPS_ACCEPTED},
        Fragments{"TheHighestOne", "ffffffff 0001 0001 ffffffff 61000000", RTPS_ACCEPTED},
        Fragments{"NumberZero", "00000000 0001 0004 00000004 61626364", RTPS_REFUSED_FRAGMENT},
        Fragments{"NoneAtAll", "00000001 0000 0004 00000004 61626364", RTPS_REFUSED_FRAGMENT},
        Fragments{"OfNoSize", "00000001 0001 0000 00000004 61626364", RTPS_REFUSED_FRAGMENT},
        Fragments{"LargerThanTheSample", "00000001 0001 0005 00000004 61626364",
                  RTPS_REFUSED_FRAGMENT},
        Fragments{"NoneOfNone", "00000001 0001 0000 00000000", RTPS_REFUSED_FRAGMENT},
        Fragments{"BehindTheLast", "00000002 0001 0004 00000004 61626364", RTPS_REFUSED_FRAGMENT},
        Fragments{"MoreThanThereAre", "00000001 0002 0004 00000004 61626364",
                  RTPS_REFUSED_FRAGMENT},
        Fragments{"HighestAndMore", "ffffffff ffff 0001 ffffffff 61000000", RTPS_REFUSED_FRAGMENT},
        Fragments{"WithLessPayload", "00000001 0001 0004 00000004 616263", RTPS_REFUSED_FRAGMENT},
        Fragments{"WithMorePayload", "00000001 0001 0004 00000004 61626364 65666768",
                  RTPS_REFUSED_FRAGMENT}),
    [](const auto &fragments) { return fragments.param.name; });

TEST(DataFragTest, PayloadOfAnotherSizeIsNotWritten) {
    RTPSDataFrag record = data_frag();
    record.payload.length -= 1;
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

TEST(DataFragTest, InlineQosThatIsNoneIsRefusedAndNotWritten) {
    EXPECT_EQ(refusal_of<RTPSDataFrag>("16 02 0024 0000 001c 00000000 00000000 00000000 00000001 "
                                       "00000001 0001 0004 00000004 61626364"),
              RTPS_REFUSED_LENGTH);
    RTPSDataFrag record = data_frag();
    record.inlineQos = view("61626364");
    EXPECT_EQ(written(record, RTPS_BIG_ENDIAN), "");
}

} // namespace
