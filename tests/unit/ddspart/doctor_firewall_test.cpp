// SPDX-License-Identifier: Apache-2.0
// The rules of a firewall, as nft lists them.
#include "doctor/firewall.h"

#include <cstdlib>
#include <filesystem>

#include <gmock/gmock.h>
#include <unistd.h>

#include "fed_host.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace doctor {

namespace {

std::string ruleset(const std::string &rule, const std::string &policy = "accept") {
    return "table inet filter {\n"
           "\tchain input {\n"
           "\t\ttype filter hook input priority filter; policy " +
           policy + ";\n\t\t" + rule + "\n\t}\n}\n";
}

/** As "chain: rule". */
std::vector<std::string> dropping(const std::string &text) {
    std::vector<std::string> all;

    for (const FirewallRule &rule : dropping_rules(text, {7400, 7410})) {
        all.push_back(rule.chain + ": " + rule.text);
    }
    return all;
}

const std::string CHAIN = "chain input of table inet filter: ";

TEST(DroppingRules, NameOneOfThePorts) {
    for (const std::string rule :
         {"udp dport 7400 drop", "udp dport 7000-7999 drop", "udp dport { 53, 7410 } reject",
          "ip saddr 192.0.2.0/24 udp dport { 53, 7000-7500, 9000 } drop"}) {
        EXPECT_THAT(dropping(ruleset(rule)), ElementsAre(CHAIN + rule));
    }
}

TEST(DroppingRules, AreNotThoseOfOtherPortsProtocolsAndVerdicts) {
    for (const std::string rule : {"udp dport 7500 drop", "tcp dport 7400 drop", "udp dport",
                                   "udp dport 7400 accept", "udp sport 7400 drop"}) {
        EXPECT_THAT(dropping(ruleset(rule)), IsEmpty()) << rule;
    }
}

TEST(DroppingRules, AreShownWithoutTheirCounters) {
    EXPECT_THAT(dropping(ruleset("udp dport 7400 counter packets 3 bytes 120 drop")),
                ElementsAre(CHAIN + "udp dport 7400 drop"));
}

TEST(DroppingRules, AreNotThoseThatOnlyWriteOrMentionTheWord) {
    EXPECT_THAT(dropping(ruleset("udp dport 7400 log prefix \"will drop this\" accept")),
                IsEmpty());
}

TEST(DroppingRules, AreNotThoseOfWhatIsForwarded) {
    EXPECT_THAT(dropping("table ip filter {\n\tchain forward {\n"
                         "\t\ttype filter hook forward priority filter; policy drop;\n"
                         "\t\tudp dport 7400 drop\n\t}\n"
                         "\tchain jumped {\n\t\tudp dport 7410 drop\n\t}\n}\n"),
                ElementsAre("chain jumped of table ip filter: udp dport 7410 drop"));
}

TEST(DroppingRules, ComeBeforeThePolicyThatDropsWhatNoneAccepts) {
    EXPECT_THAT(dropping(ruleset("udp dport 7400 drop", "drop")),
                ElementsAre(CHAIN + "udp dport 7400 drop", CHAIN + "policy drop"));
}

/** While it is there the program nft is a script of the test's. */
class OwnNft {
public:
    explicit OwnNft(const std::string &script) : path_(std::getenv("PATH")) {
        host_.put("nft", "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(host_.path("nft"), std::filesystem::perms::owner_all);
        (void)setenv("PATH", host_.path("").c_str(), 1);
    }
    ~OwnNft() {
        (void)setenv("PATH", path_.c_str(), 1);
    }
    OwnNft(const OwnNft &) = delete;
    OwnNft &operator=(const OwnNft &) = delete;

private:
    const FedHost host_;
    const std::string path_;
};

TEST(FirewallRuleset, IsWhatTheProgramWrites) {
    const OwnNft nft("echo table");

    EXPECT_EQ(read_ruleset().text, "table\n");
}

TEST(FirewallRuleset, IsNoneOfAProgramThatWritesAllAndDoesNotEnd) {
    const OwnNft nft("exec /bin/sleep 60 >&-");
    const Ruleset ruleset = read_ruleset();

    EXPECT_EQ(ruleset.text, std::nullopt);
    EXPECT_EQ(ruleset.failure, "the program nft has come to no end in time");
}

TEST(FirewallRuleset, LacksRightsOnlyWhereTheCallerIsNotRoot) {
    const OwnNft nft("exit 1");

    EXPECT_EQ(read_ruleset().failure.find("root") == std::string::npos, geteuid() == 0);
}

TEST(DroppingRules, AreNoneOfAnEmptyRuleset) {
    EXPECT_THAT(dropping(""), IsEmpty());
}

} // namespace

} // namespace doctor
