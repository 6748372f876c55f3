// SPDX-License-Identifier: Apache-2.0
/**
 * @file Builtin_internal.h
 * @brief What a participant knows of others, made of what discovery has of them. Thread-safe.
 */
#ifndef INFRASTRUCTURE_BUILTIN_INTERNAL_H
#define INFRASTRUCTURE_BUILTIN_INTERNAL_H

#include "dds_c/dds_c_builtin.h"
#include "disc/disc_participant.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The handle of a participant. */
void DDS_InstanceHandle_from_prefixI(struct DDS_InstanceHandle_t *self,
                                     const struct NUVOsapiRtpsGuidPrefix *prefix);

/** The prefix in a handle; zero, and nothing written, when it can be no participant's. */
int DDS_InstanceHandle_to_prefixI(const struct DDS_InstanceHandle_t *self,
                                  struct NUVOsapiRtpsGuidPrefix *out);

/**
 * @brief Makes @p self, which is initialized, what a participant has announced.
 * @param status null of one that is gone.
 * @return zero when memory runs out; then @p self is as it was.
 */
int DDS_ParticipantBuiltinTopicData_from_remoteI(struct DDS_ParticipantBuiltinTopicData *self,
                                                 const struct DISCRemote *remote,
                                                 const struct DISCRemoteStatus *status,
                                                 DDS_DomainId_t domain_id);

/** Adds the refusals of discovery up by the reasons of the public interface. */
void DDS_DiscoveryStatistics_from_discI(struct DDS_DiscoveryStatistics *self,
                                        const struct DISCStatistics *statistics);

#ifdef __cplusplus
}
#endif

#endif
