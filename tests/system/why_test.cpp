// SPDX-License-Identifier: Apache-2.0
// ddspart why between participants that something keeps apart, and between those that nothing does.
#include <csignal>
#include <memory>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "discovery_network.h"
#include "doctor_network.h"
#include "json_lines.h"
#include "network.h"
#include "port_holder.h"
#include "process.h"

using discovery::Host;
using discovery::json;
using discovery::Neighbour;
using discovery::Texts;
using doctor::nft;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/** What why says: its one object, with its exit code as "code". */
json said(Process why) {
    const int code = why.wait().code;
    const std::vector<json> objects = parse_lines(why.output());

    EXPECT_THAT(why.errors(), IsEmpty());
    if (objects.size() != 1) {
        ADD_FAILURE() << why.output();
        return {{"code", code}, {"id", nullptr}};
    }
    json object = objects.front();

    EXPECT_EQ(object.at("event"), "why");
    EXPECT_EQ(object.at("version"), 1);
    EXPECT_EQ(code, object.at("id") == nullptr ? 0 : 3);
    object["code"] = code;
    return object;
}

/** Two hosts on a wire. */
class Why : public discovery::WireTest {
protected:
    void SetUp() override {
        WireTest::SetUp();
        if (!IsSkipped()) {
            alpha = std::make_unique<Host>("alpha", Texts{"192.0.2.2/24"});
            beta = std::make_unique<Host>("beta", Texts{"192.0.2.3/24"});
        }
    }
    /** Who does not answer at once is waited for a moment. */
    static Process run(const Host &host, Texts arguments, const char *seconds = "0.4") {
        arguments.insert(arguments.begin(), {"why", "--json", "--for", seconds});
        return host.ddspart(arguments);
    }
    static json why(const Host &host, const Texts &arguments) {
        return said(run(host, arguments));
    }
    /** Where there is nobody who could be heard. */
    static json why_nobody_is_heard(const Host &host, const Texts &arguments) {
        return said(run(host, arguments, "0.1"));
    }
    struct Question {
        const Host &host;
        Texts arguments;
    };
    /** The ids of the reasons that are given to questions asked at the same time; empty: none. */
    static Texts reasons(const std::vector<Question> &questions) {
        std::vector<Process> all;
        Texts ids;

        for (const Question &question : questions) {
            all.push_back(run(question.host, question.arguments));
        }
        for (Process &process : all) {
            const json verdict = said(std::move(process));

            ids.push_back(verdict["id"] == nullptr ? "" : verdict["id"]);
        }
        return ids;
    }
    static json named(const std::string &name) {
        return {{"name", name}, {"period", 0.2}};
    }
    static json with(json settings, const char *name, const json &value) {
        settings[name] = value;
        return settings;
    }

    std::unique_ptr<Host> alpha;
    std::unique_ptr<Host> beta;
};

TEST_F(Why, FindsNothingBetweenTwoThatKnowEachOther) {
    Neighbour one(*alpha, named("one"));
    Neighbour other(*beta, named("other"));

    ASSERT_TRUE(one.comes_to_know(other));
    ASSERT_TRUE(other.comes_to_know(one));
    const json verdict = why(*alpha, {"one", "other"});

    EXPECT_EQ(verdict["id"], nullptr);
    EXPECT_THAT(verdict["statement"], HasSubstr("know each other"));
    EXPECT_EQ(verdict["a"]["says"]["state"], "known");
    EXPECT_EQ(verdict["b"]["says"]["state"], "known");
    EXPECT_THAT(reasons({{*beta, {std::to_string(one.process().id()), other.guid()}},
                         {*beta, {"192.0.2.2", "192.0.2.3:7410"}}}),
                ElementsAre("", ""));
}

TEST_F(Why, FindsNothingAgainstOneThatIsSeen) {
    const Neighbour one(*alpha, named("one"));

    EXPECT_THAT(reasons({{*beta, {"one"}}, {*alpha, {"one"}}}), ElementsAre("", ""));
}

TEST_F(Why, SaysThatTheDomainIsAnother) {
    const Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, with(named("other"), "domain", 7));
    const json verdict = why(*alpha, {"--domain", "7", "one", "other"});

    EXPECT_EQ(verdict["id"], "other-domain");
    EXPECT_THAT(verdict["cause"], HasSubstr("in domain 0, other ("));
    EXPECT_EQ(why(*alpha, {"--domain", "7", "one"})["id"], "other-domain");
}

TEST_F(Why, SaysThatTheTagIsAnother) {
    const Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, with(named("other"), "tag", "night"));
    Process alone = run(*beta, {"other"});
    const json verdict = why(*alpha, {"one", "other"});

    EXPECT_EQ(verdict["id"], "other-tag");
    EXPECT_THAT(verdict["cause"], HasSubstr("the domain tag 'night'"));
    EXPECT_EQ(said(std::move(alone))["id"], "other-tag");
}

TEST_F(Why, SaysThatOneIgnoresTheOther) {
    const Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, with(named("other"), "ignores", one.guid()));
    const json verdict = why(*alpha, {"one", "other"});

    EXPECT_EQ(verdict["id"], "ignored");
    EXPECT_THAT(verdict["cause"], HasSubstr("ignores one ("));
    EXPECT_EQ(verdict["b"]["says"]["state"], "ignored");
}

TEST_F(Why, SaysThatATableIsFull) {
    const Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, with(named("other"), "most", 0));
    const json verdict = why(*beta, {"one", "other"});

    EXPECT_EQ(verdict["id"], "table-full");
    EXPECT_THAT(verdict["remedy"], HasSubstr("remote_participants_max"));
}

TEST_F(Why, SaysThatWhatIsSentToOneDoesNotArrive) {
    {
        const Host::Stay there(*beta);

        if (!nft("add table inet t; add chain inet t in { type filter hook input priority 0; }; "
                 "add rule inet t in iifname net0 udp dport 7400-7500 drop")) {
            GTEST_SKIP() << "there is no firewall to be had";
        }
    }
    Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, named("other"));

    ASSERT_TRUE(one.comes_to_know(other));
    EXPECT_THAT(reasons({{*alpha, {"one", "other"}},
                         {*alpha, {"other"}},
                         {*beta, {"other", "one"}}}), // the tool's own ports are open
                ElementsAre("one-way", "one-way", "one-way"));
}

TEST_F(Why, NamesTheRuleThatLetsNothingIn) {
    const Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, named("other"));
    const Host::Stay there(*beta);

    if (!nft("add table inet t; add chain inet t in { type filter hook input priority 0; }; "
             "add rule inet t in iifname net0 udp dport 7400-7700 drop")) {
        GTEST_SKIP() << "there is no firewall to be had";
    }
    const json verdict = why_nobody_is_heard(*beta, {"other", "one"});

    EXPECT_EQ(verdict["id"], "filtered-here");
    EXPECT_THAT(verdict["cause"], HasSubstr("udp dport 7400-7700 drop"));
}

TEST_F(Why, SaysThatWhatOneSendsDoesNotGetOut) {
    {
        const Host::Stay there(*beta);

        if (!nft("add table inet t; add chain inet t out { type filter hook output priority 0; }; "
                 "add rule inet t out oifname net0 udp sport 7400-7700 drop")) {
            GTEST_SKIP() << "there is no firewall to be had";
        }
    }
    const Neighbour one(*alpha, named("one"));
    Neighbour other(*beta, named("other"));

    ASSERT_TRUE(other.comes_to_know(one));
    EXPECT_THAT(reasons({{*beta, {"other", "one"}}, {*alpha, {"other", "one"}}}),
                ElementsAre("one-way", "not-seen"));
}

TEST_F(Why, SaysThatAnAddressCannotBeReached) {
    beta->replace_address("192.0.2.3/24", "198.51.100.3/24");
    Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, named("other"));

    ASSERT_TRUE(one.comes_to_know(other));
    Process alone = run(*alpha, {"other"});
    const json verdict = why(*alpha, {"one", "other"});

    EXPECT_EQ(verdict["id"], "unreachable-address");
    EXPECT_THAT(verdict["cause"], HasSubstr("udpv4://198.51.100.3:7410"));
    EXPECT_EQ(said(std::move(alone))["id"], "unreachable-address");
}

TEST_F(Why, SaysThatOneWasKilledAndForHowLongItIsListed) {
    Neighbour one(*alpha, named("one"));
    Neighbour other(*beta, {{"name", "other"}});
    const std::string process = std::to_string(one.process().id());

    ASSERT_TRUE(other.comes_to_know(one));
    one.process().stop(SIGKILL);
    for (const std::string &name : {process, std::string("one"), one.guid()}) {
        const json verdict = why(*beta, {name, "other"}); // nobody answers many at a time

        EXPECT_EQ(verdict["id"], "killed") << name << verdict;
        EXPECT_THAT(verdict["cause"], HasSubstr("listed by other, for 1")) << name;
    }
}

TEST_F(Why, SaysThatOneWasNeverStarted) {
    const Neighbour other(*beta, named("other"));
    Process ended({"true"});

    EXPECT_EQ(ended.wait().code, 0);
    EXPECT_THAT(reasons({{*alpha, {std::to_string(ended.id()), "other"}},
                         {*alpha, {"other", "nobody"}},
                         {*alpha, {"192.0.2.9"}},
                         {*alpha, {"01020304.05060708.090a0b0c"}}}),
                ElementsAre("not-started", "not-seen", "not-seen", "not-seen"));
}

TEST_F(Why, SaysThatOneHasLeft) {
    Neighbour one(*alpha, named("one"));
    Neighbour other(*beta, named("other"));

    ASSERT_TRUE(other.comes_to_know(one));
    one.leave();
    EXPECT_EQ(why(*beta, {"one", "other"})["id"], "not-seen");
}

TEST_F(Why, SaysThatAProcessIsNoParticipant) {
    const Process sleeper({"sleep", "60"});
    const json verdict = why_nobody_is_heard(*alpha, {std::to_string(sleeper.id())});

    EXPECT_EQ(verdict["id"], "no-port");
    EXPECT_THAT(verdict["cause"], HasSubstr("(sleep)"));
}

TEST_F(Why, SaysWhoHasThePortsOfOneThatHasNone) {
    const Host::Stay there(*alpha);
    const PortHolder stranger("stranger", {7400});
    const Process sleeper({"sleep", "60"});
    const json verdict = why_nobody_is_heard(*alpha, {std::to_string(sleeper.id())});

    EXPECT_EQ(verdict["id"], "port-taken");
    EXPECT_THAT(verdict["cause"], HasSubstr("7400 is held by process " +
                                            std::to_string(stranger.id()) + " (stranger)"));
}

TEST_F(Why, SaysThatOneAnnouncesNothing) {
    const Process silent =
        once_joined(alpha->ddspart({"run", "--no-announce", "--verbosity", "error"}));
    const json verdict = why_nobody_is_heard(*alpha, {std::to_string(silent.id())});

    EXPECT_EQ(verdict["id"], "not-announced");
    EXPECT_THAT(verdict["cause"], HasSubstr("7410 7411 (index 0 of domain 0)"));
}

TEST_F(Why, SaysThatOneHasNotHeardTheOther) {
    const json quiet = with(named("one"), "peers", json::array());
    const Neighbour one(*alpha, quiet);
    const Neighbour other(*beta, with(quiet, "name", "other"));
    const json verdict = why(*alpha, {"one", "other"});

    EXPECT_EQ(verdict["id"], "not-heard");
    EXPECT_THAT(verdict["remedy"], HasSubstr("initial_peers"));
}

TEST_F(Why, SaysWhatCanBeSeenOfThoseThatDoNotSayWhomTheyKnow) {
    const json secretive =
        with(named("one"), "properties", {{"dds.discovery.answer_questions", "false"}});
    Neighbour one(*alpha, secretive);
    const Neighbour other(*beta, with(secretive, "name", "other"));

    ASSERT_TRUE(one.comes_to_know(other));
    const json verdict = why(*alpha, {"one", "other"});

    EXPECT_EQ(verdict["id"], nullptr);
    EXPECT_THAT(verdict["statement"], HasSubstr("cannot be asked whom it knows"));
}

TEST_F(Why, AsksWhichOfSeveralIsMeant) {
    const Neighbour two(*alpha, with(named("one"), "count", 2));
    Process process = alpha->ddspart({"why", "one", "--for", "0.4"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.output(), IsEmpty());
    EXPECT_THAT(process.errors(), HasSubstr("'one' is the name of 2 participants: "));
}

TEST_F(Why, ThatIsInterruptedLeavesNothingBehind) {
    Neighbour one(*alpha, named("one"));
    Process process = alpha->ddspart({"why", "nobody", "--for", "60"});

    EXPECT_NE(one.wait_for([](const json &line) { return line.value("change", "") == "came"; }),
              nullptr);
    EXPECT_EQ(process.stop(SIGINT).code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("interrupted"));
    EXPECT_NE(one.wait_for([](const json &line) { return line.value("change", "") == "left"; }),
              nullptr);
}

TEST_F(Why, HasALineForPeopleForEachOfThem) {
    const Neighbour one(*alpha, named("one"));
    const Neighbour other(*beta, with(named("other"), "tag", "night\x1b[2J"));
    Process process = alpha->ddspart({"why", "one", "other", "--for", "0.4"});

    EXPECT_EQ(process.wait().code, 3);
    EXPECT_EQ(count(process.output(), "\n"), 3u);
    EXPECT_EQ(count(process.output(), "\x1b"), 0u);
    EXPECT_THAT(process.output(), HasSubstr("the domain tag 'night\\x1b[2J'"));
}

} // namespace
