// SPDX-License-Identifier: Apache-2.0
// What whoever calls the codec must see to, asserted where asserts are on.
#include "kinds.h"

namespace {

class InvariantDeathTest : public testing::Test {
protected:
    void SetUp() override {
#ifdef NDEBUG
        GTEST_SKIP() << "asserts are off in this build";
#endif
    }
};

TEST_F(InvariantDeathTest, SubmessageIsReadAsWhatItIs) {
    const Block message(message_of(GAP.big));
    const RTPSSubmessage submessage = first_submessage(message.view());
    RTPSHeartbeat record{};
    EXPECT_DEATH(RTPSHeartbeat_read(&submessage, &record), "submessage.kind == kind");
}

TEST_F(InvariantDeathTest, ListHasNoMoreLocatorsThanThereIsRoomFor) {
    RTPSInfoReply reply{};
    reply.unicast.count = RTPS_LOCATORS_MAX + 1;
    EXPECT_DEATH(written(reply, RTPS_BIG_ENDIAN), "list.count <= RTPS_LOCATORS_MAX");
    RTPSParticipantData data{};
    data.defaultUnicast.count = RTPS_LOCATORS_MAX + 1;
    EXPECT_DEATH(RTPSParticipantData_write(&data, RTPS_BIG_ENDIAN, nullptr, 0),
                 "list.count <= RTPS_LOCATORS_MAX");
}

} // namespace
