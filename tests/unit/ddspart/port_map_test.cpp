// SPDX-License-Identifier: Apache-2.0
#include "port_map.h"

#include <stdexcept>

#include <gmock/gmock.h>

#include "log.h"
#include "support/log_capture.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

std::vector<PortUse>
uses_of(unsigned port,
        const DDS_RtpsWellKnownPorts_t &settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER) {
    const PortMap map = port_map(settings);
    const auto [first, last] = map.equal_range(port);
    std::vector<PortUse> uses;

    for (auto use = first; use != last; ++use) {
        uses.push_back(use->second);
    }
    return uses;
}

TEST(PortMap, HasTheMulticastPortsOfADomain) {
    EXPECT_THAT(uses_of(9150), ElementsAre(PortUse{7, std::nullopt, "builtin_multicast"}));
    EXPECT_THAT(uses_of(9151), ElementsAre(PortUse{7, std::nullopt, "user_multicast"}));
}

TEST(PortMap, HasTheUnicastPortsOfAnIndex) {
    EXPECT_THAT(uses_of(9164), ElementsAre(PortUse{7, 2, "builtin_unicast"}));
    EXPECT_THAT(uses_of(9165), ElementsAre(PortUse{7, 2, "user_unicast"}));
}

TEST(PortMap, HasTheLastIndexOfADomain) {
    EXPECT_THAT(uses_of(7649), ElementsAre(PortUse{0, 119, "user_unicast"}));
}

TEST(PortMap, HasTheLastDomain) {
    EXPECT_THAT(uses_of(65535), ElementsAre(PortUse{232, 62, "user_unicast"}));
}

TEST(PortMap, HasNothingBesideTheMapping) {
    EXPECT_TRUE(uses_of(7399).empty());
    EXPECT_TRUE(uses_of(7402).empty());
}

TEST(PortMap, HasAllTheUsesOfAPort) {
    DDS_RtpsWellKnownPorts_t settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

    settings.user_multicast_port_offset = 250; // the next domain's
    EXPECT_THAT(uses_of(7650, settings),
                UnorderedElementsAre(PortUse{0, std::nullopt, "user_multicast"},
                                     PortUse{1, std::nullopt, "builtin_multicast"}));
}

TEST(PortMap, LeavesOutWhatIsNoValidPort) {
    DDS_RtpsWellKnownPorts_t settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

    settings.user_multicast_port_offset = -7400;
    EXPECT_TRUE(uses_of(0, settings).empty());
}

TEST(PortMap, OfDomainsThatAllHaveTheSamePortsIsRefused) {
    DDS_RtpsWellKnownPorts_t settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

    settings.domain_id_gain = 1;
    EXPECT_THAT([&] { (void)port_map(settings); },
                testing::ThrowsMessage<std::runtime_error>(
                    testing::StartsWith("--domain-gain is 1: the domains have more than ")));
}

TEST(PortMap, OfImpossibleSettingsIsAFailure) {
    const support::LogCapture log;
    DDS_RtpsWellKnownPorts_t settings = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

    settings.port_base = 65535;
    EXPECT_THROW((void)port_map(settings), LoggedFailure);
}

} // namespace
