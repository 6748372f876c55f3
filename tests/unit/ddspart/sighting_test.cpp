// SPDX-License-Identifier: Apache-2.0
// What the tool makes of what a participant says of itself.
#include "sighting.h"

#include <array>

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "dds_c/dds_c_string.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr DDS_RtpsWellKnownPorts_t PORTS = DDS_RTPS_WELL_KNOWN_PORTS_INITIALIZER;

DDS_Locator_t udpv4(const char *address, DDS_UnsignedLong port) {
    DDS_Locator_t locator = {DDS_LOCATOR_KIND_UDPv4, port, {}};

    EXPECT_EQ(inet_pton(AF_INET, address, locator.address + 12), 1);
    return locator;
}

DDS_Locator_t udpv6(const char *address, DDS_UnsignedLong port) {
    DDS_Locator_t locator = {DDS_LOCATOR_KIND_UDPv6, port, {}};

    EXPECT_EQ(inet_pton(AF_INET6, address, locator.address), 1);
    return locator;
}

/** Of a participant that says the least. */
class Sightings : public testing::Test {
protected:
    ~Sightings() override {
        DDS_ParticipantBuiltinTopicData_finalize(&data_);
    }

    static void set(DDS_LocatorSeq &sequence, const std::vector<DDS_Locator_t> &locators) {
        ASSERT_TRUE(DDS_LocatorSeq_from_array(&sequence, locators.data(),
                                              static_cast<DDS_Long>(locators.size())));
    }

    void set_ports(DDS_UnsignedLong builtin, DDS_UnsignedLong user) {
        set(data_.metatraffic_unicast_locators, {udpv4("192.0.2.2", builtin)});
        set(data_.default_unicast_locators, {udpv4("192.0.2.2", user)});
    }

    void add_property(const char *name, const char *value) {
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&data_.property, name, value,
                                                              DDS_BOOLEAN_TRUE),
                  DDS_RETCODE_OK);
    }

    Sighting sighting() const {
        return sighting_of(data_, PORTS);
    }

    DDS_ParticipantBuiltinTopicData data_ = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_INITIALIZER;
};

TEST(GuidText, IsFourWordsOfLowerCaseDigits) {
    const DDS_GUID_t guid = {{0x00, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, //
                              0xEF, 0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x01, 0xC1}};

    EXPECT_EQ(to_text(guid), "00012345.6789abcd.effedcba.987601c1");
}

TEST_F(Sightings, HaveNothingThatIsNotSaid) {
    const Sighting other = sighting();

    EXPECT_FALSE(other.name);
    EXPECT_FALSE(other.host);
    EXPECT_FALSE(other.process);
    EXPECT_FALSE(other.pid);
    EXPECT_FALSE(other.tool);
    EXPECT_FALSE(other.domain_tag);
    EXPECT_FALSE(other.builtin_unicast_port);
    EXPECT_FALSE(other.user_unicast_port);
    EXPECT_FALSE(other.index);
    EXPECT_FALSE(other.first_heard);
    EXPECT_FALSE(other.last_heard);
    EXPECT_THAT(other.addresses, IsEmpty());
}

TEST_F(Sightings, HaveVendorAndProtocolAsTwoNumbers) {
    data_.rtps_vendor_id = {{1, 30}};
    data_.rtps_protocol_version = {2, 5};
    EXPECT_EQ(sighting().vendor, "1.30");
    EXPECT_EQ(sighting().protocol, "2.5");
}

TEST_F(Sightings, HaveHostProcessAndToolFromProperties) {
    add_property("__Hostname", "alpha");
    add_property("__ProcessName", "talker");
    add_property("__Pid", "4711");
    add_property("ddspart.tool", "a tool");
    const Sighting other = sighting();

    EXPECT_EQ(other.host, "alpha");
    EXPECT_EQ(other.process, "talker");
    EXPECT_EQ(other.pid, 4711);
    EXPECT_EQ(other.tool, "a tool");
    EXPECT_THAT(other.properties,
                ElementsAre(Pair("__Hostname", "alpha"), Pair("__ProcessName", "talker"),
                            Pair("__Pid", "4711"), Pair("ddspart.tool", "a tool")));
}

TEST_F(Sightings, HaveNoPidThatIsNoNumber) {
    add_property("__Pid", "4711a");
    EXPECT_FALSE(sighting().pid);
}

TEST_F(Sightings, HaveEachAddressOnce) {
    set(data_.default_unicast_locators,
        {udpv4("192.0.2.2", 7411), udpv4("198.51.100.2", 7411), udpv6("fd00::2", 7411)});
    set(data_.metatraffic_unicast_locators, {udpv4("192.0.2.2", 7410)});
    EXPECT_THAT(sighting().addresses, ElementsAre("192.0.2.2", "198.51.100.2", "fd00::2"));
}

TEST_F(Sightings, AreAtAddressesThatContainAllOfTheirs) {
    EXPECT_FALSE(is_at(sighting(), {"192.0.2.2"})); // nobody knows where
    set(data_.default_unicast_locators, {udpv4("192.0.2.2", 7411), udpv4("172.17.0.1", 7411)});
    EXPECT_TRUE(is_at(sighting(), {"172.17.0.1", "192.0.2.2", "127.0.0.1"}));
    EXPECT_FALSE(is_at(sighting(), {"172.17.0.1", "192.0.2.3"}));
}

TEST_F(Sightings, PassOverLocatorsThatAreNone) {
    set(data_.metatraffic_unicast_locators, {{16, 7410, {}},
                                             udpv4("192.0.2.2", 0x80000000u),
                                             udpv4("192.0.2.2", 7410),
                                             {DDS_LOCATOR_KIND_INVALID, 0, {}}});
    EXPECT_THAT(sighting().metatraffic_unicast_locators, ElementsAre("udpv4://192.0.2.2:7410"));
    EXPECT_EQ(sighting().builtin_unicast_port, 7410);
}

TEST_F(Sightings, HaveNoPortWhereLocatorsHaveSeveral) {
    set(data_.metatraffic_unicast_locators,
        {udpv4("192.0.2.2", 7410), udpv4("198.51.100.2", 7412)});
    EXPECT_FALSE(sighting().builtin_unicast_port);
}

TEST_F(Sightings, HaveTheIndexOfTheirPorts) {
    set_ports(7410, 7411);
    EXPECT_EQ(sighting().index, 0);
    set_ports(7648, 7649);
    EXPECT_EQ(sighting().index, 119);
}

TEST_F(Sightings, HaveTheIndexOfTheirPortsInTheirDomain) {
    data_.domain_id = 7;
    set_ports(9166, 9167);
    EXPECT_EQ(sighting().index, 3);
}

TEST_F(Sightings, HaveNoIndexWherePortsDoNotFit) {
    set_ports(7410, 7413); // of two indices
    EXPECT_FALSE(sighting().index);
    set_ports(7650, 7651); // beyond the last one
    EXPECT_FALSE(sighting().index);
    set_ports(40000, 40001);
    EXPECT_FALSE(sighting().index);
}

TEST_F(Sightings, HaveAnIndexByOnePortWhereThereIsNoOther) {
    set(data_.metatraffic_unicast_locators, {udpv4("192.0.2.2", 7416)});
    EXPECT_EQ(sighting().index, 3);
}

TEST_F(Sightings, HaveALeaseUnlessItIsInfinite) {
    data_.lease_duration = {1, 500000000u};
    EXPECT_EQ(sighting().lease, std::chrono::milliseconds(1500));
    data_.lease_duration = DDS_DURATION_INFINITE;
    EXPECT_FALSE(sighting().lease);
}

TEST_F(Sightings, TellWhenTheyWereHeard) {
    data_.first_heard = {100, 5};
    data_.last_heard = {200, 0};
    EXPECT_EQ(sighting().first_heard, WallTime(std::chrono::nanoseconds(100000000005)));
    EXPECT_EQ(sighting().last_heard, WallTime(std::chrono::seconds(200)));
}

} // namespace
