// SPDX-License-Identifier: Apache-2.0
// Messages: which ones there are, how they are gone through, and how they are put together.
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kinds.h"

namespace {

RTPSRefusal refusal_of_message(const Block &message) {
    RTPSMessageReader reader;
    RTPSHeader header{};
    return RTPSMessageReader_initialize(&reader, message.view(), &header);
}

/** "kind:length" of each submessage, and "!" where the rest is invalid. */
std::string walk(const Block &message) {
    RTPSMessageReader reader;
    RTPSHeader header{};
    EXPECT_EQ(RTPSMessageReader_initialize(&reader, message.view(), &header), RTPS_ACCEPTED);
    std::string text;
    for (RTPSSubmessage submessage; RTPSMessageReader_next(&reader, &submessage) != 0;) {
        text +=
            std::to_string(submessage.kind) + ":" + std::to_string(submessage.body.length) + " ";
    }
    EXPECT_EQ(reader.rest.length, 0u);
    return text + (reader.refusal == RTPS_REFUSED_LENGTH ? "!" : "");
}

std::string walk_submessages(const std::string &submessages) {
    return walk(Block(message_of(submessages)));
}

TEST(MessageReaderTest, ReadsTheHeader) {
    const Block message("52545053 0201 0a0b 01020304 05060708 090a0b0c");
    RTPSMessageReader reader;
    RTPSHeader header{};
    EXPECT_EQ(RTPSMessageReader_initialize(&reader, message.view(), &header), RTPS_ACCEPTED);
    EXPECT_EQ(describe(header),
              describe(RTPSHeader{{2, 1}, {{10, 11}}, {0x01020304, 0x05060708, 0x090A0B0C}}));
}

TEST(MessageReaderTest, HeaderAloneHasNoSubmessages) {
    EXPECT_EQ(walk_submessages(""), "");
}

TEST(MessageReaderTest, WhatIsShorterThanAHeaderIsNoMessage) {
    const std::vector<NUV_UINT8> header = octets(HEADER);
    for (std::size_t size = 0; size < header.size(); ++size) {
        EXPECT_EQ(refusal_of_message(Block(std::span(header).first(size))),
                  RTPS_REFUSED_NO_MESSAGE);
    }
}

TEST(MessageReaderTest, AnotherProtocolIsNoMessage) {
    EXPECT_EQ(refusal_of_message(Block("52545058 0205 0000 01020304 05060708 090a0b0c")),
              RTPS_REFUSED_NO_MESSAGE);
}

TEST(MessageReaderTest, AnotherMajorVersionIsNoMessage) {
    EXPECT_EQ(refusal_of_message(Block("52545053 0105 0000 01020304 05060708 090a0b0c")),
              RTPS_REFUSED_NO_MESSAGE);
    EXPECT_EQ(refusal_of_message(Block("52545053 0305 0000 01020304 05060708 090a0b0c")),
              RTPS_REFUSED_NO_MESSAGE);
}

TEST(MessageReaderTest, NoMessageHasNoSubmessagesAndNoHeader) {
    const Block message("52545058 0205 0000 01020304 05060708 090a0b0c 01000000");
    RTPSMessageReader reader;
    RTPSHeader header = HEADER_RECORD;
    header.version.minor = 9;
    const std::string before = describe(header);
    RTPSMessageReader_initialize(&reader, message.view(), &header);
    RTPSSubmessage submessage;
    EXPECT_EQ(RTPSMessageReader_next(&reader, &submessage), 0);
    EXPECT_EQ(reader.refusal, RTPS_REFUSED_NO_MESSAGE);
    EXPECT_EQ(describe(header), before);
}

TEST(MessageReaderTest, GoesThroughSubmessagesOfEitherByteOrder) {
    EXPECT_EQ(walk_submessages(std::string(INFO_DST.big) + INFO_TS.little + HEARTBEAT.big),
              "14:12 9:8 7:28 ");
}

TEST(MessageReaderTest, GoesThroughUnknownKindsAndThoseOfVendorsAndSecurity) {
    EXPECT_EQ(walk_submessages("02 00 0004 00000000  80 01 0400 00000000  31 00 0008 "
                               "0000000000000000  07 00 0000"),
              "2:4 128:4 49:8 7:0 ");
}

TEST(MessageReaderTest, KeepsKindFlagsAndByteOrder) {
    const Block message(message_of("9f a5 0400 01020304"));
    const RTPSSubmessage submessage = first_submessage(message.view());
    EXPECT_EQ(submessage.kind, 0x9F);
    EXPECT_EQ(submessage.flags, 0xA5);
    EXPECT_EQ(submessage.byteOrder, RTPS_LITTLE_ENDIAN);
    EXPECT_EQ(hex(submessage.body), "01020304");
}

TEST(MessageReaderTest, LengthZeroReachesToTheEndOfTheMessage) {
    EXPECT_EQ(walk_submessages("15 04 0000 00000000 00000000 01000000"), "21:12 ");
}

TEST(MessageReaderTest, LengthZeroOfPadAndInfoTsIsNothing) {
    EXPECT_EQ(walk_submessages("01 00 0000  09 02 0000  07 00 0004 00000000  01 00 0000"),
              "1:0 9:0 7:4 1:0 ");
}

TEST(MessageReaderTest, LengthBeyondTheEndMakesTheRestInvalid) {
    EXPECT_EQ(walk_submessages("01 00 0000  07 00 0008 00000000"), "1:0 !");
    EXPECT_EQ(walk_submessages("09 00 0004 000000"), "!");
}

TEST(MessageReaderTest, RestThatIsNoSubmessageHeaderIsInvalid) {
    EXPECT_EQ(walk_submessages("01 00 0000  01 00 00"), "1:0 !");
}

TEST(MessageReaderTest, SubmessageMayBeginAtAnyOctet) {
    EXPECT_EQ(walk_submessages("80 00 0003 000000  07 01 0200 0000"), "128:3 7:2 ");
}

TEST(MessageReaderTest, SubmessageLongerThanALengthCanTellIsRead) {
    std::vector<NUV_UINT8> message = octets(message_of("15 05 0000"));
    message.resize(message.size() + 100'000);
    EXPECT_EQ(walk(Block(message)), "21:100000 ");
}

/** A writer with room of this size that has begun a message. */
class WriterTest : public testing::Test {
protected:
    int begin(std::size_t size) {
        room_.emplace(size);
        return RTPSMessageWriter_initialize(&writer_, room_->data(), size, RTPS_BIG_ENDIAN,
                                            &HEADER_RECORD);
    }
    std::string message() {
        return hex(std::span(room_->data(), writer_.length));
    }

    std::optional<Block> room_;
    RTPSMessageWriter writer_{};
};

using MessageWriterTest = WriterTest;

TEST_F(MessageWriterTest, BeginsWithTheHeader) {
    EXPECT_NE(begin(20), 0);
    EXPECT_EQ(message(), compact(HEADER));
}

TEST_F(MessageWriterTest, WithoutRoomForTheHeaderHasNoMessage) {
    EXPECT_EQ(begin(19), 0);
    EXPECT_EQ(writer_.length, 0u);
    EXPECT_EQ(writer_.needed, 20u);
    EXPECT_EQ(RTPSMessageWriter_addPad(&writer_, 0), 0);
    EXPECT_EQ(writer_.length, 0u);
    EXPECT_EQ(hex(room_->view()), std::string("eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee"));
}

TEST_F(MessageWriterTest, PutsSubmessagesOneBehindTheOther) {
    begin(100);
    const RTPSInfoDestination destination = {{0x11121314, 0x15161718, 0x191A1B1C}};
    const RTPSInfoTimestamp timestamp = {{0x6553F100, 0x80000000}};
    EXPECT_NE(RTPSMessageWriter_addInfoDestination(&writer_, &destination), 0);
    EXPECT_NE(RTPSMessageWriter_addInfoTimestamp(&writer_, &timestamp), 0);
    EXPECT_EQ(message(), compact(message_of(std::string(INFO_DST.big) + INFO_TS.big)));
}

TEST_F(MessageWriterTest, SubmessageFitsWhereThereIsRoomForItAndNoMore) {
    const RTPSInfoTimestamp timestamp = {{1, 2}};
    begin(32);
    EXPECT_NE(RTPSMessageWriter_addInfoTimestamp(&writer_, &timestamp), 0);
    for (std::size_t size = 20; size < 32; ++size) {
        begin(size);
        EXPECT_EQ(RTPSMessageWriter_addInfoTimestamp(&writer_, &timestamp), 0);
        EXPECT_EQ(writer_.needed, 32u);
        EXPECT_EQ(message(), compact(HEADER));
    }
}

TEST_F(MessageWriterTest, AfterWhatDoesNotFitSomethingSmallerDoes) {
    begin(24);
    const RTPSInfoTimestamp timestamp = {{1, 2}};
    const RTPSInfoTimestamp none = {RTPS_TIME_INVALID};
    EXPECT_EQ(RTPSMessageWriter_addInfoTimestamp(&writer_, &timestamp), 0);
    EXPECT_NE(RTPSMessageWriter_addInfoTimestamp(&writer_, &none), 0);
    EXPECT_EQ(message(), compact(message_of(INFO_TS_INVALID.big)));
}

TEST_F(MessageWriterTest, WritesAPad) {
    begin(28);
    EXPECT_NE(RTPSMessageWriter_addPad(&writer_, 4), 0);
    EXPECT_EQ(message(), compact(message_of(PAD.big)));
}

TEST_F(MessageWriterTest, PadThatIsTooLongForItsLengthIsImpossible) {
    begin(70'000);
    EXPECT_EQ(RTPSMessageWriter_addPad(&writer_, 65'533), 0);
    EXPECT_EQ(writer_.needed, RTPS_SIZE_IMPOSSIBLE);
    EXPECT_NE(RTPSMessageWriter_addPad(&writer_, 65'532), 0);
}

TEST_F(MessageWriterTest, SubmessageTooLongForItsLengthIsTheLast) {
    begin(70'100);
    const std::vector<NUV_UINT8> payload(70'000);
    const RTPSData data = {
        RTPS_PAYLOAD_DATA, 0, 0, 0x000003C2, 1, {nullptr, 0}, {payload.data(), payload.size()}};
    EXPECT_NE(RTPSMessageWriter_addData(&writer_, &data), 0);
    EXPECT_EQ(hex(std::span(room_->data() + 20, 4)), "15040000");
    EXPECT_EQ(RTPSMessageWriter_addPad(&writer_, 0), 0);
    EXPECT_EQ(writer_.needed, RTPS_SIZE_IMPOSSIBLE);
    EXPECT_EQ(writer_.length, 20u + 4 + 20 + 70'000);
    EXPECT_EQ(walk(Block(std::span(room_->data(), writer_.length))), "21:70020 ");
}

TEST(RefusalTest, EachHasAPhraseOfItsOwn) {
    std::set<std::string> phrases;
    for (int i = 0; i < RTPS_REFUSAL_COUNT; ++i) {
        phrases.insert(RTPSRefusal_toString(static_cast<RTPSRefusal>(i)));
    }
    EXPECT_EQ(phrases.size(), static_cast<std::size_t>(RTPS_REFUSAL_COUNT));
}

} // namespace
