// SPDX-License-Identifier: Apache-2.0
// What a participant asks of its host, as it follows from its QoS.
#include "doctor/wishes.h"

#include <gmock/gmock.h>

#include "participant.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace doctor {

namespace {

Wishes wishes_with(const ParticipantOptions &options) {
    const Factory factory;

    return wishes_of(*Qos(factory, options).get(), options.domain);
}

TEST(DoctorWishes, OfTheUsualQosAreOneGroupByIPv4) {
    const Wishes wishes = wishes_with({});

    EXPECT_THAT(wishes.families, ElementsAre(Family::IPV4));
    EXPECT_THAT(wishes.groups, ElementsAre(Group{Family::IPV4, "239.255.0.1", 7400, true}));
    EXPECT_THAT(wishes.interfaces, IsEmpty());
    EXPECT_EQ(wishes.multicast_ttl, 1);
}

TEST(DoctorWishes, HaveNoGroupWithoutMulticast) {
    ParticipantOptions options;

    options.multicast = false;
    EXPECT_THAT(wishes_with(options).groups, IsEmpty());
}

TEST(DoctorWishes, HaveTheGroupsAmongThePeersAtTheirPorts) {
    ParticipantOptions options;

    options.multicast = false;
    options.peers = {"239.255.0.2:7777", "192.0.2.9"};
    EXPECT_THAT(wishes_with(options).groups,
                ElementsAre(Group{Family::IPV4, "239.255.0.2", 7777, false}));
}

TEST(DoctorWishes, TellPeersThatNoTransportReaches) {
    ParticipantOptions options;

    options.transports = DDS_TRANSPORTBUILTIN_UDPv6;
    options.peers = {"192.0.2.9", "fd00::9", "udpv4://beta"};
    const Wishes wishes = wishes_with(options);

    EXPECT_THAT(wishes.peers, ElementsAre(to_peer("fd00::9")));
    EXPECT_THAT(wishes.unreached, ElementsAre("192.0.2.9", "udpv4://beta"));
}

TEST(DoctorWishes, HaveWhatPropertiesSay) {
    ParticipantOptions options;

    options.interfaces = {"net0", "192.0.2.2"};
    options.properties = {{"dds.transport.multicast_ttl", "0"}};
    const Wishes wishes = wishes_with(options);

    EXPECT_THAT(wishes.interfaces, ElementsAre("net0", "192.0.2.2"));
    EXPECT_EQ(wishes.multicast_ttl, 0);
}

TEST(DoctorPeer, IsAnAddressOrAName) {
    EXPECT_EQ(to_peer("192.0.2.9"),
              (Peer{"192.0.2.9", "192.0.2.9", Family::IPV4, std::nullopt, false, false}));
    EXPECT_EQ(to_peer("fd00::9"),
              (Peer{"fd00::9", "fd00::9", Family::IPV6, std::nullopt, false, false}));
    EXPECT_EQ(to_peer("beta"), (Peer{"beta", "beta", std::nullopt, std::nullopt, true, false}));
    EXPECT_EQ(to_peer("239.255.0.1"),
              (Peer{"239.255.0.1", "239.255.0.1", Family::IPV4, std::nullopt, false, true}));
}

TEST(DoctorPeer, MayHaveATransportAndAPort) {
    EXPECT_EQ(to_peer("udpv4://beta:7410"),
              (Peer{"udpv4://beta:7410", "beta", Family::IPV4, 7410, true, false}));
    EXPECT_EQ(to_peer("udpv6://[fd00::9]:7410"),
              (Peer{"udpv6://[fd00::9]:7410", "fd00::9", Family::IPV6, 7410, false, false}));
    EXPECT_EQ(to_peer("[ff05::1]:7400"),
              (Peer{"[ff05::1]:7400", "ff05::1", Family::IPV6, 7400, false, true}));
}

} // namespace

} // namespace doctor
