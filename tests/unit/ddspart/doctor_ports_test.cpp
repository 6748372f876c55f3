// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor makes of ports and of peers.
#include <cerrno>

#include <gmock/gmock.h>

#include "doctor/peers.h"
#include "doctor_facts.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace doctor {

namespace {

using std::chrono::milliseconds;

Facts good_host() {
    return host_with({good_interface("net0", 2)});
}

/** Ports of an index that a process holds, or without one a multicast port. */
HeldPorts held(std::optional<DDS_Long> index, const std::vector<Port> &ports, pid_t process,
               HeldPorts::Evidence evidence) {
    HeldPorts row;

    row.index = index;
    row.ports = ports;
    row.holders = {Holder{host::HostProcess{process, "demo", 0, ""}, 0}};
    row.evidence = evidence;
    return row;
}

TEST(DoctorOfPorts, NamesAStrangerAtOneOfTheFirstIndices) {
    Facts facts = good_host();

    facts.held = {held(0, {{"user_unicast", 7411}}, 4711, HeldPorts::Evidence::NONE),
                  held(1, {{"builtin_unicast", 7412}, {"user_unicast", 7413}}, 1,
                       HeldPorts::Evidence::BOTH_UNICAST_PORTS),
                  held(5, {{"user_unicast", 7421}}, 2, HeldPorts::Evidence::NONE)};
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    ASSERT_THAT(diagnosis.findings, SizeIs(1));
    EXPECT_EQ(diagnosis.findings.front().id, "index-blocked");
    EXPECT_THAT(diagnosis.findings.front().cause,
                HasSubstr("UDP port 7411 of participant index 0 is held by demo (4711), "));
}

TEST(DoctorOfPorts, SaysWhoDoesNotShareThePortOfTheGroup) {
    Facts facts = good_host();

    facts.probes = {group_probe(7400, Probe::Outcome::HELD, EADDRINUSE)};
    facts.held = {
        held(std::nullopt, {{"builtin_multicast", 7400}}, 4711, HeldPorts::Evidence::NONE)};
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    ASSERT_THAT(diagnosis.findings, SizeIs(1));
    EXPECT_EQ(diagnosis.findings.front().id, "group-port-taken");
    EXPECT_THAT(diagnosis.findings.front().cause, HasSubstr("is held by demo (4711), "));
    Wishes deaf = usual_wishes();

    deaf.groups.front().is_received = false;
    EXPECT_THAT(found(facts, deaf), IsEmpty());
}

TEST(DoctorOfPorts, NamesAProcessThatIsStoppedOnce) {
    constexpr auto BOTH = HeldPorts::Evidence::BOTH_UNICAST_PORTS;
    Facts facts = good_host();

    facts.held = {held(0, {{"builtin_unicast", 7410}, {"user_unicast", 7411}}, 4711, BOTH),
                  held(1, {{"builtin_unicast", 7412}, {"user_unicast", 7413}}, 4711, BOTH),
                  held(2, {{"builtin_unicast", 7414}, {"user_unicast", 7415}}, 4712, BOTH)};
    facts.stopped = {4711};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("suspended-process 4711"));
    facts.held = {held(std::nullopt, {{"builtin_multicast", 7400}}, 4711,
                       HeldPorts::Evidence::DISCOVERY_BY_MULTICAST)};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty()); // it has no participant
}

TEST(DoctorOfPorts, SaysWhoHasAllIndices) {
    constexpr auto BOTH = HeldPorts::Evidence::BOTH_UNICAST_PORTS;
    const auto ports_of_index = [](DDS_Long index) {
        return std::vector<Port>{{"builtin_unicast", 7410 + 2 * index},
                                 {"user_unicast", 7411 + 2 * index}};
    };
    Facts facts = good_host();

    facts.highest_index = 2;
    facts.held = {held(0, ports_of_index(0), 1, BOTH), held(1, ports_of_index(1), 2, BOTH)};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.held.push_back(held(2, ports_of_index(2), 2, BOTH));
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    ASSERT_THAT(diagnosis.findings, SizeIs(1));
    EXPECT_EQ(diagnosis.findings.front().id, "no-free-index");
    EXPECT_THAT(diagnosis.findings.front().cause,
                HasSubstr("are taken on this host: 2 by demo (2), 1 by demo (1)."));
}

TEST(DoctorOfPorts, NamesWhoHasLostDatagrams) {
    Facts facts = good_host();

    facts.held = {held(std::nullopt, {{"builtin_multicast", 7400}}, 4711,
                       HeldPorts::Evidence::DISCOVERY_BY_MULTICAST)};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.held.front().drops = 1;
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("datagrams-lost 7400"));
}

TEST(DoctorOfPorts, CountsWhatWasLostBetweenTwoLooks) {
    const auto BOTH = HeldPorts::Evidence::BOTH_UNICAST_PORTS;
    std::vector<HeldPorts> begin = {held(0, {{"builtin_unicast", 7410}}, 1, BOTH),
                                    held(1, {{"builtin_unicast", 7412}}, 2, BOTH),
                                    held(2, {{"builtin_unicast", 7414}}, 3, BOTH)};
    std::vector<HeldPorts> end = {begin[0], begin[1]};

    begin[0].drops = 3;
    begin[1].drops = 3;
    begin[2].drops = 3;
    end[0].drops = 3;
    end[1].drops = 5;
    compare(begin, end);
    EXPECT_EQ(begin[0].drops, 0U);
    EXPECT_EQ(begin[1].drops, 2U);
    EXPECT_EQ(begin[2].drops, 0U); // its holder has gone
}

TEST(DoctorOfPorts, NamesThoseThatMayNotBeBound) {
    Facts facts = good_host();

    facts.probes = {group_probe(500, Probe::Outcome::NOT_BOUND, EACCES),
                    group_probe(510, Probe::Outcome::NOT_BOUND, EACCES)};
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("port-not-bound 500, 510"));
    EXPECT_THAT(diagnosis.findings.front().remedy, HasSubstr("ip_unprivileged_port_start"));
    facts.probes = {group_probe(7400, Probe::Outcome::NOT_BOUND, EADDRNOTAVAIL)};
    EXPECT_THAT(diagnose(facts, usual_wishes()).findings.front().remedy,
                HasSubstr("another --domain"));
    facts.probes = {group_probe(0, Probe::Outcome::NOT_BOUND, EADDRNOTAVAIL)};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty()); // no port of the domain
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

TEST(DoctorOfPeers, DoesNotBlameANameForWhichNoServerHasAnswered) {
    Facts facts = good_host();

    facts.peers = {{to_peer("beta"), "try again", {}, 0, true}};
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    ASSERT_THAT(diagnosis.findings, SizeIs(1));
    EXPECT_THAT(diagnosis.findings.front().cause, HasSubstr("No name server has answered"));
    EXPECT_EQ(diagnosis.findings.front().remedy.find("Correct"), std::string::npos);
}

TEST(DoctorOfPeers, NamesThoseWhoseNameHasLostAnAddress) {
    Facts facts = good_host();
    PeerTrial trial = {to_peer("beta"), "", {"192.0.2.8", "192.0.2.9"}, 0};

    facts.peers = {trial};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty()); // it was not looked up again
    facts.peers[0].later_addresses = {"192.0.2.9", "192.0.2.8"};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.peers[0].later_addresses = {"192.0.2.7", "192.0.2.8", "192.0.2.9"}; // one that came
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.peers[0].later_addresses = {"192.0.2.7", "192.0.2.8"};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("changed-peer beta"));
    EXPECT_THAT(diagnose(facts, usual_wishes()).findings.front().cause,
                HasSubstr("has changed from 192.0.2.8, 192.0.2.9 to 192.0.2.7, 192.0.2.8 while"));
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
    EXPECT_EQ(trials.front().failure, ""); // nothing is known of it
}

} // namespace

} // namespace doctor
