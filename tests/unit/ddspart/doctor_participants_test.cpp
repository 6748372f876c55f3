// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor makes of the participants that it has heard.
#include <cerrno>

#include <gmock/gmock.h>

#include "doctor_facts.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace doctor {

namespace {

Sighting participant_at(const std::vector<std::string> &addresses) {
    Sighting other;

    other.name = "talker";
    other.addresses = addresses;
    for (const std::string &address : addresses) {
        other.metatraffic_unicast_locators.push_back("udpv4://" + address + ":7410");
    }
    return other;
}

Facts host_that_heard(const std::vector<Sighting> &others) {
    Facts facts = host_with({good_interface("net0", 2)});

    facts.heard = Heard{others, {}, {}, true, std::chrono::seconds(1)};
    return facts;
}

TEST(DoctorOfParticipants, NamesAPeerThatWasNotHeard) {
    Facts facts = host_that_heard({participant_at({"192.0.2.8"})});

    facts.peers = {{to_peer("192.0.2.8"), "", {"192.0.2.8"}, 0},
                   {to_peer("beta"), "", {"192.0.2.9"}, 0}};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("silent-peer beta"));
    EXPECT_THAT(diagnose(facts, usual_wishes()).findings.front().cause,
                HasSubstr("The peer beta (192.0.2.9) has not answered within 1.0 s: "));
    EXPECT_THAT(diagnose(facts, usual_wishes()).findings.front().remedy,
                HasSubstr("See whether the host still has 192.0.2.9, "));
    facts.peers[1].peer = to_peer("192.0.2.9");
    EXPECT_THAT(diagnose(facts, usual_wishes()).findings.front().cause,
                HasSubstr("The peer 192.0.2.9 has not answered within 1.0 s: "));
}

TEST(DoctorOfParticipants, HearsAPeerByTheAddressThatItsNameHasLater) {
    Facts facts = host_that_heard({participant_at({"192.0.2.8"})});

    facts.peers = {{to_peer("beta"), "", {"192.0.2.9"}, 0}};
    facts.peers[0].later_addresses = {"192.0.2.8"};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("changed-peer beta"));
}

TEST(DoctorOfParticipants, ExpectsNoAnswerOfWhomItHasNotAnnouncedItselfTo) {
    Facts facts = host_that_heard({});

    facts.heard->is_announced = false;
    facts.peers = {{to_peer("127.0.0.1"), "", {"127.0.0.1"}, 0}};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfParticipants, HearsThisHostByItsOtherAddresses) {
    Facts facts = host_that_heard({participant_at({"192.0.2.2"})});

    facts.peers = {{to_peer("127.0.0.1"), "", {"127.0.0.1"}, 0}};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfParticipants, HearsThisHostByAnyAddressOfLoopback) {
    Facts facts = host_that_heard({participant_at({"192.0.2.2"})});

    facts.peers = {{to_peer("127.0.1.1"), "", {"127.0.1.1"}, 0}};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfParticipants, DoesNotTakeThisHostForAnother) {
    Facts facts = host_that_heard({participant_at({"192.0.2.2"})});

    facts.peers = {{to_peer("192.0.2.9"), "", {"192.0.2.9"}, 0}};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("silent-peer 192.0.2.9"));
}

TEST(DoctorOfParticipants, ExpectsNoAnswerOfWhomNothingCanBeSentTo) {
    Facts facts = host_that_heard({});

    facts.peers = {{to_peer("beta"), "no such name", {}, 0},
                   {to_peer("192.0.2.9"), "", {"192.0.2.9"}, ENETUNREACH}};
    EXPECT_THAT(found(facts, usual_wishes()),
                ElementsAre("unresolved-peer beta", "no-route-to-peer 192.0.2.9"));
}

TEST(DoctorOfParticipants, SaysWhyAnnouncementsAreRefused) {
    Facts facts = host_that_heard({});

    facts.heard->statistics.refused[DDS_DISCOVERY_REFUSED_STALE] = 1; // happens to everybody
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.heard->statistics.refused[DDS_DISCOVERY_REFUSED_DOMAIN_TAG] = 2;
    facts.heard->statistics.refused[DDS_DISCOVERY_REFUSED_FORGED] = 3;
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    ASSERT_EQ(diagnosis.findings.size(), 2U);
    EXPECT_THAT(diagnosis.findings[0].cause, HasSubstr("2 announcements that were heard"));
    EXPECT_THAT(diagnosis.findings[1].cause, HasSubstr("two have one GUID"));
}

TEST(DoctorOfParticipants, NamesOneThatWasLostAndCameBack) {
    Facts facts = host_that_heard({});
    Sighting other = participant_at({"192.0.2.8"});

    other.guid = "guid";
    other.lease = std::chrono::milliseconds(1500);
    facts.heard->returned = {other};
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("lease-too-short guid"));
    EXPECT_EQ(diagnosis.findings.front().cause,
              "talker was lost and came back: its lease of 1.5 s ends before it announces itself "
              "again.");
}

TEST(DoctorOfParticipants, NamesTwoWithTheSameLocators) {
    EXPECT_THAT(
        found(host_that_heard({participant_at({"192.0.2.8"}), participant_at({"192.0.2.8"})}),
              usual_wishes()),
        ElementsAre("shared-locator udpv4://192.0.2.8:7410"));
    EXPECT_THAT(found(host_that_heard({participant_at({"192.0.2.8", "192.0.2.9"}),
                                       participant_at({"192.0.2.9", "192.0.2.8"})}),
                      usual_wishes()),
                ElementsAre("shared-locator udpv4://192.0.2.8:7410, udpv4://192.0.2.9:7410"));
}

TEST(DoctorOfParticipants, HasNothingAgainstAnAddressThatTwoHaveBesideOthers) {
    EXPECT_THAT(
        found(host_that_heard({participant_at({"192.0.2.8", "172.17.0.1"}),
                               participant_at({"192.0.2.9", "172.17.0.1"}),
                               participant_at({"127.0.0.1"}), participant_at({"127.0.0.1"})}),
              usual_wishes()),
        IsEmpty());
}

} // namespace

} // namespace doctor
