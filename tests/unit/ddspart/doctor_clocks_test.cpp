// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor makes of the clocks of the host.
#include <gmock/gmock.h>

#include "doctor_facts.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace doctor {

namespace {

/** A host that was looked at for three seconds, in which its clocks went on by so much more. */
Facts host_whose_clocks_went(milliseconds realtime, milliseconds boottime) {
    Facts facts = host_with({good_interface("net0", 2)});

    facts.clocks_before = host::Clocks{seconds(5000), seconds(200), seconds(100)};
    facts.clocks_after =
        host::Clocks{seconds(5003) + realtime, seconds(203) + boottime, seconds(103)};
    return facts;
}

Finding finding_of(const Facts &facts) {
    const std::vector<Finding> findings = diagnose(facts, usual_wishes()).findings;

    return findings.empty() ? Finding() : findings.front();
}

TEST(DoctorOfClocks, FindsNothingWhereTheyGoTogether) {
    EXPECT_THAT(found(host_whose_clocks_went(seconds(0), seconds(0)), usual_wishes()), IsEmpty());
    EXPECT_THAT(found(host_whose_clocks_went(milliseconds(100), seconds(0)), usual_wishes()),
                IsEmpty());
    EXPECT_THAT(found(host_whose_clocks_went(milliseconds(-100), seconds(0)), usual_wishes()),
                IsEmpty());
}

TEST(DoctorOfClocks, SaysThatOneWasSetForward) {
    const Facts facts = host_whose_clocks_went(seconds(60), seconds(0));

    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("clock-set CLOCK_REALTIME"));
    EXPECT_EQ(finding_of(facts).cause,
              "The clock of this host was set forward by 60.0 s while it was looked at. Leases and "
              "periods do not go by it, but the times in logs do.");
}

TEST(DoctorOfClocks, SaysWhatFollowsWhereOneWasSetBack) {
    const Facts facts = host_whose_clocks_went(milliseconds(-101), seconds(0));

    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("clock-set CLOCK_REALTIME"));
    EXPECT_THAT(finding_of(facts).cause, HasSubstr("was set back by 0.1 s"));
    EXPECT_THAT(finding_of(facts).cause, HasSubstr("starts anew under a GUID that it had before"));
}

TEST(DoctorOfClocks, SaysThatTheHostWasAsleep) {
    const Facts facts = host_whose_clocks_went(seconds(90), seconds(90));

    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("host-asleep CLOCK_MONOTONIC"));
    EXPECT_THAT(finding_of(facts).cause, HasSubstr("was asleep for 90.0 s"));
}

TEST(DoctorOfClocks, FindsNothingWhereTheyAreNotKnown) {
    Facts facts = host_whose_clocks_went(seconds(60), seconds(0));

    facts.clocks_before.reset();
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts = host_whose_clocks_went(seconds(90), seconds(90));
    facts.clocks_after.reset();
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfClocks, ReadsThemBeforeAllElseAndAfterIt) {
    Facts facts = gather(Wishes()); // which looks at nothing

    ASSERT_TRUE(facts.clocks_before);
    look_again(facts, Wishes(), {});
    ASSERT_TRUE(facts.clocks_after);
    EXPECT_LT(facts.clocks_before->monotonic, facts.clocks_after->monotonic);
}

} // namespace

} // namespace doctor
