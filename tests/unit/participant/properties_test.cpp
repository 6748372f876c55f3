#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string TIME_BASED = "dds.participant.logging.time_based_logging.";

class ParticipantProperties : public ParticipantTest {
protected:
    void add(const std::string &name, const std::string &value) {
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos->property, name.c_str(),
                                                           value.c_str(), DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }
};

struct BadValue {
    const char *name;
    const char *value;
    const char *allowed;
};

class RefusedProperty : public ParticipantProperties,
                        public testing::WithParamInterface<BadValue> {};

TEST_P(RefusedProperty, IsNamedWithItsValueAndWhatIsAllowed) {
    const BadValue &bad = GetParam();
    add(bad.name, bad.value);

    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(),
                ElementsAre("inconsistent QoS: property " + std::string(bad.name) +
                            " has the value " + bad.value + " but can only be " + bad.allowed));
}

const char *const BOOLEANS = "a boolean (0, 1, false, true, no, yes, off, on)";

INSTANTIATE_TEST_SUITE_P(
    All, RefusedProperty,
    testing::Values(
        BadValue{"dds.participant.use_45d_compatible_alignment_enforcement", "maybe", BOOLEANS},
        BadValue{"dds.participant.discovery_config.log_discovery_mismatch", "2", BOOLEANS},
        BadValue{"dds.participant.directed_write_serialization_kind", "3", "(0, 1, 2)"},
        BadValue{"dds.participant.directed_write_serialization_kind", "-1", "(0, 1, 2)"},
        BadValue{"dds.participant.directed_write_serialization_kind", "abc", "(0, 1, 2)"}));

class PassedOverProperty : public ParticipantProperties,
                           public testing::WithParamInterface<BadValue> {};

TEST_P(PassedOverProperty, IsAWarning) {
    const BadValue &bad = GetParam();
    add(TIME_BASED + bad.name, bad.value);

    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING),
                ElementsAre("inconsistent QoS: property " + TIME_BASED + bad.name +
                            " has the value " + bad.value + ", which is passed over: allowed is " +
                            bad.allowed));
}

const char *const SECONDS = "a number of seconds, as 0.125, or infinite";

INSTANTIATE_TEST_SUITE_P(All, PassedOverProperty,
                         testing::Values(BadValue{"send.timeout", "abc", SECONDS},
                                         BadValue{"ea.timeout", "-1", SECONDS},
                                         BadValue{"process_received_message.timeout", "", SECONDS},
                                         BadValue{"authentication.timeout", "1 s", SECONDS},
                                         BadValue{"ea.tracked_level", "high", "an integer"}));

TEST_F(ParticipantProperties, UnknownNameOfTheLibrarysOwnIsAWarning) {
    add("dds.participant.loging", "1");
    add("application.setting", "1");

    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING),
                ElementsAre("inconsistent QoS: property dds.participant.loging is passed over: "
                            "nobody knows a property of this name"));
}

TEST_F(ParticipantProperties, GoodValuesAreNotMentioned) {
    add(TIME_BASED + "send.timeout", "0.5");
    add(TIME_BASED + "ea.timeout", "infinite");
    add(TIME_BASED + "ea.tracked_level", "20");

    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING), IsEmpty());
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(ParticipantProperties, TrackedPortsThatAreNoneAreRefused) {
    add(TIME_BASED + "process_received_message.tracked_ports", "7410-");

    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(), testing::Contains(HasSubstr("tracked_ports")));
}

TEST_F(ParticipantProperties, MulticastMappingIsNamedAsNotActedOn) {
    ASSERT_TRUE(
        DDS_TransportMulticastMappingSeq_ensure_length(&qos->multicast_mapping.value, 1, 1));
    auto *mapping =
        DDS_TransportMulticastMappingSeq_get_reference(&qos->multicast_mapping.value, 0);
    ASSERT_TRUE(DDS_StringSeq_append(&mapping->addresses, "239.255.1.1"));
    ASSERT_TRUE(DDS_String_replace(&mapping->topic_expression, "*"));

    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING),
                ElementsAre("this setting is accepted but nothing acts on it in this version: "
                            "multicast_mapping"));
}

TEST_F(ParticipantProperties, WhatIsNotAnnouncedIsNamedOnce) {
    const DDS_Octet octet = 1;

    ASSERT_TRUE(DDS_OctetSeq_from_array(&qos->user_data.value, &octet, 1));
    ASSERT_TRUE(DDS_StringSeq_append(&qos->partition.name, "p"));
    ASSERT_TRUE(DDS_String_replace(&qos->participant_name.name, "n"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos->discovery.initial_peers, "192.0.2.9"));

    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING),
                ElementsAre("no participant is announced in this version, which these settings are "
                            "for: discovery.initial_peers, user_data, partition, "
                            "participant_name"));
}

TEST_F(ParticipantProperties, NothingIsNamedForTheUsualSettings) {
    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING), testing::IsEmpty());
}

TEST_F(ParticipantProperties, MulticastPortOfAStrangerIsAnError) {
    const int stranger = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port_base()));
    inet_pton(AF_INET, "239.255.0.1", &address.sin_addr);
    ASSERT_EQ(bind(stranger, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);

    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("cannot receive at udpv4://239.255.0.1:" +
                                                std::to_string(port_base()) + ": cannot bind")));
    close(stranger);
}

} // namespace
