// SPDX-License-Identifier: Apache-2.0
// Initialization that succeeds: what it calls, and what the record and the property then hold.
#include <cstring>

#include "names.h"
#include "pres/pres_participant.h"
#include "qos/DomainParticipantQos_internal.h"
#include "support/running_presentation.h"

namespace {

using namespace support;

class Initialize : public PresentationFixture {
protected:
    std::string sizeOfProperty = std::to_string(sizeof(PRESParticipantProperty));
};

TEST_F(Initialize, CallsTheLowerLayersInThisOrder) {
    Recording calls(recorder);
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "DDS_StatusMask_get_presentation_maskI(0)",
            "NUVOsapiUtility_strcpy(self._threadParticipantId, 5, \"p0\")",
            "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
            "\"dds.domain_participant.max_announced_locator_list_size\")",
            "NUVOsapiHeap_reallocateMemoryInternal(&pointer, " + sizeOfProperty +
                ", -1, 0, 0, \"NUVOsapiHeap_allocateStructure\", 0x4B4F4C41, "
                "\"struct PRESParticipantProperty\")",
            "DDS_Duration_to_ntp_time({2147483647, 2147483647}, "
            "PRESParticipantProperty#1.reachabilityLeaseDuration)",
            "DDS_TransportUnicastQosPolicy_initialize(self._cachedTransportUnicastPolicy)",
            "DDS_DiscoveryQosPolicy_initialize(self.cachedDiscoveryPolicy)",
            "DDS_TransportMulticastMappingQosPolicy_initialize("
            "self._cachedTransportMulticastMappingPolicy)",
            "PRESLocatorQosPolicy_copy(self._cachedDefaultUnicastLocator, "
            "LOCATOR_QOS_POLICY_DEFAULT)",
            "PRESLocatorQosPolicy_copy(self._cachedMetatrafficUnicastLocator, "
            "LOCATOR_QOS_POLICY_DEFAULT)",
            "PRESLocatorQosPolicy_copy(self._cachedDefaultMulticastLocator, "
            "REDUCED_LOCATOR_QOS_POLICY_DEFAULT)",
            "PRESLocatorQosPolicy_copy(self._cachedMetatrafficMulticastLocator, "
            "REDUCED_LOCATOR_QOS_POLICY_DEFAULT)",
            "DDS_ProductVersion_get_nuvdds_version(&version)",
            "DDS_ProductVersion_to_presentation_qos_policy({1.0.0.0}, "
            "PRESParticipantProperty#1.productVersion)",
            "PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty#1, char#1)",
            "DDS_DomainParticipantQos_to_participant_property(qos, PRESParticipantProperty#1)",
            "NUVOsapiUtility_strcpy(PRESParticipantProperty#1.parent.threadParticipantId, 5, "
            "\"p0\")",
            "NUVOsapiUtility_strcpy("
            "PRESParticipantProperty#1.activeEventGenerator.threadParticipantId, 5, \"p0\")",
            "NUVOsapiUtility_strcpy(PRESParticipantProperty#1.jobDispatcher.threadParticipantId, "
            "5, \"p0\")",
            "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
            "\"dds.domain_participant.asynchronous_publisher_thread_destruction_timeout\")",
            "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
            "\"dds.participant.use_45d_compatible_alignment_enforcement\")",
            "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
            "\"dds.participant.discovery_config.log_discovery_mismatch\")",
            "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
            "PRESParticipantProperty#1.sendTimeBasedLoggingThreshold, "
            "\"dds.participant.logging.time_based_logging.send.timeout\")",
            "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, &out, "
            "\"dds.participant.logging.time_based_logging.ea.timeout\")",
            "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
            "PRESParticipantProperty#1.processMessageTimeBasedLoggingThreshold, "
            "\"dds.participant.logging.time_based_logging.process_received_message.timeout\")",
            "DDS_PropertyQosPolicyHelper_lookup_property(qos.property, "
            "\"dds.participant.logging.time_based_logging.process_received_message.tracked_"
            "ports\")",
            "DDS_PropertyQosPolicyHelper_lookup_duration_property(qos.property, "
            "PRESParticipantProperty#1.authenticationTimeThreshold, "
            "\"dds.participant.logging.time_based_logging.authentication.timeout\")",
            "DDS_PropertyQosPolicyHelper_lookup_unsigned_integer_property(qos.property, &out=0, "
            "\"dds.participant.directed_write_serialization_kind\")",
            "DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI(factory)",
            "DDS_DomainParticipantFactory_get_presentation_thread_listenerI(factory)",
            "PRESParticipant_new(guid, configurator, workerFactory, activeDatabase, clock, "
            "timestampClock, tableEa, recordEa, remoteObjectsEa, threadListener, "
            "finalizeListener, PRESParticipantProperty#1, null, 0, null, recvThreadFactory, "
            "eventThreadFactory, asynchPubThreadFactory, worker)",
            "NUVOsapiHeap_freeMemoryInternal(null, 0, \"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)",
            "DDS_TransportUnicastQosPolicy_copy(self._cachedTransportUnicastPolicy, "
            "qos.default_unicast)",
            "DDS_TransportMulticastMappingQosPolicy_copy("
            "self._cachedTransportMulticastMappingPolicy, qos.multicast_mapping)",
            "DDS_DiscoveryQosPolicy_copy(self.cachedDiscoveryPolicy, qos.discovery)",
            "NUVOsapiHeap_freeMemoryInternal(PRESParticipantProperty#1, 0, "
            "\"NUVOsapiHeap_freeStructure\", 0x4B4F4C41, -1)",
        }));
}

TEST_F(Initialize, LogsNothingWhenAllIsWell) {
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(log.messages(), Messages());
}

TEST_F(Initialize, FreesThePropertyListAndTheTrackedPortsAfterTheParticipantIsMade) {
    setProperty("dds.participant.logging.time_based_logging.process_received_message.tracked_ports",
                "7410");
    Recording calls(recorder, only({"PRESParticipant_new", "NUVOsapiHeap_free*", "DDS_*_copy"}));
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    ASSERT_GE(calls.calls().size(), 4u);
    EXPECT_EQ(calls.calls()[0].substr(0, 20), "PRESParticipant_new(");
    EXPECT_EQ(calls.calls()[1], "NUVOsapiHeap_freeMemoryInternal(PRESProperty#1, 0, "
                                "\"NUVOsapiHeap_freeArray\", 0x4B4F4C43, -1)");
    EXPECT_EQ(calls.calls()[2], "NUVOsapiHeap_freeMemoryInternal(char#2, 0, "
                                "\"NUVOsapiHeap_freeString\", 0x4B4F4C42, -1)");
    EXPECT_EQ(calls.calls()[3], "NUVOsapiHeap_freeMemoryInternal(PRESParticipantProperty#1, 0, "
                                "\"NUVOsapiHeap_freeStructure\", 0x4B4F4C41, -1)");
}

TEST_F(Initialize, LeavesNoPointerToTheBuffersThatItFreed) {
    const PRESParticipantProperty *property = nullptr;
    const PRESProperty unset{};
    const PRESProperty *list = &unset;
    const char *ports = "";
    setProperty("dds.participant.logging.time_based_logging.process_received_message.tracked_ports",
                "7410");
    recorder.replace("DDS_DomainParticipantQos_to_participant_property",
                     [&](const DDS_DomainParticipantQos *src, PRESParticipantProperty *dst) {
                         property = dst;
                         return DDS_DomainParticipantQos_to_participant_property(src, dst);
                     });
    recorder.replace(
        "DDS_TransportUnicastQosPolicy_copy",
        [&](DDS_TransportUnicastQosPolicy *dst, const DDS_TransportUnicastQosPolicy *src) {
            const COMMENDReceiverProperty &receiver = property->facadeProperty.parent.receiver;
            list = property->parameter.propertyList.data._buffer;
            ports = receiver.processMessageTimeBasedLoggingExplicitPorts;
            return DDS_TransportUnicastQosPolicy_copy(dst, src);
        });
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(ports, nullptr);
}

TEST_F(Initialize, HandsListenerMaskAndSecurityOn) {
    const PRESParticipantListener listener{};
    const PRESParticipantSecurity security{};
    const PRESParticipantSecurityTokens tokens{};
    DDS_DomainParticipantTrustPluginsMaxTransformOverheads overheads{};
    recorder.name(&listener, "listener");
    recorder.name(&security, "security");
    arguments.listener = &listener;
    arguments.mask = DDS_STATUS_MASK_ALL;
    arguments.security = &security;
    arguments.securityTokens = &tokens;
    arguments.overheads = &overheads;

    Recording calls(recorder, only({"PRESParticipant_new", "DDS_StatusMask_*"}));
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(calls.text(),
              lines({
                  "DDS_StatusMask_get_presentation_maskI(4294967295)",
                  "PRESParticipant_new(guid, configurator, workerFactory, activeDatabase, clock, "
                  "timestampClock, tableEa, recordEa, remoteObjectsEa, threadListener, "
                  "finalizeListener, PRESParticipantProperty#1, listener, 1, security, "
                  "recvThreadFactory, eventThreadFactory, asynchPubThreadFactory, worker)",
              }));
}

TEST_F(Initialize, TranslatesTheListenerMaskBeforeItLooksAtTheRecord) {
    Recording calls(recorder);
    EXPECT_EQ(initialize(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(calls.text(),
              lines({"DDS_StatusMask_get_presentation_maskI(0)", "NUVLog_onAssertBreakpoint()"}));
}

TEST_F(Initialize, AcceptsANullWorker) {
    arguments.isWorkerNull = true;
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_NE(self.participant, nullptr);
}

// ---- the record

TEST_F(Initialize, FillsARecordThatHoldsAnything) {
    std::memset(&self, 0xA5, sizeof self);
    arguments.domainId = 7;
    arguments.threadParticipantId = "abc";
    arguments.participantIndexSpecified = 1;
    qos.discovery_config.locator_reachability_lease_duration = {10, 0};
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);

    EXPECT_NE(self.participant, nullptr);
    EXPECT_EQ(self._domainId, 7);
    EXPECT_STREQ(self._threadParticipantId, "abc");
    EXPECT_EQ(self._participantIndexSpecified, 1);
    EXPECT_EQ(self._configurator, configurator);
    EXPECT_EQ(self._entryportsReserved, 0);
    EXPECT_EQ(self._maxLocatorListSize, 16);
    EXPECT_EQ(self._isLocatorReachabilityDisabled, 0);
    EXPECT_EQ(self._reserveMetaUnicast._count, 0);
    EXPECT_EQ(self._reserveUserUnicast._count, 0);
}

template <typename Policy>
void expectEmpty(const Policy &list) {
    static const NUVNetioLocator INVALID = NUV_NETIO_LOCATOR_INVALID;

    EXPECT_EQ(list.count, 0);
    for (const NUVNetioLocator &locator : list.locatorList) {
        EXPECT_EQ(locator.transport, -1);
        EXPECT_EQ(std::memcmp(&locator.address, &INVALID.address, sizeof locator.address), 0);
        EXPECT_EQ(locator.hostname, nullptr);
        EXPECT_EQ(locator.port, 0);
        EXPECT_EQ(locator.encapsulationCount, 0);
        EXPECT_EQ(locator.lossProbability, 0);
        EXPECT_EQ(locator.disabled, 0);
    }
}

TEST_F(Initialize, EmptiesTheFourCachedLocatorLists) {
    std::memset(&self, 0xA5, sizeof self);
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    expectEmpty(self._cachedDefaultUnicastLocator);
    expectEmpty(self._cachedMetatrafficUnicastLocator);
    expectEmpty(self._cachedDefaultMulticastLocator);
    expectEmpty(self._cachedMetatrafficMulticastLocator);
}

TEST_F(Initialize, MakesTheMulticastEntryportsInvalid) {
    std::memset(&self, 0xA5, sizeof self);
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    for (const REDAWeakReference *reference :
         {&self._reserveEntryportMetaMulticastWR, &self._reserveEntryportUserMulticastWR}) {
        EXPECT_EQ(reference->_manager, nullptr);
        EXPECT_EQ(reference->_index, 0xFFFFFFFFu);
        EXPECT_EQ(reference->_referentEpochAtCreation, 0u);
    }
}

TEST_F(Initialize, CachesTheIrreversibleQos) {
    qos.wire_protocol.rtps_well_known_ports = {8000, 100, 3, 1, 20, 2, 21};
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_USER_UNICAST;
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);

    EXPECT_TRUE(DDS_RtpsWellKnownPorts_is_equal(&self.cachedWellKnownPorts,
                                                &qos.wire_protocol.rtps_well_known_ports));
    EXPECT_EQ(self._cachedReservedPortMask, DDS_RTPS_RESERVED_PORT_USER_UNICAST);
    EXPECT_TRUE(DDS_DiscoveryQosPolicy_is_equal(&self.cachedDiscoveryPolicy, &qos.discovery));
    EXPECT_NE(self.cachedDiscoveryPolicy.initial_peers._buffer,
              qos.discovery.initial_peers._buffer);
}

TEST_F(Initialize, ReservesNoEntryport) {
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(recorder.count("COMMENDFacade.addEntryport"), 0);
}

TEST_F(Initialize, TakesAThreadIdOfFiveCharacters) {
    arguments.threadParticipantId = "12345";
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_NE(self.participant, nullptr);
    EXPECT_STREQ(self._threadParticipantId, "12345");
}

// ---- the largest locator list

TEST_F(Initialize, AcceptsALocatorListSizeOfSixteen) {
    setProperty(MAX_LOCATOR_LIST_SIZE, "16");
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._maxLocatorListSize, 16);
    EXPECT_NE(self.participant, nullptr);
}

TEST_F(Initialize, ReadsALocatorListSizeThatIsNoNumberAsZero) {
    setProperty(MAX_LOCATOR_LIST_SIZE, "many");
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._maxLocatorListSize, 0);
    EXPECT_NE(self.participant, nullptr);
}

struct Number {
    const char *name;
    const char *text;
    int value;
};

class ListSizeText : public Initialize, public testing::WithParamInterface<Number> {};

TEST_P(ListSizeText, IsReadAsFarAsItIsANumber) {
    setProperty(MAX_LOCATOR_LIST_SIZE, GetParam().text);
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._maxLocatorListSize, GetParam().value);
    EXPECT_NE(self.participant, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ListSizeText,
    testing::Values(Number{"BlanksBefore", " \t7", 7}, Number{"BlanksBehind", "7 ", 7},
                    Number{"WordsBehind", "7 locators", 7}, Number{"LettersBehind", "7a", 7},
                    Number{"Fraction", "7.9", 7}, Number{"PlusSign", "+7", 7},
                    Number{"LeadingZero", "010", 10}, Number{"Hexadecimal", "0x10", 0},
                    Number{"Nothing", "", 0}, Number{"MinusZero", "-0", 0}),
    [](const auto &number) { return std::string(number.param.name); });

TEST_F(Initialize, KeepsTheDefaultListSizeForAPropertyWithoutAValue) {
    setProperty(MAX_LOCATOR_LIST_SIZE, nullptr);
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._maxLocatorListSize, 16);
}

// ---- locator reachability: any one of three tests is enough

TEST_F(Initialize, LeavesReachabilityOnForAFiniteLease) {
    qos.discovery_config.locator_reachability_lease_duration = {10, 500000000};
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._isLocatorReachabilityDisabled, 0);
    EXPECT_EQ(given->property.parameter.reachabilityLeaseDuration.sec, 10);
    EXPECT_EQ(given->property.parameter.reachabilityLeaseDuration.frac, 0x80000000u);
}

TEST_F(Initialize, DisablesReachabilityForInfiniteSeconds) {
    qos.discovery_config.locator_reachability_lease_duration = {DDS_DURATION_INFINITE_SEC, 0};
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._isLocatorReachabilityDisabled, 1);
}

TEST_F(Initialize, DisablesReachabilityForInfiniteNanoseconds) {
    qos.discovery_config.locator_reachability_lease_duration = {10, DDS_DURATION_INFINITE_NSEC};
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._isLocatorReachabilityDisabled, 1);
}

TEST_F(Initialize, DisablesReachabilityForNanosecondsOfAllBits) {
    qos.discovery_config.locator_reachability_lease_duration = {10, 0xFFFFFFFFu};
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._isLocatorReachabilityDisabled, 1);
}

class FiniteLease : public Initialize, public testing::WithParamInterface<DDS_Duration_t> {};

TEST_P(FiniteLease, LeavesReachabilityOn) {
    qos.discovery_config.locator_reachability_lease_duration = GetParam();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(self._isLocatorReachabilityDisabled, 0);
}

// Beside each of the values that mean infinity, and between them.
INSTANTIATE_TEST_SUITE_P(NextToInfinity, FiniteLease,
                         testing::Values(DDS_Duration_t{DDS_DURATION_INFINITE_SEC - 1, 0},
                                         DDS_Duration_t{-1, 0},
                                         DDS_Duration_t{10, DDS_DURATION_INFINITE_NSEC - 1},
                                         DDS_Duration_t{10, DDS_DURATION_INFINITE_NSEC + 1},
                                         DDS_Duration_t{10, 0xFFFFFFFEu}));

TEST_F(Initialize, HandsAnInfiniteLeaseOn) {
    qos.discovery_config.locator_reachability_lease_duration = DDS_DURATION_INFINITE;
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.parameter.reachabilityLeaseDuration.sec, 0x7FFFFFFF);
    EXPECT_EQ(given->property.parameter.reachabilityLeaseDuration.frac, 0xFFFFFFFFu);
}

// ---- the property

TEST_F(Initialize, StartsFromTheDefaultProperty) {
    const PRESParticipantProperty *property = nullptr;
    int looks = 0;
    recorder.onBlock("struct PRESParticipantProperty", [&](void *block, const std::string &) {
        std::memset(block, 0xA5, sizeof *property);
        property = static_cast<const PRESParticipantProperty *>(block);
    });
    recorder.replace("DDS_Duration_to_ntp_time", [&](const DDS_Duration_t *, NUVNtpTime *) {
        expectDefault(*property); // nothing has been set in it yet
        ++looks;
    });
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(looks, 1);
}

TEST_F(Initialize, LeavesInThePropertyWhatNothingSets) {
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    const COMMENDFacadeProperty &facade = given->property.facadeProperty.parent;
    const COMMENDFacadeProperty &usual = PARTICIPANT_PROPERTY_DEFAULT.facadeProperty.parent;
    EXPECT_EQ(std::memcmp(&facade.interpreter, &usual.interpreter, sizeof usual.interpreter), 0);
    EXPECT_EQ(facade.jobDispatcher.executionThreadDestructionTimeout,
              usual.jobDispatcher.executionThreadDestructionTimeout);
    EXPECT_EQ(std::memcmp(&facade.sender, &usual.sender, sizeof usual.sender), 0);
    EXPECT_EQ(std::memcmp(&facade.receiver, &usual.receiver, sizeof usual.receiver), 0);
    EXPECT_EQ(NUVNtpTime_compare(&given->property.authenticationTimeThreshold,
                                 &PARTICIPANT_PROPERTY_DEFAULT.authenticationTimeThreshold),
              0);
    EXPECT_EQ(given->trackedPorts, std::nullopt);
}

TEST_F(Initialize, SetsTheProductVersion) {
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.parameter.productVersion.major, 1);
    EXPECT_EQ(given->property.parameter.productVersion.minor, 0);
    EXPECT_EQ(given->property.parameter.productVersion.release, 0);
    EXPECT_EQ(given->property.parameter.productVersion.revision, 0);
}

TEST_F(Initialize, LendsABufferForPartitionNames) {
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "left"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "right"));
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->partition, "left,right");
    EXPECT_EQ(given->property.parameter.partitionQosPolicy.name._maximum, 256);
}

TEST_F(Initialize, HandsThePropertyListOn) {
    setProperty("color", "green");
    setProperty("dds.participant.unknown", "1");
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->properties, (std::map<std::string, std::string>{
                                     {"color", "green"}, {"dds.participant.unknown", "1"}}));
}

TEST_F(Initialize, EnforcesAlignmentWhenTheQosAsksForIt) {
    setProperty(ALIGNMENT, "true");
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.facadeProperty.parent.interpreter.enforceSubmessageAlignment, 1);
}

TEST_F(Initialize, LogsDiscoveryMismatchesWhenTheQosAsksForIt) {
    setProperty(MISMATCH, "true");
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.facadeProperty.parent.interpreter.logParticipantDiscoveryMismatch, 1);
}

TEST_F(Initialize, ParsesTheTwoBooleansIntoTheProperty) {
    setProperty(ALIGNMENT, "0");
    setProperty(MISMATCH, "no");
    Recording calls(recorder, only({"REDAString_strToBoolean"}));
    EXPECT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(
        calls.text(),
        lines({
            "REDAString_strToBoolean(\"0\", PRESParticipantProperty#1.enforceSubmessageAlignment)",
            "REDAString_strToBoolean(\"no\", "
            "PRESParticipantProperty#1.logParticipantDiscoveryMismatch)",
        }));
}

TEST_F(Initialize, UsesTheSecondDiscoveryProtocolWhenItsBitIsSet) {
    qos.discovery_config.builtin_discovery_plugins = 0x11;
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.facadeProperty.parent.interpreter.isSpdp2, 1);
}

TEST_F(Initialize, UsesTheFirstDiscoveryProtocolForAllOtherBits) {
    qos.discovery_config.builtin_discovery_plugins = ~0x10u;
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.facadeProperty.parent.interpreter.isSpdp2, 0);
}

TEST_F(Initialize, SerializesDirectedWritesAsTheQosAsksUpToTwo) {
    setProperty(SERIALIZATION_KIND, "2");
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.directedWriteGuidSerializationKind, 2);
}

TEST_F(Initialize, SerializesDirectedWritesByKindZeroWhenTheQosIsSilent) {
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.directedWriteGuidSerializationKind, 0);
}

TEST_F(Initialize, SerializesDirectedWritesByKindZeroForTextThatIsNoNumber) {
    setProperty(SERIALIZATION_KIND, "two");
    keepProperty();
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    EXPECT_EQ(given->property.directedWriteGuidSerializationKind, 0);
}

} // namespace
