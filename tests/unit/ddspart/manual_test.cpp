// SPDX-License-Identifier: Apache-2.0
// The manual pages and the shell's completion, as they follow from the options.
#include "manual.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

namespace {

std::string output_of(const std::string &command) {
    std::string output;
    std::FILE *const stream = popen(command.c_str(), "r");

    for (int octet = std::getc(stream); octet != EOF; octet = std::getc(stream)) {
        output += static_cast<char>(octet);
    }
    EXPECT_EQ(pclose(stream), 0) << command;
    return output;
}

/** What bash offers for the last of some words; all of them are given as in a script. */
std::vector<std::string> completed(const std::string &words) {
    const std::string path =
        testing::TempDir() + "ddspart_completion_" + std::to_string(getpid()) + ".bash";
    std::ofstream(path) << bash_completion() << "COMP_WORDS=(" << words << ")\n"
                        << "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_ddspart\n"
                        << "printf '%s\\n' \"${COMPREPLY[@]}\"\n";
    std::istringstream lines(output_of("bash -eu " + path));
    std::vector<std::string> offers;

    for (std::string line; std::getline(lines, line);) {
        offers.push_back(line);
    }
    std::remove(path.c_str());
    return offers;
}

TEST(ManualPage, OfTheProgramNamesEachCommandAndItsPage) {
    for (const std::string &command : command_names()) {
        EXPECT_THAT(manual_page(""), HasSubstr(".B " + command + "\n"));
        EXPECT_THAT(manual_page(""), HasSubstr(".BR ddspart\\-" + command + " (1)"));
    }
}

TEST(ManualPage, OfACommandHasItsOptionsWithTheirValuesAndWhatTheyMean) {
    EXPECT_THAT(manual_page("run"), HasSubstr(".TP\n\\fB\\-\\-domain\\fR \\fIN\\fR\n"
                                              "Domain id; 0 unless given.\n"));
    EXPECT_THAT(manual_page("run"), HasSubstr(".TP\n\\fB\\-\\-json\\fR\n"
                                              "Print one JSON object per line.\n"));
    EXPECT_THAT(manual_page("ports"), Not(HasSubstr("verbosity")));
}

TEST(ManualPage, OfACommandNamesTheVariableOfAnOption) {
    EXPECT_THAT(manual_page("run"),
                HasSubstr("Domain id; 0 unless given.\nWhere it is not given, the variable\n"
                          ".B NUVDDS_DOMAIN\nof the environment is its value, if that is set.\n"));
}

TEST(ManualPage, OfACommandHasItsExample) {
    EXPECT_THAT(manual_page("run"), HasSubstr(".SH EXAMPLE\nFive seconds in domain 7.\n.PP\n.RS\n"
                                              ".nf\nddspart run \\-\\-domain 7 \\-\\-for 5\n"));
}

TEST(ManualPage, HasAnExitStatusForFindingsWhereThereMayBeSome) {
    EXPECT_THAT(manual_page("list"),
                HasSubstr(".TP\n3\nThere are fewer participants than \\-\\-expect asks for.\n"));
    EXPECT_THAT(manual_page("run"), Not(HasSubstr(".TP\n3\n")));
    EXPECT_THAT(manual_page(""),
                HasSubstr(".TP\n3\nThere are findings:\n.br\nlist: There are fewer participants"));
}

TEST(Completion, OffersTheCommandsFirst) {
    EXPECT_THAT(completed("ddspart ''"),
                IsSupersetOf({"run", "list", "who", "ports", "why", "--help", "--version"}));
    EXPECT_THAT(completed("ddspart r"), ElementsAre("run"));
}

TEST(Completion, OffersTheOptionsOfTheCommand) {
    EXPECT_THAT(completed("ddspart run --verb"), ElementsAre("--verbosity"));
    EXPECT_THAT(completed("ddspart ports --d"), ElementsAre("--domain", "--domain-gain"));
    EXPECT_THAT(completed("ddspart list --ex"), ElementsAre("--expect"));
}

TEST(Completion, OffersTheWordsOfAnOption) {
    EXPECT_THAT(completed("ddspart run --verbosity s"), ElementsAre("silent", "status"));
    EXPECT_THAT(completed("ddspart run --index ''"), ElementsAre("auto"));
    EXPECT_THAT(completed("ddspart list --domain ''"), ElementsAre("all"));
}

TEST(Completion, OffersTheWordsOfAnOptionAfterAnEqualsSign) {
    EXPECT_THAT(completed("ddspart run --verbosity = w"), ElementsAre("warning"));
    EXPECT_THAT(completed("ddspart run --transport ="), ElementsAre("udpv4", "udpv6"));
}

TEST(Completion, GoesOnWithAList) {
    EXPECT_THAT(completed("ddspart run --reserve user_unicast,user_m"),
                ElementsAre("user_unicast,user_multicast"));
}

TEST(Completion, OffersNothingForAValueThatMayBeAnything) {
    EXPECT_THAT(completed("ddspart run --name ''"), ElementsAre(""));
}

} // namespace
