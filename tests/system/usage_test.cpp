// SPDX-License-Identifier: Apache-2.0
// The command line as a whole; tests/unit/ddspart has the details.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "process.h"

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/** What is on the command line, and what the answer names. */
struct WrongUsage {
    std::vector<std::string> arguments;
    std::vector<std::string> named;
};

TEST(Usage, WhenWrongIsExplainedInOneLine) {
    const std::vector<WrongUsage> all = {
        {{}, {"command", "run, list, who, ports, doctor, why"}},
        {{"stay"}, {"'stay'", "run, list, who, ports, doctor, why"}},
        {{"run", "--colour"}, {"--colour"}},
        {{"run", "--domain"}, {"--domain"}},
        {{"run", "--domain", "x"}, {"--domain", "'x'", "0 to 2147483647"}},
        {{"run", "--for", "-1"}, {"--for", "'-1'", "0 to 1000000000"}},
        {{"list", "--domain", "3-1"}, {"--domain", "'3-1'", "FIRST-LAST", "'all'"}},
        {{"ports", "--index", "3-1"}, {"--index", "'3-1'", "FIRST-LAST"}},
    };

    for (const WrongUsage &wrong : all) {
        Process process = ddspart(wrong.arguments);

        EXPECT_EQ(process.wait().code, 2);
        EXPECT_THAT(process.output(), IsEmpty());
        EXPECT_EQ(count(process.errors(), "\n"), 1u) << process.errors();
        for (const std::string &name : wrong.named) {
            EXPECT_THAT(process.errors(), HasSubstr(name));
        }
    }
}

TEST(Usage, HelpGoesToStdoutWithAnExample) {
    for (const std::string command : {"run", "list", "who", "ports", "doctor", "why"}) {
        Process process = ddspart({command, "--help"});

        EXPECT_EQ(process.wait().code, 0);
        EXPECT_THAT(process.output(), AllOf(HasSubstr("--domain"), HasSubstr("Example:"),
                                            HasSubstr("\n  ddspart " + command)));
        EXPECT_THAT(process.errors(), IsEmpty());
    }
}

TEST(Usage, HelpOfRunNamesShowQos) {
    Process process = ddspart({"run", "--help"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_THAT(process.output(), HasSubstr("--show-qos"));
}

TEST(Usage, VersionGoesToStdout) {
    Process process = ddspart({"--version"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_EQ(process.output(), "ddspart 1.0.0.0\n");
}

TEST(Usage, PortsShowsATable) {
    Process process = ddspart({"ports", "--domain", "7", "--index", "0-1"});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_EQ(
        process.output(),
        "Domain 7, highest usable participant index: 119\n"
        "index   builtin unicast  builtin multicast       user unicast     user multicast \n"
        "    0              9160               9150               9161               9151 \n"
        "    1              9162               9150               9163               9151 \n");
}

TEST(Usage, PortsWithStdoutClosedAreAFailure) {
    Process process({"sh", "-c", std::string("exec ") + DDSPART_PATH + " ports >&-"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_EQ(process.errors(), "ddspart: cannot write to stdout: Bad file descriptor\n");
}

TEST(Usage, PortsWritesAnObjectPerLineOnRequest) {
    Process process = ddspart({"ports", "--index", "119", "--json"});

    EXPECT_EQ(process.wait().code, 0);
    const std::string text = process.output();
    const std::size_t end = text.find('\n');

    EXPECT_EQ(json::parse(text.substr(0, end)),
              json({{"event", "domain"}, {"domain", 0}, {"highest_usable_index", 119}}));
    EXPECT_EQ(json::parse(text.substr(end))["ports"]["user_unicast"], 7649);
}

TEST(Usage, PortsThatLeaveNoIndexAreAFailure) {
    Process process = ddspart({"ports", "--port-base", "65535"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("rtps_well_known_ports.port_base (65535) must be less "
                                            "than 65535.\n"));
    EXPECT_THAT(process.output(), IsEmpty());
}

TEST(Usage, PortsWhoseOffsetsLeaveNoIndexAreAFailureThatNamesThem) {
    Process process = ddspart({"ports", "--domain-gain", "3", "--participant-gain", "2"});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(),
                HasSubstr("rtps_well_known_ports.user_unicast_port_offset is 11, which leaves no "
                          "participant index: with port_base 7400, domain_id_gain 3 and "
                          "participant_id_gain 2 allowed are at most 2\n"));
}

} // namespace
