// SPDX-License-Identifier: Apache-2.0
// The wrapped functions of the enclosing participant and of its QoS as a whole.
#include "domain/DomainParticipant_internal.h"
#include "support/call_site.h"

using support::Failing;

WRAP(DDS_Long, DDS_DomainParticipant_get_participant_user_data_max_lengthI, Failing::NEVER,
     (const DDS_DomainParticipant *participant), participant)
WRAP(DDS_Long, DDS_DomainParticipant_get_participant_property_list_max_lengthI, Failing::NEVER,
     (const DDS_DomainParticipant *participant), participant)
WRAP(DDS_Long, DDS_DomainParticipant_get_participant_property_string_max_lengthI, Failing::NEVER,
     (const DDS_DomainParticipant *participant), participant)

WRAP(DDS_ReturnCode_t, DDS_DomainParticipantQos_finalize, Failing::BY_NAME,
     (DDS_DomainParticipantQos * qos), qos)

WRAP_LOWER(DDS_ReturnCode_t, DDS_DomainParticipant_get_qos,
           (DDS_DomainParticipant * participant, DDS_DomainParticipantQos *qos), participant, qos)
