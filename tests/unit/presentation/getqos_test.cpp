// SPDX-License-Identifier: Apache-2.0
// The QoS of a running participant: what it is asked for and what it returns.
#include <cstring>

#include "property_calls.h"
#include "support/running_presentation.h"

namespace {

using namespace support;

class GetQos : public RunningPresentation {};

// ---- calls

TEST_F(GetQos, MakesTheseCalls) {
    start();
    Recording calls(recorder);
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            ALLOCATION,
            "DDS_DomainParticipant_get_participant_user_data_max_lengthI(owner)",
            "DDS_DomainParticipant_get_participant_property_list_max_lengthI(owner)",
            "DDS_DomainParticipant_get_participant_property_string_max_lengthI(owner)",
            "DDS_DomainParticipantQos_setup_presentation_qosI(out, PRESParticipantProperty#1, 256, "
            "32, 2048)",
            "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#1)",
            "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
            "DDS_DomainParticipantQos_from_participant_property(out, PRESParticipantProperty#1)",
            "DDS_TransportUnicastQosPolicy_copy(out.default_unicast, "
            "self._cachedTransportUnicastPolicy)",
            "DDS_TransportMulticastMappingQosPolicy_copy(out.multicast_mapping, "
            "self._cachedTransportMulticastMappingPolicy)",
            "DDS_DiscoveryQosPolicy_copy(out.discovery, self.cachedDiscoveryPolicy)",
            "DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty#1)",
            FREE,
        }));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(GetQos, AsksNoLimitAndSetsNothingUpWithoutUserDataButFinalizes) {
    start();
    Recording calls(recorder);
    EXPECT_EQ(get(0), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            ALLOCATION,
            "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#1)",
            "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
            "DDS_DomainParticipantQos_from_participant_property(out, PRESParticipantProperty#1)",
            "DDS_TransportUnicastQosPolicy_copy(out.default_unicast, "
            "self._cachedTransportUnicastPolicy)",
            "DDS_TransportMulticastMappingQosPolicy_copy(out.multicast_mapping, "
            "self._cachedTransportMulticastMappingPolicy)",
            "DDS_DiscoveryQosPolicy_copy(out.discovery, self.cachedDiscoveryPolicy)",
            "DDS_DomainParticipantQos_finalize_presentation_qosI(PRESParticipantProperty#1)",
            FREE,
        }));
}

TEST_F(GetQos, AnyNonZeroValueAsksForUserData) {
    start();
    EXPECT_EQ(get(-1), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.count("DDS_DomainParticipantQos_setup_presentation_qosI"), 1);
}

TEST_F(GetQos, SetsUpBuffersOfTheOwnersLimits) {
    start();
    owner.qos.resource_limits = {12, 1001, 11, 3003, 4096};
    Recording calls(recorder, only({"DDS_DomainParticipantQos_setup_presentation_qosI"}));
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({"DDS_DomainParticipantQos_setup_presentation_qosI(out, PRESParticipantProperty#1, "
               "1001, 11, 3003)"}));
}

TEST_F(GetQos, ReadsIntoADefaultPropertyWithAnEmptyPartitionBuffer) {
    start();
    PRESParticipantProperty property;
    std::string partition = "not called";
    recorder.replace("PRESParticipant_getProperty",
                     [&](PRESParticipant *participant, PRESParticipantProperty *into,
                         REDAWorker *caller) -> int {
                         partition = into->parameter.partitionQosPolicy.name.str;
                         std::memcpy(&property, into, sizeof property);
                         return PRESParticipant_getProperty(participant, into, caller);
                     });
    EXPECT_EQ(get(0), DDS_RETCODE_OK);
    EXPECT_EQ(partition, "");
    EXPECT_EQ(property.parameter.partitionQosPolicy.name._maximum, 256);
    expectDefault(property);
}

TEST_F(GetQos, ChangesNothingInTheRecord) {
    fill();
    start();
    DDS_DomainParticipantPresentation record;
    std::memcpy(&record, &self, sizeof self);
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(std::memcmp(&record, &self, sizeof self), 0);
}

TEST_F(GetQos, DoesNotNeedAWorker) {
    start();
    EXPECT_EQ(DDS_DomainParticipantPresentation_get_qos(&self, &owner, &out, 1, nullptr),
              DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos));
}

// ---- what is returned

TEST_F(GetQos, ReturnsTheDefaultQos) {
    start();
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos));
}

/** A policy, something else than its default, and how it is compared. */
struct Policy {
    const char *name;
    bool (*isEqual)(const DDS_DomainParticipantQos &, const DDS_DomainParticipantQos &);
};

void PrintTo(const Policy &policy, std::ostream *out) {
    *out << policy.name;
}

#define POLICY(MEMBER, TYPE)                                                                         \
    Policy {                                                                                         \
#MEMBER, [](const DDS_DomainParticipantQos &left, const DDS_DomainParticipantQos &right) {         \
        return TYPE##_is_equal(&left.MEMBER, &right.MEMBER) != DDS_BOOLEAN_FALSE;                   \
    } \
    }

const Policy POLICIES[] = {
    POLICY(user_data, DDS_UserDataQosPolicy),
    POLICY(entity_factory, DDS_EntityFactoryQosPolicy),
    POLICY(wire_protocol, DDS_WireProtocolQosPolicy),
    POLICY(transport_builtin, DDS_TransportBuiltinQosPolicy),
    POLICY(default_unicast, DDS_TransportUnicastQosPolicy),
    POLICY(multicast_mapping, DDS_TransportMulticastMappingQosPolicy),
    POLICY(discovery, DDS_DiscoveryQosPolicy),
    POLICY(discovery_config, DDS_DiscoveryConfigQosPolicy),
    POLICY(resource_limits, DDS_DomainParticipantResourceLimitsQosPolicy),
    POLICY(property, DDS_PropertyQosPolicy),
    POLICY(participant_name, DDS_EntityNameQosPolicy),
    POLICY(partition, DDS_PartitionQosPolicy),
};

class GetQosRoundTrip : public RunningPresentation, public testing::WithParamInterface<Policy> {};

TEST_P(GetQosRoundTrip, ReturnsWhatTheParticipantWasMadeWith) {
    DDS_DomainParticipantQos defaults;
    ASSERT_EQ(DDS_DomainParticipantQos_initialize(&defaults), DDS_RETCODE_OK);
    fill();
    ASSERT_FALSE(GetParam().isEqual(qos, defaults));
    start();
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(GetParam().isEqual(out, qos));
    DDS_DomainParticipantQos_finalize(&defaults);
}

TEST_P(GetQosRoundTrip, ReplacesWhatTheQosHeldBefore) {
    start();
    DDS_DomainParticipantQos defaults = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    ASSERT_NE(DDS_DomainParticipantQos_copy(&defaults, &qos), nullptr);
    fill();
    ASSERT_NE(DDS_DomainParticipantQos_copy(&out, &qos), nullptr);
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(GetParam().isEqual(out, defaults));
    DDS_DomainParticipantQos_finalize(&defaults);
}

INSTANTIATE_TEST_SUITE_P(Of, GetQosRoundTrip, testing::ValuesIn(POLICIES),
                         [](const testing::TestParamInfo<Policy> &policy) {
                             return policy.param.name;
                         });

TEST_F(GetQos, ReturnsEveryFieldOfTheWireProtocol) {
    fill();
    start();
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    const DDS_WireProtocolQosPolicy &got = out.wire_protocol;
    EXPECT_EQ(got.participant_id, 3);
    EXPECT_EQ(got.rtps_host_id, 0x00000A01u);
    EXPECT_EQ(got.rtps_app_id, 0x0000B002u);
    EXPECT_EQ(got.rtps_instance_id, 0x00000C03u);
    EXPECT_EQ(got.rtps_well_known_ports.port_base, 7500);
    EXPECT_EQ(got.rtps_well_known_ports.domain_id_gain, 260);
    EXPECT_EQ(got.rtps_well_known_ports.participant_id_gain, 3);
    EXPECT_EQ(got.rtps_well_known_ports.builtin_multicast_port_offset, 1);
    EXPECT_EQ(got.rtps_well_known_ports.builtin_unicast_port_offset, 12);
    EXPECT_EQ(got.rtps_well_known_ports.user_multicast_port_offset, 2);
    EXPECT_EQ(got.rtps_well_known_ports.user_unicast_port_offset, 13);
    EXPECT_EQ(got.rtps_reserved_port_mask, DDS_RTPS_RESERVED_PORT_MASK_ALL);
}

TEST_F(GetQos, ReturnsNeitherUserDataNorPropertiesUnlessAsked) {
    fill();
    start();
    EXPECT_EQ(get(0), DDS_RETCODE_OK);
    EXPECT_EQ(out.user_data.value._length, 0);
    EXPECT_EQ(out.property.value._length, 0);
    EXPECT_TRUE(DDS_PartitionQosPolicy_is_equal(&out.partition, &qos.partition));
    EXPECT_TRUE(DDS_EntityNameQosPolicy_is_equal(&out.participant_name, &qos.participant_name));
    EXPECT_TRUE(DDS_DiscoveryQosPolicy_is_equal(&out.discovery, &qos.discovery));
}

TEST_F(GetQos, ReturnsUserDataAndPropertiesOfTheOwnersLimits) {
    const std::string value(2048 - sizeof "name" - 1, 'x');
    setUserData(std::vector<DDS_Octet>(256, 7));
    setProperty("name", value.c_str());
    start();
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos));
}

TEST_F(GetQos, ReturnsPartitionsOf255Characters) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, std::string(255, 'p').c_str()));
    start();
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_PartitionQosPolicy_is_equal(&out.partition, &qos.partition));
}

TEST_F(GetQos, ReturnsEmptyNamesAsSuch) {
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.name, ""));
    start();
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_STREQ(out.participant_name.name, "");
    EXPECT_EQ(out.participant_name.role_name, nullptr);
}

TEST_F(GetQos, ReturnsALoneEmptyPartitionAsNone) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, ""));
    start();
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(out.partition.name._length, 0);
}

TEST_F(GetQos, ReturnsThePoliciesThatTheRecordKeepsAndNoOthers) {
    start();
    fill();
    ASSERT_NE(DDS_TransportUnicastQosPolicy_copy(&self._cachedTransportUnicastPolicy,
                                                 &qos.default_unicast),
              nullptr);
    ASSERT_NE(DDS_TransportMulticastMappingQosPolicy_copy(
                  &self._cachedTransportMulticastMappingPolicy, &qos.multicast_mapping),
              nullptr);
    ASSERT_NE(DDS_DiscoveryQosPolicy_copy(&self.cachedDiscoveryPolicy, &qos.discovery), nullptr);
    self.cachedWellKnownPorts = {1, 2, 3, 4, 5, 6, 7};
    self._cachedReservedPortMask = DDS_RTPS_RESERVED_PORT_USER_MULTICAST;
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_TransportUnicastQosPolicy_is_equal(&out.default_unicast, &qos.default_unicast));
    EXPECT_TRUE(DDS_TransportMulticastMappingQosPolicy_is_equal(&out.multicast_mapping,
                                                                &qos.multicast_mapping));
    EXPECT_TRUE(DDS_DiscoveryQosPolicy_is_equal(&out.discovery, &qos.discovery));
    EXPECT_TRUE(DDS_RtpsWellKnownPorts_is_equal(&out.wire_protocol.rtps_well_known_ports,
                                                &self.cachedWellKnownPorts));
    EXPECT_EQ(out.wire_protocol.rtps_reserved_port_mask, DDS_RTPS_RESERVED_PORT_USER_MULTICAST);
    EXPECT_EQ(out.wire_protocol.participant_id, DDS_PARTICIPANT_ID_AUTO)
        << "of the property, not of the record";
}

} // namespace
