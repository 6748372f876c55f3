// SPDX-License-Identifier: Apache-2.0
// Operations of the module and properties, as messages name them.
#pragma once

constexpr const char *CACHE = "DDS_DomainParticipantPresentation_cache_irreversible_qos";
constexpr const char *ENABLE = "DDS_DomainParticipantPresentation_enable";
constexpr const char *GET_QOS = "DDS_DomainParticipantPresentation_get_qos";
constexpr const char *INITIALIZE = "DDS_DomainParticipantPresentation_initialize";
constexpr const char *LOG_PEERS = "DDS_DomainParticipantPresentation_log_peers_and_locators";
constexpr const char *RESERVE_INDEX =
    "DDS_DomainParticipantPresentation_reserve_participant_index_entryports";
constexpr const char *SET_QOS = "DDS_DomainParticipantPresentation_set_qos";
constexpr const char *TIME_BASED =
    "DDS_DomainParticipantPresentation_setTimeBasedLoggingConfiguration";
constexpr const char *TRANSLATE = "DDS_DomainParticipantPresentation_translate_qos";

constexpr const char *ALIGNMENT = "dds.participant.use_45d_compatible_alignment_enforcement";
constexpr const char *DESTRUCTION_TIMEOUT =
    "dds.domain_participant.asynchronous_publisher_thread_destruction_timeout";
constexpr const char *MAX_LOCATOR_LIST_SIZE =
    "dds.domain_participant.max_announced_locator_list_size";
constexpr const char *MISMATCH = "dds.participant.discovery_config.log_discovery_mismatch";
constexpr const char *SERIALIZATION_KIND = "dds.participant.directed_write_serialization_kind";
constexpr const char *TRACKED_PORTS =
    "dds.participant.logging.time_based_logging.process_received_message.tracked_ports";
