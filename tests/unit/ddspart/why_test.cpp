// SPDX-License-Identifier: Apache-2.0
// Who is named to ddspart why, what others answer, and what follows from it.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "manual.h"
#include "output.h"
#include "readme.h"
#include "why/reasons.h"

using nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace why {

namespace {

constexpr const char *GUID = "01020304.05060708.090a0b0c.000001c1";
constexpr const char *PREFIX = "01020304.05060708.090a0b0c";

Command parse(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), {"ddspart", "why"});
    return parse_command_line(static_cast<int>(arguments.size()), arguments.data());
}

TEST(WhyOptions, NameOneOrTwoParticipants) {
    const auto options = std::get<WhyOptions>(
        parse({"812", "radar", "--domain", "7", "--interface", "net0", "--peer", "beta"}));

    EXPECT_EQ(options.first, "812");
    EXPECT_EQ(options.second, "radar");
    EXPECT_EQ(options.domain, 7);
    EXPECT_EQ(options.interfaces, std::vector<std::string>{"net0"});
    EXPECT_EQ(options.peers, std::vector<std::string>{"beta"});
    EXPECT_EQ(std::get<WhyOptions>(parse({"812"})).second, std::nullopt);
}

TEST(WhyOptions, NeedAParticipant) {
    const auto answer = std::get<Answer>(parse({"--domain", "7"}));

    EXPECT_EQ(answer.exit_code, 2);
    EXPECT_THAT(answer.text, HasSubstr("A is required"));
}

TEST(WhyOptions, NameTwoParticipantsAtTheMost) {
    EXPECT_EQ(std::get<Answer>(parse({"a", "b", "c"})).exit_code, 2);
}

TEST(WhyManual, HasItsArgumentsAndItsReasons) {
    EXPECT_THAT(manual_page("why"),
                AllOf(HasSubstr("\\fIA\\fR\n[\\fIB\\fR]\n"), HasSubstr(".TP\n.I A\nA participant"),
                      HasSubstr(".TP\n.B other\\-domain\n")));
}

TEST(WhySubject, IsAProcessByItsNumber) {
    EXPECT_EQ(to_subject("812"), (Subject{Subject::Kind::PROCESS, "812", 812}));
}

TEST(WhySubject, IsAGuidOrItsPrefixWithDotsOrWithout) {
    const Subject expected = {Subject::Kind::GUID, PREFIX};

    EXPECT_EQ(to_subject(GUID), expected);
    EXPECT_EQ(to_subject(PREFIX), expected);
    EXPECT_EQ(to_subject("0102030405060708090A0B0C000001C1"), expected);
    EXPECT_EQ(to_subject("0102030405060708090a0b0c"), expected);
}

TEST(WhySubject, IsAnAddressWithAPortOrWithout) {
    for (const char *text : {"192.0.2.2", "192.0.2.2:7410", "fd00::2", "[fd00::2]:7410"}) {
        EXPECT_EQ(to_subject(text), (Subject{Subject::Kind::ADDRESS, text})) << text;
    }
}

TEST(WhySubject, IsElseAName) {
    for (const char *text : {"radar", "0", "-1", "99999999999", "192.0.2", "192.0.2.2:http",
                             "01020304.05060708", "0102030g.05060708.090a0b0c", ""}) {
        EXPECT_EQ(to_subject(text), (Subject{Subject::Kind::NAME, text})) << text;
    }
}

Sighting other(const std::string &name) {
    Sighting one;

    one.guid = GUID;
    one.name = name;
    one.host = "alpha";
    one.pid = 812;
    one.vendor = "0.0";
    one.addresses = {"192.0.2.2"};
    one.metatraffic_unicast_locators = {"udpv4://192.0.2.2:7410"};
    one.has_addressed = true;
    return one;
}

TEST(WhySubject, NamesWhoeverHasIt) {
    const Sighting radar = other("radar");

    for (const char *text : {"812", "radar", PREFIX, "192.0.2.2", "192.0.2.2:7410"}) {
        EXPECT_TRUE(is_named(to_subject(text), radar, "alpha")) << text;
    }
    for (const char *text : {"813", "rada", "01020304.05060708.090a0b0d", "192.0.2.3",
                             "192.0.2.2:7412", "2.0.2.2:7410"}) {
        EXPECT_FALSE(is_named(to_subject(text), radar, "alpha")) << text;
    }
}

TEST(WhySubject, IsNoProcessOfAnotherHost) {
    EXPECT_FALSE(is_named(to_subject("812"), other("radar"), "beta"));
}

std::optional<why::Reply> read(const std::string &value) {
    Sighting one = other("radar");

    one.properties = {{"nuvdds.discovery.answer.a", value}};
    return answer_of(one, "a");
}

TEST(WhyAnswer, OfOneThatKnowsTheOther) {
    using std::chrono::milliseconds;
    const std::string known = std::string("known ") + PREFIX;

    EXPECT_EQ(
        read(known + " 17000 udpv4://192.0.2.2:7410"),
        (why::Reply{Reply::State::KNOWN, PREFIX, milliseconds(17000), "udpv4://192.0.2.2:7410"}));
    EXPECT_EQ(read(known + " infinite"),
              (why::Reply{Reply::State::KNOWN, PREFIX, std::nullopt, ""}));
}

TEST(WhyAnswer, OfOneThatDoesNot) {
    EXPECT_EQ(read(std::string("ignored ") + PREFIX)->state, Reply::State::IGNORED);
    EXPECT_EQ(read("full")->state, Reply::State::FULL);
    EXPECT_EQ(read("unknown")->state, Reply::State::UNKNOWN);
}

TEST(WhyAnswer, ThatCannotBeReadIsNone) {
    for (const char *text : {"", "self", "known", "known 1 2", "ignored", "maybe", "known x"}) {
        EXPECT_EQ(read(text), std::nullopt) << text;
    }
    EXPECT_EQ(answer_of(other("radar"), "a"), std::nullopt);
}

TEST(WhyKnock, AtWhatIsNoPlaceIsNone) {
    EXPECT_TRUE(knock({"", "udpv4://", "udpv4://192.0.2.2", "udpv4://host:1", "udpv4://1.2.3.4:0",
                       "udpv4://1.2.3.4:65536"})
                    .empty());
}

/** Two that know each other. */
Facts facts() {
    Facts facts;

    facts.domains = {0};
    facts.first = {to_subject("radar"), std::nullopt, other("radar"), false, {}, {}, {}, {}};
    facts.second = {to_subject("camera"), std::nullopt, other("camera"), false, {}, {}, {}, {}};
    facts.first.says = facts.second->says =
        why::Reply{Reply::State::KNOWN, PREFIX, std::nullopt, ""};
    return facts;
}

std::string id_of(Facts facts) {
    const Verdict verdict = judge(std::move(facts));

    return verdict.reason ? verdict.reason->id : "";
}

TEST(WhyReason, IsNoneBetweenTwoThatKnowEachOther) {
    const Verdict verdict = judge(facts());

    EXPECT_FALSE(verdict.reason);
    EXPECT_EQ(verdict.statement, "radar (812 on alpha) and camera (812 on alpha) know each other.");
}

TEST(WhyReason, IsNoneAgainstOneThatIsSeen) {
    Facts seen = facts();

    seen.second.reset();
    EXPECT_EQ(judge(seen).statement, "radar (812 on alpha) is seen, and answers.");
}

TEST(WhyReason, IsTheFirstThatHolds) {
    Facts all = facts();

    all.second->says->state = Reply::State::UNKNOWN;
    EXPECT_EQ(id_of(all), "one-way");
    all.first.heard->has_addressed = false;
    all.first.knocks = {{"udpv4://192.0.2.2:7410", Knock::Outcome::NOT_SENT, ENETUNREACH}};
    EXPECT_EQ(id_of(all), "unreachable-address");
    all.first.says->state = Reply::State::FULL;
    EXPECT_EQ(id_of(all), "table-full");
    all.second->says->state = Reply::State::IGNORED;
    EXPECT_EQ(id_of(all), "ignored");
    all.first.heard->domain_tag = "night";
    EXPECT_EQ(id_of(all), "other-tag");
    all.second->heard->domain = 7;
    EXPECT_EQ(id_of(all), "other-domain");
    all.second->is_gone = true;
    EXPECT_EQ(id_of(all), "gone");
    all.second->heard.reset();
    EXPECT_EQ(id_of(all), "not-seen");
    all.second->witnesses = {{other("lidar"), *all.first.says}};
    EXPECT_EQ(id_of(all), "not-answering");
    all.rules = {{"chain input of table inet filter", "udp dport 7400 drop"}};
    EXPECT_EQ(id_of(all), "filtered-here");
    all.second->held = {HeldPorts{}};
    all.second->held[0].network.is_own = true;
    EXPECT_EQ(id_of(all), "not-announced");
    all.second->knocks = {{"udpv4://192.0.2.3:7410", Knock::Outcome::REFUSED, 0}};
    EXPECT_EQ(id_of(all), "killed");
}

/** Of a party that is heard nothing is said but what it does and has. */
TEST(WhyReason, IsNoneForWhatIsTrueOfOneThatIsHeard) {
    Facts heard = facts();

    heard.first.subject = to_subject("812");
    heard.taken = "index 0 tried; 7410 is held by process 9 (camera)";
    heard.first.witnesses = {{other("lidar"), *heard.second->says}};
    heard.rules = {{"chain input of table inet filter", "udp dport 7400 drop"}};
    EXPECT_EQ(id_of(heard), ""); // its process is not to be found from here
    heard.first.process = host::HostProcess{812, "talker", 0, ""};
    EXPECT_EQ(id_of(heard), "");
    heard.first.held = {HeldPorts{}};
    EXPECT_EQ(id_of(heard), "");
}

Facts facts_of_a_process() {
    Facts facts = why::facts();

    facts.first = {};
    facts.first.subject = to_subject("812");
    facts.first.process = host::HostProcess{812, "talker", 0, ""};
    return facts;
}

TEST(WhyReason, IsNoLackOfPortsOfOneThatHasSome) {
    Facts silent = facts_of_a_process();

    silent.first.held = {HeldPorts{}};
    silent.first.held[0].network.is_own = true;
    EXPECT_EQ(id_of(silent), "not-announced");
    silent.taken = "index 0 tried; 7410 is held by process 9 (camera)";
    EXPECT_EQ(id_of(silent), "not-announced");
}

TEST(WhyReason, IsNoLackOfPortsOfOneThatIsNoProcess) {
    Facts nobody = facts();

    nobody.first = {};
    nobody.first.subject = to_subject("radar");
    nobody.taken = "index 0 tried; 7410 is held by process 9 (camera)";
    EXPECT_EQ(id_of(nobody), "not-seen");
}

TEST(WhyReason, IsNoDeathOfAProcessThatIsThere) {
    Facts silent = facts_of_a_process();

    silent.first.held = {HeldPorts{}};
    silent.first.held[0].network.is_own = true;
    silent.first.witnesses = {{other("lidar"), *silent.second->says}};
    EXPECT_EQ(id_of(silent), "not-announced");
}

TEST(WhyReason, OfOneInAnotherNetworkNamesIt) {
    Facts apart = facts_of_a_process();

    apart.first.held = {HeldPorts{}};
    apart.first.held[0].network.name = "blue";
    const Verdict there = judge(apart);

    EXPECT_THAT(there.reason->cause, HasSubstr(" in the network blue,"));
    EXPECT_THAT(there.reason->remedy, HasSubstr("Connect that network with this one"));
    apart.first.held[0].network.is_own = true;
    const Verdict here = judge(apart);

    EXPECT_THAT(here.reason->cause, Not(HasSubstr("in the network ")));
    EXPECT_THAT(here.reason->remedy, HasSubstr("Look whether it may announce itself"));
}

TEST(WhyReason, OfOneThatOnlyOthersKnowSaysWhetherItCanBeSentTo) {
    Facts far = facts();

    far.first = {};
    far.first.subject = to_subject("radar");
    far.first.witnesses = {{other("lidar"), *far.second->says}};
    far.first.knocks = {{"udpv4://192.0.2.2:7410", Knock::Outcome::SILENT, 0}};
    EXPECT_THAT(judge(far).reason->cause,
                HasSubstr("it does not answer at udpv4://192.0.2.2:7410."));
    far.first.knocks[0] = {"udpv4://192.0.2.2:7410", Knock::Outcome::NOT_SENT, ENETUNREACH};
    EXPECT_EQ(id_of(far), "not-answering");
    EXPECT_THAT(
        judge(far).reason->cause,
        HasSubstr("nothing can be sent to udpv4://192.0.2.2:7410 (Network is unreachable)"));
}

TEST(WhyReason, OfOneAloneIsADomainThatIsNotThatOfTheOptions) {
    Facts alone = facts();

    alone.second.reset();
    alone.settings.domain = 7;
    EXPECT_EQ(id_of(alone), "other-domain");
    alone.first.heard->domain = 7;
    EXPECT_EQ(id_of(alone), "");
}

TEST(WhyReason, IsNoTagThatBothHave) {
    Facts tagged = facts();

    tagged.first.heard->domain_tag = tagged.second->heard->domain_tag = "night";
    EXPECT_EQ(id_of(tagged), "");
    tagged.second->heard->domain_tag = "day";
    EXPECT_EQ(id_of(tagged), "other-tag");
}

TEST(WhyReason, IsNoEmptyTagBesideNone) {
    Facts plain = facts();

    plain.first.heard->domain_tag = "";
    EXPECT_EQ(id_of(plain), "");
}

/** One that is heard, and to which this was tried. */
Facts one_tried_by(const std::vector<Knock> &knocks) {
    Facts facts = why::facts();

    facts.first.heard->has_addressed = false;
    facts.first.knocks = knocks;
    return facts;
}

TEST(WhyReason, IsAnAddressThatNothingCanBeSentToOnlyIfAllOfThemAre) {
    const Knock unsent = {"udpv4://192.0.2.2:7410", Knock::Outcome::NOT_SENT, ENETUNREACH};
    const Knock silent = {"udpv4://198.51.100.2:7410", Knock::Outcome::SILENT, 0};
    const Knock refused = {"udpv4://198.51.100.2:7410", Knock::Outcome::REFUSED, 0};

    EXPECT_EQ(id_of(one_tried_by({unsent})), "unreachable-address");
    EXPECT_EQ(id_of(one_tried_by({unsent, silent})), "one-way");
    EXPECT_EQ(id_of(one_tried_by({unsent, refused})), "one-way");
    EXPECT_EQ(id_of(one_tried_by({})), "one-way");
}

TEST(WhyReason, IsNoAddressOfOneThatAnswersByAnother) {
    Facts answered =
        one_tried_by({{"udpv4://192.0.2.2:7410", Knock::Outcome::NOT_SENT, ENETUNREACH}});

    answered.first.heard->has_addressed = true;
    EXPECT_EQ(id_of(answered), "");
}

TEST(WhyReason, OfOneThatIgnoresTheOtherSaysWhomItIgnores) {
    Facts apart = facts();

    apart.first.says->state = Reply::State::IGNORED;
    EXPECT_THAT(judge(apart).reason->cause,
                StartsWith("radar (812 on alpha) says that it ignores camera (812 on alpha): "));
    std::swap(apart.first.says, apart.second->says);
    EXPECT_THAT(judge(apart).reason->cause,
                StartsWith("camera (812 on alpha) says that it ignores radar (812 on alpha): "));
}

TEST(WhyReason, OfOneWaySaysWhoDoesNotHearWhom) {
    Facts deaf = facts();

    deaf.second->says->state = Reply::State::UNKNOWN;
    EXPECT_EQ(judge(deaf).reason->cause,
              "radar (812 on alpha) says that it knows camera (812 on alpha), and camera (812 on "
              "alpha) that it does not know radar (812 on alpha): what the one sends arrives, what "
              "the other sends does not.");
    std::swap(deaf.first.says, deaf.second->says);
    EXPECT_THAT(judge(deaf).reason->cause,
                StartsWith("camera (812 on alpha) says that it knows radar (812 on alpha), "));
}

TEST(WhyReason, OfOneWaySaysWhetherAnybodyReceivesThere) {
    constexpr const char *PLACE = "udpv4://192.0.2.2:7410";

    EXPECT_THAT(judge(one_tried_by({{PLACE, Knock::Outcome::REFUSED, 0}})).reason->cause,
                HasSubstr("nobody receives at udpv4://192.0.2.2:7410."));
    EXPECT_THAT(judge(one_tried_by({{PLACE, Knock::Outcome::SILENT, 0}})).reason->cause,
                HasSubstr("what is sent to it at udpv4://192.0.2.2:7410 does not arrive"));
}

TEST(WhyReason, OfOneWayConsidersOtherMakers) {
    Facts foreign = one_tried_by({});

    EXPECT_THAT(judge(foreign).reason->cause, Not(HasSubstr("other makers")));
    foreign.first.heard->vendor = "1.23";
    EXPECT_THAT(judge(foreign).reason->cause,
                HasSubstr("Participants of other makers may answer by group only."));
}

TEST(WhyReason, OfOneThatHasNotHeardTheOtherSaysWhetherItCouldByMulticast) {
    Facts deaf = facts();

    deaf.first.says->state = deaf.second->says->state = Reply::State::UNKNOWN;
    EXPECT_THAT(judge(deaf).reason->cause, EndsWith(", which receives none by multicast."));
    deaf.first.heard->metatraffic_multicast_locators = {"udpv4://239.255.0.1:7400"};
    EXPECT_THAT(judge(deaf).reason->cause, EndsWith("no announcement of that one reaches it."));
}

TEST(WhyReason, OfOneThatWasKilledNamesTheLongestLease) {
    using std::chrono::milliseconds;
    Facts killed = facts_of_a_process();
    const Witness witness = {other("lidar"), *killed.second->says};

    killed.first.process.reset();
    killed.first.witnesses.assign(5, witness);
    for (Witness &each : killed.first.witnesses) {
        each.answer.lease_left = milliseconds(2000);
    }
    killed.first.witnesses[1].answer.lease_left = milliseconds(9000);
    EXPECT_THAT(judge(killed).reason->cause,
                HasSubstr("listed by lidar, lidar, lidar, 2 more, for 9.0 s at most"));
    killed.first.witnesses[4].answer.lease_left.reset();
    EXPECT_THAT(judge(killed).reason->cause, HasSubstr("2 more, without end, until"));
}

TEST(WhyReason, IsNoneWhereOneOfTwoSaysThatItKnowsTheOther) {
    Facts half = facts();

    half.first.says.reset();
    EXPECT_THAT(judge(half).statement,
                AllOf(HasSubstr("radar (812 on alpha) cannot be asked whom it knows"),
                      HasSubstr("camera (812 on alpha) says that it knows the other.")));
}

TEST(WhyReason, OfTwoThatBothHaveNotHeardTheOther) {
    Facts deaf = facts();

    deaf.first.says->state = deaf.second->says->state = Reply::State::UNKNOWN;
    EXPECT_EQ(id_of(deaf), "not-heard");
}

TEST(WhyReason, OfOneThatIsHeardAndDoesNotAnswer) {
    Facts silent = facts();

    silent.first.says.reset();
    silent.first.heard->has_addressed = false;
    silent.first.knocks = {{"udpv4://192.0.2.2:7410", Knock::Outcome::SILENT, 0}};
    EXPECT_EQ(id_of(silent), "one-way");
}

TEST(WhyReason, IsNoneWhereNobodyCanBeAsked) {
    Facts foreign = facts();

    foreign.first.says.reset();
    foreign.second->says.reset();
    const Verdict verdict = judge(foreign);

    EXPECT_FALSE(verdict.reason);
    EXPECT_THAT(verdict.statement, HasSubstr("radar (812 on alpha) cannot be asked whom it knows"));
}

TEST(WhyReason, OfAProcessThatIsNotThere) {
    Facts gone = facts();

    gone.first = {};
    gone.first.subject = to_subject("812");
    EXPECT_EQ(id_of(gone), "not-started");
    gone.first.witnesses = {{other("lidar"), *gone.second->says}};
    gone.first.witnesses[0].answer.lease_left = std::chrono::milliseconds(17250);
    const Verdict killed = judge(gone);

    EXPECT_EQ(killed.reason->id, "killed");
    EXPECT_THAT(killed.reason->cause, HasSubstr("listed by lidar, for 17.2 s at most"));
}

TEST(WhyReason, OfAProcessWithoutPorts) {
    Facts idle = facts();

    idle.first = {};
    idle.first.subject = to_subject("812");
    idle.first.process = host::HostProcess{812, "talker", 0, ""};
    EXPECT_EQ(id_of(idle), "no-port");
    idle.taken = "index 0 tried; 7410 is held by process 9 (camera)";
    EXPECT_EQ(id_of(idle), "port-taken");
}

TEST(WhyReason, KeepsTextsOfOthersFromTheTerminal) {
    Facts hostile = facts();

    hostile.first.heard->name = "radar\x1b[2J\n";
    hostile.first.heard->domain_tag = "\x1b[31m";
    const std::string text = as_text(judge(hostile));

    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

TEST(WhyOutput, IsOneObjectForPrograms) {
    Facts tagged = facts();

    tagged.first.heard->domain_tag = "night";
    const std::string line = as_json(judge(tagged));
    const json object = json::parse(line);

    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(object.at("event"), "why");
    EXPECT_EQ(object.at("version"), 1);
    EXPECT_EQ(object.at("id"), "other-tag");
    EXPECT_EQ(object.at("statement"), nullptr);
    EXPECT_EQ(object.at("a").at("asked"), "radar");
    EXPECT_EQ(object.at("a").at("kind"), "name");
    EXPECT_EQ(object.at("a").at("participant").at("domain_tag"), "night");
    EXPECT_EQ(object.at("b").at("says"),
              (json{{"state", "known"}, {"lease_left", nullptr}, {"place", nullptr}}));
}

TEST(WhyChecks, AreInTheReadmeWithTheirMeaning) {
    expect_in_readme(checks());
}

} // namespace

} // namespace why
