// SPDX-License-Identifier: Apache-2.0
// What ddspart doctor prints, and its table of checks.
#include <set>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "doctor/checks.h"
#include "manual.h"
#include "output.h"
#include "readme.h"

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace doctor {

namespace {

const Diagnosis DIAGNOSIS = {7,
                             {{"interface-down", "net0", "Interface net0 is down.", "Set it up."}},
                             {"multicast", "firewall"},
                             {"names: no time"}};

TEST(DoctorOutput, HasALineForEachFindingAndOneForWhatIsWell) {
    EXPECT_EQ(as_text(DIAGNOSIS), "interface-down: Interface net0 is down. Set it up.\n"
                                  "Well: multicast, firewall\n"
                                  "Not looked at: names: no time\n");
}

TEST(DoctorOutput, KeepsTextsOfOthersFromTheTerminal) {
    const Diagnosis diagnosis = {7, {{"id", "", "Named \x1b[2J.", "Rename it."}}, {}, {}};

    EXPECT_EQ(as_text(diagnosis), "id: Named \\x1b[2J. Rename it.\n");
}

TEST(DoctorOutput, IsObjectsForPrograms) {
    const std::string lines = as_json(DIAGNOSIS);
    const std::size_t end = lines.find('\n');

    EXPECT_EQ(json::parse(lines.substr(0, end)), (json{{"event", "finding"},
                                                       {"version", 1},
                                                       {"domain", 7},
                                                       {"id", "interface-down"},
                                                       {"subject", "net0"},
                                                       {"cause", "Interface net0 is down."},
                                                       {"remedy", "Set it up."}}));
    EXPECT_EQ(json::parse(lines.substr(end)), (json{{"event", "diagnosis"},
                                                    {"version", 1},
                                                    {"domain", 7},
                                                    {"findings", 1},
                                                    {"well", {"multicast", "firewall"}},
                                                    {"unseen", {"names: no time"}}}));
}

TEST(DoctorOutput, SaysWhenAnotherHostMayAsk) {
    const std::string host = "beta";
    const Serving serving = {7, host, 7399, std::chrono::milliseconds(1500)};

    EXPECT_EQ(as_text(serving), "Answers beta at UDP port 7399 for 1.5 s\n");
    EXPECT_EQ(json::parse(as_json(serving)), (json{{"event", "serving"},
                                                   {"version", 1},
                                                   {"domain", 7},
                                                   {"host", "beta"},
                                                   {"port", 7399},
                                                   {"seconds", 1.5}}));
}

TEST(DoctorOutput, IsWrappedBetweenWords) {
    EXPECT_EQ(wrapped("one two three\nfour\n", 9), "one two\n    three\nfour\n");
    EXPECT_EQ(wrapped("one two three\n", 13), "one two three\n");
    EXPECT_EQ(wrapped("longer than the line\n", 4), "longer\n    than\n    the\n    line\n");
}

TEST(DoctorChecks, HaveDifferentWordsAsIds) {
    std::set<std::string> ids;

    for (const Check &check : checks()) {
        EXPECT_THAT(check.id, MatchesRegex("[a-z0-9]+(-[a-z0-9]+)+"));
        EXPECT_TRUE(ids.insert(check.id).second) << check.id;
    }
}

TEST(DoctorManual, SaysInSecondsHowLongItListens) {
    EXPECT_THAT(manual_page("doctor"), HasSubstr("until 2.5 seconds have passed"));
}

TEST(DoctorChecks, AreInTheManualPage) {
    const std::string page = manual_page("doctor");

    EXPECT_THAT(page, HasSubstr(".SH FINDINGS\n.TP\n.B no\\-usable\\-interface\n"
                                "There is no interface but loopback.\n"));
    EXPECT_THAT(manual_page("list"), Not(HasSubstr("FINDINGS")));
}

TEST(DoctorChecks, AreInTheReadmeWithTheirMeaning) {
    expect_in_readme(checks());
}

} // namespace

} // namespace doctor
