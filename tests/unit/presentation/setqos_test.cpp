// SPDX-License-Identifier: Apache-2.0
// A new QoS for a running participant: what may change, and how it is applied.
#include <cstring>

#include "names.h"
#include "property_calls.h"
#include "support/running_presentation.h"

namespace {

using namespace support;

Message immutable(const char *policy) {
    return {.function = SET_QOS,
            .name = "DDS_LOG_IMMUTABLE_POLICY_s",
            .text = std::string("immutable policy: ") + policy};
}

class SetQos : public RunningPresentation {
protected:
    /** What the operation returns for `qos`, and that get_qos then returns just that. */
    void expectTaken() {
        EXPECT_EQ(set(), DDS_RETCODE_OK);
        EXPECT_EQ(get(), DDS_RETCODE_OK);
        EXPECT_TRUE(DDS_DomainParticipantQos_is_equal(&out, &qos));
        EXPECT_EQ(log.messages(), Messages());
    }
};

// ---- calls

TEST_F(SetQos, MakesTheseCalls) {
    setProperty("color", "green");
    start();
    Recording calls(recorder);
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "DDS_TransportUnicastQosPolicy_is_equalI(self._cachedTransportUnicastPolicy, "
            "qos.default_unicast, 1)",
            "PRESParticipant_getGuid(participant, &guid)",
            ALLOCATION,
            "PRESParticipant_getProperty(participant, PRESParticipantProperty#1, worker)",
            "DDS_DomainParticipantQos_to_participant_property(qos, PRESParticipantProperty#1)",
            "NUVOsapiUtility_strcpy(PRESParticipantProperty#1.parent.threadParticipantId, 5, "
            "\"p0\")",
            "NUVOsapiUtility_strcpy(PRESParticipantProperty#1.activeEventGenerator."
            "threadParticipantId, 5, \"p0\")",
            "NUVOsapiUtility_strcpy(PRESParticipantProperty#1.jobDispatcher.threadParticipantId, "
            "5, \"p0\")",
            "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
            "\"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout\")",
            "PRESParticipant_setProperty(participant, &failReason=0x20D1001, "
            "PRESParticipantProperty#1, worker)",
            "DDS_TransportUnicastQosPolicy_copy(self._cachedTransportUnicastPolicy, "
            "qos.default_unicast)",
            "DDS_TransportMulticastMappingQosPolicy_copy("
            "self._cachedTransportMulticastMappingPolicy, qos.multicast_mapping)",
            "DDS_DiscoveryQosPolicy_copy(self.cachedDiscoveryPolicy, qos.discovery)",
            "NUVOsapiHeap_freeMemoryInternal(PRESProperty#1, 0, "
            "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)",
            FREE,
        }));
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(SetQos, FreesNoPropertyListWhenThereIsNone) {
    start();
    Recording calls(recorder, only({"NUVOsapiHeap_freeMemoryInternal"}));
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(), lines({FREE}));
}

TEST_F(SetQos, ReadsIntoADefaultPropertyWithAnEmptyPartitionBuffer) {
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
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    EXPECT_EQ(partition, "");
    EXPECT_EQ(property.parameter.partitionQosPolicy.name._maximum, 256);
    expectDefault(property);
}

TEST_F(SetQos, DoesNotNeedAWorker) {
    start();
    setUserData({1});
    EXPECT_EQ(DDS_DomainParticipantPresentation_set_qos(&self, &qos, nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_UserDataQosPolicy_is_equal(&out.user_data, &qos.user_data));
}

// ---- what may change

TEST_F(SetQos, TakesTheSameQosAgain) {
    fill();
    start();
    expectTaken();
}

TEST_F(SetQos, TakesUserData) {
    setUserData({1, 2, 3});
    start();
    setUserData({4, 5});
    expectTaken();
}

TEST_F(SetQos, TakesUserDataAway) {
    setUserData({1, 2, 3});
    start();
    setUserData({});
    expectTaken();
}

TEST_F(SetQos, TakesTheEntityFactory) {
    start();
    qos.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    expectTaken();
}

TEST_F(SetQos, TakesPartitions) {
    start();
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "one"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "two"));
    expectTaken();
}

TEST_F(SetQos, TakesPropertiesAndTakesThemAway) {
    setProperty("color", "green");
    start();
    setProperty("color", "blue");
    setProperty("size", "3");
    expectTaken();
    DDS_PropertyQosPolicy_finalize(&qos.property);
    DDS_PropertyQosPolicy_initialize(&qos.property);
    expectTaken();
}

TEST_F(SetQos, TakesNames) {
    start();
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.name, "somebody"));
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.role_name, "a role"));
    expectTaken();
}

TEST_F(SetQos, TakesEmptyNames) {
    start();
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.name, ""));
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.role_name, ""));
    expectTaken();
    EXPECT_STREQ(out.participant_name.name, "");
    EXPECT_STREQ(out.participant_name.role_name, "");
}

TEST_F(SetQos, TakesALoneEmptyPartitionForNone) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "one"));
    start();
    DDS_StringSeq_finalize(&qos.partition.name);
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, ""));
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    EXPECT_EQ(get(), DDS_RETCODE_OK);
    EXPECT_EQ(out.partition.name._length, 0);
}

TEST_F(SetQos, TakesAnEmptyPartitionBesideOthers) {
    start();
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "one"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, ""));
    expectTaken();
}

TEST_F(SetQos, TakesTheDiscoveryConfiguration) {
    start();
    qos.discovery_config.locator_reachability_lease_duration = {5, 250000000};
    qos.discovery_config.builtin_discovery_plugins = DDS_DISCOVERYCONFIG_BUILTIN_SPDP2;
    expectTaken();
}

TEST_F(SetQos, KeepsANewMulticastMapping) {
    start();
    addMapping("239.255.1.1", "square*");
    expectTaken();
    EXPECT_TRUE(DDS_TransportMulticastMappingQosPolicy_is_equal(
        &self._cachedTransportMulticastMappingPolicy, &qos.multicast_mapping));
}

TEST_F(SetQos, KeepsANewDiscoveryPolicy) {
    start();
    ASSERT_TRUE(DDS_StringSeq_append(&qos.discovery.initial_peers, "192.0.2.1"));
    expectTaken();
    EXPECT_TRUE(DDS_DiscoveryQosPolicy_is_equal(&self.cachedDiscoveryPolicy, &qos.discovery));
}

TEST_F(SetQos, KeepsNewPorts) {
    start();
    qos.wire_protocol.rtps_well_known_ports = {7500, 260, 3, 1, 12, 2, 13};
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_USER_MULTICAST;
    expectTaken();
    EXPECT_TRUE(DDS_RtpsWellKnownPorts_is_equal(&self.cachedWellKnownPorts,
                                                &qos.wire_protocol.rtps_well_known_ports));
    EXPECT_EQ(self._cachedReservedPortMask, DDS_RTPS_RESERVED_PORT_USER_MULTICAST);
}

TEST_F(SetQos, LeavesWhatTheQosDoesNotCoverAsItRuns) {
    arguments.threadParticipantId = "abcde";
    start();
    PRESParticipantProperty property = running();
    ASSERT_TRUE(NUVNetioLocator_parse("udpv4://192.0.2.10:7411",
                                      &property.parameter.defaultUnicastLocator.locatorList[0]));
    property.parameter.defaultUnicastLocator.count = 1;
    property.directedWriteGuidSerializationKind = 2;
    property.authenticationTimeThreshold = {7, 8};
    int failReason = PRES_RETCODE_OK;
    ASSERT_TRUE(PRESParticipant_setProperty(self.participant, &failReason, &property, worker));

    setUserData({9});
    EXPECT_EQ(set(), DDS_RETCODE_OK);
    const PRESParticipantProperty now = running();
    EXPECT_EQ(now.parameter.defaultUnicastLocator.count, 1);
    EXPECT_EQ(PRESLocatorQosPolicy_compare(&now.parameter.defaultUnicastLocator,
                                           &property.parameter.defaultUnicastLocator),
              0);
    EXPECT_EQ(now.directedWriteGuidSerializationKind, 2);
    EXPECT_EQ(now.authenticationTimeThreshold.sec, 7);
    EXPECT_EQ(now.authenticationTimeThreshold.frac, 8u);
    EXPECT_STREQ(now.facadeProperty.parent.threadParticipantId, "abcde");
    EXPECT_EQ(std::memcmp(&now.parameter.productVersion, &property.parameter.productVersion,
                          sizeof now.parameter.productVersion),
              0);
}

TEST_F(SetQos, ChangesOnlyTheKeptPoliciesOfTheRecord) {
    start();
    DDS_DomainParticipantPresentation record;
    std::memcpy(&record, &self, sizeof self);
    fill();
    DDS_TransportUnicastQosPolicy_finalize(&qos.default_unicast);
    qos.wire_protocol.participant_id = DDS_PARTICIPANT_ID_AUTO;
    qos.transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_DEFAULT;
    qos.resource_limits = owner.qos.resource_limits;
    expectTaken();
    record._cachedTransportUnicastPolicy = self._cachedTransportUnicastPolicy;
    record._cachedTransportMulticastMappingPolicy = self._cachedTransportMulticastMappingPolicy;
    record.cachedDiscoveryPolicy = self.cachedDiscoveryPolicy;
    record.cachedWellKnownPorts = self.cachedWellKnownPorts;
    record._cachedReservedPortMask = self._cachedReservedPortMask;
    EXPECT_EQ(std::memcmp(&record, &self, sizeof self), 0);
}

// ---- what may not change: the default unicast policy

class SetQosFixed : public SetQos {
protected:
    /** Refused with one message after these calls and no others; and nothing has changed. */
    void expectRefused(const char *policy, const std::vector<std::string> &expected) {
        const HeapWatch before;
        DDS_DomainParticipantPresentation record;
        std::memcpy(&record, &self, sizeof self);
        {
            Recording calls(recorder);
            EXPECT_EQ(set(), DDS_RETCODE_IMMUTABLE_POLICY);
            EXPECT_EQ(calls.text(), lines(expected));
        }
        EXPECT_EQ(log.messages(), Messages({immutable(policy)}));
        EXPECT_EQ(before.change(), Blocks());
        EXPECT_EQ(std::memcmp(&record, &self, sizeof self), 0);
        EXPECT_EQ(get(), DDS_RETCODE_OK);
        EXPECT_EQ(out.user_data.value._length, 0);
    }

    void expectUnicastRefused() {
        setUserData({1}); // must not be taken over
        expectRefused("default_unicast", {COMPARISON});
    }

    void expectIdentityRefused() {
        setUserData({1}); // must not be taken over
        expectRefused("wire_protocol", {COMPARISON, "PRESParticipant_getGuid(participant, &guid)"});
    }

    static constexpr const char *COMPARISON =
        "DDS_TransportUnicastQosPolicy_is_equalI(self._cachedTransportUnicastPolicy, "
        "qos.default_unicast, 1)";
};

TEST_F(SetQosFixed, UnicastSettingIsNotAdded) {
    start();
    addUnicastSetting("udpv4", 0);
    expectUnicastRefused();
}

TEST_F(SetQosFixed, UnicastSettingIsNotRemoved) {
    addUnicastSetting("udpv4", 7777);
    start();
    DDS_TransportUnicastQosPolicy_finalize(&qos.default_unicast);
    expectUnicastRefused();
}

TEST_F(SetQosFixed, ReceivePortOfAUnicastSettingIsNotChanged) {
    addUnicastSetting("udpv4", 7777);
    start();
    qos.default_unicast.value._buffer[0].receive_port = 7778;
    expectUnicastRefused();
}

TEST_F(SetQosFixed, TransportOfAUnicastSettingIsNotChanged) {
    addUnicastSetting("udpv4", 7777);
    start();
    ASSERT_TRUE(
        DDS_String_replace(&qos.default_unicast.value._buffer[0].transports._buffer[0], "udpv6"));
    expectUnicastRefused();
}

class SetQosLaterSetting : public SetQosFixed {
protected:
    void SetUp() override {
        SetQosFixed::SetUp();
        addUnicastSetting("udpv4", 7777);
        addUnicastSetting("udpv4", 7778);
        addUnicastSetting("udpv4", 7779);
        start();
    }
};

TEST_F(SetQosLaterSetting, IsTakenAsItIs) {
    expectTaken();
}

TEST_F(SetQosLaterSetting, PortIsNotChanged) {
    qos.default_unicast.value._buffer[2].receive_port = 7780;
    expectUnicastRefused();
}

TEST_F(SetQosLaterSetting, TransportIsNotChanged) {
    ASSERT_TRUE(
        DDS_String_replace(&qos.default_unicast.value._buffer[2].transports._buffer[0], "udpv6"));
    expectUnicastRefused();
}

TEST_F(SetQosLaterSetting, IsNotRemoved) {
    ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&qos.default_unicast.value, 2, 2));
    expectUnicastRefused();
}

TEST_F(SetQosFixed, UnicastPolicyIsComparedWithTheRecordsCopy) {
    addUnicastSetting("udpv4", 7777);
    start();
    self._cachedTransportUnicastPolicy.value._buffer[0].receive_port = 7778;
    expectUnicastRefused();
}

TEST_F(SetQosFixed, UnicastPolicyIsLookedAtBeforeTheIdentity) {
    start();
    addUnicastSetting("udpv4", 0);
    qos.wire_protocol.rtps_host_id = guid.prefix.hostId + 1;
    expectUnicastRefused();
}

// ---- what may not change: the identity

struct Word {
    const char *name;
    DDS_UnsignedLong DDS_WireProtocolQosPolicy::*requested;
    NUV_UINT32 NUVOsapiRtpsGuidPrefix::*running;
};

void PrintTo(const Word &word, std::ostream *out) {
    *out << word.name;
}

class SetQosIdentity : public SetQosFixed, public testing::WithParamInterface<Word> {
protected:
    void SetUp() override {
        SetQosFixed::SetUp();
        start();
    }

    DDS_UnsignedLong &requested() {
        return qos.wire_protocol.*GetParam().requested;
    }
    NUV_UINT32 running() const {
        return guid.prefix.*GetParam().running;
    }
};

TEST_P(SetQosIdentity, ZeroKeepsTheWord) {
    requested() = 0;
    expectTaken();
    NUVOsapiRtpsGuid now;
    PRESParticipant_getGuid(self.participant, &now);
    EXPECT_EQ(now.prefix.*GetParam().running, running());
}

TEST_P(SetQosIdentity, TheRunningWordIsAccepted) {
    requested() = running();
    expectTaken();
}

TEST_P(SetQosIdentity, TheNextWordIsRefused) {
    requested() = running() + 1;
    expectIdentityRefused();
}

TEST_P(SetQosIdentity, TheLargestWordIsRefused) {
    requested() = 0xFFFFFFFFu;
    expectIdentityRefused();
}

TEST_P(SetQosIdentity, AnotherWordIsRefusedBesideTheRunningOnes) {
    qos.wire_protocol.rtps_host_id = guid.prefix.hostId;
    qos.wire_protocol.rtps_app_id = guid.prefix.appId;
    qos.wire_protocol.rtps_instance_id = guid.prefix.instanceId;
    requested() = running() ^ 0x80000000u;
    expectIdentityRefused();
}

INSTANTIATE_TEST_SUITE_P(Of, SetQosIdentity,
                         testing::Values(Word{"Host", &DDS_WireProtocolQosPolicy::rtps_host_id,
                                              &NUVOsapiRtpsGuidPrefix::hostId},
                                         Word{"App", &DDS_WireProtocolQosPolicy::rtps_app_id,
                                              &NUVOsapiRtpsGuidPrefix::appId},
                                         Word{"Instance",
                                              &DDS_WireProtocolQosPolicy::rtps_instance_id,
                                              &NUVOsapiRtpsGuidPrefix::instanceId}),
                         [](const testing::TestParamInfo<Word> &word) { return word.param.name; });

TEST_F(SetQosFixed, WordsOfTheIdentityAreNotExchanged) {
    start();
    qos.wire_protocol.rtps_host_id = guid.prefix.appId;
    qos.wire_protocol.rtps_app_id = guid.prefix.hostId;
    expectIdentityRefused();
}

TEST_F(SetQosFixed, AllWordsOfTheIdentityMayBeGiven) {
    start();
    qos.wire_protocol.rtps_host_id = guid.prefix.hostId;
    qos.wire_protocol.rtps_app_id = guid.prefix.appId;
    qos.wire_protocol.rtps_instance_id = guid.prefix.instanceId;
    expectTaken();
}

} // namespace
