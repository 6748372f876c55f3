// SPDX-License-Identifier: Apache-2.0
#include "options.h"

#include <cstdlib>

#include <gmock/gmock.h>

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

namespace {

Command parse(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "ddspart");
    return parse_command_line(static_cast<int>(arguments.size()), arguments.data());
}

RunOptions parse_run(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "run");
    return std::get<RunOptions>(parse(arguments));
}

ListOptions parse_list(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "list");
    return std::get<ListOptions>(parse(arguments));
}

WhoOptions parse_who(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "who");
    return std::get<WhoOptions>(parse(arguments));
}

PortsOptions parse_ports(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "ports");
    return std::get<PortsOptions>(parse(arguments));
}

TEST(RunOptions, AreTheUsualSettingsWhenNoneIsGiven) {
    const RunOptions options = parse_run({});

    EXPECT_EQ(options.domain, 0);
    EXPECT_EQ(options.index, DDS_PARTICIPANT_ID_AUTO);
    EXPECT_EQ(options.reserved_ports, DDS_RTPS_RESERVED_PORT_MASK_DEFAULT);
    EXPECT_EQ(options.transports, DDS_TRANSPORTBUILTIN_MASK_DEFAULT);
    EXPECT_EQ(options.well_known_ports.port_base, 7400);
    EXPECT_THAT(options.interfaces, IsEmpty());
    EXPECT_THAT(options.peers, IsEmpty());
    EXPECT_THAT(options.multicast_addresses, IsEmpty());
    EXPECT_TRUE(options.multicast);
    EXPECT_TRUE(options.is_announced);
    EXPECT_THAT(options.properties, IsEmpty());
    EXPECT_FALSE(options.name);
    EXPECT_EQ(options.user_data, "");
    EXPECT_FALSE(options.show_qos);
    EXPECT_FALSE(options.duration);
    EXPECT_EQ(options.verbosity, KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL);
    EXPECT_FALSE(options.json);
}

TEST(RunOptions, TakeAFixedIndexOrAnAutomaticOne) {
    EXPECT_EQ(parse_run({"--index", "3"}).index, 3);
    EXPECT_EQ(parse_run({"--index", "0"}).index, 0);
    EXPECT_EQ(parse_run({"--index", "auto"}).index, DDS_PARTICIPANT_ID_AUTO);
}

TEST(RunOptions, TakeAnyDomainThatTheLibraryMayJudge) {
    EXPECT_EQ(parse_run({"--domain", "233"}).domain, 233);
    EXPECT_EQ(parse_run({"--domain=2147483647"}).domain, 2147483647);
}

TEST(RunOptions, TakeEachPortSetting) {
    const DDS_RtpsWellKnownPorts_t ports =
        parse_run({"--port-base", "1", "--domain-gain", "2", "--participant-gain", "3",
                   "--builtin-multicast-offset", "-4", "--builtin-unicast-offset", "5",
                   "--user-multicast-offset", "6", "--user-unicast-offset", "7"})
            .well_known_ports;

    EXPECT_EQ(ports.port_base, 1);
    EXPECT_EQ(ports.domain_id_gain, 2);
    EXPECT_EQ(ports.participant_id_gain, 3);
    EXPECT_EQ(ports.builtin_multicast_port_offset, -4);
    EXPECT_EQ(ports.builtin_unicast_port_offset, 5);
    EXPECT_EQ(ports.user_multicast_port_offset, 6);
    EXPECT_EQ(ports.user_unicast_port_offset, 7);
}

TEST(RunOptions, TakeSeveralPortKinds) {
    EXPECT_EQ(parse_run({"--reserve", "builtin_unicast,user_multicast"}).reserved_ports,
              DDS_RTPS_RESERVED_PORT_BUILTIN_UNICAST | DDS_RTPS_RESERVED_PORT_USER_MULTICAST);
    EXPECT_EQ(parse_run({"--reserve", "builtin_multicast,user_unicast"}).reserved_ports,
              DDS_RTPS_RESERVED_PORT_BUILTIN_MULTICAST | DDS_RTPS_RESERVED_PORT_USER_UNICAST);
    EXPECT_EQ(parse_run({"--reserve", "none"}).reserved_ports, DDS_RTPS_RESERVED_PORT_MASK_NONE);
}

TEST(RunOptions, TakeSeveralTransports) {
    EXPECT_EQ(parse_run({"--transport", "udpv6"}).transports, DDS_TRANSPORTBUILTIN_UDPv6);
    EXPECT_EQ(parse_run({"--transport", "udpv4,udpv6"}).transports, DDS_TRANSPORTBUILTIN_MASK_ALL);
}

TEST(RunOptions, CollectWhatIsRepeated) {
    const RunOptions options =
        parse_run({"--peer", "a", "--interface", "b", "--peer", "c", "--interface", "d",
                   "--multicast-address", "e", "--multicast-address", "f"});

    EXPECT_THAT(options.peers, ElementsAre("a", "c"));
    EXPECT_THAT(options.interfaces, ElementsAre("b", "d"));
    EXPECT_THAT(options.multicast_addresses, ElementsAre("e", "f"));
}

TEST(RunOptions, SplitAPropertyAtItsFirstEqualsSign) {
    EXPECT_THAT(
        parse_run({"--property", "a=b=c", "--property", "d=", "--property", "e=f,g"}).properties,
        ElementsAre(Pair("a", "b=c"), Pair("d", ""), Pair("e", "f,g")));
}

TEST(RunOptions, DoWithoutMulticastOnRequest) {
    EXPECT_FALSE(parse_run({"--no-multicast"}).multicast);
}

TEST(RunOptions, DoWithoutAnnouncingOnRequest) {
    EXPECT_FALSE(parse_run({"--no-announce"}).is_announced);
}

TEST(RunOptions, TakeTextsAsTheyAre) {
    const RunOptions options = parse_run({"--name", "a b", "--user-data", "c,d"});

    EXPECT_EQ(options.name, "a b");
    EXPECT_EQ(options.user_data, "c,d");
}

TEST(RunOptions, ShowTheQosOnRequest) {
    EXPECT_TRUE(parse_run({"--show-qos"}).show_qos);
}

TEST(RunOptions, TakeFractionsOfASecond) {
    using std::chrono::milliseconds;

    EXPECT_EQ(parse_run({"--for", "0"}).duration, milliseconds(0));
    EXPECT_EQ(parse_run({"--for", "0.5"}).duration, milliseconds(500));
    EXPECT_EQ(parse_run({"--for", "1e9"}).duration, std::chrono::seconds(1000000000));
}

TEST(RunOptions, TakeEachVerbosity) {
    EXPECT_EQ(parse_run({"--verbosity", "silent"}).verbosity, KOLS_CONFIG_LOG_VERBOSITY_SILENT);
    EXPECT_EQ(parse_run({"--verbosity", "error"}).verbosity, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    EXPECT_EQ(parse_run({"--verbosity", "warning"}).verbosity, KOLS_CONFIG_LOG_VERBOSITY_WARNING);
    EXPECT_EQ(parse_run({"--verbosity", "status"}).verbosity,
              KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL);
    EXPECT_EQ(parse_run({"--verbosity", "all"}).verbosity, KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL);
}

/** Variables of the environment, which are gone with the test. */
class Variables : public testing::Test {
protected:
    ~Variables() override {
        unsetenv(DOMAIN);
        unsetenv(VERBOSITY);
    }

    static constexpr const char *DOMAIN = "NUVDDS_DOMAIN";
    static constexpr const char *VERBOSITY = "NUVDDS_VERBOSITY";
};

TEST_F(Variables, AreTheValuesOfOptionsThatAreNotGiven) {
    setenv(DOMAIN, "7", 1);
    setenv(VERBOSITY, "error", 1);
    EXPECT_EQ(parse_run({}).domain, 7);
    EXPECT_EQ(parse_run({}).verbosity, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    EXPECT_EQ(parse_ports({}).domain, 7);
    EXPECT_EQ(parse_list({}).domains.first, 7);
    EXPECT_EQ(parse_list({}).verbosity, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
}

TEST_F(Variables, ChangeNothingThatIsGiven) {
    setenv(DOMAIN, "7", 1);
    setenv(VERBOSITY, "error", 1);
    EXPECT_EQ(parse_run({"--domain", "8"}).domain, 8);
    EXPECT_EQ(parse_run({"--verbosity", "all"}).verbosity, KOLS_CONFIG_LOG_VERBOSITY_STATUS_ALL);
    EXPECT_EQ(parse_ports({"--domain", "8"}).domain, 8);
}

TEST_F(Variables, ThatAreEmptyCountAsNotSet) {
    setenv(DOMAIN, "", 1);
    EXPECT_EQ(parse_run({}).domain, 0);
}

TEST_F(Variables, AreNamedWhenTheyCannotBeRead) {
    setenv(DOMAIN, "x", 1);
    const Answer answer = std::get<Answer>(parse({"run"}));
    EXPECT_EQ(answer.exit_code, 2);
    EXPECT_THAT(answer.text, StartsWith("ddspart run: NUVDDS_DOMAIN: 'x' is not a whole number "));
}

TEST(ListOptions, AreTheUsualSettingsWhenNoneIsGiven) {
    const ListOptions options = parse_list({});

    EXPECT_EQ(options.domains.first, 0);
    EXPECT_EQ(options.domains.last, 0);
    EXPECT_EQ(options.well_known_ports.port_base, 7400);
    EXPECT_EQ(options.transports, DDS_TRANSPORTBUILTIN_MASK_DEFAULT);
    EXPECT_THAT(options.interfaces, IsEmpty());
    EXPECT_THAT(options.peers, IsEmpty());
    EXPECT_FALSE(options.duration);
    EXPECT_FALSE(options.watch);
    EXPECT_FALSE(options.listens_only());
    EXPECT_FALSE(options.expected);
    EXPECT_EQ(options.verbosity, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    EXPECT_FALSE(options.json);
}

TEST(ListOptions, TakeADomainOrARange) {
    EXPECT_EQ(parse_list({"--domain", "7"}).domains.first, 7);
    EXPECT_EQ(parse_list({"--domain", "7"}).domains.last, 7);
    EXPECT_EQ(parse_list({"--domain", "3-232"}).domains.first, 3);
    EXPECT_EQ(parse_list({"--domain", "3-232"}).domains.last, 232);
}

TEST(ListOptions, TakeAllDomains) {
    const Domains all = parse_list({"--domain", "all"}).domains;

    EXPECT_EQ(all.first, 0);
    EXPECT_EQ(all.last, 232);
}

TEST(ListOptions, ListenOnlyInAllDomainsUnlessToldToJoin) {
    EXPECT_TRUE(parse_list({"--domain", "all"}).listens_only());
    EXPECT_FALSE(parse_list({"--domain", "all", "--join"}).listens_only());
    EXPECT_FALSE(parse_list({"--domain", "0-232"}).listens_only());
    EXPECT_TRUE(parse_list({"--listen-only"}).listens_only());
}

TEST(ListOptions, TakeWhatEndsTheList) {
    EXPECT_EQ(parse_list({"--for", "0.5"}).duration, std::chrono::milliseconds(500));
    EXPECT_EQ(parse_list({"--expect", "20"}).expected, 20u);
    EXPECT_TRUE(parse_list({"--watch"}).watch);
}

TEST(ListOptions, TakePeersWithPorts) {
    EXPECT_THAT(parse_list({"--peer", "192.0.2.9", "--peer", "192.0.2.9:7410"}).peers,
                ElementsAre("192.0.2.9", "192.0.2.9:7410"));
    EXPECT_THAT(parse_list({"--domain", "all", "--join", "--peer", "192.0.2.9"}).peers,
                ElementsAre("192.0.2.9"));
}

TEST(WhoOptions, AreTheUsualSettingsWhenNoneIsGiven) {
    const WhoOptions options = parse_who({});

    EXPECT_FALSE(options.domains);
    EXPECT_EQ(options.well_known_ports.port_base, 7400);
    EXPECT_EQ(options.transports, DDS_TRANSPORTBUILTIN_MASK_DEFAULT);
    EXPECT_FALSE(options.all_networks);
    EXPECT_FALSE(options.duration);
    EXPECT_FALSE(options.watch);
    EXPECT_EQ(options.verbosity, KOLS_CONFIG_LOG_VERBOSITY_ERROR);
    EXPECT_FALSE(options.json);
}

TEST(WhoOptions, TakeADomainARangeOrAll) {
    EXPECT_EQ(parse_who({"--domain", "3-7"}).domains->first, 3);
    EXPECT_EQ(parse_who({"--domain", "3-7"}).domains->last, 7);
    EXPECT_TRUE(parse_who({"--domain", "all"}).domains->are_all);
}

TEST(WhoOptions, TakeWhereAndHowLongToLook) {
    EXPECT_TRUE(parse_who({"--all-netns"}).all_networks);
    EXPECT_TRUE(parse_who({"--watch"}).watch);
    EXPECT_EQ(parse_who({"--for", "5"}).duration, std::chrono::seconds(5));
    EXPECT_EQ(parse_who({"--transport", "udpv6"}).transports, DDS_TRANSPORTBUILTIN_UDPv6);
    EXPECT_EQ(parse_who({"--user-unicast-offset", "9"}).well_known_ports.user_unicast_port_offset,
              9);
    EXPECT_TRUE(parse_who({"--json"}).json);
}

TEST(PortsOptions, LeaveTheRangeOpenWhenNoneIsGiven) {
    EXPECT_FALSE(parse_ports({}).indices);
    EXPECT_FALSE(parse_ports({}).json);
}

TEST(PortsOptions, TakeAnIndexOrARange) {
    const auto single = parse_ports({"--index", "4"}).indices;
    const auto range = parse_ports({"--index", "2-5"}).indices;

    ASSERT_TRUE(single && range);
    EXPECT_EQ(single->first, 4);
    EXPECT_EQ(single->last, 4);
    EXPECT_EQ(range->first, 2);
    EXPECT_EQ(range->last, 5);
}

TEST(PortsOptions, TakeTheFirstIndexAlone) {
    const auto first = parse_ports({"--index", "0"}).indices;

    ASSERT_TRUE(first);
    EXPECT_EQ(first->first, 0);
    EXPECT_EQ(first->last, 0);
}

TEST(PortsOptions, TakePortSettings) {
    const PortsOptions options = parse_ports({"--domain", "7", "--port-base", "9000", "--json"});

    EXPECT_EQ(options.domain, 7);
    EXPECT_EQ(options.well_known_ports.port_base, 9000);
    EXPECT_TRUE(options.json);
}

TEST(PortsOptions, TakeSeveralDomains) {
    EXPECT_EQ(parse_ports({"--domain", "3-7"}).each_domain().size(), 5u);
    EXPECT_EQ(parse_ports({"--domain", "3-7"}).each_domain().back().domain, 7);
    EXPECT_EQ(parse_ports({"--domain", "all"}).each_domain().size(), 233u);
    EXPECT_EQ(parse_ports({}).each_domain().size(), 1u);
}

TEST(PortsOptions, TakeAnySingleDomainThatTheLibraryMayJudge) {
    EXPECT_EQ(parse_ports({"--domain", "2147483647"}).each_domain().size(), 1u);
    EXPECT_EQ(parse_ports({"--domain", "233"}).domain, 233);
}

TEST(PortsOptions, TakeWhatToDoWithThePorts) {
    EXPECT_FALSE(parse_ports({}).check);
    EXPECT_TRUE(parse_ports({"--check"}).check);
    EXPECT_FALSE(parse_ports({}).nft);
    EXPECT_TRUE(parse_ports({"--nft"}).nft);
}

/** What is refused: the command line, and what the answer says of it. */
struct Refused {
    std::vector<const char *> arguments;
    std::vector<std::string> said;
};

TEST(WrongUsage, IsAnsweredWithOptionValueAndWhatIsAllowed) {
    const std::string whole = "a whole number from ";
    const std::vector<Refused> all = {
        {{}, {"a command is required, one of run, list, who, ports, doctor"}},
        {{"stay"}, {"'stay' is not one of the commands run, list, who, ports, doctor"}},
        {{"--colour"}, {"--colour"}},
        {{"run", "ports"}, {"ports"}},
        {{"run", "--colour"}, {"ddspart run: ", "--colour"}},
        {{"run", "7"}, {"7"}},
        {{"run", "--domain"}, {"--domain"}},
        {{"run", "--domain", ""}, {"--domain: '' is not " + whole + "0 to 2147483647"}},
        {{"run", "--domain", "7x"}, {"--domain: '7x' is not "}},
        {{"run", "--domain", "+7"}, {"--domain: '+7' is not "}},
        {{"run", "--domain", "-1"}, {"--domain: '-1' is not "}},
        {{"run", "--domain", "2147483648"}, {"--domain: '2147483648' is not "}},
        {{"run", "--domain", "1", "--domain", "2"}, {"--domain"}},
        {{"run", "--index", "-1"}, {"--index: '-1' is not 'auto' or " + whole + "0 to "}},
        {{"run", "--index", "any"}, {"--index: 'any' is not 'auto' or "}},
        {{"run", "--port-base", "1.5"}, {"--port-base: '1.5' is not " + whole + "-2147483648 to "}},
        {{"run", "--reserve", "all"}, {"--reserve: 'all' is not one of builtin_unicast, "}},
        {{"run", "--reserve", "user_unicast,none"}, {"--reserve: 'none' is not one of "}},
        {{"run", "--reserve", ""}, {"--reserve: '' is not one of "}},
        {{"run", "--transport", "udpv4,tcp"}, {"--transport: 'tcp' is not one of udpv4, udpv6"}},
        {{"run", "--property", "a"}, {"--property: 'a' is not of the form NAME=VALUE"}},
        {{"run", "--property", "=a"}, {"--property: '=a' is not of the form NAME=VALUE"}},
        {{"run", "--property", "a=b", "c=d"}, {"ddspart run: ", "c=d"}},
        {{"run", "--interface", "lo", "eth0"}, {"ddspart run: ", "eth0"}},
        {{"run", "--for", "-1"}, {"--for: '-1' is not a number of seconds from 0 to 1000000000"}},
        {{"run", "--for", "1s"}, {"--for: '1s' is not "}},
        {{"run", "--for", "nan"}, {"--for: 'nan' is not "}},
        {{"run", "--for", "inf"}, {"--for: 'inf' is not "}},
        {{"run", "--verbosity", "debug"},
         {"--verbosity: 'debug' is not one of silent, error, warning, status, all"}},
        {{"run", "--no-multicast", "--multicast-address", "239.255.0.1"},
         {"--no-multicast", "--multicast-address"}},
        {{"run", "--no-announce", "--peer", "a"}, {"--no-announce", "--peer"}},
        {{"list", "--domain", "233"},
         {"ddspart list: --domain: '233' is not a domain or a range FIRST-LAST within 0 to 232, or "
          "'all'"}},
        {{"list", "--domain", "5-4"}, {"--domain: '5-4' is not "}},
        {{"list", "--domain", "0-233"}, {"--domain: '0-233' is not "}},
        {{"list", "--domain", "-1"}, {"--domain: '-1' is not "}},
        {{"list", "--domain", "1-"}, {"--domain: '1-' is not "}},
        {{"list", "--domain", "1-2-3"}, {"--domain: '1-2-3' is not "}},
        {{"list", "--domain", "ALL"}, {"--domain: 'ALL' is not "}},
        {{"list", "--expect", "0"}, {"--expect: '0' is not " + whole + "1 to 2147483647"}},
        {{"list", "--for", "x"}, {"--for: 'x' is not a number of seconds"}},
        {{"list", "--watch", "--for", "1"}, {"--watch", "--for"}},
        {{"list", "--watch", "--expect", "1"}, {"--watch", "--expect"}},
        {{"list", "--listen-only", "--join"}, {"--listen-only", "--join"}},
        {{"list", "--listen-only", "--peer", "a"},
         {"ddspart list: --peer: nothing is announced to a peer by --listen-only"}},
        {{"list", "--domain", "all", "--peer", "a"}, {"--domain all without --join"}},
        {{"list", "--index", "1"}, {"ddspart list: ", "--index"}},
        {{"who", "--domain", "233"}, {"ddspart who: --domain: '233' is not a domain or a range"}},
        {{"who", "--watch", "--for", "1"}, {"--watch", "--for"}},
        {{"ports", "--domain", "x"}, {"ddspart ports: --domain: 'x' is not a domain or a range"}},
        {{"ports", "--domain", "0-233"}, {"--domain: '0-233' is not "}},
        {{"ports", "--nft", "--check"}, {"--nft", "--check"}},
        {{"ports", "--nft", "--json"}, {"--nft", "--json"}},
        {{"ports", "--for", "1"}, {"ddspart ports: ", "--for"}},
        {{"ports", "--show-qos"}, {"ddspart ports: ", "--show-qos"}},
        {{"ports", "--index", "auto"}, {"--index: 'auto' is not an index or a range FIRST-LAST"}},
        {{"ports", "--index", "2-1"}, {"--index: '2-1' is not "}},
        {{"ports", "--index", "-1"}, {"--index: '-1' is not "}},
        {{"ports", "--index", "1-"}, {"--index: '1-' is not "}},
        {{"ports", "--index", "1-2-3"}, {"--index: '1-2-3' is not "}},
        {{"ports", "--index", "0-65536"}, {"--index: '0-65536' is not ", "0 to 65535"}},
    };

    for (const Refused &refused : all) {
        const Command command = parse(refused.arguments);

        ASSERT_TRUE(std::holds_alternative<Answer>(command)) << refused.said[0];
        const Answer &answer = std::get<Answer>(command);

        EXPECT_EQ(answer.exit_code, 2);
        EXPECT_THAT(answer.text, StartsWith("ddspart"));
        EXPECT_EQ(answer.text.find('\n'), std::string::npos) << answer.text;
        for (const std::string &part : refused.said) {
            EXPECT_THAT(answer.text, HasSubstr(part));
        }
    }
}

TEST(Help, ShowsTheCommands) {
    const auto answer = std::get<Answer>(parse({"--help"}));

    EXPECT_EQ(answer.exit_code, 0);
    EXPECT_THAT(answer.text, AllOf(HasSubstr("run"), HasSubstr("list"), HasSubstr("who"),
                                   HasSubstr("ports"), HasSubstr("--version")));
}

TEST(Help, OfACommandEndsWithAnExample) {
    EXPECT_THAT(std::get<Answer>(parse({"run", "--help"})).text,
                EndsWith("\n  ddspart run --domain 7 --for 5\n"));
    EXPECT_THAT(std::get<Answer>(parse({"list", "--help"})).text,
                EndsWith("\n  ddspart list --domain 7 --expect 2 --for 60\n"));
    EXPECT_THAT(std::get<Answer>(parse({"who", "--help"})).text,
                EndsWith("\n  ddspart who --domain 7 --all-netns\n"));
    EXPECT_THAT(std::get<Answer>(parse({"ports", "--help"})).text,
                EndsWith("\n  ddspart ports --domain 7 --index 0-3\n"));
}

TEST(Version, IsThatOfTheLibrary) {
    const auto answer = std::get<Answer>(parse({"--version"}));

    EXPECT_EQ(answer.exit_code, 0);
    EXPECT_EQ(answer.text, "ddspart 1.0.0.0\n");
}

} // namespace
