// SPDX-License-Identifier: Apache-2.0
// Which of its places a participant is sent to that has several.
#include <gmock/gmock.h>

#include "participants.h"

namespace {

using namespace sim;
using testing::ElementsAre;

/** A participant on two networks, and others whose datagrams come from none of their places. */
class Networks : public ::testing::Test {
protected:
    Networks() {
        here.host().add_interface("eth1", &lan1, {"198.51.100.1/24"});
        here.host().add_route(prefix("203.0.113.0/24"), address("192.0.2.8"));
        there.host().add_interface("eth1", &lan1, {"198.51.100.8/24", "198.51.100.9/24"});
        machine.emplace(here);
        party.emplace(*machine);
        net.world.run_for(SECOND);
    }

    /** Where the announcement to one with these places arrives. */
    std::vector<std::string> greeted(const std::vector<std::string> &places) {
        Made made;
        made.metatraffic = places;
        std::vector<std::unique_ptr<Udp>> sockets;
        for (const std::string &place : places) {
            sockets.push_back(std::make_unique<Udp>(there, place));
        }
        EXPECT_EQ(Udp(elsewhere).send("192.0.2.1:7410", announcement(made)), 0);
        net.world.run_for(50 * MS);
        EXPECT_TRUE(party->knows(made.prefix));
        std::vector<std::string> reached;
        for (std::size_t i = 0; i < places.size(); ++i) {
            for (std::size_t left = sockets[i]->take_all().size(); left > 0; --left) {
                reached.push_back(places[i]);
            }
        }
        return reached;
    }

    Net net;
    Segment &lan1 = net.world.add_segment("lan1");
    Process &here = net.add("here", {"192.0.2.1/24"});
    std::optional<Machine> machine;
    std::optional<Party> party;
    Process &there =
        net.add("there", {"192.0.2.8/24", "192.0.2.9/24", "203.0.113.8/24", "203.0.113.9/24"});
    Process &elsewhere = net.add("elsewhere", {"192.0.2.77/24"});
};

TEST_F(Networks, OnePlaceOfEachThatIsSharedIsSentTo) {
    EXPECT_THAT(greeted({"203.0.113.8:7410", "192.0.2.8:7410", "192.0.2.9:7410",
                         "198.51.100.8:7410", "198.51.100.9:7410"}),
                ElementsAre("192.0.2.8:7410", "198.51.100.8:7410"));
}

TEST_F(Networks, AllPlacesAreSentToWhereNoneIsShared) {
    EXPECT_THAT(greeted({"203.0.113.8:7410", "203.0.113.9:7410"}),
                ElementsAre("203.0.113.8:7410", "203.0.113.9:7410"));
}

TEST_F(Networks, AnotherPlaceIsSentToWhereTheFirstCannotBe) {
    here.fail({.call = Call::SEND, .error = EPERM, .times = 1});
    EXPECT_THAT(greeted({"192.0.2.8:7410", "192.0.2.9:7410"}), ElementsAre("192.0.2.9:7410"));
}

TEST_F(Networks, AllOthersAreSentToWhereThatOnTheSharedOneCannotBe) {
    here.fail({.call = Call::SEND, .error = EPERM, .times = 1});
    EXPECT_THAT(greeted({"192.0.2.8:7410", "203.0.113.9:7410"}), ElementsAre("203.0.113.9:7410"));
}

TEST_F(Networks, OneThatBothHostsHaveForThemselvesIsNotShared) {
    here.host().add_interface("br0", &net.world.add_segment("br0"), {"172.17.0.1/16"});
    there.host().add_interface("br0", &net.world.add_segment("other"), {"172.17.0.1/16"});
    party->set_addresses({"192.0.2.1", "198.51.100.1", "172.17.0.1"});
    net.world.run_for(SECOND);
    EXPECT_THAT(greeted({"172.17.0.1:7410", "203.0.113.9:7410"}), ElementsAre("203.0.113.9:7410"));
}

TEST_F(Networks, PlacesOnOursAreKeptInFrontOfOthers) {
    Made made;
    made.metatraffic = {"127.0.0.1:7410", "203.0.113.8:7410", "198.51.100.8:7410",
                        "192.0.2.77:7410", "192.0.2.8:7410"};
    EXPECT_EQ(Udp(elsewhere).send("192.0.2.1:7410", announcement(made)), 0);
    net.world.run_for(MS);
    EXPECT_THAT(party->see(made.prefix).metatraffic,
                ElementsAre("udpv4://192.0.2.77:7410", "udpv4://198.51.100.8:7410",
                            "udpv4://192.0.2.8:7410", "udpv4://203.0.113.8:7410",
                            "udpv4://127.0.0.1:7410"));
}

} // namespace
