// SPDX-License-Identifier: Apache-2.0
#include "port_rules.h"

#include <stdexcept>

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace {

PortsOptions of_domain(DDS_DomainId_t domain) {
    PortsOptions options;

    options.domain = domain;
    return options;
}

TEST(PortRules, LetThePortsOfADomainThrough) {
    PortsOptions options = of_domain(7);

    options.indices = {0, 9};
    EXPECT_EQ(
        nft_rules(options),
        "# The UDP ports of DDS participants, and the queries of multicast that they answer.\n"
        "# Loaded again, they replace what was loaded, but for a further jump, which does no "
        "harm.\n"
        "# Where the chain \"input\" has another priority, nft refuses: put in that one.\n"
        "add table inet filter\n"
        "add chain inet filter input { type filter hook input priority filter; }\n"
        "\n"
        "# Participant indices 0-9 of domain 7\n"
        "add chain inet filter dds_domain_7\n"
        "flush chain inet filter dds_domain_7\n"
        "add rule inet filter dds_domain_7 udp dport { 9150-9151, 9160-9179 } accept\n"
        "add rule inet filter dds_domain_7 ip protocol igmp accept\n"
        "add rule inet filter dds_domain_7 icmpv6 type mld-listener-query accept\n"
        "insert rule inet filter input jump dds_domain_7\n");
}

TEST(PortRules, AreForAllUsableIndicesUnlessAsked) {
    EXPECT_THAT(nft_rules(of_domain(7)), HasSubstr("{ 9150-9151, 9160-9399 }"));
}

TEST(PortRules, HaveAChainForEachDomain) {
    PortsOptions options = of_domain(7);

    options.last_domain = 8;
    EXPECT_THAT(nft_rules(options), HasSubstr("input jump dds_domain_7\n"));
    EXPECT_THAT(nft_rules(options), HasSubstr("input jump dds_domain_8\n"));
}

TEST(PortRules, NameTheIndicesThatHaveValidPorts) {
    PortsOptions options = of_domain(232);

    options.indices = {60, 100};
    EXPECT_THAT(nft_rules(options), HasSubstr("\n# Participant indices 60-62 of domain 232\n"));
}

TEST(PortRules, SayWhereNoIndexHasValidPorts) {
    PortsOptions options = of_domain(232);

    options.well_known_ports.builtin_unicast_port_offset = 200;
    options.well_known_ports.user_unicast_port_offset = 201;
    EXPECT_THAT(nft_rules(options),
                HasSubstr("\n# Multicast only: no index has valid ports, of domain 232\n"));
}

TEST(PortRules, AreNoneForPortsThatAreNone) {
    PortsOptions options = of_domain(233);

    options.indices = {0, 0};
    EXPECT_THROW((void)nft_rules(options), std::runtime_error);
    options.indices = std::nullopt;
    EXPECT_THROW((void)nft_rules(options), std::runtime_error);
}

} // namespace
