// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor makes of ports and of peers.
#include <cerrno>

#include <gmock/gmock.h>

#include "doctor/peers.h"
#include "doctor_facts.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace doctor {

namespace {

using std::chrono::milliseconds;

Facts good_host() {
    return host_with({good_interface("net0", 2)});
}

TEST(DoctorOfPorts, ObjectsToThoseThatTheKernelGivesAway) {
    Facts facts = good_host();

    facts.ports = {32767, 32768, 32769};
    facts.ephemeral = host::EphemeralPorts{{32768, 60999}, {}};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("ports-ephemeral 32768-32769"));
    facts.ephemeral->reserved = {{32768, 32770}};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfPorts, ObjectsToALimitThatIsTooLowForAParticipant) {
    Facts facts = good_host();

    facts.descriptor_limit = 15;
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("few-descriptors 15"));
    facts.descriptor_limit = 16;
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfPeers, NamesThoseWithoutAnAddress) {
    Facts facts = good_host();

    facts.peers = {{to_peer("beta"), "no such name", {}, 0}};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("unresolved-peer beta"));
}

TEST(DoctorOfPeers, NamesThoseToWhichThereIsNoWay) {
    Facts facts = good_host();

    facts.peers = {{to_peer("192.0.2.9"), "", {"192.0.2.9"}, 0},
                   {to_peer("198.51.100.9"), "", {"198.51.100.9"}, ENETUNREACH},
                   {to_peer("beta"), "", {"203.0.113.9"}, EACCES}};
    EXPECT_THAT(found(facts, usual_wishes()),
                ElementsAre("no-route-to-peer 198.51.100.9", "no-route-to-peer beta"));
}

TEST(DoctorOfPeers, SaysWhenNobodyIsAnnouncedTo) {
    Wishes wishes = usual_wishes();

    wishes.families = {Family::IPV6};
    wishes.peers.clear();
    wishes.groups.clear();
    wishes.unreached = {"239.255.0.1", "127.0.0.1"};
    EXPECT_THAT(found(host_with({good_interface("net0", 2, "fd00::2")}), wishes),
                ElementsAre("nobody-announced-to 239.255.0.1, 127.0.0.1"));
}

TEST(DoctorPeerTrials, LookUpNamesAndLeaveGroupsOut) {
    Wishes wishes = usual_wishes();

    wishes.peers = {to_peer("239.255.0.1"), to_peer("localhost")};
    const std::vector<PeerTrial> trials = try_peers(wishes, milliseconds(5000));

    ASSERT_THAT(trials, SizeIs(1));
    EXPECT_EQ(trials.front().failure, "");
    EXPECT_THAT(trials.front().addresses, ElementsAre("127.0.0.1"));
}

TEST(DoctorPeerTrials, HaveAnEndBeforeTheNameHasAnAddress) {
    Wishes wishes = usual_wishes();

    wishes.peers = {to_peer("localhost")};
    const std::vector<PeerTrial> trials = try_peers(wishes, milliseconds(-1));

    ASSERT_THAT(trials, SizeIs(1));
    EXPECT_EQ(trials.front().failure.empty(), !trials.front().addresses.empty());
}

} // namespace

} // namespace doctor
