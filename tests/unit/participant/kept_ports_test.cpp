// SPDX-License-Identifier: Apache-2.0
// What a participant keeps of its ports while its addresses come and go.
#include "commend/commend_facade.h"
#include "domain/DomainParticipant_internal.h"
#include "following_fixture.h"

using following::FollowingTest;
using following::on_one_interface;
using following::Texts;

namespace {

/** How many reservations of receive ports a participant has. */
NUV_INT32 reservations(DDS_DomainParticipant *participant) {
    COMMENDFacade *const facade = PRESParticipant_getFacade(participant->presentation.participant);
    COMMENDFacadeStatistics statistics = {};

    facade->getStatistics(facade, &statistics, nullptr);
    return statistics.entryports;
}

class KeptPorts : public FollowingTest {
protected:
    /** Has the participant follow another list of addresses, which is no longer than the first. */
    void follow(const Texts &addresses) {
        interfaces.set(on_one_interface(addresses));
        EXPECT_TRUE(renew());
        flush();
    }
};

TEST_F(KeptPorts, AreReservedOnceMoreEachHoweverManyAddressesThereAre) {
    interfaces.set(on_one_interface({"192.0.2.10", "198.51.100.2", "203.0.113.3"}));
    DDS_DomainParticipant *const participant = create_follower();
    const NUV_INT32 with_three = reservations(participant);

    follow({"192.0.2.10"});
    // For two addresses fewer, one reservation each in both lists.
    EXPECT_EQ(reservations(participant), with_three - 4);
}

TEST_F(KeptPorts, DoNotBecomeMoreWithUpdates) {
    DDS_DomainParticipant *const participant = create_follower();
    const NUV_INT32 before = reservations(participant);

    for (const Texts &addresses :
         {Texts{"198.51.100.2"}, Texts{}, Texts{"203.0.113.3"}, Texts{"192.0.2.10"}}) {
        follow(addresses);
    }
    EXPECT_EQ(reservations(participant), before);
}

} // namespace
