// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor makes of datagrams that a host has sent itself.
#include "doctor_facts.h"

#include <cerrno>

#include <gmock/gmock.h>

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

namespace doctor {

namespace {

using enum Probe::Outcome;

/** To whatever port that is not of the domain. */
constexpr unsigned CONTROL = 0;

TEST(DoctorOfMulticast, IsWellWhereAllReturns) {
    const Diagnosis diagnosis =
        diagnose(host_that_answers({group_probe(CONTROL, RETURNED), group_probe(7400, RETURNED),
                                    group_probe(7410, HELD, EADDRINUSE)}),
                 usual_wishes());

    EXPECT_THAT(diagnosis.findings, IsEmpty());
    EXPECT_THAT(diagnosis.well, IsSupersetOf({"multicast", "firewall"}));
}

TEST(DoctorOfMulticast, DoesNotCallWellWhatWasNotTried) {
    EXPECT_THAT(diagnose(host_that_answers({}), usual_wishes()).well,
                Not(Contains(AnyOf("multicast", "firewall"))));
}

TEST(DoctorOfMulticast, NamesTheInterfaceByWhichThereIsNoRoute) {
    EXPECT_THAT(found(host_that_answers({group_probe(CONTROL, NOT_SENT, ENETUNREACH),
                                         group_probe(7400, NOT_SENT, ENETUNREACH)}),
                      usual_wishes()),
                ElementsAre("no-multicast-route net0"));
}

TEST(DoctorOfMulticast, SaysWhenLoopbackDoesNotCarryIt) {
    Probe probe = group_probe(CONTROL, NOT_SENT, ENETUNREACH);
    Facts facts = host_with({});
    Wishes wishes = usual_wishes();

    probe.interface = "lo";
    probe.is_loopback = true;
    facts.probes = {probe};
    wishes.interfaces = {"lo"};
    EXPECT_THAT(found(facts, wishes), ElementsAre("loopback-without-multicast lo"));
}

TEST(DoctorOfMulticast, NamesTheInterfaceOnWhichTheGroupCannotBeJoined) {
    EXPECT_THAT(
        found(host_that_answers({group_probe(CONTROL, NOT_JOINED, ENOBUFS)}), usual_wishes()),
        ElementsAre("group-not-joined net0"));
}

TEST(DoctorOfMulticast, BlamesLimitsOnlyWhereThereIsNoRoomForTheMembership) {
    const auto remedy = [](int error) {
        return diagnose(host_that_answers({group_probe(CONTROL, NOT_JOINED, error)}),
                        usual_wishes())
            .findings.front()
            .remedy;
    };

    EXPECT_THAT(remedy(ENOBUFS), HasSubstr("igmp_max_memberships"));
    EXPECT_THAT(remedy(ENODEV), Not(HasSubstr("sysctl")));
}

TEST(DoctorOfMulticast, NamesTheInterfaceWhoseAddressIsNotReady) {
    EXPECT_THAT(
        found(host_that_answers({group_probe(CONTROL, NOT_SENT, EADDRNOTAVAIL)}), usual_wishes()),
        ElementsAre("address-not-ready net0"));
}

TEST(DoctorOfMulticast, HasNotSeenWhatCouldNotBeSentForOtherReasons) {
    const Diagnosis diagnosis =
        diagnose(host_that_answers({group_probe(CONTROL, NOT_SENT, ENOBUFS)}), usual_wishes());

    EXPECT_THAT(diagnosis.findings, IsEmpty());
    EXPECT_THAT(diagnosis.unseen, ElementsAre(HasSubstr("traffic to 239.255.0.1 over net0: ")));
    EXPECT_THAT(diagnosis.well, Not(Contains("multicast")));
}

TEST(DoctorOfMulticast, IsNotCalledWellWhereNoPortCouldBeTried) {
    EXPECT_THAT(diagnose(host_that_answers({group_probe(7400, HELD, EADDRINUSE),
                                            group_probe(7410, NOT_BOUND, EACCES)}),
                         usual_wishes())
                    .well,
                Not(Contains(AnyOf("multicast", "firewall"))));
}

TEST(DoctorOfMulticast, IsWellWithoutAWordOfTheFirewallWhereOnlyOtherPortsWereTried) {
    const std::vector<std::string> well =
        diagnose(host_that_answers(
                     {group_probe(CONTROL, RETURNED), group_probe(7400, NOT_BOUND, EACCES)}),
                 usual_wishes())
            .well;

    EXPECT_THAT(well, Contains("multicast"));
    EXPECT_THAT(well, Not(Contains("firewall")));
}

TEST(DoctorOfMulticast, NamesTheInterfaceByWhichNothingReturns) {
    EXPECT_THAT(found(host_that_answers({group_probe(CONTROL, LOST), group_probe(7400, LOST)}),
                      usual_wishes()),
                ElementsAre("multicast-not-returning net0"));
}

TEST(DoctorOfMulticast, IsWellWhereOnlyTheDomainsPortsAreLetThrough) {
    EXPECT_THAT(found(host_that_answers({group_probe(CONTROL, LOST), group_probe(7400, RETURNED),
                                         group_probe(7410, RETURNED)}),
                      usual_wishes()),
                IsEmpty());
}

TEST(DoctorOfMulticast, NamesPortsThatAreFilteredWhereOnlyOthersOfTheDomainAreLetThrough) {
    EXPECT_THAT(found(host_that_answers({group_probe(CONTROL, LOST), group_probe(7400, RETURNED),
                                         group_probe(7410, LOST)}),
                      usual_wishes()),
                ElementsAre("ports-filtered 7410"));
}

TEST(DoctorOfMulticast, NamesThePortsThatAreFiltered) {
    EXPECT_THAT(found(host_that_answers({group_probe(CONTROL, RETURNED), group_probe(7400, LOST),
                                         group_probe(7410, LOST), group_probe(7411, LOST),
                                         group_probe(7412, RETURNED)}),
                      usual_wishes()),
                ElementsAre("ports-filtered 7400, 7410-7411"));
}

TEST(DoctorOfMulticast, TakesWhatMayNotBeSentForFiltered) {
    EXPECT_THAT(found(host_that_answers(
                          {group_probe(CONTROL, RETURNED), group_probe(7400, NOT_SENT, EPERM)}),
                      usual_wishes()),
                ElementsAre("ports-filtered 7400"));
}

TEST(DoctorOfMulticast, QuotesTheRuleThatDrops) {
    Facts facts = host_that_answers({group_probe(CONTROL, RETURNED), group_probe(7400, LOST)});

    facts.rules = {{"chain input of table inet filter", "udp dport 7400 drop"}};
    EXPECT_THAT(diagnose(facts, usual_wishes()).findings.front().cause,
                HasSubstr("(\"udp dport 7400 drop\" in chain input of table inet filter)"));
}

TEST(DoctorOfMulticast, SaysWhenAPropertyKeepsItOnTheHost) {
    Wishes wishes = usual_wishes();

    wishes.multicast_ttl = 0;
    EXPECT_THAT(found(host_that_answers({}), wishes),
                ElementsAre("ttl-zero dds.transport.multicast_ttl"));
    wishes.groups.clear();
    EXPECT_THAT(found(host_that_answers({}), wishes), IsEmpty());
}

} // namespace

} // namespace doctor
