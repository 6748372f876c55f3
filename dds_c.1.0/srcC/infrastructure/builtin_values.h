// SPDX-License-Identifier: Apache-2.0
/**
 * @file builtin_values.h
 * @brief The fields of what a participant knows of others.
 */
#ifndef INFRASTRUCTURE_BUILTIN_VALUES_H
#define INFRASTRUCTURE_BUILTIN_VALUES_H

#include "dds_c/dds_c_builtin.h"
#include "qos/policies.h"

namespace dds::value {

DDS_ELEMENT(DDS_InstanceHandleSeq, struct DDS_InstanceHandle_t);

DDS_RECORD(DDS_InstanceHandle_t, DDS_FIELD(value));
DDS_RECORD(DDS_BuiltinTopicKey_t, DDS_FIELD(value));
DDS_RECORD(DDS_GUID_t, DDS_FIELD(value));
DDS_RECORD(DDS_VendorId_t, DDS_FIELD(value));
DDS_RECORD(DDS_ProtocolVersion_t, DDS_FIELD(major), DDS_FIELD(minor));
DDS_RECORD(DDS_Time_t, DDS_FIELD(sec), DDS_FIELD(nanosec));

DDS_RECORD(DDS_ParticipantBuiltinTopicData, DDS_FIELD(key), DDS_FIELD(user_data), DDS_FIELD(guid),
           DDS_FIELD(rtps_vendor_id), DDS_FIELD(rtps_protocol_version), DDS_FIELD(domain_id),
           DDS_FIELD(says_domain_id), DDS_FIELD(domain_tag), DDS_FIELD(participant_name),
           DDS_FIELD(property), DDS_FIELD(metatraffic_unicast_locators),
           DDS_FIELD(metatraffic_multicast_locators), DDS_FIELD(default_unicast_locators),
           DDS_FIELD(default_multicast_locators), DDS_FIELD(lease_duration), DDS_FIELD(first_heard),
           DDS_FIELD(last_heard), DDS_FIELD(source), DDS_FIELD(is_local), DDS_FIELD(has_addressed));

} // namespace dds::value

#endif
