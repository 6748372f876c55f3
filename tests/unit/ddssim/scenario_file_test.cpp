// SPDX-License-Identifier: Apache-2.0
#include "scenario_file.h"

#include <gmock/gmock.h>

#include "refusal.h"
#include "settings.h"

using namespace ddssim;
using simnet::SECOND;
using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

namespace {

Scenario read(const std::string &text) {
    Scenario scenario;

    read_scenario(text, "s.yaml", scenario);
    return scenario;
}

void expect_refused(const std::string &text, const std::string &reason) {
    EXPECT_THAT([&] { (void)read(text); }, ThrowsMessage<std::runtime_error>(StartsWith(reason)))
        << text;
}

TEST(ScenarioFile, SetsWhatItSaysAndLeavesTheRest) {
    const Scenario scenario = read("hosts: 7\nloss: 10 %\nlease: 1 min\nmulticast: snooped\n");

    EXPECT_EQ(scenario.hosts, 7);
    EXPECT_EQ(scenario.link.loss, 0.1);
    EXPECT_EQ(scenario.lease, 60 * SECOND);
    EXPECT_EQ(scenario.multicast, simnet::Multicast::SNOOPS);
    EXPECT_EQ(scenario.participants, Scenario().participants);
}

TEST(ScenarioFile, ThatIsEmptyIsTheUsualScenario) {
    EXPECT_EQ(text_of(read("")), text_of(Scenario()));
}

TEST(ScenarioFile, HasEvents) {
    const Scenario scenario = read("hosts: 9\nevents:\n"
                                   "  - {at: 10 s, do: partition, hosts: [1, 3-5], for: 1 min}\n"
                                   "  - at: 2 min\n    do: link\n    loss: 5%\n    every: 1 s\n");

    ASSERT_EQ(scenario.events.size(), 2u);
    const Event &first = scenario.events.front();
    EXPECT_EQ(first.incident, Incident::PARTITION);
    EXPECT_EQ(first.at, 10 * SECOND);
    EXPECT_EQ(first.duration, 60 * SECOND);
    EXPECT_TRUE(first.concerns(4));
    EXPECT_FALSE(first.concerns(2));
    const Event &second = scenario.events.back();
    EXPECT_TRUE(second.concerns(2));
    EXPECT_EQ(second.every, SECOND);
    EXPECT_EQ(second.link.front().second, "5%");
}

TEST(ScenarioFile, NamesThePlaceOfAMistake) {
    expect_refused("hosts: 3\nhots: 4\n", "s.yaml:2:1: 'hots' is none of the keys: title,");
    expect_refused("hosts:  none\n",
                   "s.yaml:1:9: hosts: 'none' is not a whole number from 1 to 4000");
    expect_refused("hosts: 3\nloss: 0.1\n", "s.yaml:2:7: loss: '0.1' is not a share");
    expect_refused("hosts: 3\nhosts: 4\n", "s.yaml:2:1: 'hosts' is there twice");
    expect_refused("hosts:\n", "s.yaml:1:1: 'hosts' has no value");
    expect_refused("loss: {}\n", "s.yaml:1:7: loss is not a single value");
    expect_refused("- 3\n", "s.yaml:1:1: a scenario is not a mapping");
    expect_refused("hosts: [3\n", "s.yaml:2:1: ");
    expect_refused("events: 3\n", "s.yaml:1:9: 'events' is not a list");
    expect_refused("hosts: 3\n---\nhosts: 4\n", "s.yaml:2:1: a second document");
    expect_refused("{hosts: 3}, loss}\n", "s.yaml:1:11: a second document");
}

TEST(ScenarioFile, NamesThePlaceOfAMistakeInAnEvent) {
    const std::string events = "events:\n  - ";

    expect_refused(events + "{at: 1 s}", "s.yaml:2:5: an event has no 'do'");
    expect_refused(events + "{do: stop}", "s.yaml:2:5: an event has no 'at'");
    expect_refused(events + "{at: 1 s, do: explode}", "s.yaml:2:19: do: 'explode' is not one of");
    expect_refused(events + "{at: soon, do: stop}", "s.yaml:2:10: at: 'soon' is not a time");
    expect_refused(events + "{at: 1 s, do: stop, host: 3}",
                   "s.yaml:2:25: 'host' is none of the keys of an event: at, do, hosts,");
    expect_refused(events + "{at: 1 s, do: stop, loss: 1%}",
                   "s.yaml:2:5: only an event 'link' changes loss");
    expect_refused(events + "{at: 1 s, do: stop, hosts: []}",
                   "s.yaml:2:32: hosts: '[]' is not a list of numbers");
    expect_refused(events + "{at: 1 s, do: link}",
                   "s.yaml:2:5: an event 'link' says nothing of the link");
}

TEST(ScenarioFile, ThatCannotBeReadIsNamed) {
    Scenario scenario;

    EXPECT_THAT([&] { read_scenario_file("/nowhere/s.yaml", scenario); },
                ThrowsMessage<std::system_error>("/nowhere/s.yaml: No such file or directory"));
    EXPECT_THAT([&] { read_scenario_file("/", scenario); },
                ThrowsMessage<std::system_error>(HasSubstr("Is a directory")));
}

TEST(ScenarioFile, ThatIsWrittenReadsBackAsTheSame) {
    Scenario scenario = read("title: \"a \\\"robot\\\": é\\n# 2\"\npeers: [host1, 192.0.2.7]\n"
                             "events: [{at: 1 s, do: kill, hosts: 1-2, processes: 1, every: 3 ms, "
                             "for: 1 h}, {at: 0, do: link, burst: 2.5, bandwidth: unlimited}]");

    for (const Setting &setting : settings()) {
        setting.set(scenario, setting.example);
    }
    EXPECT_EQ(text_of(read(text_of(scenario))), text_of(scenario));
}

TEST(ScenarioCheck, RefusesWhatCannotBe) {
    const std::vector<std::pair<std::string, std::string>> all = {
        {"period: 6 s", "period: '6 s' is not at most 5 s, a quarter of the lease"},
        {"{hosts: 100, participants: 119}",
         "hosts: '100 with 119 participants each' is not at most 4097"},
        {"{hosts: 65, peers: all}", "peers: '65 peers' is not at most 64"},
        {"peers: example.org", "peers: 'example.org' is not an address, 'all', or a host from "
                               "host1 to host2"},
        {"peers: host3", "peers: 'host3' is not"},
        {"events: [{at: 1 s, do: stop, hosts: 3}]",
         "s.yaml:1:10: hosts: '3' is not one of the hosts 1 to 2"},
        {"events: [{at: 1 s, do: kill, processes: 2}]",
         "s.yaml:1:10: processes: '2' is not one of the processes 1 to 1 of a host"},
        {"events: [{at: 1 s, do: stop, processes: 1}]",
         "s.yaml:1:10: processes: '1' is not for an event 'stop', which is not of single "
         "processes"},
        {"events: [{at: 1 s, do: move, for: 1 s}]",
         "s.yaml:1:10: for: '1 s' is not for an event 'move', which has no end"},
        {"events: [{at: 1 s, do: forget}]",
         "s.yaml:1:10: do: 'forget' is not possible unless multicast is snooped"},
    };

    for (const auto &[text, reason] : all) {
        EXPECT_THAT([text = text] { check(read(text)); },
                    ThrowsMessage<Refusal>(StartsWith(reason)));
    }
}

TEST(ScenarioCheck, TakesTheLastOfWhatIsAllowed) {
    for (const char *text : {"period: 5 s", "{hosts: 64, peers: all}", "peers: host2",
                             "{hosts: 4000, participants: 1}", "{hosts: 241, participants: 17}",
                             "events: [{at: 24 h, do: stop, hosts: 2}]"}) {
        EXPECT_NO_THROW(check(read(text))) << text;
    }
    EXPECT_THROW(check(read("{hosts: 683, participants: 6}")), Refusal); // 4098
}

TEST(ScenarioFile, ThatIsLongerThanAnyIsNotRead) {
    Scenario scenario;

    EXPECT_THAT([&] { read_scenario_file("/dev/zero", scenario); },
                ThrowsMessage<std::system_error>("/dev/zero: File too large"));
}

TEST(Settings, EachHasAnExampleThatIsAllowedAndNotTheDefault) {
    for (const Setting &setting : settings()) {
        Scenario scenario;

        setting.set(scenario, setting.example);
        EXPECT_NE(setting.get(scenario), setting.get(Scenario())) << setting.key;
    }
}

TEST(Settings, EachDefaultIsAllowed) {
    for (const Setting &setting : settings()) {
        Scenario scenario;

        setting.set(scenario, setting.get(Scenario()));
        EXPECT_EQ(text_of(scenario), text_of(Scenario())) << setting.key;
    }
}

} // namespace
