// SPDX-License-Identifier: Apache-2.0
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
 * @brief Makes a factory besides the instance, whose participants share a runtime of their own: for
 * tests and simulations, which bring their networks, their interfaces and their time along.
 *
 * The public operations that take a factory take it as well. It is not refused in a forked child.
 *
 * @param runtimeProperty copied; what it refers to must outlive the factory. The runtime is made
 *                        with the first participant.
 * @return null, after one error message, when memory runs out.
 */
struct DDS_DomainParticipantFactory *
DDS_DomainParticipantFactory_newI(const struct NUVNetioRuntimeProperty *runtimeProperty);

/** Deletes such a factory: as DDS_DomainParticipantFactory_finalize_instance does the instance. */
DDS_ReturnCode_t DDS_DomainParticipantFactory_deleteI(struct DDS_DomainParticipantFactory *self);

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
