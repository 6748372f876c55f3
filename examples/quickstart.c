// SPDX-License-Identifier: Apache-2.0
#include <stdio.h>

#include "dds_c/dds_c.h"

int main(void) {
    DDS_DomainParticipantFactory *factory = DDS_DomainParticipantFactory_get_instance();
    DDS_DomainParticipant *participant = DDS_DomainParticipantFactory_create_participant(
        factory, 7, DDS_PARTICIPANT_QOS_DEFAULT, NULL, DDS_STATUS_MASK_NONE);

    if (participant == NULL) {
        return 1; /* a line on stderr has said why */
    }
    printf("index %d\n", (int)DDS_DomainParticipant_get_participant_index(participant));
    DDS_DomainParticipantFactory_delete_participant(factory, participant);
    return DDS_DomainParticipantFactory_finalize_instance() == DDS_RETCODE_OK ? 0 : 1;
}
