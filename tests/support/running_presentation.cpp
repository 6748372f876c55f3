// SPDX-License-Identifier: Apache-2.0
#include "support/running_presentation.h"

#include <cstring>

#include "dds_c/dds_c_string.h"
#include "osapi/osapi_heap.h"
#include "qos/DomainParticipantQos_internal.h"

namespace support {

void expectDefault(PRESParticipantProperty property) {
#if __has_builtin(__builtin_clear_padding)
    PRESParticipantProperty expected = PARTICIPANT_PROPERTY_DEFAULT;
    expected.parameter.partitionQosPolicy.name = property.parameter.partitionQosPolicy.name;
    __builtin_clear_padding(&expected);
    __builtin_clear_padding(&property);
    EXPECT_EQ(std::memcmp(&property, &expected, sizeof property), 0);
#else
    // Padding, which a copy need not carry, cannot be told from fields: the builds of the other
    // compiler compare them.
    (void)property;
#endif
}

void wantForWorkerOnly(REDAWorker &worker, NUV_UINT32 level) {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask, 0);
    NUVLog_storeMask(&NUVLog_g_categoryMask[level], 4);
    worker._activityContext->category = 6;
}

void forbidErrors() {
    NUVLog_storeMask(&DDSLog_g_instrumentationMask,
                     NUVLog_loadMask(&DDSLog_g_instrumentationMask) & ~NUV_LOG_LEVEL_ERROR);
}

void forbidDomain() {
    NUVLog_storeMask(&DDSLog_g_submoduleMask,
                     NUVLog_loadMask(&DDSLog_g_submoduleMask) & ~DDS_LOG_SUBMODULE_DOMAIN);
}

SetupBuffers::SetupBuffers(Recorder &recorder) {
    recorder.replace(
        "DDS_DomainParticipantQos_setup_presentation_qosI",
        [this](const DDS_DomainParticipantQos *qos, PRESParticipantProperty *property,
               DDS_Long maxLength, DDS_Long maxPropertyLength,
               DDS_Long maxPropertyStringLength) -> DDS_ReturnCode_t {
            const DDS_ReturnCode_t result = DDS_DomainParticipantQos_setup_presentation_qosI(
                qos, property, maxLength, maxPropertyLength, maxPropertyStringLength);
            buffers_ = {property->parameter.userData._buffer,
                        property->parameter.propertyList.data._buffer,
                        property->parameter.propertyList.strings._buffer};
            return result;
        });
    recorder.replace("DDS_DomainParticipantQos_finalize_presentation_qosI",
                     [this](PRESParticipantProperty *property) -> DDS_ReturnCode_t {
                         (void)DDS_DomainParticipantQos_finalize_presentation_qosI(property);
                         buffers_.clear();
                         return result_;
                     });
}

void SetupBuffers::free() {
    for (void *buffer : buffers_) {
        NUVOsapiHeap_freeArray(buffer);
    }
    buffers_.clear();
}

void RunningPresentation::SetUp() {
    PresentationFixture::SetUp();
    setupBuffers.emplace(recorder);
    recorder.name(&owner, "owner");
    recorder.name(&out, "out");
    recorder.name(&out.default_unicast, "out.default_unicast");
    recorder.name(&out.multicast_mapping, "out.multicast_mapping");
    recorder.name(&out.discovery, "out.discovery");
}

void RunningPresentation::TearDown() {
    recorder.clearFaults();
    setupBuffers.reset();
    DDS_DomainParticipantQos_finalize(&out);
    PresentationFixture::TearDown();
}

void RunningPresentation::start() {
    ASSERT_EQ(initialize(), DDS_RETCODE_OK);
    ASSERT_NE(self.participant, nullptr);
    nameParticipant();
    owner.qos.resource_limits = qos.resource_limits;
    log.clear();
}

DDS_ReturnCode_t RunningPresentation::get(int getUserData) {
    return DDS_DomainParticipantPresentation_get_qos(&self, &owner, &out, getUserData, worker);
}

DDS_ReturnCode_t RunningPresentation::set() {
    return DDS_DomainParticipantPresentation_set_qos(&self, &qos, worker);
}

PRESParticipantProperty RunningPresentation::running() {
    PRESParticipantProperty property = PARTICIPANT_PROPERTY_DEFAULT;
    EXPECT_TRUE(PRESParticipant_getProperty(self.participant, &property, worker));
    return property;
}

void RunningPresentation::failFinalize() {
    setupBuffers->failFinalize();
}

void RunningPresentation::setUserData(const std::vector<DDS_Octet> &octets) {
    ASSERT_TRUE(DDS_OctetSeq_from_array(&qos.user_data.value, octets.data(),
                                        static_cast<DDS_Long>(octets.size())));
}

void RunningPresentation::addUnicastSetting(const char *transport, DDS_Long port) {
    DDS_TransportUnicastSettingsSeq &settings = qos.default_unicast.value;
    const DDS_Long i = settings._length;
    ASSERT_TRUE(DDS_TransportUnicastSettingsSeq_ensure_length(&settings, i + 1, i + 1));
    settings._buffer[i].receive_port = port;
    ASSERT_TRUE(DDS_StringSeq_append(&settings._buffer[i].transports, transport));
}

void RunningPresentation::addMapping(const char *address, const char *expression) {
    DDS_TransportMulticastMappingSeq &mappings = qos.multicast_mapping.value;
    const DDS_Long i = mappings._length;
    ASSERT_TRUE(DDS_TransportMulticastMappingSeq_ensure_length(&mappings, i + 1, i + 1));
    ASSERT_TRUE(DDS_StringSeq_append(&mappings._buffer[i].addresses, address));
    ASSERT_TRUE(DDS_String_replace(&mappings._buffer[i].topic_expression, expression));
}

void RunningPresentation::fill() {
    setUserData({1, 2, 3});
    qos.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    qos.wire_protocol.participant_id = 3;
    qos.wire_protocol.rtps_host_id = guid.prefix.hostId;
    qos.wire_protocol.rtps_app_id = guid.prefix.appId;
    qos.wire_protocol.rtps_instance_id = guid.prefix.instanceId;
    qos.wire_protocol.rtps_well_known_ports = {7500, 260, 3, 1, 12, 2, 13};
    qos.wire_protocol.rtps_reserved_port_mask = DDS_RTPS_RESERVED_PORT_MASK_ALL;
    qos.transport_builtin.mask = DDS_TRANSPORTBUILTIN_MASK_ALL;
    addUnicastSetting("udpv4", 7777);
    addMapping("239.255.1.1", "square*");
    ASSERT_TRUE(DDS_StringSeq_append(&qos.discovery.enabled_transports, "udpv4"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.discovery.initial_peers, "192.0.2.1:7410"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.discovery.multicast_receive_addresses, "239.255.0.2"));
    qos.discovery_config.locator_reachability_lease_duration = {5, 250000000};
    qos.discovery_config.builtin_discovery_plugins = DDS_DISCOVERYCONFIG_BUILTIN_SPDP2;
    qos.resource_limits = {1, 100, 5, 500, 4096};
    setProperty("color", "green");
    setProperty("size", "3");
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.name, "somebody"));
    ASSERT_TRUE(DDS_String_replace(&qos.participant_name.role_name, "a role"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "one"));
    ASSERT_TRUE(DDS_StringSeq_append(&qos.partition.name, "two"));
}

} // namespace support
