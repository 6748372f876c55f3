// SPDX-License-Identifier: Apache-2.0
/**
 * @file DomainParticipantQos_internal.h
 * @brief The participant QoS and the property of the presentation participant.
 */
#ifndef QOS_DOMAIN_PARTICIPANT_QOS_INTERNAL_H
#define QOS_DOMAIN_PARTICIPANT_QOS_INTERNAL_H

#include "dds_c/dds_c_domainparticipantqos.h"
#include "pres/pres_participantProperty.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Puts a QoS into a property.
 *
 * Everything that a property carries is set: user data, entity factory, identity and index as asked
 * for, built-in transports, discovery configuration, resource limits, property list, participant
 * name and, when a buffer for them has been lent, partition names. The discovery peers, the unicast
 * and multicast settings, the well-known ports and the reserved ports are not part of it.
 *
 * @param src lends its user data and the strings of its property list to @p dst.
 * @param dst its property list, when the QoS has one, becomes a new array of the heap (array tag)
 *            in parameter.propertyList.data._buffer, which the caller frees; a former one is not
 *            freed.
 * @return DDS_RETCODE_OK; DDS_RETCODE_OUT_OF_RESOURCES, after one error message, when the array
 * could not be allocated: then the property list is empty; DDS_RETCODE_INCONSISTENT_POLICY, after
 * one error message, when a name or the partition names are too long: then they are left out. All
 * else is set in any case.
 */
DDS_ReturnCode_t
DDS_DomainParticipantQos_to_participant_property(const struct DDS_DomainParticipantQos *src,
                                                 struct PRESParticipantProperty *dst);

/**
 * @brief Sets in a QoS what a property carries; the rest of the QoS stays as it is.
 * A part that the property has no buffer for (user data, property list, partition names) becomes
 * empty.
 * @return DDS_RETCODE_OK; DDS_RETCODE_OUT_OF_RESOURCES, after one error message for each, when
 * policies could not be copied: these stay as they were, all else is set.
 */
DDS_ReturnCode_t
DDS_DomainParticipantQos_from_participant_property(struct DDS_DomainParticipantQos *qos,
                                                   const struct PRESParticipantProperty *property);

/**
 * @brief Gives a property buffers to read user data and property list into.
 * @param qos         the QoS that is to be read; not used.
 * @param property    its buffers must not be set.
 * @param maxLength   octets of user data; 0: no buffer.
 * @param maxPropertyLength       properties; 0: no buffer.
 * @param maxPropertyStringLength bytes of the properties' texts; 0: no buffer.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER for a null property, which is logged, or a
 * negative length; DDS_RETCODE_OUT_OF_RESOURCES. On failure the property has no buffer.
 */
DDS_ReturnCode_t DDS_DomainParticipantQos_setup_presentation_qosI(
    const struct DDS_DomainParticipantQos *qos, struct PRESParticipantProperty *property,
    DDS_Long maxLength, DDS_Long maxPropertyLength, DDS_Long maxPropertyStringLength);

/**
 * @brief Frees the buffers of DDS_DomainParticipantQos_setup_presentation_qosI; harmless when there
 * are none.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER for a null @p property, which is logged.
 */
DDS_ReturnCode_t
DDS_DomainParticipantQos_finalize_presentation_qosI(struct PRESParticipantProperty *property);

#ifdef __cplusplus
}
#endif

#endif
