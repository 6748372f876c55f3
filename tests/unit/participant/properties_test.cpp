// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "../netio/net_fixture.h"
#include "domain/CallWorker.h"
#include "domain/DomainParticipant_internal.h"
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

TEST_F(ParticipantProperties, SayHowWhatIsSentTravels) {
    add("dds.transport.multicast_ttl", "255");
    add("dds.transport.dscp", "63");
    DDS_DomainParticipant *participant = create();
    ASSERT_NE(participant, nullptr);
    int ttl = -1;
    int traffic_class = -1;
    faults::replace("sendmsg", [&](int socket, const msghdr *, int) -> ssize_t {
        socklen_t length = sizeof ttl;
        getsockopt(socket, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, &length);
        length = sizeof traffic_class;
        getsockopt(socket, IPPROTO_IP, IP_TOS, &traffic_class, &length);
        return 0;
    });
    CallWorker worker(participant->resources.workerFactory);
    const NUVNetioLocator locator = net::locator("127.0.0.1:7410");
    EXPECT_NE(
        NUVNetioConfigurator_send(participant->configurator, &locator, nullptr, 0, worker.get()),
        0);
    EXPECT_EQ(ttl, 255);
    EXPECT_EQ(traffic_class, 252);
}

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
const char *const LIST_SIZE = "dds.domain_participant.max_announced_locator_list_size";
const char *const THREAD_TIMEOUT =
    "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout";

INSTANTIATE_TEST_SUITE_P(
    All, RefusedProperty,
    testing::Values(
        BadValue{"dds.participant.use_45d_compatible_alignment_enforcement", "maybe", BOOLEANS},
        BadValue{"dds.participant.discovery_config.log_discovery_mismatch", "2", BOOLEANS},
        BadValue{"dds.participant.directed_write_serialization_kind", "3", "a number from 0 to 2"},
        BadValue{"dds.participant.directed_write_serialization_kind", "-1", "a number from 0 to 2"},
        BadValue{"dds.participant.directed_write_serialization_kind", "abc",
                 "a number from 0 to 2"},
        BadValue{LIST_SIZE, "17", "a number from 0 to 16"},
        BadValue{LIST_SIZE, "-1", "a number from 0 to 16"},
        BadValue{LIST_SIZE, "abc", "a number from 0 to 16"},
        BadValue{LIST_SIZE, "8 of them", "a number from 0 to 16"},
        BadValue{LIST_SIZE, "4294967297", "a number from 0 to 16"},
        BadValue{"dds.transport.multicast_ttl", "256", "a number from 0 to 255"},
        BadValue{"dds.transport.dscp", "64", "a number from 0 to 63"},
        BadValue{"dds.transport.dscp", "EF", "a number from 0 to 63"},
        BadValue{"dds.discovery.announce", "", BOOLEANS},
        BadValue{"dds.discovery.announce_process", "maybe", BOOLEANS},
        BadValue{"dds.discovery.answer_questions", "never", BOOLEANS},
        BadValue{"dds.discovery.accept_mismatch", "any", BOOLEANS},
        BadValue{"dds.discovery.max_peer_index", "120", "a number from 0 to 119"},
        BadValue{"dds.discovery.max_peer_index", "-1", "a number from 0 to 119"},
        BadValue{THREAD_TIMEOUT, "61", "a number from 0 to 60"},
        BadValue{THREAD_TIMEOUT, "", "a number from 0 to 60"}));

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
    add(TIME_BASED + "send.timeout", "infinite");
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

struct UnusedSetting {
    const char *name;
    void (*give)(DDS_DomainParticipantQos &qos);
};

void PrintTo(const UnusedSetting &setting, std::ostream *out) {
    *out << setting.name;
}

void add_property(DDS_DomainParticipantQos &qos, const char *name, const char *value) {
    ASSERT_EQ(
        DDS_PropertyQosPolicyHelper_add_property(&qos.property, name, value, DDS_BOOLEAN_FALSE),
        DDS_RETCODE_OK);
}

/** In the order in which the warning names them. */
const UnusedSetting UNUSED_SETTINGS[] = {
    {"multicast_mapping",
     [](DDS_DomainParticipantQos &qos) {
         DDS_TransportMulticastMappingSeq &mappings = qos.multicast_mapping.value;
         ASSERT_TRUE(DDS_TransportMulticastMappingSeq_ensure_length(&mappings, 1, 1));
         ASSERT_TRUE(DDS_StringSeq_append(&mappings._buffer[0].addresses, "239.255.1.1"));
         ASSERT_TRUE(DDS_String_replace(&mappings._buffer[0].topic_expression, "*"));
     }},
    {"partition",
     [](DDS_DomainParticipantQos &qos) {
         ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "p"));
     }},
    {"dds.participant.logging.time_based_logging.authentication.timeout",
     [](DDS_DomainParticipantQos &qos) {
         add_property(qos, "dds.participant.logging.time_based_logging.authentication.timeout",
                      "1");
     }},
    {"discovery_config.builtin_discovery_plugins",
     [](DDS_DomainParticipantQos &qos) {
         qos.discovery_config.builtin_discovery_plugins = DDS_DISCOVERYCONFIG_BUILTIN_SPDP2;
     }},
    {"discovery_config.locator_reachability_lease_duration",
     [](DDS_DomainParticipantQos &qos) {
         qos.discovery_config.locator_reachability_lease_duration = {5, 0};
     }},
    {"dds.participant.directed_write_serialization_kind",
     [](DDS_DomainParticipantQos &qos) {
         add_property(qos, "dds.participant.directed_write_serialization_kind", "1");
     }},
    {"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout",
     [](DDS_DomainParticipantQos &qos) {
         add_property(
             qos, "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout", "5");
     }},
};

const std::string NOTHING_ACTS =
    "these settings are accepted but nothing acts on them in this version: ";

class UnusedSettings : public ParticipantTest, public testing::WithParamInterface<UnusedSetting> {};

TEST_P(UnusedSettings, AreNamedInAWarning) {
    GetParam().give(*qos.get());

    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING), ElementsAre(NOTHING_ACTS + GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(All, UnusedSettings, testing::ValuesIn(UNUSED_SETTINGS));

TEST_F(ParticipantProperties, AllUnusedSettingsAreNamedInOneWarning) {
    std::string names;

    for (const UnusedSetting &setting : UNUSED_SETTINGS) {
        setting.give(*qos.get());
        names += (names.empty() ? "" : ", ") + std::string(setting.name);
    }
    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING), ElementsAre(NOTHING_ACTS + names));
}

TEST_F(ParticipantProperties, UnusedSettingsAreNotNamedWithoutAParticipant) {
    add(TIME_BASED + "authentication.timeout", "0.5");
    add(TIME_BASED + "process_received_message.tracked_ports", "7410-");

    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING), IsEmpty());
}

TEST_F(ParticipantProperties, OneEmptyPartitionIsTheDefaultAndNotNamed) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos->partition.name, ""));

    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING), IsEmpty());
}

TEST_F(ParticipantProperties, NothingIsNamedForTheUsualSettings) {
    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(messages(NUV_LOG_LEVEL_WARNING), testing::IsEmpty());
}

TEST_F(ParticipantProperties, MulticastPortOfAStrangerIsAnError) {
    const int stranger = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(support::portBase()));
    inet_pton(AF_INET, "239.255.0.1", &address.sin_addr);
    ASSERT_EQ(bind(stranger, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);

    EXPECT_EQ(create(), nullptr);
    const std::string reason =
        "cannot receive at udpv4://239.255.0.1:" + std::to_string(support::portBase()) +
        ": cannot bind the socket: Address already in use (EADDRINUSE)";
    EXPECT_THAT(
        errors(),
        ElementsAre(reason,
                    "failed to enable: the participant gets no index in domain 0: " + reason));
    close(stranger);
}

} // namespace
