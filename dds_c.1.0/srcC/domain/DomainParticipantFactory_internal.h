/**
 * @file DomainParticipantFactory_internal.h
 * @brief What the rest of the library asks of the participant factory.
 */
#ifndef DOMAIN_PARTICIPANT_FACTORY_INTERNAL_H
#define DOMAIN_PARTICIPANT_FACTORY_INTERNAL_H

#include "commend/commend_facade.h"
#include "dds_c/dds_c_domain.h"
#include "pres/pres_participant.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Non-zero, after one error message, in a process that was forked from the one that made the
 * factory: it has none of the middleware's threads, and shares its descriptors with its parent.
 * @param LOG_METHOD the operation that this refuses; the message is in its name.
 */
int DDS_DomainParticipantFactory_isForkedI(const char *LOG_METHOD);

/** The listener told before a participant's entities are finalized; the factory owns it. */
const struct PRESParticipantEntityFinalizeListener *
DDS_DomainParticipantFactory_get_presentation_entity_finalize_listenerI(
    DDS_DomainParticipantFactory *self);

/** The listener told of the threads that work for participants; the factory owns it. */
const struct COMMENDActiveFacadeThreadListener *
DDS_DomainParticipantFactory_get_presentation_thread_listenerI(DDS_DomainParticipantFactory *self);

#ifdef __cplusplus
}
#endif

#endif
