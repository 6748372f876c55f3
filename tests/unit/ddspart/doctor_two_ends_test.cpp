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

Finding finding_of(const Facts &facts) {
    const std::vector<Finding> all = diagnose(facts, usual_wishes()).findings;

    return all.empty() ? Finding() : all.front();
}

std::string cause(const Facts &facts) {
    return finding_of(facts).cause;
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
    EXPECT_THAT(finding_of(facts).remedy, HasSubstr("Let fragments of UDP through"));
    facts.ends->out.arrived.erase(PACKET);
    EXPECT_THAT(cause(facts), HasSubstr("Datagrams of 1472 octets"));
    EXPECT_THAT(finding_of(facts).remedy, HasSubstr("Make the MTU of the interfaces as small"));
    facts.ends->out.arrived.erase(PORT); // small ones do not arrive either
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("unicast-lost this host to beta"));
}

TEST(DoctorOfTwoHosts, MissesMulticastOnlyWhereNoPeersAreNamed) {
    Facts facts = good_ends();

    facts.ends->out.arrived = {PORT, PACKET, FRAGMENTS};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("multicast-lost this host to beta"));
    for (End Ends::*const end : {&Ends::here, &Ends::there}) {
        ((*facts.ends).*end).needs_multicast = false;
        EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
        ((*facts.ends).*end).needs_multicast = true;
    }
    facts.ends->out.has_group = false; // nobody listens
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfTwoHosts, SaysWhatArrivesWhereMulticastDoesNot) {
    Facts facts = good_ends();

    facts.ends->out.arrived = {PORT, PACKET, FRAGMENTS};
    EXPECT_EQ(cause(facts), "What this host sends to the group does not arrive at beta, while "
                            "unicast does; the other way it does.");
    facts.ends->in.arrived = {PORT, PACKET, FRAGMENTS};
    EXPECT_EQ(cause(facts),
              "What this host sends to the group does not arrive at beta, while unicast does.");
    facts.ends->out.arrived.clear();
    EXPECT_THAT(
        diagnose(facts, usual_wishes()).findings,
        Contains(testing::Field(&Finding::cause,
                                "What this host sends to the group does not arrive at beta.")));
}

TEST(DoctorOfTwoHosts, MissesNoTimeToLiveWhereNobodyNeedsMulticast) {
    Facts facts = good_ends();

    facts.ends->out.arrived.erase(TTL_1);
    for (End Ends::*const end : {&Ends::here, &Ends::there}) {
        ((*facts.ends).*end).needs_multicast = false;
        EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
        ((*facts.ends).*end).needs_multicast = true;
    }
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
    facts.ends->here.domains = {};
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

/** Of a participant of the other host that announces these and was asked at all of them. */
Facts one_unheard_at(const std::vector<std::string> &locators) {
    Facts facts = good_ends();

    facts.ends->there.residents = {talker_at(locators)};
    facts.ends->asked_here = {locators.begin(), locators.end()};
    return facts;
}

TEST(DoctorOfTwoHosts, SaysThatAParticipantAnnouncesOnlyLoopback) {
    Facts facts = one_unheard_at({"udpv4://127.0.0.1:7410", "udpv6://[::1]:7410"});

    facts.ends->asked_here.clear(); // nobody can be asked there
    EXPECT_THAT(finding_of(facts).cause, HasSubstr("it announces only loopback"));
    EXPECT_THAT(finding_of(facts).remedy, HasSubstr("was up when it started"));
    facts = one_unheard_at({"udpv4://127.0.0.1:7410", "udpv4://172.18.0.2:7410"});
    EXPECT_THAT(finding_of(facts).cause, HasSubstr("nothing comes back from what it announces"));
    EXPECT_THAT(finding_of(facts).remedy, HasSubstr("or add a route to its network"));
}

TEST(DoctorOfTwoHosts, SaysThatAllAddressesOfAParticipantAreThoseOfTheHostThatLooks) {
    Facts facts = one_unheard_at({"udpv4://127.0.0.1:7410", "udpv4://192.0.2.2:7410"});

    EXPECT_THAT(finding_of(facts).cause, HasSubstr("are addresses that this host has itself"));
    facts = one_unheard_at({"udpv4://192.0.2.2:7410", "udpv4://172.18.0.2:7410"});
    EXPECT_THAT(finding_of(facts).cause, HasSubstr("nothing comes back from what it announces"));
}

TEST(DoctorOfTwoHosts, SaysNothingOfParticipantsThatWereNotAskedWhereverTheyAre) {
    Facts facts = one_unheard_at(
        {"udpv4://127.0.0.1:7410", "udpv4://172.18.0.2:7410", "udpv4://172.19.0.2:7410"});

    facts.ends->asked_here.erase("udpv4://127.0.0.1:7410");
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("participant-out-of-reach guid"));
    facts.ends->asked_here.erase("udpv4://172.19.0.2:7410");
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    EXPECT_THAT(found(one_unheard_at({}), usual_wishes()), IsEmpty()); // nowhere to ask
}

TEST(DoctorOfTwoHosts, NamesParticipantsOfEitherHost) {
    Facts facts = good_ends();

    facts.ends->here.residents = {talker_at({"udpv4://172.18.0.2:7410"})};
    facts.ends->asked_there = {"udpv4://172.18.0.2:7410"};
    EXPECT_THAT(finding_of(facts).cause,
                HasSubstr("The participant talker of this host is not heard by beta: "));
}

TEST(DoctorOfTwoHosts, SaysNothingOfParticipantsOfAnEndThatDoesNotTellOfAll) {
    for (End Ends::*const end : {&Ends::here, &Ends::there}) {
        Facts facts = one_unheard_at({"udpv4://172.18.0.2:7410"});

        ((*facts.ends).*end).is_whole = false;
        EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
    }
}

TEST(DoctorOfTwoHosts, SaysNothingOfParticipantsWhereWhatIsSentIsExplainedOtherwise) {
    for (Direction Ends::*const way : {&Ends::out, &Ends::in}) {
        Facts facts = one_unheard_at({"udpv4://172.18.0.2:7410"});

        ((*facts.ends).*way).seen_source = "198.51.100.1:61000";
        EXPECT_EQ(found(facts, usual_wishes()).size(), 1U);
        EXPECT_EQ(finding_of(facts).id, "address-translated");
        ((*facts.ends).*way).seen_source.clear();
        ((*facts.ends).*way).arrived.erase(PORT);
        EXPECT_EQ(found(facts, usual_wishes()).size(), 1U);
        EXPECT_EQ(finding_of(facts).id, "unicast-lost");
    }
}

TEST(DoctorOfTwoHosts, SaysOfParticipantsWhereNoPortCouldBeTried) {
    Facts facts = one_unheard_at({"udpv4://172.18.0.2:7410"});

    facts.ends->in.ports.clear();
    facts.ends->in.sent.clear();
    facts.ends->in.arrived.clear();
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("participant-out-of-reach guid"));
}

TEST(DoctorOfTwoHosts, MissesNoMulticastThatWasNotSent) {
    Facts facts = good_ends();

    for (const Shot &shot : {TTL_1, TTL_4}) {
        facts.ends->out.sent.erase(shot);
        facts.ends->out.arrived.erase(shot);
    }
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty());
}

TEST(DoctorOfTwoHosts, SaysNothingOfAddressesThatNobodyKnows) {
    Facts facts = good_ends();

    facts.ends->out.source = "";
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
    EXPECT_EQ(cause(facts), "The participants of beta have a domain tag, those of this host have "
                            "none: neither knows the other.");
    facts.ends->here.residents.clear();
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty()); // nobody is there whom it would keep out
    facts = good_ends();
    facts.ends->here.is_tagged = true;
    facts.ends->there.residents = {talker_at({"udpv4://192.0.2.3:7410"})};
    facts.ends->here.heard = {"guid"};
    EXPECT_THAT(found(facts, usual_wishes()), ElementsAre("tags-differ this host"));
    EXPECT_EQ(cause(facts), "The participants of this host have a domain tag, those of beta have "
                            "none: neither knows the other.");
    facts.ends->there.is_tagged = true;
    EXPECT_THAT(found(facts, usual_wishes()), IsEmpty()); // the same, for all that is known
}

} // namespace

} // namespace doctor
