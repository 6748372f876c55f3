// SPDX-License-Identifier: Apache-2.0
// The highest index of given ports, and why there is none.
#include "fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/** In the order of the fields: port base, gains of domain and participant, offsets. */
using Ports = DDS_RtpsWellKnownPorts_t;

class IndexBound : public testing::Test {
protected:
    DDS_Long of(const Ports &ports) {
        log.clear();
        return DDS_DomainParticipant_get_max_participant_index(&ports);
    }

    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const support::Message &message : log.messages()) {
            all.push_back(message.body);
        }
        return all;
    }

    support::LogCapture log;
};

TEST_F(IndexBound, StaysClearOfTheNextDomain) {
    EXPECT_EQ(of(DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER), 119);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(IndexBound, OfOffsetsThatReachIntoTheNextDomainIsNone) {
    EXPECT_EQ(of({7400, 3, 2, 0, 10, 1, 11}), -1);
    ASSERT_THAT(texts(),
                ElementsAre("rtps_well_known_ports.user_unicast_port_offset is 11, which leaves no "
                            "participant index: with port_base 7400, domain_id_gain 3 and "
                            "participant_id_gain 2 allowed are at most 2"));
    EXPECT_EQ(log.messages().front().level, NUV_LOG_LEVEL_ERROR);
}

TEST_F(IndexBound, NamesTheLargerOffset) {
    EXPECT_EQ(of({7400, 10, 2, 0, 13, 1, 11}), -1);
    EXPECT_THAT(texts(),
                ElementsAre("rtps_well_known_ports.builtin_unicast_port_offset is 13, which leaves "
                            "no participant index: with port_base 7400, domain_id_gain 10 and "
                            "participant_id_gain 2 allowed are at most 9"));
}

TEST_F(IndexBound, OfTheOffsetsThatTheMessageAllowsIsZero) {
    EXPECT_EQ(of({7400, 10, 2, 0, 9, 1, 9}), 0);
    EXPECT_EQ(of({7400, 3, 2, 0, 2, 1, 2}), 0);
    EXPECT_THAT(log.messages(), IsEmpty());
}

/** Ports that leave no index, some only because of their offsets. */
class NoIndex : public IndexBound, public testing::WithParamInterface<Ports> {};

TEST_P(NoIndex, IsMinusOneAfterOneLine) {
    EXPECT_EQ(of(GetParam()), -1);
    EXPECT_THAT(log.messages(), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(
    All, NoIndex,
    testing::Values(Ports{0, 250, 2, 0, 10, 1, 11}, Ports{65535, 250, 2, 0, 10, 1, 11},
                    Ports{7400, 0, 2, 0, 10, 1, 11}, Ports{7400, 250, 0, 0, 10, 1, 11},
                    Ports{7400, 250, -1, 0, 10, 1, 11}, Ports{7400, 250, 2, 0, -1, 1, 11},
                    Ports{7400, 250, 2, 0, 10, 1, -1}, Ports{65000, 250, 1000, 0, 10, 1, 11},
                    Ports{7400, 10, 2, 0, 10, 1, 11}, Ports{65000, 250, 500, 0, 10, 1, 501},
                    Ports{1, 2147483647, 2147483646, 0, 2147483647, 1, 2147483647}));

TEST_F(IndexBound, OfNullIsMinusOneAfterOneLine) {
    EXPECT_EQ(DDS_DomainParticipant_get_max_participant_index(nullptr), -1);
    EXPECT_THAT(log.messages(), SizeIs(1));
}

} // namespace
