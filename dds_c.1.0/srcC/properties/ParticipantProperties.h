// SPDX-License-Identifier: Apache-2.0
/**
 * @file ParticipantProperties.h
 * @brief The properties that a participant reads when it is created.
 */
#ifndef PROPERTIES_PARTICIPANT_PROPERTIES_H
#define PROPERTIES_PARTICIPANT_PROPERTIES_H

#include "dds_c/dds_c_qospolicy.h"

/** Whether a property is read at creation only and so can't change later. */
bool is_read_at_creation(const struct DDS_Property_t *property);

/**
 * Looks at the values before anything is made of them. A value that would end the creation
 * half-way, or be taken for another one, is refused with one error; one that would be passed over
 * in silence, and a name that nobody knows, is a warning.
 */
bool check_participant_properties(const struct DDS_PropertyQosPolicy *properties);

#endif
