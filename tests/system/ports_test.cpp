// SPDX-License-Identifier: Apache-2.0
// ddspart ports on a host: what is safe there, and rules that the firewall takes.
#include <fstream>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "network.h"
#include "port_holder.h"
#include "process.h"

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Ports : public NetworkTest {};

TEST_F(Ports, AreSafeWhereNobodyElseMayHaveThem) {
    Process process = ddspart({"ports", "--check"});

    EXPECT_EQ(process.wait().code, 0) << process.errors();
    EXPECT_EQ(process.output(), "Domain 0: safe indices: 0-119\n");
}

TEST_F(Ports, AreNotSafeWhereAStrangerHoldsThem) {
    const PortHolder stranger("stranger", {7414});
    Process process = ddspart({"ports", "--check", "--json"});

    EXPECT_EQ(process.wait().code, 3);
    EXPECT_EQ(json::parse(process.output()).at("safe"), json::parse("[[0, 1], [3, 119]]"));
    EXPECT_THAT(process.output(),
                HasSubstr("held by stranger (" + std::to_string(stranger.id()) + ")"));
}

TEST_F(Ports, AreSafeBesideAToolThatListens) {
    const Process listener = ddspart({"list", "--listen-only", "--watch"});

    ASSERT_TRUE(eventually([] { return udp_ports().contains(7400); }));
    EXPECT_EQ(ddspart({"ports", "--check"}).wait().code, 0);
}

TEST_F(Ports, AreNotSafeWhereTheKernelGivesThemAway) {
    std::ofstream range("/proc/sys/net/ipv4/ip_local_port_range");

    if (!(range << "7412 7420\n" << std::flush)) {
        GTEST_SKIP() << "the range of ephemeral ports cannot be changed here";
    }
    Process process = ddspart({"ports", "--check"});

    EXPECT_EQ(process.wait().code, 3);
    EXPECT_THAT(process.output(), HasSubstr("Domain 0: safe indices: 0, 6-119\n"));
}

TEST_F(Ports, AreLetThroughByRulesThatTheFirewallTakes) {
    Process process = ddspart({"ports", "--nft", "--domain", "7-8", "--index", "0-9"});
    ASSERT_EQ(process.wait().code, 0) << process.errors();
    const std::string file =
        testing::TempDir() + "ddspart_rules_" + std::to_string(getpid()) + ".nft";
    std::ofstream(file) << process.output();
    Process check({"nft", "-c", "-f", file});
    const int code = check.wait().code;

    std::remove(file.c_str());
    if (code == 127) {
        GTEST_SKIP() << "nft is not installed";
    }
    if (check.errors().find("Operation not permitted") != std::string::npos) {
        GTEST_SKIP() << "nft may not be used here: " << check.errors();
    }
    EXPECT_EQ(code, 0) << check.errors();
    EXPECT_THAT(check.errors(), IsEmpty());
}

} // namespace
