// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

Presence a_participant() {
    return {7,
            3,
            "01020304.05060708.090a0b0c.000001c1",
            ports_of({7, DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER}, 3),
            {"udpv4://192.0.2.2:9166", "udpv6://[fd00::2]:9166"},
            {"udpv4://239.255.0.1:9150"},
            {},
            {}};
}

TEST(Text, SummarisesAParticipant) {
    EXPECT_EQ(as_text(Joined{a_participant()}),
              "Joined domain 7 with participant index 3\n"
              "  GUID: 01020304.05060708.090a0b0c.000001c1\n"
              "  Ports: builtin unicast 9166, builtin multicast 9150, user unicast 9167, "
              "user multicast 9151\n"
              "  Metatraffic unicast locators: udpv4://192.0.2.2:9166, udpv6://[fd00::2]:9166\n"
              "  Metatraffic multicast locators: udpv4://239.255.0.1:9150\n"
              "  Default unicast locators: none\n"
              "  Default multicast locators: none\n");
}

TEST(Text, ShowsAParticipantAgainAfterAChange) {
    EXPECT_THAT(as_text(Changed{a_participant()}),
                StartsWith("Now in domain 7 with participant index 3\n"));
}

TEST(Text, SaysWhenAParticipantHasNoIndexYet) {
    Presence participant = a_participant();

    participant.index = -1;
    EXPECT_THAT(as_text(Joined{participant}),
                StartsWith("Joined domain 7 without participant index, until there is a usable "
                           "address\n"));
}

TEST(Text, SaysWhyAParticipantLeft) {
    EXPECT_EQ(as_text(Left{7, 3, "SIGINT"}), "Left domain 7: SIGINT\n");
}

TEST(Text, MarksInvalidPorts) {
    const PortTable table = {
        232, 62, {{63, ports_of({232, DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER}, 63)}}};
    const std::string text = as_text(table);

    EXPECT_THAT(text, HasSubstr("   63             65536*             65400              65537* "));
    EXPECT_THAT(text, HasSubstr("\n* not a valid port: valid are 1 to 65535\n"));
}

TEST(Text, SaysWhenNoIndexIsUsable) {
    const PortTable table = {
        233, std::nullopt, {{0, ports_of({233, DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER}, 0)}}};

    EXPECT_THAT(as_text(table), HasSubstr("Domain 233, highest usable participant index: none\n"));
}

TEST(Json, HasAllOfAParticipantInOneLine) {
    const std::string line = as_json(Joined{a_participant()});

    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(json::parse(line), json::parse(R"({
        "event": "joined", "domain": 7, "index": 3,
        "guid": "01020304.05060708.090a0b0c.000001c1",
        "ports": {"builtin_unicast": 9166, "builtin_multicast": 9150,
                  "user_unicast": 9167, "user_multicast": 9151},
        "metatraffic_unicast_locators": ["udpv4://192.0.2.2:9166", "udpv6://[fd00::2]:9166"],
        "metatraffic_multicast_locators": ["udpv4://239.255.0.1:9150"],
        "default_unicast_locators": [], "default_multicast_locators": []})"));
}

TEST(Json, TellsAChangeFromTheBeginning) {
    EXPECT_EQ(json::parse(as_json(Changed{a_participant()}))["event"], "changed");
}

TEST(Json, HasNoNumberForAnIndexThatThereIsNot) {
    Presence participant = a_participant();

    participant.index = -1;
    EXPECT_EQ(json::parse(as_json(Joined{participant}))["index"], nullptr);
}

TEST(Json, SaysWhyAParticipantLeft) {
    EXPECT_EQ(as_json(Left{7, 3, "time is up"}),
              R"({"event":"left","domain":7,"index":3,"reason":"time is up"})"
              "\n");
}

TEST(Json, HasTheDomainAndThenALinePerIndex) {
    const PortSettings settings = {232, DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER};
    const PortTable table = {
        232, std::nullopt, {{62, ports_of(settings, 62)}, {63, ports_of(settings, 63)}}};

    EXPECT_EQ(as_json(table),
              R"({"event":"domain","domain":232,"highest_usable_index":null})"
              "\n"
              R"({"event":"index","domain":232,"index":62,"ports":{"builtin_unicast":65534,)"
              R"("builtin_multicast":65400,"user_unicast":65535,"user_multicast":65401},)"
              R"("valid":{"builtin_unicast":true,"builtin_multicast":true,)"
              R"("user_unicast":true,"user_multicast":true}})"
              "\n"
              R"({"event":"index","domain":232,"index":63,"ports":{"builtin_unicast":65536,)"
              R"("builtin_multicast":65400,"user_unicast":65537,"user_multicast":65401},)"
              R"("valid":{"builtin_unicast":false,"builtin_multicast":true,)"
              R"("user_unicast":false,"user_multicast":true}})"
              "\n");
}

} // namespace
