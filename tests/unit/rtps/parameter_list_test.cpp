// SPDX-License-Identifier: Apache-2.0
// Parameter lists: gone through and put together; inline QoS and properties, which are made of
// them.
#include <string>

#include "kinds.h"
#include "rtps/rtps_parameterList.h"

namespace {

/** "id:value" of each parameter, "!" after one that must be understood, and why the rest is not
 * read. */
std::string describe(RTPSParameterListReader &reader) {
    std::string text;
    for (RTPSParameter parameter; RTPSParameterListReader_next(&reader, &parameter) != 0;) {
        char id[8];
        std::snprintf(id, sizeof id, "%04x:", parameter.id);
        text += id + hex(parameter.value) + (parameter.mustUnderstand != 0 ? "! " : " ");
    }
    return text + RTPSRefusal_toString(reader.refusal);
}

std::string read_list(const char *list, RTPSByteOrder order = RTPS_BIG_ENDIAN) {
    const Block block(list);
    RTPSParameterListReader reader;
    RTPSParameterListReader_initialize(&reader, block.view(), order);
    return describe(reader);
}

std::string read_payload(const char *payload) {
    const Block block(payload);
    RTPSParameterListReader reader;
    EXPECT_EQ(RTPSParameterListReader_initializePayload(&reader, block.view()), reader.refusal);
    return describe(reader);
}

const std::string NO_LIST = RTPSRefusal_toString(RTPS_REFUSED_ENCAPSULATION);
const std::string NO_END = RTPSRefusal_toString(RTPS_REFUSED_NO_SENTINEL);
const std::string LENGTH = RTPSRefusal_toString(RTPS_REFUSED_LENGTH);

TEST(ParameterListReaderTest, ReadsEitherByteOrder) {
    EXPECT_EQ(read_list("0015 0004 02050000  0062 0008 00000001 00000000  0001 0000"),
              "0015:02050000 0062:0000000100000000 nothing");
    EXPECT_EQ(
        read_list("1500 0400 02050000  6200 0800 01000000 00000000  0100 0000", RTPS_LITTLE_ENDIAN),
        "0015:02050000 0062:0100000000000000 nothing");
}

TEST(ParameterListReaderTest, TakesTheByteOrderFromTheEncapsulation) {
    EXPECT_EQ(read_payload("0002 0000  0015 0004 02050000  0001 0000"), "0015:02050000 nothing");
    EXPECT_EQ(read_payload("0003 0000  1500 0400 02050000  0100 0000"), "0015:02050000 nothing");
}

TEST(ParameterListReaderTest, OptionsOfTheEncapsulationMeanNothing) {
    EXPECT_EQ(read_payload("0002 ffff  0015 0004 02050000  0001 0000"), "0015:02050000 nothing");
}

TEST(ParameterListReaderTest, AnotherEncapsulationIsNoParameterList) {
    for (const char *payload :
         {"0000 0000 0001 0000", "0001 0000 0100 0000", "000a 0000 0001 0000",
          "0300 0000 0001 0000", "0004 0000 0001 0000", "0003 00", "0003", "00", ""}) {
        EXPECT_EQ(read_payload(payload), NO_LIST) << payload;
    }
}

TEST(ParameterListReaderTest, BitsOfTheIdAreTakenOffOrStay) {
    EXPECT_EQ(read_list("4014 0004 00000000  c001 0000  8002 0000  0001 0000"),
              "0014:00000000! 8001:! 8002: nothing");
}

TEST(ParameterListReaderTest, PadIsPassedOver) {
    EXPECT_EQ(read_list("0000 0008 0001000000010000  0015 0000  0000 0000  0001 0000"),
              "0015: nothing");
}

TEST(ParameterListReaderTest, EndsWithTheSentinelWhateverItsLengthIs) {
    const Block block("0015 0000  0001 ffff  0016 0000");
    RTPSParameterListReader reader;
    RTPSParameterListReader_initialize(&reader, block.view(), RTPS_BIG_ENDIAN);
    EXPECT_EQ(describe(reader), "0015: nothing");
    EXPECT_EQ(hex(reader.rest), "00160000");
    RTPSParameter parameter;
    EXPECT_EQ(RTPSParameterListReader_next(&reader, &parameter), 0);
}

TEST(ParameterListReaderTest, WithoutASentinelHasNoEnd) {
    EXPECT_EQ(read_list(""), NO_END);
    EXPECT_EQ(read_list("0015 0004 02050000"), "0015:02050000 " + NO_END);
    EXPECT_EQ(read_list("0015 0000 0001"), "0015: " + NO_END);
}

TEST(ParameterListReaderTest, LengthBeyondTheEndLies) {
    EXPECT_EQ(read_list("0015 0008 02050000"), LENGTH);
    EXPECT_EQ(read_list("0015 fffc 02050000 0001 0000"), LENGTH);
}

TEST(ParameterListReaderTest, LengthThatIsNoMultipleOfFourLies) {
    EXPECT_EQ(read_list("0015 0002 0205 0001 0000"), LENGTH);
}

TEST(ParameterListReaderTest, AfterALieThereIsNothing) {
    const Block block("0015 0008 02050000");
    RTPSParameterListReader reader;
    RTPSParameterListReader_initialize(&reader, block.view(), RTPS_BIG_ENDIAN);
    RTPSParameter parameter;
    EXPECT_EQ(RTPSParameterListReader_next(&reader, &parameter), 0);
    EXPECT_EQ(RTPSParameterListReader_next(&reader, &parameter), 0);
    EXPECT_EQ(reader.refusal, RTPS_REFUSED_LENGTH);
}

/** A list with one parameter in room of this size. */
std::string write_list(Block &room, RTPSByteOrder order, std::size_t *length) {
    const auto value = octets("0102030405");
    RTPSParameterListWriter writer;
    RTPSParameterListWriter_initializePayload(&writer, room.data(), room.size(), order);
    RTPSParameterListWriter_add(&writer, 0x4062, {value.data(), value.size()});
    *length = RTPSParameterListWriter_finish(&writer);
    return hex(room.view());
}

TEST(ParameterListWriterTest, WritesEitherByteOrder) {
    Block room(20);
    std::size_t length = 0;
    EXPECT_EQ(write_list(room, RTPS_BIG_ENDIAN, &length),
              compact("0002 0000  4062 0008 01020304 05000000  0001 0000"));
    EXPECT_EQ(write_list(room, RTPS_LITTLE_ENDIAN, &length),
              compact("0003 0000  6240 0800 01020304 05000000  0100 0000"));
    EXPECT_EQ(length, 20u);
}

TEST(ParameterListWriterTest, TellsTheLengthThatItHasInWhateverRoom) {
    for (std::size_t size = 0; size < 20; ++size) {
        Block room(size);
        std::size_t length = 0;
        write_list(room, RTPS_BIG_ENDIAN, &length);
        EXPECT_EQ(length, 20u);
    }
}

TEST(ParameterListWriterTest, NeedsNoRoomToTellTheLength) {
    RTPSParameterListWriter writer;
    RTPSParameterListWriter_initialize(&writer, nullptr, 0, RTPS_BIG_ENDIAN);
    RTPSParameterListWriter_add(&writer, 0x0062, {nullptr, 0});
    EXPECT_EQ(RTPSParameterListWriter_finish(&writer), 8u);
}

TEST(ParameterListWriterTest, ValueTooLongForItsLengthIsImpossible) {
    const std::vector<NUV_UINT8> value(65'536);
    for (const std::size_t size : {std::size_t{65'533}, value.size()}) {
        RTPSParameterListWriter writer;
        RTPSParameterListWriter_initialize(&writer, nullptr, 0, RTPS_BIG_ENDIAN);
        RTPSParameterListWriter_add(&writer, 0x0062, {value.data(), size});
        RTPSParameterListWriter_add(&writer, 0x0062, {value.data(), 4});
        EXPECT_EQ(RTPSParameterListWriter_finish(&writer), RTPS_SIZE_IMPOSSIBLE);
    }
}

TEST(ParameterListWriterTest, LongestValueFits) {
    const std::vector<NUV_UINT8> value(65'532);
    Block room(65'540);
    RTPSParameterListWriter writer;
    RTPSParameterListWriter_initialize(&writer, room.data(), room.size(), RTPS_BIG_ENDIAN);
    RTPSParameterListWriter_add(&writer, 0x0062, {value.data(), value.size()});
    EXPECT_EQ(RTPSParameterListWriter_finish(&writer), room.size());
    EXPECT_EQ(hex(std::span(room.data(), 4)), "0062fffc");
}

constexpr const char *LEAVING_BIG = "0070 0010 01020304 05060708 090a0b0c 000001c1  "
                                    "0071 0004 00000003  0001 0000";
constexpr const char *LEAVING_LITTLE = "7000 1000 01020304 05060708 090a0b0c 000001c1  "
                                       "7100 0400 00000003  0100 0000";
constexpr RTPSInlineQos LEAVING = {1,
                                   {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 1, 0xC1},
                                   RTPS_STATUS_INFO_DISPOSED | RTPS_STATUS_INFO_UNREGISTERED};

RTPSRefusal read_qos(const char *list, RTPSByteOrder order, RTPSInlineQos *out) {
    const Block block(list);
    return RTPSInlineQos_read(block.view(), order, out);
}

TEST(InlineQosTest, HasThisForm) {
    for (const auto &[order, list] :
         {std::pair{RTPS_BIG_ENDIAN, LEAVING_BIG}, std::pair{RTPS_LITTLE_ENDIAN, LEAVING_LITTLE}}) {
        RTPSInlineQos qos{};
        EXPECT_EQ(read_qos(list, order, &qos), RTPS_ACCEPTED);
        EXPECT_EQ(describe(qos), describe(LEAVING));
        Block room(32);
        EXPECT_EQ(RTPSInlineQos_write(&LEAVING, order, room.data(), room.size()), 32u);
        EXPECT_EQ(hex(room.view()), compact(list));
    }
}

TEST(InlineQosTest, WithNothingToSayIsEmpty) {
    RTPSInlineQos qos = LEAVING;
    EXPECT_EQ(read_qos("0001 0000", RTPS_BIG_ENDIAN, &qos), RTPS_ACCEPTED);
    EXPECT_EQ(describe(qos), describe(RTPSInlineQos{}));
    Block room(4);
    EXPECT_EQ(RTPSInlineQos_write(&qos, RTPS_BIG_ENDIAN, room.data(), room.size()), 4u);
    EXPECT_EQ(hex(room.view()), "00010000");
}

TEST(InlineQosTest, TellsWhatRoomItNeeds) {
    Block room(31);
    EXPECT_EQ(RTPSInlineQos_write(&LEAVING, RTPS_BIG_ENDIAN, room.data(), room.size()), 32u);
}

TEST(InlineQosTest, LastOfSeveralCounts) {
    RTPSInlineQos qos{};
    EXPECT_EQ(read_qos("0071 0004 00000001  0071 0004 00000002  0001 0000", RTPS_BIG_ENDIAN, &qos),
              RTPS_ACCEPTED);
    EXPECT_EQ(qos.statusInfo, 2u);
}

TEST(InlineQosTest, UnknownParameterIsSkippedUnlessItMustBeUnderstood) {
    RTPSInlineQos qos{};
    EXPECT_EQ(read_qos("0057 0000  8001 0000  0001 0000", RTPS_BIG_ENDIAN, &qos), RTPS_ACCEPTED);
    EXPECT_EQ(read_qos("4057 0000  0001 0000", RTPS_BIG_ENDIAN, &qos),
              RTPS_REFUSED_MUST_UNDERSTAND);
}

TEST(InlineQosTest, RefusedOneLeavesTheRecordAlone) {
    RTPSInlineQos qos = LEAVING;
    EXPECT_EQ(read_qos("0070 000c 000000000000000000000000 0001 0000", RTPS_BIG_ENDIAN, &qos),
              RTPS_REFUSED_LENGTH);
    EXPECT_EQ(read_qos("0071 0000 0001 0000", RTPS_BIG_ENDIAN, &qos), RTPS_REFUSED_LENGTH);
    EXPECT_EQ(read_qos("0071 0004 00000001", RTPS_BIG_ENDIAN, &qos), RTPS_REFUSED_NO_SENTINEL);
    EXPECT_EQ(describe(qos), describe(LEAVING));
}

constexpr const char *PROPERTIES_BIG = "00000002  00000002 61000000  00000004 78797a00  "
                                       "00000003 62630000  00000001 00";
constexpr const char *PROPERTIES_LITTLE = "02000000  02000000 61000000  04000000 78797a00  "
                                          "03000000 62630000  01000000 00";

std::string describe(const RTPSPropertyList &list) {
    RTPSPropertyReader reader;
    RTPSPropertyReader_initialize(&reader, &list);
    std::string text;
    for (RTPSProperty property; RTPSPropertyReader_next(&reader, &property) != 0;) {
        text += std::string(property.name.text) + "=" + property.value.text + ";";
        EXPECT_EQ(property.name.length, std::string(property.name.text).size());
    }
    return text;
}

/** The properties of octets that are as long as these, or the reason of refusal. */
std::string read_properties(const char *text, RTPSByteOrder order = RTPS_BIG_ENDIAN) {
    const Block block(text);
    RTPSPropertyList list{};
    const RTPSRefusal refusal = RTPSPropertyList_read(block.view(), order, &list);
    return refusal == RTPS_ACCEPTED ? describe(list) : RTPSRefusal_toString(refusal);
}

TEST(PropertyListTest, IsReadInEitherByteOrder) {
    EXPECT_EQ(read_properties(PROPERTIES_BIG), "a=xyz;bc=;");
    EXPECT_EQ(read_properties(PROPERTIES_LITTLE, RTPS_LITTLE_ENDIAN), "a=xyz;bc=;");
}

TEST(PropertyListTest, IsWrittenInEitherByteOrder) {
    const RTPSProperty properties[] = {{{"a", 1}, {"xyz", 3}}, {{"bc", 2}, {"", 0}}};
    for (const auto &[order, text] : {std::pair{RTPS_BIG_ENDIAN, PROPERTIES_BIG},
                                      std::pair{RTPS_LITTLE_ENDIAN, PROPERTIES_LITTLE}}) {
        const std::size_t needed = octets(text).size();
        for (std::size_t size = 0; size <= needed; ++size) {
            Block room(size);
            RTPSPropertyWriter writer;
            RTPSPropertyWriter_initialize(&writer, room.data(), room.size(), order);
            RTPSPropertyWriter_add(&writer, &properties[0]);
            RTPSPropertyWriter_add(&writer, &properties[1]);
            RTPSPropertyList list{};
            EXPECT_EQ(RTPSPropertyWriter_finish(&writer, &list), needed);
            EXPECT_EQ(hex(list.octets), size == needed ? compact(text) : "");
            EXPECT_EQ(describe(list), size == needed ? "a=xyz;bc=;" : "");
        }
    }
}

TEST(PropertyListTest, MayBeEmpty) {
    EXPECT_EQ(read_properties("00000000"), "");
}

TEST(PropertyListTest, WhatFollowsIsLeftOut) {
    const Block block("00000001  00000002 61000000  00000002 78000000  00000000");
    RTPSPropertyList list{};
    EXPECT_EQ(RTPSPropertyList_read(block.view(), RTPS_BIG_ENDIAN, &list), RTPS_ACCEPTED);
    EXPECT_EQ(describe(list), "a=x;");
    EXPECT_EQ(list.octets.length, 4u + 8 + 6);
}

TEST(PropertyListTest, TextEndsAtItsFirstTerminator) {
    EXPECT_EQ(read_properties("00000001  00000004 61000000  00000004 78007900"), "a=x;");
}

TEST(PropertyListTest, TextOfNoLengthIsEmpty) {
    EXPECT_EQ(read_properties("00000001  00000000  00000000"), "=;");
}

TEST(PropertyListTest, TextWithoutItsEndIsRefused) {
    const std::string reason = RTPSRefusal_toString(RTPS_REFUSED_TEXT);
    EXPECT_EQ(read_properties("00000001  00000001 61000000  00000001 00"), reason);
    EXPECT_EQ(read_properties("00000001  00000001 00000000  00000002 6162"), reason);
}

TEST(PropertyListTest, LengthsThatLieAreRefused) {
    for (const char *list :
         {"", "000000", "00000001", "ffffffff 00000001 00000000 00000001 00",
          "00000001 ffffffff 61000000", "00000001 00000002 6100",
          "00000001 00000002 61000000 00000002 78", "00000002 00000002 61000000 00000001 00"}) {
        EXPECT_EQ(read_properties(list), LENGTH) << list;
    }
}

} // namespace
