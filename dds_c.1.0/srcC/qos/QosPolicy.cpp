// SPDX-License-Identifier: Apache-2.0
// The operations of each policy: initialize, finalize, copy, is_equal.
#include "qos/QosPolicy_internal.h"

#include "infrastructure/dds_log.h"
#include "qos/policies.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::value::to_boolean;

/* The operations of one policy; what follows the policy is its initializer. */
#define DDS_QOS_POLICY_IMPLEMENTATION(TPolicy, ...)                                                \
    void TPolicy##_initialize(TPolicy *self) {                                                     \
        if (!DDSLog_isNull(self)) {                                                                \
            *self = __VA_ARGS__;                                                                   \
        }                                                                                          \
    }                                                                                              \
    void TPolicy##_finalize(TPolicy *self) {                                                       \
        if (!DDSLog_isNull(self)) {                                                                \
            dds::value::finalize(*self);                                                           \
        }                                                                                          \
    }                                                                                              \
    TPolicy *TPolicy##_copy(TPolicy *self, const TPolicy *src) {                                   \
        if (DDSLog_isNull(self) || DDSLog_isNull(src)) {                                           \
            return nullptr;                                                                        \
        }                                                                                          \
        return dds::value::copy(*self, *src) ? self : nullptr;                                     \
    }                                                                                              \
    DDS_Boolean TPolicy##_is_equal(const TPolicy *left, const TPolicy *right) {                    \
        return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&                         \
                          dds::value::is_equal(*left, *right));                                    \
    }

DDS_QOS_POLICY_IMPLEMENTATION(DDS_UserDataQosPolicy, DDS_USER_DATA_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_EntityFactoryQosPolicy, DDS_ENTITY_FACTORY_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_WireProtocolQosPolicy, DDS_WIRE_PROTOCOL_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_TransportBuiltinQosPolicy,
                              DDS_TRANSPORT_BUILTIN_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_TransportUnicastQosPolicy,
                              DDS_TRANSPORT_UNICAST_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_TransportMulticastMappingQosPolicy,
                              DDS_TRANSPORT_MULTICAST_MAPPING_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_DiscoveryQosPolicy, DDS_DISCOVERY_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_DiscoveryConfigQosPolicy,
                              DDS_DISCOVERY_CONFIG_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_DomainParticipantResourceLimitsQosPolicy,
                              DDS_DOMAIN_PARTICIPANT_RESOURCE_LIMITS_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_PropertyQosPolicy, DDS_PROPERTY_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_EntityNameQosPolicy, DDS_ENTITY_NAME_QOS_POLICY_INITIALIZER)
DDS_QOS_POLICY_IMPLEMENTATION(DDS_PartitionQosPolicy, DDS_PARTITION_QOS_POLICY_INITIALIZER)

DDS_ReturnCode_t DDS_DiscoveryQosPolicy_get_defaultI(DDS_DiscoveryQosPolicy *self) {
    if (DDSLog_isNull(self)) {
        return DDS_RETCODE_BAD_PARAMETER;
    }
    *self = DDS_DISCOVERY_QOS_POLICY_INITIALIZER;
    if (!DDS_StringSeq_append(&self->initial_peers, "239.255.0.1") ||
        !DDS_StringSeq_append(&self->initial_peers, "127.0.0.1") ||
        !DDS_StringSeq_append(&self->multicast_receive_addresses, "239.255.0.1")) {
        dds::value::finalize(*self);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    return DDS_RETCODE_OK;
}

int DDS_TransportUnicastQosPolicy_is_equalI(const DDS_TransportUnicastQosPolicy *left,
                                            const DDS_TransportUnicastQosPolicy *right,
                                            int compareReceivePorts) {
    if (DDSLog_isNull(left) || DDSLog_isNull(right) ||
        left->value._length != right->value._length) {
        return 0;
    }
    for (DDS_Long i = 0; i < left->value._length; ++i) {
        const DDS_TransportUnicastSettings_t &l = left->value._buffer[i];
        const DDS_TransportUnicastSettings_t &r = right->value._buffer[i];
        if (!dds::value::is_equal(l.transports, r.transports) ||
            (compareReceivePorts && l.receive_port != r.receive_port)) {
            return 0;
        }
    }
    return 1;
}
