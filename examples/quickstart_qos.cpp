// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "dds_c/dds_c.h"

int main() {
    KOLS_Config_Logger_set_verbosity(KOLS_Config_Logger_get_instance(),
                                     KOLS_CONFIG_LOG_VERBOSITY_STATUS_LOCAL);

    DDS_DomainParticipantFactory *factory = DDS_DomainParticipantFactory_get_instance();
    DDS_DomainParticipantQos qos = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
    DDS_DomainParticipant *participant = nullptr;

    if (DDS_DomainParticipantFactory_get_default_participant_qos(factory, &qos) == DDS_RETCODE_OK) {
        qos.wire_protocol.participant_id = 3;
        qos.transport_builtin.mask = DDS_TRANSPORTBUILTIN_UDPv4 | DDS_TRANSPORTBUILTIN_UDPv6;
        participant = DDS_DomainParticipantFactory_create_participant(factory, 7, &qos, nullptr,
                                                                      DDS_STATUS_MASK_NONE);
    }
    DDS_DomainParticipantQos_finalize(&qos);
    if (participant == nullptr) {
        return 1;
    }
    std::cout << "index " << DDS_DomainParticipant_get_participant_index(participant) << '\n';
    DDS_DomainParticipantFactory_delete_participant(factory, participant);
    return DDS_DomainParticipantFactory_finalize_instance() == DDS_RETCODE_OK ? 0 : 1;
}
