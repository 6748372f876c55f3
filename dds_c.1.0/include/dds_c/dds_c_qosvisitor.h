// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_qosvisitor.h
 * @brief Goes through all settings of a participant's QoS, whatever settings there are.
 */
#ifndef DDS_C_QOS_VISITOR_H
#define DDS_C_QOS_VISITOR_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_domainparticipantqos.h"

DDS_C_API_BEGIN

/** What the value of a setting is. */
typedef enum DDS_QosValueKind {
    DDS_QOS_VALUE_BOOLEAN,           /**< number: 0 or 1 */
    DDS_QOS_VALUE_NUMBER,            /**< number */
    DDS_QOS_VALUE_RESERVED_PORTS,    /**< number: a set of DDS_RTPS_RESERVED_PORT_* bits */
    DDS_QOS_VALUE_TRANSPORTS,        /**< number: a set of DDS_TRANSPORTBUILTIN_* bits */
    DDS_QOS_VALUE_DISCOVERY_PLUGINS, /**< number: a set of DDS_DISCOVERYCONFIG_BUILTIN_* bits */
    DDS_QOS_VALUE_DURATION,          /**< duration */
    DDS_QOS_VALUE_TEXT,              /**< text, which may be null */
    DDS_QOS_VALUE_TEXTS,             /**< texts */
    DDS_QOS_VALUE_OCTETS             /**< octets */
} DDS_QosValueKind;

/** The value of a setting; `kind` says which of the members has it. The others are 0. */
typedef struct DDS_QosValue {
    DDS_QosValueKind kind;
    DDS_LongLong number;
    const struct DDS_Duration_t *duration;
    const char *text;
    const struct DDS_StringSeq *texts;
    const struct DDS_OctetSeq *octets;
} DDS_QosValue;

/**
 * @brief What is called for the settings of a QoS, in the order of their declarations.
 *
 * Settings that belong together, as those of a policy, stand between a call of begin_record and one
 * of end_record; a list of such records stands between begin_list and end_list. The names are those
 * of the declarations, as "participant_id"; a record in a list has none: null. All that is handed
 * over stays valid as long as the QoS does not change. No function may be null or throw.
 */
typedef struct DDS_QosVisitor {
    void *param; /**< handed to each function */
    void (*begin_record)(void *param, const char *name);
    void (*end_record)(void *param);
    void (*begin_list)(void *param, const char *name);
    void (*end_list)(void *param);
    void (*value)(void *param, const char *name, const struct DDS_QosValue *value);
} DDS_QosVisitor;

/**
 * @brief Calls a visitor for each setting of each policy.
 * A null argument is an error, which is logged. Thread-safe as long as nobody changes the QoS.
 */
void DDS_DomainParticipantQos_visit(const struct DDS_DomainParticipantQos *self,
                                    const struct DDS_QosVisitor *visitor);

DDS_C_API_END

#endif
