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
using testing::HasSubstr;

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
