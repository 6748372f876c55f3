// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor makes of the interfaces of a host.
#include "doctor_facts.h"

#include <algorithm>

#include <gmock/gmock.h>

#include "fed_host.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace doctor {

namespace {

TEST(DoctorOfInterfaces, FindsNothingOnAHostWithAGoodOne) {
    EXPECT_THAT(found(host_with({good_interface("net0", 2)}), usual_wishes()), IsEmpty());
}

TEST(DoctorOfInterfaces, MissesOneBesideLoopback) {
    EXPECT_THAT(found(host_with({}), usual_wishes()), ElementsAre("no-usable-interface "));
}

TEST(DoctorOfInterfaces, MissesNoneWhereLoopbackIsAskedFor) {
    Wishes wishes = usual_wishes();

    wishes.interfaces = {"127.0.0.1"};
    EXPECT_THAT(found(host_with({}), wishes), IsEmpty());
}

TEST(DoctorOfInterfaces, NamesTheOneThatIsDown) {
    Interface interface = good_interface("net0", 2);

    interface.is_up = false;
    interface.is_running = false;
    EXPECT_THAT(found(host_with({interface}), usual_wishes()), ElementsAre("interface-down net0"));
}

TEST(DoctorOfInterfaces, NamesTheOneWithoutCarrier) {
    Interface interface = good_interface("net0", 2);

    interface.is_running = false;
    EXPECT_THAT(found(host_with({interface}), usual_wishes()),
                ElementsAre("interface-without-carrier net0"));
}

TEST(DoctorOfInterfaces, NamesTheOneWithoutAddress) {
    Interface interface = good_interface("net0", 2);

    interface.addresses.clear();
    EXPECT_THAT(found(host_with({interface}), usual_wishes()),
                ElementsAre("interface-without-address net0"));
}

TEST(DoctorOfInterfaces, SaysThatALinkLocalAddressIsNotUsed) {
    Wishes wishes = usual_wishes();
    Interface interface = good_interface("net0", 2);

    wishes.families = {Family::IPV6};
    wishes.groups.clear();
    interface.has_link_local = true;
    const Diagnosis diagnosis = diagnose(host_with({interface}), wishes);

    ASSERT_EQ(diagnosis.findings.size(), 1U);
    EXPECT_EQ(diagnosis.findings.front().id, "interface-without-address");
    EXPECT_THAT(diagnosis.findings.front().cause, HasSubstr("but a link-local one"));
}

TEST(DoctorOfInterfaces, DoesNotMissAnIdleOneBesideAGoodOne) {
    Interface bridge = good_interface("bridge", 3, "198.51.100.1");
    Interface spare = good_interface("spare", 4);

    bridge.is_running = false;
    spare.is_up = false;
    EXPECT_THAT(found(host_with({good_interface("net0", 2), bridge, spare}), usual_wishes()),
                IsEmpty());
}

TEST(DoctorOfInterfaces, NamesThoseThatLackLeastWhereNoneIsUsable) {
    Interface cable = good_interface("net0", 2);
    Interface spare = good_interface("net1", 3);

    cable.is_running = false;
    spare.is_up = false;
    spare.is_running = false;
    EXPECT_THAT(found(host_with({cable, spare}), usual_wishes()),
                ElementsAre("interface-without-carrier net0"));
}

TEST(DoctorOfInterfaces, TakesTheOneWithAnAddressForTheOneToUse) {
    Interface configured = good_interface("net0", 2);
    Interface other = good_interface("net1", 3);

    configured.is_up = false;
    configured.is_running = false;
    other.addresses.clear();
    EXPECT_THAT(found(host_with({configured, other}), usual_wishes()),
                ElementsAre("interface-down net0"));
}

TEST(DoctorOfInterfaces, MissesOneThatIsAskedForBesideAGoodOne) {
    Wishes wishes = usual_wishes();
    Interface cable = good_interface("net1", 3, "198.51.100.1");

    cable.is_running = false;
    wishes.interfaces = {"net0", "198.51.100.1"};
    EXPECT_THAT(found(host_with({good_interface("net0", 2), cable}), wishes),
                ElementsAre("interface-without-carrier net1"));
}

TEST(DoctorOfInterfaces, NamesAnEntryThatIsNoInterface) {
    Wishes wishes = usual_wishes();

    wishes.interfaces = {"net0", "net7", "203.0.113.1"};
    EXPECT_THAT(found(host_with({good_interface("net0", 2)}), wishes),
                ElementsAre("no-such-interface net7", "no-such-interface 203.0.113.1"));
}

TEST(DoctorOfInterfaces, SaysThatIPv6IsOffWhereItIsAskedFor) {
    Interface interface = good_interface("net0", 2);

    interface.ipv6_is_off = true;
    EXPECT_THAT(found(host_with({interface}), wishes_of_both_families()),
                ElementsAre("ipv6-off net0"));
    EXPECT_THAT(found(host_with({interface}), usual_wishes()), IsEmpty());
}

TEST(DoctorOfInterfaces, NamesTheOneWhoseMulticastIsOff) {
    Interface interface = good_interface("net0", 2);

    interface.is_multicast = false;
    EXPECT_THAT(found(host_with({interface}), usual_wishes()),
                ElementsAre("interface-without-multicast net0"));
}

TEST(DoctorOfInterfaces, NeedsNoMulticastOfOneBesideAnotherThatHasIt) {
    Interface tunnel = good_interface("tunnel", 3, "198.51.100.1");

    tunnel.is_multicast = false;
    EXPECT_THAT(found(host_with({good_interface("net0", 2), tunnel}), usual_wishes()), IsEmpty());
}

TEST(DoctorOfInterfaces, NeedsNoMulticastWhereAPeerIsNamed) {
    Wishes wishes = usual_wishes();
    Interface interface = good_interface("net0", 2);

    interface.is_multicast = false;
    wishes.peers = {to_peer("192.0.2.9")};
    EXPECT_THAT(found(host_with({interface}), wishes), IsEmpty());
}

TEST(DoctorOfInterfaces, NeedsMulticastWhereTheOnlyPeerIsThisHost) {
    Wishes wishes = usual_wishes();
    Interface interface = good_interface("net0", 2);

    interface.is_multicast = false;
    Facts facts = host_with({interface});

    wishes.peers = {to_peer("192.0.2.2"), to_peer("localhost")};
    facts.peers = {{wishes.peers.back(), "", {"127.0.0.1"}, 0}};
    EXPECT_THAT(found(facts, wishes), ElementsAre("interface-without-multicast net0"));
}

TEST(DoctorOfInterfaces, KnowsAnAddressInWhateverWayItIsWritten) {
    const Interface interface = good_interface("net0", 2, "fd00::2");

    EXPECT_TRUE(is_named(interface, "FD00:0:0::0002"));
    EXPECT_FALSE(is_named(interface, "fd00::3"));
}

TEST(DoctorOfInterfaces, NeedsNoMulticastWhereNobodyWantsIt) {
    Wishes wishes = usual_wishes();
    Interface interface = good_interface("net0", 2);

    interface.is_multicast = false;
    wishes.groups.clear();
    EXPECT_THAT(found(host_with({interface}), wishes), IsEmpty());
}

/** A strict one, whose neighbours are answered by another. */
Interface strict_interface(const std::string &name, unsigned index, const std::string &address,
                           const std::string &answering) {
    Interface interface = good_interface(name, index, address);

    interface.reverse_path = ReversePath::STRICT;
    interface.addresses.front().answering_interface = answering;
    return interface;
}

TEST(DoctorOfInterfaces, ObjectsToAStrictReversePathWhereTheKernelAnswersByAnother) {
    Interface second = strict_interface("net1", 3, "192.0.2.3", "net0");

    EXPECT_THAT(found(host_with({good_interface("net0", 2), second}), usual_wishes()),
                ElementsAre("strict-reverse-path net1"));
    second.reverse_path = ReversePath::LOOSE;
    EXPECT_THAT(found(host_with({good_interface("net0", 2), second}), usual_wishes()), IsEmpty());
}

TEST(DoctorOfInterfaces, HasNothingAgainstAReversePathThatNobodyUses) {
    const Facts facts =
        host_with({good_interface("net0", 2), strict_interface("net1", 3, "192.0.2.3", "net0")});
    Wishes wishes = usual_wishes();

    wishes.families = {Family::IPV6}; // which has no such filter
    for (const Finding &finding : diagnose(facts, wishes).findings) {
        EXPECT_NE(finding.id, "strict-reverse-path");
    }
}

TEST(DoctorOfInterfaces, SaysWhichOfTwoInOneSubnetTheKernelAnswersBy) {
    const Diagnosis diagnosis =
        diagnose(host_with({strict_interface("net0", 2, "192.0.2.2", "net1"),
                            strict_interface("net1", 3, "192.0.2.3", "net1")}),
                 usual_wishes());

    ASSERT_EQ(diagnosis.findings.size(), 1U);
    EXPECT_EQ(diagnosis.findings.front().subject, "net0");
    EXPECT_THAT(diagnosis.findings.front().remedy, HasSubstr("--interface net1"));
}

TEST(DoctorOfInterfaces, SaysNothingOfAReversePathWhoseAnswersAreNotKnown) {
    EXPECT_THAT(
        found(host_with({good_interface("net0", 2), strict_interface("net1", 3, "192.0.2.3", "")}),
              usual_wishes()),
        IsEmpty());
}

TEST(DoctorOfInterfaces, GoesByTheLongerPrefixOfTwoSubnets) {
    Interface wide = good_interface("net0", 2, "10.0.0.1");
    Interface narrow = strict_interface("net1", 3, "10.1.0.1", "net0");

    wide.addresses.front().prefix_length = 8;
    EXPECT_THAT(found(host_with({wide, narrow}), usual_wishes()), IsEmpty());
}

TEST(DoctorOfInterfaces, HasNothingAgainstAStrictReversePathBetweenSubnets) {
    EXPECT_THAT(found(host_with({strict_interface("net0", 2, "192.0.2.2", "net1"),
                                 strict_interface("net1", 3, "198.51.100.2", "net0")}),
                      usual_wishes()),
                IsEmpty());
}

TEST(DoctorOfInterfaces, WritesNamesWithDotsForSysctl) {
    const Diagnosis diagnosis =
        diagnose(host_with({good_interface("net0", 2),
                            strict_interface("eth0.100", 3, "192.0.2.3", "net0")}),
                 usual_wishes());

    ASSERT_EQ(diagnosis.findings.size(), 1U);
    EXPECT_THAT(diagnosis.findings.front().remedy, HasSubstr("net.ipv4.conf.eth0/100.rp_filter=2"));
}

/** A bridge for containers, or a tunnel. */
Interface auxiliary_interface(const std::string &name) {
    Interface interface = good_interface(name, 7, "198.51.100.1");

    interface.is_auxiliary = true;
    return interface;
}

TEST(DoctorOfInterfaces, MissesTheCableRatherThanAnIdleBridge) {
    Interface cable = good_interface("net0", 2);
    Interface bridge = auxiliary_interface("bridge");

    cable.is_running = false;
    cable.addresses.clear();
    bridge.is_running = false;
    EXPECT_THAT(found(host_with({cable, bridge}), usual_wishes()),
                ElementsAre("interface-without-carrier net0", "interface-without-address net0"));
}

TEST(DoctorOfInterfaces, IsNotWellByABridgeAloneWhereThereIsACable) {
    Interface cable = good_interface("net0", 2);

    cable.is_up = false;
    EXPECT_THAT(found(host_with({cable, auxiliary_interface("bridge")}), usual_wishes()),
                ElementsAre("interface-down net0"));
}

TEST(DoctorOfInterfaces, IsWellByABridgeOrTunnelThatIsAskedFor) {
    Wishes wishes = usual_wishes();
    Interface cable = good_interface("net0", 2);

    cable.is_up = false;
    wishes.interfaces = {"tunnel"};
    EXPECT_THAT(found(host_with({cable, auxiliary_interface("tunnel")}), wishes), IsEmpty());
}

TEST(DoctorOfInterfaces, IsWellByABridgeWhosePortsHaveNoAddress) {
    Interface port = good_interface("net0", 2);

    port.addresses.clear();
    port.master = "bridge";
    EXPECT_THAT(found(host_with({port, auxiliary_interface("bridge")}), usual_wishes()), IsEmpty());
}

TEST(DoctorOfInterfaces, NamesTheMasterInPlaceOfAPortThatIsAskedFor) {
    Wishes wishes = usual_wishes();
    Interface port = good_interface("net0", 2);

    port.addresses.clear();
    port.master = "bridge";
    wishes.interfaces = {"net0"};
    const Diagnosis diagnosis = diagnose(host_with({port}), wishes);

    ASSERT_EQ(diagnosis.findings.size(), 1U);
    EXPECT_EQ(diagnosis.findings.front().remedy, "It is a port of bridge: name that instead.");
}

/** Loopback, which every network has, as files say that it is something else. */
Interface listed_loopback(const FedHost &host) {
    const std::vector<Interface> all = list_interfaces(host.files());

    return *std::ranges::find(all, true, &Interface::is_loopback);
}

TEST(InterfaceList, TellsBridgesWithoutACableFromThoseWithOne) {
    const FedHost host;

    host.put("sys/class/net/lo/ifindex", "1\n");
    host.put("sys/class/net/lo/bridge/bridge_id", "");
    host.put("sys/class/net/lo/lower_net0/ifindex", "");
    EXPECT_TRUE(listed_loopback(host).is_auxiliary);
    host.put("sys/class/net/net0/device/driver", "");
    EXPECT_FALSE(listed_loopback(host).is_auxiliary);
}

TEST(InterfaceList, TellsTunnelsAndPorts) {
    const FedHost host;

    host.put("sys/class/net/lo/ifindex", "1\n");
    EXPECT_FALSE(listed_loopback(host).is_auxiliary);
    host.put("sys/class/net/lo/tun_flags", "0x1001\n");
    host.link("sys/class/net/lo/master", "../bridge");
    EXPECT_TRUE(listed_loopback(host).is_auxiliary);
    EXPECT_EQ(listed_loopback(host).master, "bridge");
}

TEST(InterfaceList, BelievesNoFilesOfAnotherNetwork) {
    const FedHost host;

    host.put("sys/class/net/lo/ifindex", "2\n");
    host.put("sys/class/net/lo/tun_flags", "0x1001\n");
    EXPECT_FALSE(listed_loopback(host).is_auxiliary);
}

TEST(DoctorOfNetworks, NamesOneWhoseAddressesAnotherOneHas) {
    Facts facts = host_with({good_interface("net0", 2)});

    facts.networks = {{"own", true, {"172.17.0.1", "192.0.2.2"}},
                      {"box", false, {"172.17.0.1", "192.0.2.3"}}, // one in common harms nobody
                      {"empty", false, {}}};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.networks.push_back({"copy", false, {"192.0.2.2"}});
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("network-twice 192.0.2.2"));
    EXPECT_THAT(diagnose(facts, usual_wishes()).findings.front().cause,
                testing::HasSubstr("Participants of the network copy of this host have the "
                                   "addresses of this network (192.0.2.2)"));
}

} // namespace

} // namespace doctor
