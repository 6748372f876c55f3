// SPDX-License-Identifier: Apache-2.0
// The addresses by which two ends of ddspart doctor know each other.
#include <gmock/gmock.h>

#include "doctor/greeting.h"
#include "doctor/two_ends.h"
#include "doctor_facts.h"

using testing::ElementsAre;

namespace doctor {

namespace {

std::string refusal_of(const std::string &host) {
    try {
        (void)addresses_of_host(host, wishes_of_both_families());
    } catch (const NoTalk &error) {
        return error.what();
    }
    return "";
}

TEST(DoctorGreeting, TakesAnAddressHoweverItIsWritten) {
    EXPECT_THAT(addresses_of_host("192.0.2.2", usual_wishes()), ElementsAre("192.0.2.2"));
    EXPECT_THAT(addresses_of_host("FD00:0::1", wishes_of_both_families()), ElementsAre("fd00::1"));
}

TEST(DoctorGreeting, RefusesAddressesOfALink) {
    EXPECT_EQ(refusal_of("fe80::1"),
              "the host fe80::1 has no address that the transports reach: fe80::1 is link-local, "
              "and participants announce no such address; allowed are a name and addresses such as "
              "192.0.2.2 and fd00::2");
    EXPECT_THAT(refusal_of("fe80::1%lo"), testing::HasSubstr("fe80::1%lo is link-local, and "));
}

TEST(DoctorGreeting, RefusesAddressesThatTheTransportsDoNotReach) {
    EXPECT_THROW((void)addresses_of_host("fd00::1", usual_wishes()), NoTalk);
}

} // namespace

} // namespace doctor
