// SPDX-License-Identifier: Apache-2.0
#include "traffic.h"

#include <string>

#include <gmock/gmock.h>

#include "../disc/participants.h"

using namespace ddssim;

namespace {

Kind kind(const std::string &message, bool is_to_group) {
    return kind_of({reinterpret_cast<const std::uint8_t *>(message.data()), message.size()},
                   is_to_group);
}

TEST(KindOfDatagram, IsThatOfWhatItSays) {
    sim::Made directed;
    directed.directed_at = NUVOsapiRtpsGuidPrefix{1, 2, 3};
    constexpr RTPSEntityId WRITER = RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_ANNOUNCER;

    EXPECT_EQ(kind(sim::announcement({}), true), Kind::ANNOUNCEMENT);
    EXPECT_EQ(kind(sim::announcement({}), false), Kind::PEER_ANNOUNCEMENT);
    EXPECT_EQ(kind(sim::announcement(directed), false), Kind::GREETING);
    EXPECT_EQ(kind(sim::leaving({}), true), Kind::LEAVING);
    EXPECT_EQ(kind(sim::acknack({}, WRITER), false), Kind::QUESTION);
    EXPECT_EQ(kind(sim::heartbeat({}, WRITER), false), Kind::ANSWER);
    EXPECT_EQ(kind("x", false), Kind::OTHER);
    EXPECT_EQ(kind(sim::announcement({}).substr(0, 20), true), Kind::OTHER);
}

} // namespace
