// SPDX-License-Identifier: Apache-2.0
// The default property and the buffer for partition names.
#include "pres/pres_participantProperty.h"

constinit const PRESParticipantProperty PARTICIPANT_PROPERTY_DEFAULT =
    PRES_PARTICIPANT_PROPERTY_DEFAULT;

void PRESParticipantProperty_setPartitionBuffer(PRESParticipantProperty *self, char *buffer) {
    buffer[0] = '\0';
    self->parameter.partitionQosPolicy.name._maximum = PRES_PARTITION_BUFFER_SIZE;
    self->parameter.partitionQosPolicy.name.str = buffer;
}
