// SPDX-License-Identifier: Apache-2.0
// Messages that are cut off somewhere: nothing is read past their end.
#include "kinds.h"

namespace {

template <typename Record>
RTPSRefusal read_as(const RTPSSubmessage &submessage) {
    Record record{};
    return Kind<Record>::READ(&submessage, &record);
}

RTPSRefusal read_any(const RTPSSubmessage &submessage) {
    switch (submessage.kind) {
    case RTPS_SUBMESSAGE_HEADER_EXTENSION:
        return read_as<RTPSHeaderExtension>(submessage);
    case RTPS_SUBMESSAGE_ACKNACK:
        return read_as<RTPSAckNack>(submessage);
    case RTPS_SUBMESSAGE_HEARTBEAT:
        return read_as<RTPSHeartbeat>(submessage);
    case RTPS_SUBMESSAGE_GAP:
        return read_as<RTPSGap>(submessage);
    case RTPS_SUBMESSAGE_INFO_TS:
        return read_as<RTPSInfoTimestamp>(submessage);
    case RTPS_SUBMESSAGE_INFO_SRC:
        return read_as<RTPSInfoSource>(submessage);
    case RTPS_SUBMESSAGE_INFO_REPLY_IP4:
        return read_as<RTPSInfoReplyIp4>(submessage);
    case RTPS_SUBMESSAGE_INFO_DST:
        return read_as<RTPSInfoDestination>(submessage);
    case RTPS_SUBMESSAGE_INFO_REPLY:
        return read_as<RTPSInfoReply>(submessage);
    case RTPS_SUBMESSAGE_NACK_FRAG:
        return read_as<RTPSNackFrag>(submessage);
    case RTPS_SUBMESSAGE_HEARTBEAT_FRAG:
        return read_as<RTPSHeartbeatFrag>(submessage);
    case RTPS_SUBMESSAGE_DATA:
        return read_as<RTPSData>(submessage);
    case RTPS_SUBMESSAGE_DATA_FRAG:
        return read_as<RTPSDataFrag>(submessage);
    default:
        return RTPS_ACCEPTED;
    }
}

class TruncationTest : public testing::TestWithParam<Golden> {};

TEST_P(TruncationTest, WholeSubmessageIsAccepted) {
    for (const RTPSByteOrder order : BYTE_ORDERS) {
        const Block message(message_of(GetParam().in(order)));
        EXPECT_EQ(read_any(first_submessage(message.view())), RTPS_ACCEPTED);
    }
}

TEST_P(TruncationTest, CutOffMessageEndsWithoutTheSubmessage) {
    for (const RTPSByteOrder order : BYTE_ORDERS) {
        const std::vector<NUV_UINT8> whole = octets(message_of(GetParam().in(order)));
        for (std::size_t size = RTPS_HEADER_SIZE + 1; size < whole.size(); ++size) {
            const Block message{std::span(whole).first(size)};
            RTPSMessageReader reader;
            RTPSHeader header;
            RTPSSubmessage submessage;
            EXPECT_EQ(RTPSMessageReader_initialize(&reader, message.view(), &header),
                      RTPS_ACCEPTED);
            EXPECT_EQ(RTPSMessageReader_next(&reader, &submessage), 0);
            EXPECT_EQ(reader.refusal, RTPS_REFUSED_LENGTH);
        }
    }
}

TEST_P(TruncationTest, SubmessageThatIsTooShortIsRefused) {
    for (const RTPSByteOrder order : BYTE_ORDERS) {
        const Block message(message_of(GetParam().in(order)));
        const RTPSSubmessage whole = first_submessage(message.view());
        for (std::size_t size = 0; size < whole.body.length; ++size) {
            const Block body{std::span(whole.body.data, size)};
            RTPSSubmessage part = whole;
            part.body = body.view();
            EXPECT_TRUE(read_any(part) != RTPS_ACCEPTED || GetParam().has_open_end) << size;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, TruncationTest, testing::ValuesIn(GOLDENS), [](const auto &golden) {
    std::string name = golden.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

} // namespace
