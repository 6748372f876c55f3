// SPDX-License-Identifier: Apache-2.0
// ddspart list, seen from outside.
#include <algorithm>
#include <csignal>
#include <fstream>
#include <optional>
#include <tuple>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "discovery_network.h"
#include "following_network.h"
#include "json_lines.h"
#include "network.h"
#include "process.h"

using nlohmann::json;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr unsigned ALL_DOMAINS = 233;

Process participant(const std::string &domain, const std::string &name) {
    return once_joined(
        ddspart({"run", "--domain", domain, "--name", name, "--verbosity", "error"}));
}

std::string guid_in(const std::string &output) {
    const std::string before = "GUID: ";
    constexpr std::size_t LENGTH = 35;

    return output.substr(output.find(before) + before.size(), LENGTH);
}

class List : public HostTest {};

TEST_F(List, ShowsEachParticipantInARow) {
    const Process first = participant("7", "talker");
    const Process second = participant("7", "listener");
    Process list = ddspart({"list", "--domain", "7", "--expect", "2", "--for", ONE_MINUTE});

    EXPECT_EQ(list.wait().code, 0) << list.errors();
    EXPECT_THAT(list.output(), StartsWith("domain  name "));
    EXPECT_THAT(list.output(),
                ContainsRegex("\n7       listener          0[.]0     .*192[.]0[.]2[.]2        9162 "
                              "9163    1      20 s      [0-9.]+ s ago\n"
                              "7       talker            0[.]0     .*192[.]0[.]2[.]2        9160 "
                              "9161    0      20 s      [0-9.]+ s ago\n$"));
    EXPECT_THAT(list.errors(), IsEmpty());
}

TEST_F(List, IsSortedByDomainThenName) {
    const Process c = participant("3", "c");
    const Process b = participant("2", "b");
    const Process a = participant("3", "a");
    Process list =
        ddspart({"list", "--domain", "2-3", "--expect", "3", "--for", ONE_MINUTE, "--json"});

    EXPECT_EQ(list.wait().code, 0) << list.errors();
    std::vector<std::string> names;

    for (const json &object : parse_lines(list.output())) {
        names.push_back(object.at("name"));
    }
    EXPECT_THAT(names, ElementsAre("b", "a", "c"));
}

TEST_F(List, EndsWithThreeWhenFewerAreThereThanExpected) {
    const Process one = participant("7", "one");
    Process list = ddspart({"list", "--domain", "7", "--expect", "2", "--for", "1"});

    EXPECT_EQ(list.wait().code, 3);
    EXPECT_THAT(list.errors(), IsEmpty());
}

TEST_F(List, SaysWhenThereIsNobody) {
    Process list = ddspart({"list", "--for", "0.1"});

    EXPECT_EQ(list.wait().code, 0);
    EXPECT_EQ(list.output(), "No participants\n");
}

TEST_F(List, TakesTheHighestFreeIndex) {
    Process first = ddspart({"list", "--watch"});

    ASSERT_TRUE(eventually([] { return udp_ports() == std::set<unsigned>{7400, 7648, 7649}; }));
    const Process second = ddspart({"list", "--watch"});

    EXPECT_TRUE(eventually([] {
        return udp_ports() == std::set<unsigned>{7400, 7646, 7647, 7648, 7649};
    }));
    EXPECT_THAT(second.errors(), IsEmpty()); // of a taken index nobody is told
    EXPECT_EQ(first.stop(SIGTERM).code, 0);
}

TEST_F(List, MarksOtherTools) {
    const Process other_tool = ddspart({"list", "--watch"});
    Process list = ddspart({"list", "--watch", "--json"});

    ASSERT_TRUE(list.wait_for_output("\n")) << list.errors();
    const json other = parse_lines(list.output()).front();

    EXPECT_EQ(other.at("name"), nullptr);
    EXPECT_EQ(other.at("tool"), "ddspart list");
    EXPECT_GE(other.at("index"), 118);
}

TEST_F(List, CountsNoTools) {
    const Process other_tool = ddspart({"list", "--watch"});

    ASSERT_TRUE(eventually([] { return udp_ports().contains(7648); }));
    EXPECT_EQ(ddspart({"list", "--expect", "1", "--for", "1"}).wait().code, 3);
}

TEST_F(List, ThatListensOnlyHoldsTheMulticastPortAndNoIndex) {
    Process list = ddspart({"list", "--listen-only", "--watch"});

    ASSERT_TRUE(eventually([] { return !udp_ports().empty(); }));
    const Process one = participant("0", "one");

    EXPECT_TRUE(list.wait_for_output("Participant came: ")) << list.errors();
    EXPECT_THAT(udp_ports(), ElementsAre(7400, 7410, 7411));
    EXPECT_EQ(list.stop(SIGTERM).code, 0);
    EXPECT_THAT(list.errors(), IsEmpty());
}

TEST_F(List, ThatListensOnlyIsKnownToNobody) {
    Process one = ddspart({"run", "--verbosity", "error"});
    Process list = ddspart({"list", "--listen-only", "--expect", "1", "--for", ONE_MINUTE});

    EXPECT_EQ(list.wait().code, 0) << list.errors();
    EXPECT_EQ(one.stop(SIGTERM).code, 0);
    EXPECT_THAT(one.output(), HasSubstr(" 0 known, 0 came, "));
}

TEST_F(List, WatchesWhoComesAndLeaves) {
    Process list = ddspart({"list", "--watch", "--json"});
    Process one = participant("0", "one");

    ASSERT_TRUE(list.wait_for_output("\"change\":\"came\"")) << list.errors();
    EXPECT_EQ(one.stop(SIGTERM).code, 0);
    ASSERT_TRUE(list.wait_for_output("\"change\":\"left\"")) << list.errors();
    EXPECT_EQ(list.stop(SIGINT).code, 0);
    const std::vector<json> objects = parse_lines(list.output());

    ASSERT_THAT(objects, SizeIs(2));
    for (const json &object : objects) {
        EXPECT_EQ(object.at("event"), "participant");
        EXPECT_EQ(object.at("name"), "one");
        EXPECT_EQ(object.at("guid"), guid_in(one.output()));
    }
}

TEST_F(List, WatchesWhoIsLost) {
    Process list = ddspart({"list", "--watch"});
    Process first = participant("0", "first");

    ASSERT_TRUE(list.wait_for_output("Participant came: ")) << list.errors();
    EXPECT_EQ(first.stop(SIGKILL).signal, SIGKILL);
    const Process second = participant("0", "second"); // at the ports of the first

    EXPECT_TRUE(list.wait_for_output("Participant lost: " + guid_in(first.output())))
        << list.output();
}

TEST_F(List, WatchesWhatChanges) {
    Process list = ddspart({"list", "--watch"});
    Process one = ddspart({"run"});

    ASSERT_TRUE(list.wait_for_output("Participant came: ")) << list.errors();
    add_interface("net1", {"203.0.113.2/24"});
    EXPECT_TRUE(list.wait_for_output("Participant changed: ")) << list.output();
    EXPECT_TRUE(list.wait_for_output(", address 192.0.2.2 203.0.113.2, ")) << list.output();
}

TEST_F(List, EndsAtASignalWithWhatItHas) {
    Process list = ddspart({"list", "--for", ONE_MINUTE});

    ASSERT_TRUE(eventually([] { return udp_ports().contains(7648); }));
    EXPECT_EQ(list.stop(SIGINT).code, 0);
    EXPECT_EQ(list.output(), "No participants\n");
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_F(List, EndsAtASignalWithThreeWhenOthersAreExpected) {
    Process list = ddspart({"list", "--for", ONE_MINUTE, "--expect", "1"});

    ASSERT_TRUE(eventually([] { return udp_ports().contains(7648); }));
    EXPECT_EQ(list.stop(SIGTERM).code, 3);
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_F(List, GoesOnWithoutADomainWhosePortSomebodyHas) {
    const following::TakenPort taken(7650); // for multicast in domain 1
    const Process one = participant("2", "one");
    Process list = ddspart({"list", "--domain", "0-2", "--for", "1", "--listen-only"});

    EXPECT_EQ(list.wait().code, 1);
    EXPECT_THAT(list.errors(), HasSubstr("ddspart: domain 1 is left out\n"));
    EXPECT_THAT(list.errors(), Not(HasSubstr("domain 2")));
}

TEST_F(List, FailsWithoutItsOnlyDomain) {
    const following::TakenPort taken(7650);
    Process list = ddspart({"list", "--domain", "1", "--verbosity", "silent", "--listen-only"});

    EXPECT_EQ(list.wait().code, 1);
    EXPECT_THAT(list.errors(), StartsWith("ddspart: "));
    EXPECT_EQ(count(list.errors(), "\n"), 1u) << list.errors();
    EXPECT_THAT(list.output(), IsEmpty());
}

TEST_F(List, ShowsRowsOnATerminalAsTheyCome) {
    Process list({"script", "--quiet", "--return", "--command",
                  std::string(DDSPART_PATH) + " list --for " + ONE_MINUTE + " --expect 2",
                  "/dev/null"});

    ASSERT_TRUE(eventually([] { return udp_ports().contains(7648); })) << list.errors();
    const Process b = participant("0", "b");

    ASSERT_TRUE(list.wait_for_output("\n0       b ")) << list.output();
    const Process a = participant("0", "a");

    EXPECT_EQ(list.wait().code, 0);
    // Not in order, so all of it again.
    EXPECT_EQ(count(list.output(), "domain  name "), 2u) << list.output();
    EXPECT_EQ(count(list.output(), "\n0       a "), 2u) << list.output();
}

TEST_F(List, RepeatsNothingOnATerminalThatReadsTheSame) {
    // Without the host's name, which may be longer than its column.
    const Process a = once_joined(ddspart({"run", "--name", "a", "--verbosity", "error",
                                           "--property", "dds.discovery.announce_process=false"}));
    Process list({"script", "--quiet", "--return", "--command",
                  std::string(DDSPART_PATH) + " list --for " + ONE_MINUTE + " --expect 1",
                  "/dev/null"});

    EXPECT_EQ(list.wait().code, 0);
    EXPECT_EQ(count(list.output(), "domain  name "), 1u) << list.output();
}

std::size_t peak_kilobytes(const Process &process) {
    std::ifstream status("/proc/" + std::to_string(process.id()) + "/status");
    std::string word;
    std::size_t number = 0;

    while (status >> word) {
        if (word == "VmHWM:") {
            status >> number;
        }
    }
    return number;
}

class ListOfAllDomains : public HostTest {};

TEST_F(ListOfAllDomains, TakesOnePortEachTwoThreadsOfTheLibraryAndLittleMemory) {
#ifdef NUVDDS_SANITIZED
    GTEST_SKIP() << "a program with a sanitizer takes more memory";
#endif
    constexpr std::size_t MOST = std::size_t{20} * 1024;
    constexpr std::size_t THREADS = 3; // the main one, the reactor, the one that takes signals
    Process list = ddspart({"list", "--domain", "all", "--watch"});

    ASSERT_TRUE(eventually([] { return udp_ports().size() == ALL_DOMAINS; })) << list.errors();
    const Process one = participant("232", "one");

    ASSERT_TRUE(list.wait_for_output("Participant came: ")) << list.errors();
    EXPECT_LT(peak_kilobytes(list), MOST);
    EXPECT_EQ(list.number_of_threads(), THREADS);
    EXPECT_EQ(list.stop(SIGINT).code, 0);
}

TEST_F(ListOfAllDomains, HasDescriptorsForJoiningThemAll) {
    Process list({"sh", "-c",
                  "ulimit -S -n 64; exec " + std::string(DDSPART_PATH) +
                      " list --domain all --join --watch"});

    EXPECT_TRUE(eventually([] { return udp_ports().size() == std::size_t{3} * ALL_DOMAINS; }))
        << list.errors();
    EXPECT_EQ(list.stop(SIGTERM).code, 0);
    EXPECT_THAT(list.errors(), IsEmpty());
    EXPECT_THAT(udp_ports(), IsEmpty());
}

/** The test's host, which is at its end of the wire, and another. */
class TwoHosts : public discovery::WireTest {
protected:
    void SetUp() override {
        WireTest::SetUp();
        if (!IsSkipped()) {
            other_host.emplace("other", discovery::Texts{"198.51.100.2/24"});
            ip({"address", "add", "198.51.100.1/24", "dev", "wire"});
            EXPECT_TRUE(eventually([] { return is_running("wire"); }));
        }
    }

    std::optional<discovery::Host> other_host;
};

TEST_F(TwoHosts, HaveParticipantsThatSeeEachOther) {
    Process here = ddspart({"run", "--name", "here", "--json", "--verbosity", "error"});
    Process there =
        other_host->ddspart({"run", "--name", "there", "--json", "--verbosity", "error"});

    ASSERT_TRUE(here.wait_for_output("\"change\":\"came\"")) << here.errors();
    ASSERT_TRUE(there.wait_for_output("\"change\":\"came\"")) << there.errors();
    EXPECT_EQ(there.stop(SIGTERM).code, 0);
    ASSERT_TRUE(here.wait_for_output("\"change\":\"left\"")) << here.errors();
    EXPECT_EQ(here.stop(SIGTERM).code, 0);

    const std::vector<json> of_here = parse_lines(here.output());
    const std::vector<json> of_there = parse_lines(there.output());

    ASSERT_THAT(of_here, SizeIs(5)) << here.output(); // joined, came, left, what was done, left
    ASSERT_THAT(of_there, SizeIs(4)) << there.output();
    EXPECT_EQ(of_here[1].at("guid"), of_there[0].at("guid"));
    EXPECT_EQ(of_here[1].at("name"), "there");
    EXPECT_EQ(of_there[1].at("guid"), of_here[0].at("guid"));
    EXPECT_EQ(of_there[1].at("name"), "here");
    EXPECT_EQ(of_here[3].at("event"), "discovery");
    EXPECT_EQ(of_here[3].at("known"), 0);
    EXPECT_EQ(of_here[3].at("came"), 1);
    EXPECT_EQ(of_here[3].at("left"), 1);
    EXPECT_EQ(of_here[3].at("lost"), 0);
    EXPECT_GT(of_here[3].at("announcements_sent"), 0);
    EXPECT_GT(of_here[3].at("announcements_received"), 0);
}

TEST_F(TwoHosts, MeetByAPeerWithoutMulticast) {
    Process here = ddspart({"run", "--no-multicast", "--peer", "198.51.100.2:7410"});
    Process there = other_host->ddspart({"run", "--no-multicast"});

    EXPECT_TRUE(there.wait_for_output("Participant came: ")) << there.errors();
    EXPECT_TRUE(here.wait_for_output("Participant came: ")) << here.errors();
}

TEST_F(TwoHosts, KnowNothingOfAParticipantThatIsNotAnnounced) {
    Process here = once_joined(ddspart({"run", "--no-announce", "--verbosity", "error"}));
    Process there = other_host->ddspart({"run", "--verbosity", "error"});

    ASSERT_TRUE(here.wait_for_output("Participant came: ")) << here.errors();
    EXPECT_EQ(here.stop(SIGTERM).code, 0);
    EXPECT_EQ(there.stop(SIGTERM).code, 0);
    EXPECT_THAT(here.output(), HasSubstr("announcements: 0 sent, "));
    EXPECT_THAT(there.output(), HasSubstr(" 0 known, 0 came, "));
}

TEST_F(TwoHosts, AreListedWithEveryField) {
    const Process here = participant("0", "here");
    const Process there =
        once_joined(other_host->ddspart({"run", "--name", "there", "--verbosity", "error"}));
    Process list = ddspart({"list", "--expect", "2", "--for", ONE_MINUTE, "--json"});

    EXPECT_EQ(list.wait().code, 0) << list.errors();
    const std::vector<json> objects = parse_lines(list.output());

    ASSERT_THAT(objects, SizeIs(2));
    for (const auto &[object, process, name, address] :
         {std::tuple(objects[0], &here, "here", "198.51.100.1"),
          std::tuple(objects[1], &there, "there", "198.51.100.2")}) {
        const std::string locator = std::string("udpv4://") + address;

        EXPECT_EQ(object.at("event"), "participant");
        EXPECT_EQ(object.at("domain"), 0);
        EXPECT_EQ(object.at("guid"), guid_in(process->output()));
        EXPECT_EQ(object.at("name"), name);
        EXPECT_EQ(object.at("vendor"), "0.0");
        EXPECT_EQ(object.at("protocol"), "2.5");
        EXPECT_NE(object.at("host"), "");
        EXPECT_EQ(object.at("process"), "ddspart");
        EXPECT_EQ(object.at("pid"), process->id());
        EXPECT_EQ(object.at("tool"), nullptr);
        EXPECT_EQ(object.at("addresses"), json({address}));
        EXPECT_EQ(object.at("ports"), json({{"builtin_unicast", 7410}, {"user_unicast", 7411}}));
        EXPECT_EQ(object.at("index"), 0);
        EXPECT_EQ(object.at("lease"), 20);
        EXPECT_THAT(object.at("first_heard").get<std::string>(), testing::EndsWith("Z"));
        EXPECT_THAT(object.at("last_heard").get<std::string>(), testing::EndsWith("Z"));
        EXPECT_EQ(object.at("domain_tag"), nullptr);
        EXPECT_EQ(object.at("metatraffic_unicast_locators"), json({locator + ":7410"}));
        EXPECT_EQ(object.at("metatraffic_multicast_locators"), json({"udpv4://239.255.0.1:7400"}));
        EXPECT_EQ(object.at("default_unicast_locators"), json({locator + ":7411"}));
        EXPECT_EQ(object.at("default_multicast_locators"), json::array());
        EXPECT_EQ(object.at("properties").at("__ProcessName"), "ddspart");
    }
}

TEST_F(TwoHosts, AreSeenInTwentyDomainsByOneThatSendsNothing) {
    constexpr int DOMAINS = 20;
    std::vector<Process> participants;

    for (int domain = 0; domain < DOMAINS; ++domain) {
        participants.push_back(
            ddspart({"run", "--domain", std::to_string(domain), "--verbosity", "error"}));
    }
    Process list = other_host->ddspart({"list", "--domain", "all", "--listen-only", "--expect",
                                        std::to_string(DOMAINS), "--for", ONE_MINUTE, "--json"});

    EXPECT_EQ(list.wait().code, 0) << list.errors();
    std::vector<int> domains;

    for (const json &object : parse_lines(list.output())) {
        domains.push_back(object.at("domain"));
    }
    ASSERT_THAT(domains, SizeIs(DOMAINS));
    EXPECT_TRUE(std::is_sorted(domains.begin(), domains.end()));
    EXPECT_EQ(std::set<int>(domains.begin(), domains.end()).size(), std::size_t{DOMAINS});
    const discovery::Host::Stay stay(*other_host);

    EXPECT_EQ(datagrams_sent(), 0u);
}

} // namespace
