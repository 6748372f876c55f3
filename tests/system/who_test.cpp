// SPDX-License-Identifier: Apache-2.0
// ddspart who, seen from outside: real processes, in networks that the test makes.
#include <csignal>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "json_lines.h"
#include "network.h"
#include "port_holder.h"
#include "process.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

Process participant(const std::string &domain) {
    return once_joined(ddspart({"run", "--domain", domain, "--verbosity", "error"}));
}

/** What who says, and its exit code. */
struct Said {
    int code;
    std::vector<json> rows;
};

Said who(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"who", "--json"});
    Process process = ddspart(arguments);
    const int code = process.wait().code;

    EXPECT_THAT(process.errors(), IsEmpty());
    return {code, parse_lines(process.output())};
}

std::vector<pid_t> pids_of(const json &row) {
    std::vector<pid_t> pids;

    for (const json &holder : row.at("holders")) {
        pids.push_back(holder.at("pid"));
    }
    return pids;
}

class Who : public HostTest {};

TEST_F(Who, SaysWhenNoPortIsHeld) {
    Process process = ddspart({"who"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_EQ(process.output(), "No port of a participant is held\n");
}

TEST_F(Who, NamesTheHolderOfEachIndexAndGroup) {
    const Process first = participant("7");
    const Process second = participant("7");
    const Said said = who({"--for", "0"});

    EXPECT_EQ(said.code, 0);
    ASSERT_THAT(said.rows, SizeIs(3));
    EXPECT_EQ(said.rows[0].at("index"), nullptr);
    EXPECT_EQ(said.rows[0].at("ports"), json({{"builtin_multicast", 9150}}));
    EXPECT_THAT(said.rows[0].at("holders"), SizeIs(2));
    EXPECT_EQ(said.rows[1].at("index"), 0);
    EXPECT_EQ(said.rows[1].at("ports"), json({{"builtin_unicast", 9160}, {"user_unicast", 9161}}));
    EXPECT_THAT(pids_of(said.rows[1]), ElementsAre(first.id()));
    EXPECT_THAT(pids_of(said.rows[2]), ElementsAre(second.id()));
    EXPECT_EQ(said.rows[2].at("holders")[0].at("name"), "ddspart");
}

TEST_F(Who, HearsTheVendorOfThoseWhoAnnounceThemselves) {
    const Process one = participant("7");
    const Said said = who({"--for", ONE_MINUTE}); // or until all are heard

    ASSERT_THAT(said.rows, SizeIs(2));
    EXPECT_EQ(said.rows[1].at("vendor"), "0.0");
    EXPECT_THAT(one.output(), HasSubstr(said.rows[1].at("guid").get<std::string>()));
}

TEST_F(Who, ShowsThePortsAsTheyAreWhenItHasListened) {
    const PortHolder early("early", {9160});
    Process who = ddspart({"who", "--domain", "7", "--for", ONE_MINUTE, "--json"});

    ASSERT_TRUE(eventually([] { return udp_ports().contains(9150); })); // it listens
    const PortHolder late("late", {9164});

    EXPECT_EQ(who.stop(SIGINT).code, 3);
    const std::vector<json> rows = parse_lines(who.output());

    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_THAT(pids_of(rows[1]), ElementsAre(late.id()));
}

TEST_F(Who, FindsAStrangerThatBlocksAnIndex) {
    const PortHolder stranger("stranger", {7414});
    const Said said = who({"--for", "0"});

    EXPECT_EQ(said.code, 3);
    ASSERT_THAT(said.rows, SizeIs(1));
    EXPECT_EQ(said.rows[0].at("index"), 2);
    EXPECT_EQ(said.rows[0].at("blocked"), true);
    EXPECT_EQ(said.rows[0].at("holders")[0].at("name"), "stranger");
    EXPECT_THAT(pids_of(said.rows[0]), ElementsAre(stranger.id()));
    EXPECT_THAT(said.rows[0].at("remarks"), ElementsAre("announces nothing: blocks index 2"));
}

TEST_F(Who, AsksWhoeverHasAPortBeforeItCallsHimAStranger) {
    Process silent = ddspart({"run", "--reserve", "builtin_unicast", "--no-multicast", "--peer",
                              "192.0.2.9", "--verbosity", "error"});

    ASSERT_TRUE(silent.wait_for_output("Default multicast locators"));
    const Said said = who({"--for", "0"});

    EXPECT_EQ(said.code, 0);
    ASSERT_THAT(said.rows, SizeIs(1));
    EXPECT_EQ(said.rows[0].at("blocked"), false);
    EXPECT_EQ(said.rows[0].at("vendor"), "0.0");
}

TEST_F(Who, PassesOverOtherDomainsOnRequest) {
    const PortHolder stranger("stranger", {7414});

    EXPECT_THAT(who({"--domain", "1", "--for", "0"}).rows, IsEmpty());
    EXPECT_THAT(who({"--domain", "0-1", "--for", "0"}).rows, SizeIs(1));
}

TEST_F(Who, PassesOverPortsThatTheKernelGaveAway) {
    const PortHolder given("stranger", {33164});

    EXPECT_THAT(who({"--for", "0"}).rows, IsEmpty());
    EXPECT_THAT(who({"--domain", "all", "--for", "0"}).rows, SizeIs(1));
}

TEST_F(Who, SaysWhatAnotherUserMayNotSee) {
    const Process one = participant("7");
    Process process({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", DDSPART_PATH,
                     "who", "--for", "0"});

    if (process.wait().code != 0) {
        GTEST_SKIP() << "no other user can run ddspart here: " << process.errors();
    }
    EXPECT_THAT(process.output(), HasSubstr("7       0          9160 9161  -    -        root"));
    EXPECT_THAT(process.output(), HasSubstr("process unknown: run as root\n"));
}

TEST_F(Who, WatchesWhoTakesAndReleasesPorts) {
    Process watcher = ddspart({"who", "--watch"});

    ASSERT_TRUE(watcher.wait_until_signals_are_held());
    {
        const Process one = participant("7");

        EXPECT_TRUE(watcher.wait_for_output("Held ports came: domain 7, index 0"))
            << watcher.errors();
    }
    EXPECT_TRUE(watcher.wait_for_output("Held ports gone: domain 7, index 0"));
    EXPECT_EQ(watcher.stop(SIGINT).code, 0);
    EXPECT_THAT(watcher.output(), Not(HasSubstr(std::to_string(watcher.id()))));
}

TEST_F(Who, EndsInOrderWhenItIsInterrupted) {
    const PortHolder stranger("stranger", {7414});
    Process process = ddspart({"who", "--for", ONE_MINUTE});

    ASSERT_TRUE(eventually([] { return udp_ports().contains(7400); })); // it listens
    EXPECT_EQ(process.stop(SIGINT).code, 3);
    EXPECT_THAT(process.output(), HasSubstr("announces nothing"));
    EXPECT_THAT(udp_ports(), ElementsAre(7414));
}

std::uint16_t first_port(std::size_t index) {
    return static_cast<std::uint16_t>(7410 + 2 * index);
}

/** The process that holds an index in a network, by the network's number. */
pid_t holder_of(const std::vector<json> &rows, const std::string &network, std::size_t index) {
    for (const json &row : rows) {
        const json number = row.at("network").at("number");

        if (network == "net:[" + number.dump() + "]" && row.at("index") == index) {
            return pids_of(row).front();
        }
    }
    return -1;
}

TEST_F(Who, NamesEachOfFiftyProcessesInFiveNetworks) {
    constexpr std::size_t NETWORKS = 5;
    constexpr std::size_t PROCESSES = 10;
    std::vector<PortHolder> holders;

    for (std::size_t i = 0; i < NETWORKS * PROCESSES; ++i) {
        const std::size_t index = i % PROCESSES;
        const std::vector<std::uint16_t> ports = {
            first_port(index), static_cast<std::uint16_t>(first_port(index) + 1)};

        holders.push_back(i < PROCESSES ? PortHolder("holder", ports)
                          : index == 0  ? PortHolder::in_new_network("holder", ports)
                                        : PortHolder::beside(holders[i - index], "holder", ports));
    }
    const Said said = who({"--all-netns"});

    for (std::size_t i = 0; i < holders.size(); ++i) {
        EXPECT_EQ(holder_of(said.rows, holders[i].network(), i % PROCESSES), holders[i].id());
    }
}

TEST_F(Who, LooksIntoItsOwnNetworkOnlyUnlessAsked) {
    const PortHolder elsewhere = PortHolder::in_new_network("stranger", {7414});

    EXPECT_THAT(who({"--for", "0"}).rows, IsEmpty());
    EXPECT_EQ(who({"--for", "0", "--all-netns"}).code, 3);
}

TEST_F(Who, SeesTheSocketsOfOtherNetworksAsAnyUser) {
    const PortHolder elsewhere = PortHolder::in_new_network("stranger", {7414});
    Process process({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", DDSPART_PATH,
                     "who", "--for", "0", "--all-netns"});

    if (process.wait().code != 3) {
        GTEST_SKIP() << "no other user can run ddspart here: " << process.errors();
    }
    EXPECT_THAT(process.output(), HasSubstr("of process " + std::to_string(elsewhere.id())));
}

} // namespace
