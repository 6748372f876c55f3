// SPDX-License-Identifier: Apache-2.0
// Scenarios as they are run.
#include "simulation.h"

#include <cmath>
#include <filesystem>
#include <limits>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "report.h"
#include "scenario_file.h"
#include "settings.h"

using namespace ddssim;
using simnet::MILLISECOND;
using simnet::SECOND;
using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Not;
using testing::Optional;

namespace {

Scenario scenario_of(const std::string &text) {
    Scenario scenario;

    read_scenario(text, "text", scenario);
    check(scenario);
    return scenario;
}

Result run(const std::string &text, std::int64_t seed = 1) {
    return simulate(scenario_of(text), seed, {});
}

/** The first time from @p since on at which all knew all, or did not; none: never. */
std::optional<simnet::Time> first(const Result &result, bool is_complete, simnet::Time since) {
    for (const Moment &moment : result.curve) {
        if (moment.time >= since && moment.is_complete() == is_complete) {
            return moment.time;
        }
    }
    return std::nullopt;
}

TEST(Simulation, FollowsFromTheSeed) {
    const std::string text = "{hosts: 5, participants: 2, loss: 10%, jitter: 1 ms, for: 5 s}";

    EXPECT_EQ(run(text, 7).hash, run(text, 7).hash);
    EXPECT_NE(run(text, 7).hash, run(text, 8).hash);
}

TEST(Simulation, IsOverWhenAllKnowAll) {
    const Result result = run("{hosts: 5, participants: 2, start_spread: 1 s}");

    EXPECT_TRUE(result.is_over);
    EXPECT_TRUE(result.is_complete());
    EXPECT_EQ(result.participants, 10u);
    EXPECT_EQ(result.end.wanted, 90u);
    EXPECT_THAT(result.all_known, Optional(result.duration));
}

TEST(Simulation, GoesOnAsLongAsItIsTold) {
    const Result result = run("{hosts: 2, for: 7 s}");

    EXPECT_EQ(result.duration, 7 * SECOND);
    EXPECT_TRUE(result.is_over);
}

TEST(Simulation, EndsWhenItIsNoMoreWanted) {
    int asked = 0;
    const Result result = simulate(scenario_of("{hosts: 2, for: 1 h}"), 1,
                                   {nullptr, [&](const Progress &) { return ++asked < 100; }});

    EXPECT_FALSE(result.is_over);
    EXPECT_LT(result.duration, 3600 * SECOND);
}

TEST(Simulation, ParticipantsOfAProcessNeedNotGreetEachOther) {
    const std::string host = "{hosts: 1, participants: 5, for: 1 s";

    EXPECT_LT(run(host + ", participants_per_process: 5}").sent_altogether,
              run(host + "}").sent_altogether);
}

TEST(Simulation, TheLastProcessHasTheRest) {
    EXPECT_EQ(
        run("{hosts: 1, participants: 5, participants_per_process: 3, for: 1 s}").participants, 5u);
}

/** A scenario in which an example changes something, but for the example itself. */
Scenario scenario_for_example(const Setting &setting) {
    std::istringstream words(setting.with);
    Scenario scenario;

    for (std::string option, value; words >> option >> value;) {
        find_setting(option.substr(2))->set(scenario, value);
    }
    scenario.duration = 6 * SECOND;
    return scenario;
}

TEST(Simulation, EachSettingChangesWhatHappens) {
    // Two are for who reads; those that take longer to show have tests of their own.
    const std::set<std::string> others = {"title", "description", "hosts",         "seed",
                                          "lease", "querier",     "receive_buffer"};

    for (const Setting &setting : settings()) {
        if (!others.contains(setting.key)) {
            const Scenario without = scenario_for_example(setting);
            Scenario with = without;

            setting.set(with, setting.example);
            EXPECT_NE(simulate(with, with.seed, {}).hash, simulate(without, with.seed, {}).hash)
                << setting.key;
        }
    }
}

TEST(Simulation, WhatFindsNoRoomInASocketIsLost) {
    const auto drops = [](const std::string &text) {
        std::vector<std::string> reasons;

        for (const DropResult &drop : run(text).drops) {
            reasons.emplace_back(drop.reason);
        }
        return reasons;
    };

    EXPECT_THAT(drops("{hosts: 12, receive_buffer: 2048}"), testing::Contains("buffer full"));
    EXPECT_THAT(drops("{hosts: 12}"), Not(testing::Contains("buffer full")));
}

TEST(Simulation, TheQuerierKeepsASnoopingSwitchFromForgetting) {
    const std::string text = "{hosts: 3, multicast: snooped, for: 6 min, querier: ";
    const auto questions = [](const Result &result) {
        return result.sent.at(static_cast<std::size_t>(Kind::QUESTION)).datagrams;
    };

    EXPECT_EQ(questions(run(text + "yes}")), 0u);
    EXPECT_GT(questions(run(text + "no}")), 0u);
}

TEST(Simulation, ADelayIsWhatItTakesFromOneHostToAnother) {
    const Result near = run("{hosts: 2, delay: 1 ms}");
    const Result far = run("{hosts: 2, delay: 101 ms}");

    // Greeted as soon as it is heard.
    EXPECT_NEAR(static_cast<double>(*far.all_known - *near.all_known), 100e6, 1e6);
}

TEST(Simulation, TheLossIsThatBetweenTwoHosts) {
    const Result result =
        run("{hosts: 2, loss: 30%, lease: 1 h, period: 100 ms, for: 10 min, multicast: flooded}");
    const double sent = static_cast<double>(sum(result.sent).datagrams);
    double lost = 0;

    for (const DropResult &drop : result.drops) {
        lost += std::string(drop.reason) == "lost" ? static_cast<double>(drop.datagrams) : 0;
    }
    EXPECT_NEAR(lost / sent, 0.3, 0.02);
}

TEST(Simulation, TheDuplicationIsThatBetweenTwoHosts) {
    const Result result =
        run("{hosts: 2, duplication: 50%, lease: 1 h, period: 100 ms, for: 10 min}");
    const double announcements =
        static_cast<double>(result.sent.at(static_cast<std::size_t>(Kind::ANNOUNCEMENT)).datagrams);
    // Each is received by its own host as well.
    const double arrived = static_cast<double>(result.received) - announcements;

    // Of two wires that each double some, half of all come once, which leaves that many.
    EXPECT_NEAR(arrived / static_cast<double>(sum(result.sent).datagrams),
                std::pow(2 - std::sqrt(0.5), 2), 0.03);
}

TEST(Simulation, TheJitterIsThatBetweenTwoHosts) {
    simnet::Time most = 0;

    for (std::int64_t seed = 1; seed <= 30; ++seed) {
        most = std::max(most, *run("{hosts: 2, delay: 0, jitter: 100 ms}", seed).all_known);
    }
    EXPECT_GT(most, 70 * MILLISECOND);
    EXPECT_LT(most, 101 * MILLISECOND);
}

TEST(Simulation, ByPeersAllFindAllWithoutMulticast) {
    EXPECT_FALSE(run("{hosts: 4, multicast: none, for: 10 s}").is_complete());
    EXPECT_TRUE(run("{hosts: 4, multicast: none, peers: all, for: 10 s}").is_complete());
    EXPECT_TRUE(run("{hosts: 4, participants: 9, multicast: none, peers: all}").is_complete());
}

TEST(Simulation, APeerNamesAHostByItsNumber) {
    EXPECT_TRUE(run("{hosts: 2, multicast: none, peers: host01, for: 10 s}").is_complete());
}

TEST(Simulation, WhoIsKilledIsForgottenWithItsLease) {
    const Result result = run("{hosts: 3, lease: 10 s, period: 1 s, for: 30 s, events: ["
                              "{at: 5 s, do: kill, hosts: 1}]}");

    EXPECT_EQ(result.participants, 2u);
    EXPECT_TRUE(result.is_complete());
    EXPECT_EQ(result.lost_living, 0u);
    EXPECT_EQ(result.sent.at(static_cast<std::size_t>(Kind::LEAVING)).datagrams, 0u);
}

TEST(Simulation, WhoLeavesSaysSoAndIsBackWhenItIsToBe) {
    const Result result = run(
        "{hosts: 3, for: 20 s, events: [{at: 5 s, do: leave, hosts: 1-2, every: 1 s, for: 3 s}]}");

    EXPECT_GT(result.sent.at(static_cast<std::size_t>(Kind::LEAVING)).datagrams, 0u);
    EXPECT_EQ(result.participants, 3u);
    EXPECT_THAT(first(result, false, 5 * SECOND), Optional(8 * SECOND));
    EXPECT_TRUE(result.is_complete());
}

TEST(Simulation, WhoseFirstEventIsAStartIsNotThereBefore) {
    const Result result = run("{hosts: 3, for: 10 s, events: [{at: 5 s, do: start, hosts: 3}]}");

    EXPECT_THAT(result.all_known, Optional(Le(SECOND)));
    EXPECT_THAT(first(result, false, SECOND), Optional(5 * SECOND));
    EXPECT_EQ(result.participants, 3u);
}

TEST(Simulation, WhatIsNotOfItsPresenceDoesNotStartOneEarlier) {
    const Result result =
        run("{hosts: 3, for: 10 s, events: [{at: 1 s, do: link, loss: 1%}, {at: 5 s, do: start, "
            "hosts: 3}]}");

    EXPECT_THAT(first(result, false, SECOND), Optional(5 * SECOND));
}

TEST(Simulation, WhichEventOfAHostIsFirstIsToldByWhenItHappensToIt) {
    // It leaves at 5 s and starts at 12 s, so it has to be there before.
    const Result result = run("{hosts: 3, for: 20 s, events: [{at: 2 s, do: start, hosts: 2-3, "
                              "every: 10 s}, {at: 5 s, do: leave, hosts: 3}]}");

    EXPECT_THAT(first(result, false, 3 * SECOND), Optional(12 * SECOND));
    EXPECT_GT(result.sent.at(static_cast<std::size_t>(Kind::LEAVING)).datagrams, 0u);
}

TEST(Simulation, IsOverWhenTheLastEventHasHappened) {
    const Result left = run("{hosts: 4, events: [{at: 1 s, do: leave, hosts: 1-2}]}");

    EXPECT_EQ(left.participants, 2u);
    EXPECT_GT(left.sent.at(static_cast<std::size_t>(Kind::LEAVING)).datagrams, 0u);
    EXPECT_EQ(run("{hosts: 4, events: [{at: 1 s, do: kill}]}").participants, 0u);
    // One host has no other to wait for.
    EXPECT_EQ(run("{hosts: 4, events: [{at: 1 s, do: kill, hosts: 4, every: 1 h}]}").duration,
              SECOND);
}

TEST(Simulation, NobodyKnowsAllBeforeAllHaveStarted) {
    const Result result = run("{hosts: 4, start_spread: 20 s, for: 10 s}");

    EXPECT_LT(result.participants, 4u);
    EXPECT_EQ(result.all_known, std::nullopt);
}

TEST(Simulation, CountsTheEventsThatItsEndLeavesOut) {
    const Result result = run("{hosts: 3, for: 5 s, events: [{at: 5 s, do: move}, {at: 4 s, do: "
                              "kill, every: 1 s}, {at: 6 s, do: move}]}");

    EXPECT_EQ(result.later_events, 2u);
    EXPECT_THAT(as_text({}, result), HasSubstr("\nlater events              2, not simulated\n"));
    EXPECT_THAT(as_text({}, run("{hosts: 3}")), Not(HasSubstr("later events")));
}

TEST(Simulation, AStoppedHostStartsAgain) {
    const Result result =
        run("{hosts: 3, for: 60 s, events: [{at: 5 s, do: stop, hosts: 3, for: 40 s}]}");

    EXPECT_EQ(result.participants, 3u);
    EXPECT_TRUE(result.is_complete());
    EXPECT_THAT(first(result, false, 5 * SECOND), Optional(45 * SECOND));
}

TEST(Simulation, APartitionPartsThoseNamedAndEnds) {
    const Result result = run("{hosts: 4, lease: 10 s, period: 2 s, for: 60 s, events: ["
                              "{at: 10 s, do: partition, hosts: 1-2, for: 30 s}]}");

    // Each of two forgets two, both ways.
    EXPECT_EQ(result.lost_living, 8u);
    EXPECT_THAT(first(result, false, SECOND), Optional(AllOf(Ge(17 * SECOND), Le(21 * SECOND))));
    EXPECT_TRUE(result.is_complete());
}

TEST(Simulation, AFrozenHostIsForgottenAndBackWithItsFirstWord) {
    const Result result = run("{hosts: 3, lease: 10 s, period: 2 s, for: 60 s, events: ["
                              "{at: 10 s, do: freeze, hosts: 1, for: 30 s}]}");

    EXPECT_GE(result.lost_living, 2u);
    EXPECT_TRUE(result.is_complete());
}

TEST(Simulation, ASleepingHostKnowsTheOthersWhenItWakesUp) {
    const Result result = run("{hosts: 3, lease: 10 s, period: 2 s, for: 60 s, events: ["
                              "{at: 10 s, do: sleep, hosts: 1, for: 30 s}]}");

    EXPECT_EQ(result.lost_living, 2u); // both others have forgotten it
    EXPECT_TRUE(result.is_complete());
}

TEST(Simulation, AnUnpluggedHostIsBackWhenItIsPluggedIn) {
    const Result result = run("{hosts: 3, lease: 10 s, period: 2 s, for: 60 s, events: ["
                              "{at: 10 s, do: unplug, hosts: 1, for: 30 s}]}");

    EXPECT_GE(result.lost_living, 2u);
    EXPECT_TRUE(result.is_complete());
}

TEST(Simulation, AHostThatMovesIsFollowed) {
    const Result result = run("{hosts: 3, for: 20 s, events: [{at: 10 s, do: move, hosts: 1}]}");

    EXPECT_TRUE(result.is_complete());
}

TEST(Simulation, AnEventChangesTheLinkAndItsEndChangesItBack) {
    const std::string before = "{hosts: 2, lease: 10 s, period: 2 s, for: 100 s, events: ["
                               "{at: 10 s, do: link, hosts: 1, loss: 100%";

    EXPECT_FALSE(run(before + "}]}").is_complete());
    EXPECT_TRUE(run(before + ", for: 30 s}]}").is_complete());
    EXPECT_GT(run(before + ", for: 30 s}]}").lost_living, 0u);
}

TEST(Simulation, ASwitchThatForgetsPassesNoMulticast) {
    const std::string text =
        "{hosts: 3, multicast: snooped, querier: no, for: 30 s, events: [{at: 10 s, do: forget}]}";

    EXPECT_GT(run(text).sent.at(static_cast<std::size_t>(Kind::QUESTION)).datagrams, 0u);
}

TEST(Simulation, TheHeapIsThatOfThoseWhoAreThere) {
    const std::string text = "{hosts: 6, for: 1 min";
    const double all = static_cast<double>(run(text + "}").heap);

    EXPECT_LT(static_cast<double>(run(text + ", events: [{at: 1 s, do: kill, hosts: 3-6}]}").heap),
              all / 2);
}

TEST(Simulation, CountsWhatIsSentByHostAndKind) {
    const Result result = run("{hosts: 3}");
    Kinds kinds;

    ASSERT_EQ(result.hosts.size(), 3u);
    for (const HostResult &host : result.hosts) {
        EXPECT_EQ(sum(host.sent).octets, host.up.octets_in);
        for (std::size_t i = 0; i < KINDS; ++i) {
            kinds.at(i) += host.sent.at(i);
        }
    }
    EXPECT_EQ(sum(kinds).datagrams, sum(result.sent).datagrams);
    EXPECT_EQ(result.sent.at(static_cast<std::size_t>(Kind::ANNOUNCEMENT)).datagrams, 3u);
    EXPECT_EQ(result.busiest.datagrams, sum(result.sent).datagrams);
}

TEST(Simulation, CountsWhatGoesOnBeingSent) {
    const Result result = run("{hosts: 10, period: 1 s, start_spread: 3500 ms, for: 61500 ms}");

    EXPECT_EQ(result.later_seconds, 30u); // from 31 s to 61 s
    // Nothing but announcements, of 340 octets.
    EXPECT_EQ(result.sent_later.octets, 340 * result.sent_later.datagrams);
    EXPECT_NEAR(static_cast<double>(result.sent_later.datagrams), 10 * 30, 30);
}

// ---- Reports

std::vector<nlohmann::json> objects_of(const std::string &lines) {
    std::vector<nlohmann::json> objects;
    std::istringstream stream(lines);

    for (std::string line; std::getline(stream, line);) {
        objects.push_back(nlohmann::json::parse(line));
    }
    return objects;
}

TEST(JsonReport, HasTheFieldsThatAreDocumentedAndNoOthers) {
    const Scenario scenario = scenario_of("{hosts: 2, title: two}");
    const Result result = simulate(scenario, 1, {});
    std::set<std::string> documented;
    std::set<std::string> there;

    for (const JsonField &field : json_fields()) {
        documented.insert(std::string(field.record) + "." + field.name);
    }
    for (const nlohmann::json &object :
         objects_of(as_json(scenario, result) + spread_as_json({result}))) {
        EXPECT_EQ(object["version"], 1);
        for (const auto &[key, value] : object.items()) {
            if (key != "version" && key != "record") {
                there.insert(object["record"].get<std::string>() + "." + key);
            }
        }
    }
    EXPECT_EQ(there, documented);
}

TEST(JsonReport, HasTimesInSeconds) {
    Result result;

    result.duration = 2'500 * MILLISECOND;
    result.started = 500 * MILLISECOND;
    result.all_known = 1'500 * MILLISECOND;
    result.curve = {{1'250 * MILLISECOND, 1, 2}};
    const auto objects = objects_of(as_json({}, result));

    EXPECT_EQ(objects.at(1)["seconds"], 1.25);
    EXPECT_EQ(objects.back()["seconds"], 2.5);
    EXPECT_EQ(objects.back()["started"], 0.5);
    EXPECT_EQ(objects.back()["all_known"], 1.5);
}

TEST(JsonReport, OfARunThatNeverSucceedsSaysSo) {
    const Scenario scenario = scenario_of("{hosts: 2, loss: 100%, for: 1 s}");
    const auto objects = objects_of(as_json(scenario, simulate(scenario, 1, {})));

    EXPECT_TRUE(objects.back()["all_known"].is_null());
    EXPECT_EQ(objects.back()["known"], 0);
}

TEST(TextReport, SaysWhenAllKnewAllAndWhenNot) {
    const Scenario scenario = scenario_of("{title: One leaves, hosts: 3, for: 20 s, events: ["
                                          "{at: 5 s, do: leave, hosts: 1, for: 3 s}]}");
    const std::string text = as_text(scenario, simulate(scenario, 1, {}));

    EXPECT_THAT(text, AllOf(HasSubstr("One leaves\n"), HasSubstr("3 on 3 hosts, seed 1"),
                            HasSubstr("not all known             from 8.000 s to 8.00"),
                            HasSubstr("known at the end          100.00 % of 6\n"),
                            HasSubstr("leaving")));
}

TEST(TextReport, SaysHowMuchWasKnownBeforeThat) {
    Result result;
    result.curve = {{1 * SECOND, 40, 90}, {2 * SECOND, 45, 90}, {4 * SECOND, 90, 90}};
    result.all_known = 4 * SECOND;

    EXPECT_THAT(as_text({}, result),
                HasSubstr("known                     50 % after 2.000 s, 90 % after 4.000 s"));
}

TEST(TextReport, SaysWhatGoesOnBeingSent) {
    Result result;

    EXPECT_THAT(as_text({}, result), Not(HasSubstr("in the second half")));
    result.later_seconds = 2;
    result.sent_later = {21, 7'140};
    EXPECT_THAT(as_text({}, result),
                HasSubstr("\nin the second half        10.5 datagrams, 3,570 octets a second\n"));
}

TEST(TextReport, OfOneAloneSaysNothingOfWhomItKnows) {
    EXPECT_THAT(as_text({}, run("{hosts: 1}")), Not(HasSubstr("\nknown   ")));
}

TEST(TextReport, IsNotRoundedUpToAll) {
    Result result;

    result.end = {SECOND, 99'999, 100'000};
    EXPECT_THAT(as_text({}, result), HasSubstr("known at the end          99.99 % of 100,000\n"));
}

TEST(TextReport, ShowsTheBusiestHostsAndWhatTheirWiresLost) {
    Result result;

    for (std::uint64_t i = 1; i <= 7; ++i) {
        result.hosts.push_back(
            {"host" + std::to_string(i), {}, {1, 10 * i, 9 * i}, {2, 1'000 * i, 900 * i}});
    }
    const std::string text = as_text({}, result);

    EXPECT_THAT(text,
                HasSubstr("\nhost7          0     70         2             7,000        700"));
    EXPECT_THAT(text, HasSubstr("\nhost3 "));
    EXPECT_THAT(text, Not(HasSubstr("\nhost2 ")));
}

TEST(TextReport, HasNoThousandMilliseconds) {
    Result result;

    result.duration = SECOND - 10'000;
    EXPECT_THAT(as_text({}, result), HasSubstr("simulated                 1.000 s in"));
}

TEST(TextReport, IsNotSteeredByTheTitle) {
    const Scenario scenario = scenario_of("{title: \"a\\e[2Jb\\nc\"}");

    EXPECT_THAT(as_text(scenario, Result()), testing::StartsWith("a\\x1b[2Jb\\x0ac\n\n"));
    EXPECT_THAT(heading_of_seeds(scenario), testing::StartsWith("a\\x1b[2Jb\\x0ac\n\n"));
}

TEST(SpreadOfSeeds, HasTheLeastTheMiddleAndTheMost) {
    const Spread spread = {"datagrams", {1, 2, 3, 4, 100}};

    EXPECT_EQ(spread.at(0), 1);
    EXPECT_EQ(spread.at(0.5), 3);
    EXPECT_EQ(spread.at(1), 100);
    EXPECT_EQ((Spread{"", {1, 2, 3, 4}}.at(0.5)), 2);
}

TEST(SpreadOfSeeds, NinetyFiveOfAHundredAreNoMoreThanItSays) {
    Spread spread;

    for (int i = 1; i <= 100; ++i) {
        spread.values.push_back(i);
    }
    EXPECT_EQ(spread.at(0.95), 95);
    spread.values.resize(12); // eleven would not be enough
    EXPECT_EQ(spread.at(0.95), 12);
}

TEST(SpreadOfSeeds, IsShownAsTheRunsAre) {
    Result result;

    result.all_known = 300'000;
    result.sent.front() = {1'234, 5'678};
    EXPECT_THAT(spread_as_text({result}), AllOf(HasSubstr("all known after  1     0.3 ms  "),
                                                HasSubstr("datagrams        1     1,234   ")));
}

TEST(SpreadOfSeeds, LeavesOutWhatThereIsNone) {
    const Result result = run("{hosts: 2, loss: 100%, for: 1 s}");

    EXPECT_EQ(spreads_of({result}).size(), 3u);
}

// ---- What comes along

TEST(ShippedScenario, IsReadAndHasTitleAndDescription) {
    int count = 0;

    for (const auto &file :
         std::filesystem::directory_iterator(NUVDDS_SOURCE_DIR "/tools/ddssim/scenarios")) {
        Scenario scenario;

        read_scenario_file(file.path(), scenario);
        check(scenario);
        EXPECT_NE(scenario.title, "") << file.path();
        EXPECT_NE(scenario.description, "") << file.path();
        ++count;
    }
    EXPECT_EQ(count, 7);
}

Result run_shipped(const std::string &name, std::int64_t hosts_most) {
    Scenario scenario;

    read_scenario_file(NUVDDS_SOURCE_DIR "/tools/ddssim/scenarios/" + name + ".yaml", scenario);
    scenario.hosts = std::min(scenario.hosts, hosts_most);
    return simulate(scenario, scenario.seed, {});
}

TEST(ShippedScenario, TheRobotIsWholeWithinAMoment) {
    EXPECT_THAT(run_shipped("robot", 3).all_known, Optional(Le(500 * MILLISECOND)));
}

TEST(ShippedScenario, ThePlantLosesNobody) {
    const Result result = run_shipped("plant", 25);

    EXPECT_TRUE(result.is_complete());
    EXPECT_EQ(result.lost_living, 0u);
}

TEST(ShippedScenario, TheWirelessLinkLosesSomeUnlessTheLeaseIsLong) {
    Scenario scenario;

    read_scenario_file(NUVDDS_SOURCE_DIR "/tools/ddssim/scenarios/wireless.yaml", scenario);
    EXPECT_GT(simulate(scenario, scenario.seed, {}).lost_living, 0u);
    scenario.lease = 120 * SECOND;
    EXPECT_EQ(simulate(scenario, scenario.seed, {}).lost_living, 0u);
}

TEST(ShippedScenario, TheSnoopingSwitchKeepsThoseWhoKnowEachOther) {
    const Result result = run_shipped("snooping", 10);

    EXPECT_EQ(result.lost_living, 0u);
    EXPECT_TRUE(result.is_complete());
    EXPECT_THAT(first(result, true, 300 * SECOND), Optional(Ge(301 * SECOND)));
}

TEST(ShippedScenario, TheRollingUpdateLosesNobody) {
    const Result result = run_shipped("rolling-update", 8);

    EXPECT_EQ(result.lost_living, 0u);
    EXPECT_TRUE(result.is_complete());
}

TEST(ShippedScenario, ThePartitionIsForgottenWithinAPeriod) {
    const Result result = run_shipped("partition", 16);

    EXPECT_THAT(first(result, true, 100 * SECOND),
                Optional(AllOf(Ge(660 * SECOND), Le(665 * SECOND))));
}

TEST(ShippedScenario, TheLaptopThatWakesUpIsBack) {
    const Result result = run_shipped("laptop", 6);

    EXPECT_THAT(first(result, true, 100 * SECOND),
                Optional(AllOf(Ge(330 * SECOND), Le(335 * SECOND))));
    EXPECT_TRUE(result.is_complete());
}

} // namespace
