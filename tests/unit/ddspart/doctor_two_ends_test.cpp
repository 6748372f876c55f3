// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor makes of what two hosts have found out with each other.
#include <gmock/gmock.h>

#include "doctor_facts.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace doctor {

namespace {

constexpr Shot PORT = {Shot::Kind::PORT, 7410};
constexpr Shot PACKET = {Shot::Kind::LARGE, 1472};
constexpr Shot FRAGMENTS = {Shot::Kind::LARGE, 4000};
constexpr Shot TTL_1 = {Shot::Kind::GROUP, 1};
constexpr Shot TTL_4 = {Shot::Kind::GROUP, 4};

/** A host beside "beta", with which all arrives. */
Facts good_ends() {
    Facts facts = host_with({good_interface("net0", 2)});
    Direction direction;
    Ends ends;

    direction.ports = {7410};
    direction.has_group = true;
    direction.sent = {PORT, PACKET, FRAGMENTS, TTL_1, TTL_4};
    direction.arrived = direction.sent;
    direction.source = "192.0.2.2:40000";
    direction.seen_source = direction.source;
    ends.name = "beta";
    ends.out = direction;
    ends.in = direction;
    ends.here.addresses = {"192.0.2.2"};
    ends.there.addresses = {"192.0.2.3"};
    ends.here.needs_multicast = true;
    ends.there.needs_multicast = true;
    facts.ends = ends;
    return facts;
}

std::string cause(const Facts &facts) {
    const Diagnosis diagnosis = diagnose(facts, usual_wishes());

    return diagnosis.findings.empty() ? "" : diagnosis.findings.front().cause;
}

TEST(DoctorOfTwoHosts, FindsNothingWhereAllArrives) {
    EXPECT_THAT(found(good_ends(), usual_wishes()), IsEmpty());
    EXPECT_THAT(diagnose(good_ends(), usual_wishes()).well,
                Contains("the way to the other host and back"));
}

TEST(DoctorOfTwoHosts, SaysWhichWayPortsAreNotReached) {
    Facts facts = good_ends();

    facts.ends->in.arrived.erase(PORT);
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("unicast-lost beta to this host"));
    EXPECT_EQ(cause(facts), "What beta sends to UDP port 7410 of this host does not arrive, while "
                            "what this host sends there arrives: one way only.");
    facts.ends->out.arrived.erase(PORT);
    EXPECT_THAT(cause(facts), HasSubstr("neither does what is sent the other way"));
    facts.ends->in.ports.clear();
    facts.ends->in.sent.clear();
    EXPECT_THAT(cause(facts), HasSubstr("and the other way could not be tried"));
}

TEST(DoctorOfTwoHosts, SaysWhatOfLargeDatagramsIsLost) {
    Facts facts = good_ends();

    facts.ends->out.arrived.erase(FRAGMENTS);
    EXPECT_THAT(found(facts, usual_wishes()),
                ElementsAre("large-datagrams-lost this host to beta"));
    EXPECT_THAT(cause(facts), HasSubstr("Datagrams of 4000 octets"));
    facts.ends->out.arrived.erase(PACKET);
    EXPECT_THAT(cause(facts), HasSubstr("Datagrams of 1472 octets"));
    facts.ends->out.arrived.erase(PORT); // small ones do not arrive either
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("unicast-lost this host to beta"));
}

TEST(DoctorOfTwoHosts, MissesMulticastOnlyWhereNoPeersAreNamed) {
    Facts facts = good_ends();

    facts.ends->out.arrived = {PORT, PACKET, FRAGMENTS};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("multicast-lost this host to beta"));
    facts.ends->there.needs_multicast = false;
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.ends->there.needs_multicast = true;
    facts.ends->out.has_group = false; // nobody listens
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfTwoHosts, SaysWhatTimeToLiveArrives) {
    Facts facts = good_ends();

    facts.ends->out.arrived.erase(TTL_1);
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("ttl-too-small this host to beta"));
    EXPECT_THAT(cause(facts), HasSubstr("only with a time to live of 4"));
    facts.ends->out.arrived.insert(TTL_1);
    facts.ends->out.arrived.erase(TTL_4); // lost by chance
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfTwoHosts, SaysThatAddressesAreTranslated) {
    Facts facts = good_ends();

    facts.ends->out.seen_source = "198.51.100.1:61000";
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("address-translated this host to beta"));
    facts.ends->out.seen_source = ""; // nothing has arrived, or nothing was sent
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfTwoHosts, ComparesTheDomainsOfParticipants) {
    Facts facts = good_ends();

    facts.ends->here.domains = {0};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    facts.ends->there.domains = {1, 7};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("domains-differ beta"));
    EXPECT_THAT(cause(facts), HasSubstr("in domain 0, those of beta in domains 1, 7"));
    facts.ends->there.domains = {0, 7};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

End::Resident talker_at(const std::vector<std::string> &locators) {
    return {"guid", "talker", locators};
}

TEST(DoctorOfTwoHosts, NamesParticipantsThatWereAskedAndNotHeard) {
    Facts facts = good_ends();

    facts.ends->there.residents = {talker_at({"udpv4://172.18.0.2:7410"})};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty()); // it was not asked
    facts.ends->asked_here = {"udpv4://172.18.0.2:7410"};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("participant-out-of-reach guid"));
    facts.ends->here.addresses.insert("172.18.0.2");
    EXPECT_THAT(cause(facts), HasSubstr("are addresses that this host has itself"));
    facts.ends->here.heard = {"guid"};
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfTwoHosts, SaysNothingOfParticipantsWhereNothingArrivesAnyway) {
    Facts facts = good_ends();

    facts.ends->there.residents = {talker_at({"udpv4://172.18.0.2:7410"})};
    facts.ends->asked_here = {"udpv4://172.18.0.2:7410"};
    facts.ends->out.arrived.erase(PORT);
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("unicast-lost this host to beta"));
}

TEST(DoctorOfTwoHosts, SaysWhoseParticipantsHaveADomainTag) {
    Facts facts = good_ends();

    facts.ends->here.residents = {talker_at({"udpv4://192.0.2.2:7410"})};
    facts.ends->there.heard = {"guid"};
    facts.ends->there.is_tagged = true;
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("tags-differ beta"));
    facts.ends->here.residents.clear();
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty()); // nobody is there whom it would keep out
}

} // namespace

} // namespace doctor
