// SPDX-License-Identifier: Apache-2.0
// ddspart run, seen from outside.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "json_lines.h"
#include "network.h"
#include "port_holder.h"
#include "process.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

namespace {

class Run : public HostTest {};

TEST_F(Run, HoldsItsPortsUntilTheTimeIsUp) {
    Process process = ddspart({"run", "--domain", "7", "--for", "2"});

    ASSERT_TRUE(process.wait_for_output("Joined domain 7")) << process.errors();
    EXPECT_THAT(udp_ports(), IsSupersetOf({9150u, 9160u, 9161u}));
    const Exit exit = process.wait();

    EXPECT_EQ(exit.code, 0);
    EXPECT_THAT(udp_ports(), IsEmpty());
    EXPECT_THAT(process.output(), HasSubstr("Left domain 7: time is up\n"));
}

TEST_F(Run, ShowsIndexPeersAndLocatorsInTheLog) {
    Process process = ddspart({"run", "--domain", "7", "--for", "0"});

    EXPECT_EQ(process.wait().code, 0);
    const std::string log = process.errors();

    EXPECT_THAT(log, HasSubstr("Reserved participant index 0 on domain 7\n"));
    EXPECT_THAT(log, HasSubstr("Participant with initial peers: 239.255.0.1,127.0.0.1.\n"));
    EXPECT_THAT(
        log, HasSubstr("Participant with metatraffic unicast locators udpv4://192.0.2.2:9160.\n"));
    EXPECT_THAT(log, HasSubstr("Participant with metatraffic multicast locators "
                               "udpv4://239.255.0.1:9150.\n"));
    EXPECT_THAT(log,
                HasSubstr("Participant with default unicast locators udpv4://192.0.2.2:9161.\n"));
}

TEST_F(Run, SummarisesWhatItJoined) {
    Process process = ddspart({"run", "--domain", "7", "--for", "0"});

    EXPECT_EQ(process.wait().code, 0);
    const std::string text = process.output();

    EXPECT_THAT(text, HasSubstr("Joined domain 7 with participant index 0\n"));
    EXPECT_THAT(text, testing::ContainsRegex("GUID: ([0-9a-f]{8}[.]){3}000001c1\n"));
    EXPECT_THAT(text, HasSubstr("builtin unicast 9160, builtin multicast 9150, "
                                "user unicast 9161, user multicast 9151\n"));
    EXPECT_THAT(text, HasSubstr("Metatraffic unicast locators: udpv4://192.0.2.2:9160\n"));
    EXPECT_THAT(text, HasSubstr("Metatraffic multicast locators: udpv4://239.255.0.1:9150\n"));
    EXPECT_THAT(text, HasSubstr("Default unicast locators: udpv4://192.0.2.2:9161\n"));
    EXPECT_THAT(text, HasSubstr("Default multicast locators: none\n"));
    EXPECT_THAT(text, HasSubstr("Other participants: 0 known, 0 came, 0 left, 0 lost; "));
}

TEST_F(Run, WritesAnObjectPerLineOnRequest) {
    Process process = ddspart({"run", "--domain", "7", "--for", "0", "--json"});

    EXPECT_EQ(process.wait().code, 0);
    const std::vector<json> objects = parse_lines(process.output());

    ASSERT_EQ(objects.size(), 3u);
    const json &joined = objects[0];
    EXPECT_EQ(joined["event"], "joined");
    EXPECT_EQ(joined["domain"], 7);
    EXPECT_EQ(joined["index"], 0);
    EXPECT_EQ(joined["ports"], json({{"builtin_unicast", 9160},
                                     {"builtin_multicast", 9150},
                                     {"user_unicast", 9161},
                                     {"user_multicast", 9151}}));
    EXPECT_EQ(joined["metatraffic_unicast_locators"], json({"udpv4://192.0.2.2:9160"}));
    EXPECT_EQ(joined["metatraffic_multicast_locators"], json({"udpv4://239.255.0.1:9150"}));
    EXPECT_EQ(joined["default_unicast_locators"], json({"udpv4://192.0.2.2:9161"}));
    EXPECT_EQ(joined["default_multicast_locators"], json::array());
    EXPECT_EQ(objects[1]["event"], "discovery");
    EXPECT_EQ(objects[2],
              json({{"event", "left"}, {"domain", 7}, {"index", 0}, {"reason", "time is up"}}));
    EXPECT_THAT(process.errors(), HasSubstr("Reserved participant index 0 on domain 7"));
}

TEST_F(Run, ShowsTheQosThatItHas) {
    Process process =
        ddspart({"run", "--index", "3", "--name", "a name", "--user-data", "some data",
                 "--property", "a.b=c d", "--peer", "192.0.2.9", "--show-qos", "--for", "0"});

    EXPECT_EQ(process.wait().code, 0) << process.errors();
    const std::string text = process.output();

    EXPECT_THAT(text, HasSubstr("\nuser_data.value: some data\n"));
    EXPECT_THAT(text, HasSubstr("\nparticipant_name.name: a name\n"));
    EXPECT_THAT(text, HasSubstr("\nproperty.value[0].name: a.b\n"
                                "property.value[0].value: c d\n"));
    EXPECT_THAT(text, HasSubstr("\nwire_protocol.participant_id: 3\n"));
    EXPECT_THAT(text, HasSubstr("\ndiscovery.initial_peers: 192.0.2.9\n"));
    EXPECT_LT(text.find("Joined domain 0"), text.find("user_data.value"));
    EXPECT_LT(text.find("partition.name"), text.find("Left domain 0"));
}

TEST_F(Run, WritesTheQosAsAnObjectBetweenJoiningAndLeaving) {
    Process process = ddspart({"run", "--name", "a name", "--user-data", "some data", "--property",
                               "a.b=c d", "--show-qos", "--for", "0", "--json"});

    EXPECT_EQ(process.wait().code, 0) << process.errors();
    const std::vector<json> objects = parse_lines(process.output());

    ASSERT_EQ(objects.size(), 4u);
    const json &qos = objects[1];
    EXPECT_EQ(qos["event"], "qos");
    EXPECT_EQ(qos["domain"], 0);
    EXPECT_EQ(qos["index"], 0);
    EXPECT_EQ(qos["user_data"]["value"], "some data");
    EXPECT_EQ(qos["participant_name"]["name"], "a name");
    EXPECT_EQ(qos["property"]["value"],
              json::array({{{"name", "a.b"}, {"value", "c d"}, {"propagate", false}}}));
    EXPECT_EQ(qos["discovery"]["initial_peers"], json({"239.255.0.1", "127.0.0.1"}));
}

TEST_F(Run, SaysNothingOfTheQosUnlessAskedTo) {
    Process process = ddspart({"run", "--user-data", "some data", "--for", "0"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_THAT(process.output(), Not(HasSubstr("user_data")));
}

TEST_F(Run, StaysForAFractionOfASecond) {
    const auto begin = std::chrono::steady_clock::now();
    Process process = ddspart({"run", "--for", "0.25"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(250));
}

TEST_F(Run, TakesTheNextIndexBesideAnother) {
    Process first = ddspart({"run", "--domain", "7"});

    ASSERT_TRUE(first.wait_for_output("Joined")) << first.errors();
    Process second = ddspart({"run", "--domain", "7"});

    ASSERT_TRUE(second.wait_for_output("Joined")) << second.errors();
    EXPECT_EQ(count(second.errors(), "Trying next port..."), 1u) << second.errors();
    EXPECT_THAT(second.errors(), HasSubstr("Reserved participant index 1 on domain 7\n"));
    EXPECT_THAT(udp_ports(), ElementsAre(9150, 9160, 9161, 9162, 9163));
    EXPECT_EQ(first.stop(SIGTERM).code, 0);
    EXPECT_THAT(udp_ports(), ElementsAre(9150, 9162, 9163));
    EXPECT_EQ(second.stop(SIGTERM).code, 0);
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_F(Run, SaysWhoHoldsThePortsOfTheIndexThatItDidNotGet) {
    const PortHolder stranger("stranger", {7414});
    Process process = ddspart({"run", "--index", "2", "--verbosity", "error"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), EndsWith("\nddspart: index 2 tried; 7414 is held by process " +
                                           std::to_string(stranger.id()) + " (stranger)\n"));
}

TEST_F(Run, SaysWhoHoldsTheMulticastPortThatItDidNotGet) {
    const PortHolder stranger("stranger", {7400});
    Process process = ddspart({"run", "--verbosity", "silent"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), EndsWith("\nddspart: multicast port 7400 is held by process " +
                                           std::to_string(stranger.id()) + " (stranger)\n"));
}

TEST_F(Run, FailsWhenItsFixedIndexIsTaken) {
    Process first = ddspart({"run", "--domain", "7"});

    ASSERT_TRUE(first.wait_for_output("Joined")) << first.errors();
    Process second = ddspart({"run", "--domain", "7", "--index", "0"});

    EXPECT_EQ(second.wait().code, 1);
    EXPECT_THAT(second.errors(), HasSubstr("No index available for participant\n"));
    EXPECT_THAT(second.output(), IsEmpty());
    EXPECT_THAT(udp_ports(), ElementsAre(9150, 9160, 9161));
}

TEST_F(Run, DoesNotReportAFixedIndexAsFound) {
    Process process = ddspart({"run", "--domain", "7", "--index", "3", "--for", "0"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_THAT(process.errors(), Not(HasSubstr("Reserved participant index")));
    EXPECT_THAT(process.output(), HasSubstr("participant index 3\n"));
}

TEST_F(Run, ClaimsItsIndexWithOnePortWhenNoneIsToBeReserved) {
    Process first = ddspart({"run", "--reserve", "none"});

    ASSERT_TRUE(first.wait_for_output("Joined")) << first.errors();
    EXPECT_THAT(udp_ports(), ElementsAre(7410));
    Process second = ddspart({"run", "--reserve", "none"});

    ASSERT_TRUE(second.wait_for_output("Joined")) << second.errors();
    EXPECT_THAT(second.output(), HasSubstr("participant index 1\n"));
    EXPECT_THAT(udp_ports(), ElementsAre(7410, 7412));
}

TEST_F(Run, ReservesNoUnicastPortForAFixedIndexThatAsksForNone) {
    // Else it would announce itself from a port that is none of an index.
    Process process =
        ddspart({"run", "--index", "3", "--reserve", "builtin_multicast", "--no-announce"});

    ASSERT_TRUE(process.wait_for_output("Default multicast locators")) << process.errors();
    EXPECT_THAT(udp_ports(), ElementsAre(7400));
    EXPECT_THAT(process.output(),
                HasSubstr("Metatraffic unicast locators: udpv4://192.0.2.2:7416\n"));
    EXPECT_THAT(process.output(), HasSubstr("Default unicast locators: udpv4://192.0.2.2:7417\n"));
}

TEST_F(Run, ReservesAllFourPortsOnRequest) {
    Process process = ddspart(
        {"run", "--reserve", "builtin_unicast,builtin_multicast,user_unicast,user_multicast"});

    ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
    EXPECT_THAT(udp_ports(), ElementsAre(7400, 7401, 7410, 7411));
}

TEST_F(Run, DoesWithoutMulticastOnRequest) {
    Process process = ddspart({"run", "--no-multicast"});

    ASSERT_TRUE(process.wait_for_output("Metatraffic multicast locators: none\n"));
    EXPECT_THAT(process.errors(), Not(HasSubstr("multicast locators")));
    EXPECT_THAT(process.errors(), HasSubstr("initial peers: 127.0.0.1.\n"));
    EXPECT_THAT(udp_ports(), ElementsAre(7410, 7411));
}

TEST_F(Run, TakesOtherPeersAndMulticastAddresses) {
    Process process = ddspart({"run", "--peer", "192.0.2.9", "--peer", "udpv4://192.0.2.10:7410",
                               "--multicast-address", "239.255.0.9", "--for", "0"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_THAT(process.errors(), HasSubstr("initial peers: 192.0.2.9,udpv4://192.0.2.10:7410.\n"));
    EXPECT_THAT(process.errors(),
                HasSubstr("metatraffic multicast locators udpv4://239.255.0.9:7400.\n"));
}

TEST_F(Run, TakesOtherPorts) {
    Process process = ddspart({"run",
                               "--domain",
                               "2",
                               "--index",
                               "1",
                               "--port-base",
                               "20000",
                               "--domain-gain",
                               "100",
                               "--participant-gain",
                               "10",
                               "--builtin-multicast-offset",
                               "1",
                               "--builtin-unicast-offset",
                               "2",
                               "--user-multicast-offset",
                               "3",
                               "--user-unicast-offset",
                               "4",
                               "--reserve",
                               "builtin_unicast,builtin_multicast,user_unicast,user_multicast"});

    ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
    EXPECT_THAT(udp_ports(), ElementsAre(20201, 20203, 20212, 20214));
}

TEST_F(Run, FailsOnAFullDevice) {
    Process process({"sh", "-c", std::string(DDSPART_PATH) + " run >/dev/full"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("ddspart: cannot write to stdout: "));
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_F(Run, TakesNoSignalFromOutsideForAChange) {
    Process process = ddspart({"run"});

    ASSERT_TRUE(process.wait_for_output("Joined")) << process.errors();
    process.send(SIGUSR1);
    EXPECT_EQ(process.stop(SIGTERM).code, 0);
    EXPECT_THAT(process.output(), Not(HasSubstr("Now in")));
}

TEST_F(Run, LetsNothingTakeThePlaceOfAClosedStream) {
    Process process({"sh", "-c", std::string("exec ") + DDSPART_PATH + " run <&- 2>&-"});
    const std::string files = "/proc/" + std::to_string(process.id()) + "/fd/";

    ASSERT_TRUE(process.wait_for_output("Joined"));
    EXPECT_EQ(std::filesystem::read_symlink(files + "0"), "/dev/null");
    EXPECT_EQ(std::filesystem::read_symlink(files + "2"), "/dev/null");
}

class RunOnLoopback : public NetworkTest {};

TEST_F(RunOnLoopback, AnnouncesTheLoopbackAddress) {
    Process process = ddspart({"run", "--for", "0"});

    EXPECT_EQ(process.wait().code, 0) << process.errors();
    EXPECT_THAT(process.output(),
                HasSubstr("Metatraffic unicast locators: udpv4://127.0.0.1:7410\n"));
}

/** What the library refuses: the arguments, and what the one who gave them is told. */
struct Failure {
    const char *name;
    std::vector<std::string> arguments;
    std::vector<std::string> messages;

    friend void PrintTo(const Failure &failure, std::ostream *out) {
        *out << failure.name;
    }
};

class RunFailure : public HostTest, public testing::WithParamInterface<Failure> {};

TEST_P(RunFailure, IsExplainedAndLeavesNothingOpen) {
    std::vector<std::string> arguments = {"run"};
    const Failure &failure = GetParam();

    arguments.insert(arguments.end(), failure.arguments.begin(), failure.arguments.end());
    Process process = ddspart(arguments);

    EXPECT_EQ(process.wait().code, 1);
    for (const std::string &message : failure.messages) {
        EXPECT_THAT(process.errors(), HasSubstr(message));
    }
    EXPECT_THAT(process.output(), IsEmpty());
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_P(RunFailure, IsExplainedInOneLineEvenWhenTheLogIsSilent) {
    std::vector<std::string> arguments = {"run", "--verbosity", "silent"};
    const Failure &failure = GetParam();

    arguments.insert(arguments.end(), failure.arguments.begin(), failure.arguments.end());
    Process process = ddspart(arguments);

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), testing::StartsWith("ddspart: "));
    EXPECT_EQ(count(process.errors(), "\n"), 1u) << process.errors();
}

const std::string LIST_SIZE = "dds.domain_participant.max_announced_locator_list_size";

INSTANTIATE_TEST_SUITE_P(
    , RunFailure,
    testing::Values(
        Failure{
            "DomainBeyondThePorts", {"--domain", "233"}, {"wire_protocol.rtps_well_known_ports"}},
        Failure{"PortBaseTooHigh",
                {"--port-base", "65535"},
                {"rtps_well_known_ports.port_base (65535) must be less than 65535."}},
        Failure{
            "ListSizeTooLarge", {"--property", LIST_SIZE + "=17"}, {LIST_SIZE, "17", "0 to 16"}},
        Failure{"ListSizeNegative", {"--property", LIST_SIZE + "=-1"}, {LIST_SIZE}},
        Failure{"ListSizeZero", {"--property", LIST_SIZE + "=0"}, {LIST_SIZE, "no locator"}},
        Failure{
            "ListSizeNoNumber", {"--property", LIST_SIZE + "=abc"}, {LIST_SIZE, "abc", "0 to 16"}},
        Failure{"PeerWithoutMeaning", {"--peer", "udpv4://"}, {"udpv4://"}},
        Failure{"MulticastAddressOfOneHost", {"--multicast-address", "192.0.2.2"}, {"192.0.2.2"}}),
    [](const auto &instance) { return std::string(instance.param.name); });

} // namespace
