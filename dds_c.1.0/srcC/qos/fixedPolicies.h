// SPDX-License-Identifier: Apache-2.0
/**
 * @file fixedPolicies.h
 * @brief What the table of policies says may not change once the participant has been created.
 */
#ifndef QOS_FIXED_POLICIES_H
#define QOS_FIXED_POLICIES_H

#include "qos/walk.h"

/**
 * Whether @p next changes what is fixed at creation, as far as the presentation half and the table
 * of properties do not say so: then @p changed is the name of the first setting that it changes.
 */
bool changes_fixed_policy(const DDS_DomainParticipantQos &running,
                          const DDS_DomainParticipantQos &next, dds::qos::PathText &changed);

#endif
