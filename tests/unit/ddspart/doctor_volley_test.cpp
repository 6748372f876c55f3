// SPDX-License-Identifier: Apache-2.0
// The datagrams that two ends of ddspart doctor send each other.
#include <cerrno>

#include <gmock/gmock.h>

#include "doctor/volley.h"
#include "doctor_facts.h"
#include "support/faults.h"
#include "support/ports.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;

namespace doctor {

namespace {

class Volleys : public testing::Test {
protected:
    const unsigned first = static_cast<unsigned>(support::portBase());
    const std::set<unsigned> ports = {first, first + 1};
    const VolleyPlan plan = [] {
        Wishes wishes = usual_wishes();

        wishes.groups.clear();
        return VolleyPlan{Family::IPV4, wishes, {}, 0x0102030405060708};
    }();
};

TEST_F(Volleys, AreHeardAtThePortsThatTheyAreFor) {
    Ear ear(plan, ports);
    const Volley volley = fire(plan, "127.0.0.1", ports);

    ear.listen();
    EXPECT_THAT(ear.shots(),
                IsSupersetOf({Shot{Shot::Kind::PORT, first}, Shot{Shot::Kind::PORT, first + 1},
                              Shot{Shot::Kind::LARGE, 1472}, Shot{Shot::Kind::LARGE, 4000}}));
    EXPECT_EQ(ear.shots(), volley.shots);
    EXPECT_EQ(ear.source(), volley.source);
    EXPECT_THAT(ear.source(), StartsWith("127.0.0.1:"));
}

TEST_F(Volleys, AreToldFromAllOthers) {
    Ear ear(plan, ports);
    VolleyPlan other = plan;

    ++other.token;
    (void)fire(other, "127.0.0.1", ports);
    ear.listen();
    EXPECT_THAT(ear.shots(), IsEmpty());
    EXPECT_EQ(ear.source(), "");
}

TEST_F(Volleys, TellOfWhatARuleOfTheirHostRefuses) {
    const faults::Guard guard;
    VolleyPlan with_group = plan;

    with_group.wishes.groups = usual_wishes().groups;
    with_group.interfaces = {good_interface("net0", 2)};
    faults::fail_every_call("sendmsg", EPERM);
    EXPECT_THAT(fire(with_group, "127.0.0.1", {first}).shots,
                IsSupersetOf({Shot{Shot::Kind::PORT, first}, Shot{Shot::Kind::LARGE, 4000},
                              Shot{Shot::Kind::GROUP, 1}}));
}

TEST_F(Volleys, LeavePortsAloneThatAreSomebodys) {
    const Ear somebody(plan, {first});

    EXPECT_THAT(Ear(plan, ports).ports(), ElementsAre(first + 1));
}

TEST_F(Volleys, HaveShotsThatAreRecords) {
    const Shot shot = {Shot::Kind::GROUP, 4};

    EXPECT_THAT(to_record(shot), ElementsAre("ttl", "4"));
    EXPECT_EQ(to_shot({"ttl", "4"}), shot);
    EXPECT_EQ(to_shot({"ttl", "65536"}), std::nullopt);
    EXPECT_EQ(to_shot({"ttl"}), std::nullopt);
    EXPECT_EQ(to_shot({"source", "1"}), std::nullopt);
}

} // namespace

} // namespace doctor
