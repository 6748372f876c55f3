// SPDX-License-Identifier: Apache-2.0
// The functions of each kind of submessage, and how a message of one is read and written.
#pragma once

#include <gtest/gtest.h>

#include "describe.h"
#include "goldens.h"
#include "octets.h"

/** The kind of submessages that a record is of, and its two functions. */
template <typename Record>
struct Kind;

#define KIND(Name, kindOf)                                                                         \
    template <>                                                                                    \
    struct Kind<RTPS##Name> {                                                                      \
        static constexpr RTPSSubmessageKind KIND = kindOf;                                         \
        static constexpr auto READ = RTPS##Name##_read;                                            \
        static constexpr auto ADD = RTPSMessageWriter_add##Name;                                   \
    }
KIND(AckNack, RTPS_SUBMESSAGE_ACKNACK);
KIND(NackFrag, RTPS_SUBMESSAGE_NACK_FRAG);
KIND(Heartbeat, RTPS_SUBMESSAGE_HEARTBEAT);
KIND(HeartbeatFrag, RTPS_SUBMESSAGE_HEARTBEAT_FRAG);
KIND(Gap, RTPS_SUBMESSAGE_GAP);
KIND(InfoTimestamp, RTPS_SUBMESSAGE_INFO_TS);
KIND(InfoSource, RTPS_SUBMESSAGE_INFO_SRC);
KIND(InfoDestination, RTPS_SUBMESSAGE_INFO_DST);
KIND(InfoReply, RTPS_SUBMESSAGE_INFO_REPLY);
KIND(InfoReplyIp4, RTPS_SUBMESSAGE_INFO_REPLY_IP4);
KIND(Data, RTPS_SUBMESSAGE_DATA);
KIND(DataFrag, RTPS_SUBMESSAGE_DATA_FRAG);
KIND(HeaderExtension, RTPS_SUBMESSAGE_HEADER_EXTENSION);
#undef KIND

inline constexpr RTPSByteOrder BYTE_ORDERS[] = {RTPS_BIG_ENDIAN, RTPS_LITTLE_ENDIAN};

/** The first submessage of a message. */
inline RTPSSubmessage first_submessage(const RTPSOctets &message) {
    RTPSMessageReader reader;
    RTPSHeader header;
    RTPSSubmessage submessage{};
    EXPECT_EQ(RTPSMessageReader_initialize(&reader, message, &header), RTPS_ACCEPTED);
    EXPECT_NE(RTPSMessageReader_next(&reader, &submessage), 0);
    return submessage;
}

/** Reads a submessage that comes first in a message with our header. */
template <typename Record>
RTPSRefusal read_from(const Block &message, Record *out) {
    const RTPSSubmessage submessage = first_submessage(message.view());
    EXPECT_EQ(submessage.kind, Kind<Record>::KIND);
    return Kind<Record>::READ(&submessage, out);
}

/** Why a submessage is refused; the record it is read to must stay as it was. */
template <typename Record>
RTPSRefusal refusal_of(const std::string &submessage) {
    const Block message(message_of(submessage));
    Record record{};
    const std::string before = describe(record);
    const RTPSRefusal refusal = read_from(message, &record);
    EXPECT_TRUE(refusal == RTPS_ACCEPTED || describe(record) == before);
    return refusal;
}

/** A message with our header and one submessage, in hexadecimal; empty when it cannot be. */
template <typename Record>
std::string written(const Record &record, RTPSByteOrder order) {
    Block room(1024);
    RTPSMessageWriter writer;
    EXPECT_NE(
        RTPSMessageWriter_initialize(&writer, room.data(), room.size(), order, &HEADER_RECORD), 0);
    if (Kind<Record>::ADD(&writer, &record) == 0) {
        EXPECT_EQ(writer.needed, RTPS_SIZE_IMPOSSIBLE);
        return "";
    }
    EXPECT_EQ(writer.needed, writer.length);
    return hex(std::span(room.data(), writer.length));
}

/** What @p make gives for a byte order is written as the golden submessage, and read from it. */
template <typename Make>
void expect_form_by_order(const Golden &golden, Make make) {
    for (const RTPSByteOrder order : BYTE_ORDERS) {
        auto record = make(order);
        const std::string message = compact(message_of(golden.in(order)));
        EXPECT_EQ(written(record, order), message);
        const Block block(message);
        decltype(record) read{};
        EXPECT_EQ(read_from(block, &read), RTPS_ACCEPTED);
        EXPECT_EQ(describe(read), describe(record));
    }
}

/** A record is written as the golden submessage, and read from it, in either byte order. */
template <typename Record>
void expect_form(const Golden &golden, const Record &record) {
    expect_form_by_order(golden, [&record](RTPSByteOrder /*order*/) { return record; });
}
