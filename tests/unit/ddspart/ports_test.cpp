// SPDX-License-Identifier: Apache-2.0
#include "ports.h"

#include <gmock/gmock.h>

#include "log.h"
#include "support/log_capture.h"

using testing::Contains;
using testing::Field;

namespace {

PortsOptions in_domain(DDS_DomainId_t domain) {
    PortsOptions options;

    options.domain = domain;
    return options;
}

std::vector<DDS_LongLong> numbers(const std::vector<Port> &ports) {
    std::vector<DDS_LongLong> all;

    for (const Port &port : ports) {
        all.push_back(port.number);
    }
    return all;
}

TEST(Ports, FollowFromDomainAndIndex) {
    EXPECT_EQ(numbers(ports_of(in_domain(7), 2)),
              (std::vector<DDS_LongLong>{9164, 9150, 9165, 9151}));
}

TEST(Ports, OfTheFirstIndexAreAllFour) {
    EXPECT_EQ(numbers(ports_of(in_domain(7), 0)),
              (std::vector<DDS_LongLong>{9160, 9150, 9161, 9151}));
}

TEST(Ports, AreThoseForMulticastOnlyWithoutAnIndex) {
    EXPECT_EQ(numbers(ports_of(in_domain(7), -1)), (std::vector<DDS_LongLong>{9150, 9151}));
}

TEST(Ports, AreValidFrom1To65535) {
    EXPECT_FALSE((Port{"", 0}.is_valid()));
    EXPECT_TRUE((Port{"", 1}.is_valid()));
    EXPECT_TRUE((Port{"", 65535}.is_valid()));
    EXPECT_FALSE((Port{"", 65536}.is_valid()));
}

TEST(HighestUsableIndex, StaysClearOfTheNextDomain) {
    EXPECT_EQ(highest_usable_index(in_domain(0)), 119);
}

TEST(HighestUsableIndex, HasValidPortsInTheDomain) {
    EXPECT_EQ(highest_usable_index(in_domain(232)), 62); // 65400 + 11 + 2 * 62 is 65535
}

TEST(HighestUsableIndex, IsTheFirstWhereOnlyThatIsUsable) {
    PortsOptions options = in_domain(232);

    options.well_known_ports.port_base = 65535 - 232 * 250 - 11; // the last port is that of index 0
    EXPECT_EQ(highest_usable_index(options), 0);
    EXPECT_EQ(port_table(options, options.indices).rows.size(), 1u);
}

TEST(HighestUsableIndex, IsTheFirstWhereTheGainsLeaveNoOther) {
    PortsOptions options = in_domain(0);

    options.well_known_ports.domain_id_gain = 11; // less than two participants' gains
    options.well_known_ports.participant_id_gain = 10;
    options.well_known_ports.user_unicast_port_offset = 9;
    EXPECT_EQ(highest_usable_index(options), 0);
}

TEST(HighestUsableIndex, IsNoneBeyondTheLastDomain) {
    EXPECT_EQ(highest_usable_index(in_domain(233)), std::nullopt);
}

TEST(HighestUsableIndex, IsFoundAtOnceWhateverTheGains) {
    PortsOptions options = in_domain(0);

    options.well_known_ports.domain_id_gain = 2147483647;
    options.well_known_ports.participant_id_gain = 1;
    EXPECT_EQ(highest_usable_index(options), 65535 - 7411);
}

TEST(HighestUsableIndex, OfImpossibleSettingsIsAFailureThatTheLogExplains) {
    const support::LogCapture log;
    PortsOptions options = in_domain(0);

    options.well_known_ports.port_base = 65535;
    EXPECT_THROW((void)highest_usable_index(options), LoggedFailure);
    EXPECT_THAT(
        log.messages(),
        Contains(Field(&support::Message::body,
                       "rtps_well_known_ports.port_base (65535) must be less than 65535.")));
}

TEST(PortTable, ShowsTenIndicesUnlessAsked) {
    const PortTable table = port_table(in_domain(7), std::nullopt);

    ASSERT_EQ(table.rows.size(), 10u);
    EXPECT_EQ(table.domain, 7);
    EXPECT_EQ(table.highest_usable_index, 119);
    EXPECT_EQ(table.rows.front().index, 0);
    EXPECT_EQ(table.rows.back().index, 9);
}

TEST(PortTable, EndsAtTheHighestUsableIndexWhenThatIsLower) {
    PortsOptions options = in_domain(0);

    options.well_known_ports.domain_id_gain = 20;
    EXPECT_EQ(port_table(options, options.indices).rows.size(), 5u); // 20 / 2 - 1 - 11 / 2 is 4
}

TEST(PortTable, ShowsInvalidPortsOfADomainWithoutUsableIndex) {
    const PortTable table = port_table(in_domain(233), std::nullopt);

    ASSERT_EQ(table.rows.size(), 10u);
    EXPECT_FALSE(table.rows.front().ports.front().is_valid());
}

TEST(PortTable, ShowsTheRangeAskedForEvenWhereItIsNotUsable) {
    PortsOptions options = in_domain(0);

    options.indices = {118, 120};
    const PortTable table = port_table(options, options.indices);

    ASSERT_EQ(table.rows.size(), 3u);
    EXPECT_EQ(table.rows.back().index, 120);
}

} // namespace
