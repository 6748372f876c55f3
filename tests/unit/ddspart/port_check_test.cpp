// SPDX-License-Identifier: Apache-2.0
#include "port_check.h"

#include <gmock/gmock.h>

using host::PortRange;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const host::EphemeralPorts USUAL = {{32768, 60999}, {}};

/** A check where nobody holds a port, unless a test says so. */
class PortCheckTest : public testing::Test {
protected:
    PortCheckTest() : holdings_{{{}}, {}, true} {
        options_.domain = 7;
        holdings_.networks[0].is_own = true;
    }

    void hold(unsigned short port) {
        holdings_.all.push_back(
            {{"0.0.0.0", port, 0, 77, 0, 0}, 0, {{host::HostProcess{812, "talker", 0, ""}, 0}}});
    }
    PortCheck check() const {
        return check_ports(options_, holdings_, ephemeral_);
    }
    DomainCheck of_domain() const {
        return check().domains.front();
    }

    PortsOptions options_;
    Holdings holdings_;
    host::EphemeralPorts ephemeral_ = USUAL;
};

TEST_F(PortCheckTest, FindsNothingInADomainThatNobodyUses) {
    EXPECT_FALSE(check().has_findings());
    EXPECT_THAT(of_domain().safe, ElementsAre(PortRange{0, 119}));
    EXPECT_THAT(of_domain().in_use, IsEmpty());
}

TEST_F(PortCheckTest, IsAboutTheIndicesAskedFor) {
    options_.indices = {2, 5};
    hold(9160);
    EXPECT_FALSE(check().has_findings());
    EXPECT_THAT(of_domain().safe, ElementsAre(PortRange{2, 5}));
}

TEST_F(PortCheckTest, KnowsAParticipantByAnIndexThatIsNotAskedFor) {
    options_.indices = {5, 9};
    hold(9150);
    hold(9160);
    EXPECT_FALSE(check().has_findings());
    EXPECT_THAT(of_domain().in_use, IsEmpty());
}

TEST_F(PortCheckTest, RefusesGainsWithWhichDomainsShareAllTheirPorts) {
    options_.domain = 0;
    options_.last_domain = 232;
    options_.well_known_ports.domain_id_gain = 1;
    options_.well_known_ports.participant_id_gain = 1;
    EXPECT_THROW((void)check(), std::runtime_error);
}

TEST_F(PortCheckTest, FindsAStranger) {
    hold(9164);
    EXPECT_TRUE(check().has_findings());
    EXPECT_THAT(of_domain().safe, ElementsAre(PortRange{0, 1}, PortRange{3, 119}));
    ASSERT_THAT(of_domain().findings, SizeIs(1));
    EXPECT_EQ(of_domain().findings[0].cause, "held");
    EXPECT_EQ(of_domain().findings[0].text,
              "9164 is held by talker (812) of user root: blocks index 2");
}

TEST_F(PortCheckTest, FindsNothingWrongWithAParticipant) {
    hold(9150);
    hold(9164);
    hold(9165);
    EXPECT_FALSE(check().has_findings());
    EXPECT_THAT(of_domain().in_use, ElementsAre(PortRange{2, 2}));
    EXPECT_THAT(of_domain().safe, ElementsAre(PortRange{0, 1}, PortRange{3, 119}));
}

TEST_F(PortCheckTest, FindsAMulticastPortOfSomebodyWithoutAnIndex) {
    hold(9150);
    EXPECT_THAT(of_domain().safe, IsEmpty());
    EXPECT_EQ(of_domain().findings[0].text, "9150 is held by talker (812) of user root, who has no "
                                            "index: blocks the domain unless shared");
}

TEST_F(PortCheckTest, FindsNothingWrongWithWhoeverOnlyReceivesTheGroup) {
    hold(9150);
    holdings_.all[0].socket.address = "239.255.0.1";
    EXPECT_FALSE(check().has_findings());
    holdings_.all[0].socket.address = "ff02::1";
    EXPECT_FALSE(check().has_findings());
    holdings_.all[0].socket.address = "fd00::1";
    EXPECT_TRUE(check().has_findings());
}

TEST_F(PortCheckTest, FindsPortsThatTheKernelGivesAway) {
    ephemeral_ = {{9163, 9166}, {}};
    EXPECT_THAT(of_domain().safe, ElementsAre(PortRange{0, 0}, PortRange{4, 119}));
    ASSERT_THAT(of_domain().findings, SizeIs(1));
    EXPECT_EQ(of_domain().findings[0].cause, "ephemeral");
    EXPECT_EQ(of_domain().findings[0].text,
              "ports 9163-9166: given by the kernel to any program, unless in "
              "ip_local_reserved_ports: ip_local_port_range is 9163-9166");
}

TEST_F(PortCheckTest, FindsNothingWrongWithPortsThatAreReserved) {
    ephemeral_ = {{9163, 9166}, {{9100, 9200}}};
    EXPECT_FALSE(check().has_findings());
}

TEST_F(PortCheckTest, FindsAllIndicesUnsafeWhereTheKernelGivesAMulticastPortAway) {
    ephemeral_ = {{9151, 9151}, {}};
    EXPECT_THAT(of_domain().safe, IsEmpty());
}

TEST_F(PortCheckTest, FindsPortsThatTwoDomainsHave) {
    options_.domain = 0;
    options_.last_domain = 1;
    options_.well_known_ports.user_multicast_port_offset = 260; // the next domain's index 0
    const PortCheck found = check();

    ASSERT_THAT(found.domains, SizeIs(2));
    EXPECT_THAT(found.domains[0].safe, IsEmpty());
    EXPECT_EQ(found.domains[0].findings[0].text, "port 7660: of domain 1 as well");
    EXPECT_THAT(found.domains[1].safe, ElementsAre(PortRange{1, 119}));
}

TEST_F(PortCheckTest, FindsPortsThatADomainHasTwice) {
    options_.indices = {0, 1};
    options_.well_known_ports.user_unicast_port_offset = 12;
    EXPECT_THAT(of_domain().safe, IsEmpty());
    EXPECT_EQ(of_domain().findings[0].cause, "shared");
    EXPECT_EQ(of_domain().findings[0].text, "port 9162: of several uses in this domain");
}

TEST_F(PortCheckTest, FindsIndicesWithoutValidPorts) {
    options_.domain = 232;
    options_.indices = {61, 64};
    EXPECT_THAT(of_domain().safe, ElementsAre(PortRange{61, 62}));
    EXPECT_EQ(of_domain().findings[0].text,
              "indices 63-64: without valid ports, which are 1 to 65535");
}

TEST_F(PortCheckTest, FindsDomainsWithoutAnIndex) {
    options_.domain = 233;
    EXPECT_THAT(of_domain().safe, IsEmpty());
    EXPECT_EQ(of_domain().findings[0].text, "no index has valid ports");
}

TEST_F(PortCheckTest, TellsWhichDomainsHaveNoFinding) {
    options_.domain = 5;
    options_.last_domain = 9;
    hold(9164);
    EXPECT_THAT(safe_domains(check()), ElementsAre(PortRange{5, 6}, PortRange{8, 9}));
}

TEST(RangesOfNumbers, AreAsLongAsTheyCanBe) {
    EXPECT_THAT(ranges_of({1, 2, 3, 5}), ElementsAre(PortRange{1, 3}, PortRange{5, 5}));
    EXPECT_EQ(to_text({{1, 3}, {5, 5}}), "1-3, 5");
}

} // namespace
