// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

Presence a_presence() {
    return {7,
            3,
            "01020304.05060708.090a0b0c.000001c1",
            ports_of({7, DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER}, 3),
            {"udpv4://192.0.2.2:9166", "udpv6://[fd00::2]:9166"},
            {"udpv4://239.255.0.1:9150"},
            {},
            {}};
}

Sighting another() {
    Sighting other;

    other.domain = 7;
    other.guid = "0a020304.05060708.090a0b0c.000001c1";
    other.name = "talker";
    other.vendor = "1.3";
    other.protocol = "2.5";
    other.host = "alpha";
    other.process = "demo";
    other.pid = 4711;
    other.tool = "a tool";
    other.addresses = {"192.0.2.3"};
    other.builtin_unicast_port = 9160;
    other.user_unicast_port = 9161;
    other.index = 0;
    other.lease = std::chrono::seconds(20);
    other.domain_tag = "tag";
    other.metatraffic_unicast_locators = {"udpv4://192.0.2.3:9160"};
    other.metatraffic_multicast_locators = {"udpv4://239.255.0.1:9150"};
    other.default_unicast_locators = {"udpv4://192.0.2.3:9161"};
    other.properties = {{"a.b", "c"}};
    other.first_heard = WallTime(std::chrono::seconds(1767225600));
    other.last_heard = WallTime(std::chrono::microseconds(1767225661000007));
    return other;
}

DDS_DiscoveryStatistics some_statistics() {
    DDS_DiscoveryStatistics statistics = {};

    statistics.known = 1;
    statistics.announcements_sent = 20;
    statistics.announcements_received = 30;
    statistics.came = 6;
    statistics.changed = 4;
    statistics.left = 3;
    statistics.lost = 2;
    return statistics;
}

TEST(Text, SummarisesAParticipant) {
    EXPECT_EQ(as_text(Joined{a_presence()}),
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
    EXPECT_THAT(as_text(Changed{a_presence()}),
                StartsWith("Now in domain 7 with participant index 3\n"));
}

TEST(Text, SaysWhenAParticipantHasNoIndexYet) {
    Presence participant = a_presence();

    participant.index = -1;
    EXPECT_THAT(as_text(Joined{participant}),
                StartsWith("Joined domain 7 without participant index, until there is a usable "
                           "address\n"));
}

TEST(Text, SaysInOneLineWhoCame) {
    EXPECT_EQ(as_text(Encounter{Encounter::Change::CAME, another()}),
              "Participant came: 0a020304.05060708.090a0b0c.000001c1, domain 7, name talker (a "
              "tool), vendor 1.3, host alpha, process demo (4711), address 192.0.2.3, ports 9160 "
              "9161, index 0, lease 20 s\n");
}

TEST(Text, SaysWhatHasBecomeOfAParticipant) {
    EXPECT_THAT(as_text(Encounter{Encounter::Change::CHANGED, another()}),
                StartsWith("Participant changed: "));
    EXPECT_THAT(as_text(Encounter{Encounter::Change::LEFT, another()}),
                StartsWith("Participant left: "));
    EXPECT_THAT(as_text(Encounter{Encounter::Change::LOST, another()}),
                StartsWith("Participant lost: "));
    EXPECT_THAT(as_text(Encounter{Encounter::Change::GONE, another()}),
                StartsWith("Participant gone: "));
}

TEST(Text, SumsUpWhatDiscoveryHasDone) {
    EXPECT_EQ(as_text(Discovered{7, 3, some_statistics()}),
              "Other participants: 1 known, 6 came, 3 left, 2 lost; announcements: 20 sent, 30 "
              "received\n");
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
    const std::string line = as_json(Joined{a_presence()});

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
    EXPECT_EQ(json::parse(as_json(Changed{a_presence()}))["event"], "changed");
}

TEST(Json, HasNoNumberForAnIndexThatThereIsNot) {
    Presence participant = a_presence();

    participant.index = -1;
    EXPECT_EQ(json::parse(as_json(Joined{participant}))["index"], nullptr);
}

json what_there_is_of_another() {
    return json::parse(R"({
        "event": "participant", "domain": 7, "guid": "0a020304.05060708.090a0b0c.000001c1",
        "name": "talker", "vendor": "1.3", "protocol": "2.5", "host": "alpha", "process": "demo",
        "pid": 4711, "tool": "a tool", "addresses": ["192.0.2.3"],
        "ports": {"builtin_unicast": 9160, "user_unicast": 9161}, "index": 0, "lease": 20,
        "first_heard": "2026-01-01T00:00:00.000000Z", "last_heard": "2026-01-01T00:01:01.000007Z",
        "domain_tag": "tag",
        "metatraffic_unicast_locators": ["udpv4://192.0.2.3:9160"],
        "metatraffic_multicast_locators": ["udpv4://239.255.0.1:9150"],
        "default_unicast_locators": ["udpv4://192.0.2.3:9161"], "default_multicast_locators": [],
        "properties": {"a.b": "c"}})");
}

TEST(Json, HasAnObjectForEachParticipantOfAList) {
    const std::string lines = as_json(Listing{{another(), another()}, WallTime()});
    const std::size_t end = lines.find('\n');

    EXPECT_EQ(json::parse(lines.substr(0, end)), what_there_is_of_another());
    EXPECT_EQ(json::parse(lines.substr(end)), what_there_is_of_another());
}

TEST(Json, HasTheSameWithTheChangeOfOneThatCame) {
    json expected = what_there_is_of_another();

    expected["change"] = "came";
    EXPECT_EQ(json::parse(as_json(Encounter{Encounter::Change::CAME, another()})), expected);
}

TEST(Json, HasNullForWhatAParticipantDoesNotSay) {
    const json object = json::parse(as_json(Listing{{Sighting()}, WallTime()}));

    for (const char *field : {"name", "host", "process", "pid", "tool", "index", "first_heard",
                              "last_heard", "domain_tag"}) {
        EXPECT_EQ(object.at(field), nullptr) << field;
    }
    EXPECT_EQ(object.at("ports"), json::object());
    EXPECT_EQ(object.at("lease"), "infinite");
}

HeldPorts held_by_a_process() {
    HeldPorts held = {};

    held.domain = 7;
    held.index = 2;
    held.ports = {{"builtin_unicast", 9164}};
    held.addresses = {"0.0.0.0"};
    held.holders = {{host::HostProcess{812, "talker", 0, "box"}, 0}};
    held.network.is_own = true;
    held.network.number = 4026531840;
    held.drops = 5;
    return held;
}

TEST(Json, HasAnObjectForEachHeldIndex) {
    const std::string line = as_json(HeldListing{{held_by_a_process()}, true});

    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(json::parse(line), json::parse(R"({
        "event": "held", "version": 1, "domain": 7, "index": 2,
        "ports": {"builtin_unicast": 9164}, "addresses": ["0.0.0.0"],
        "holders": [{"pid": 812, "name": "talker", "user": "root", "container": "box"}],
        "network": {"label": "own", "own": true, "number": 4026531840},
        "vendor": null, "guid": null, "participant": null, "drops": 5, "blocked": true,
        "remarks": ["announces nothing: blocks index 2"]})"));
}

TEST(Json, HasWhatAHolderWasHeardToSayOfItself) {
    HeldPorts held = held_by_a_process();

    held.announced = another();
    const json object = json::parse(as_json(HeldListing{{held}, true}));

    EXPECT_EQ(object.at("vendor"), "1.3");
    EXPECT_EQ(object.at("guid"), another().guid);
    EXPECT_EQ(object.at("participant"), "talker");
}

TEST(Json, HasNullForAHolderThatIsNotKnown) {
    HeldPorts held = held_by_a_process();

    held.holders = {{std::nullopt, 0}};
    EXPECT_EQ(json::parse(as_json(HeldListing{{held}, false})).at("holders"),
              json::parse(R"([{"pid": null, "name": null, "user": "root", "container": null}])"));
}

TEST(Json, HasTheChangeOfHeldPorts) {
    const HeldPorts held = held_by_a_process();
    const json object = json::parse(as_json(HeldChange{Encounter::Change::GONE, held, true}));

    EXPECT_EQ(object.at("event"), "held");
    EXPECT_EQ(object.at("change"), "gone");
}

PortCheck a_check() {
    return {{{7, {{0, 1}, {3, 119}}, {{1, 1}}, {{"held", {{9164, 9164}}, "9164 is held"}}},
             {8, {{0, 119}}, {}, {}}}};
}

TEST(Text, SaysWhichIndicesAreSafe) {
    EXPECT_EQ(as_text(a_check()), "Domain 7: safe indices: 0-1, 3-119; in use: 1\n"
                                  "  9164 is held\n"
                                  "Domain 8: safe indices: 0-119\n"
                                  "Domains without a finding: 8\n");
}

TEST(Json, HasAnObjectForEachDomainThatWasChecked) {
    const std::string lines = as_json(a_check());

    EXPECT_EQ(json::parse(lines.substr(0, lines.find('\n'))), json::parse(R"({
        "event": "check", "version": 1, "domain": 7, "safe": [[0, 1], [3, 119]],
        "in_use": [[1, 1]],
        "findings": [{"cause": "held", "ports": [[9164, 9164]], "text": "9164 is held"}]})"));
}

TEST(Text, SaysWhatHasBecomeOfHeldPorts) {
    const HeldPorts held = held_by_a_process();

    EXPECT_THAT(as_text(HeldChange{Encounter::Change::CAME, held, true}),
                StartsWith("Held ports came: domain 7, index 2, ports 9164, process talker (812)"));
}

TEST(Json, HasFractionsOfALease) {
    Sighting other = another();

    other.lease = std::chrono::milliseconds(1500);
    EXPECT_EQ(json::parse(as_json(Listing{{other}, WallTime()}))["lease"], 1.5);
}

TEST(Json, SumsUpWhatDiscoveryHasDone) {
    EXPECT_EQ(as_json(Discovered{7, 3, some_statistics()}),
              R"({"event":"discovery","domain":7,"index":3,"known":1,"came":6,"changed":4,)"
              R"("left":3,"lost":2,"announcements_sent":20,"announcements_received":30})"
              "\n");
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
