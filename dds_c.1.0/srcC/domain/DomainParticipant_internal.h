/**
 * @file DomainParticipant_internal.h
 * @brief The public participant's record, and what the factory does with it.
 */
#ifndef DOMAIN_PARTICIPANT_INTERNAL_H
#define DOMAIN_PARTICIPANT_INTERNAL_H

#include "dds_c/dds_c_domain.h"
#include "domain/domain_internal.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What a participant borrows from its factory. All of it outlives the participant. */
struct DDS_DomainParticipantResourcesI {
    struct REDAWorkerFactory *workerFactory;
    struct NUVNetioRuntime *runtime;
    struct NUVOsapiThreadFactory *recvThreadFactory;
    struct NUVOsapiThreadFactory *eventThreadFactory;
    struct NUVOsapiThreadFactory *asynchPubThreadFactory;
};

struct DDS_DomainParticipant {
    struct DDS_DomainParticipantFactory *factory;
    struct DDS_DomainParticipant *next; /**< the factory's list, under the factory's lock */

    struct DDS_DomainParticipantResourcesI resources;
    /** As created or last set; the presentation layer has its own copy of what it acts on. */
    struct DDS_DomainParticipantQos qos;
    DDS_DomainId_t domainId;
    struct NUVOsapiRtpsGuid guid;
    struct DDS_DomainParticipantListener listener;

    /** Serialises the operations on the fields below. */
    struct REDAExclusiveArea *ea;
    struct DDS_DomainParticipantConcurrency concurrency;
    struct NUVNetioConfigurator *configurator;
    struct DDS_DomainParticipantPresentation presentation;
    int isEnabled;
    DDS_Long participantIndex; /**< -1 until the participant has one */
    /* The unicast ports of that index once more, so that it stays without any address as well. */
    struct DDS_DomainParticipantPresentationEntryportSet keptMetaPorts;
    struct DDS_DomainParticipantPresentationEntryportSet keptUserPorts;

    struct NUVNetioInterfaceListener interfaceListener;
};

/**
 * @brief Non-zero, after one error message, within a listener and on the reactor's thread: there
 * nobody may create, enable or delete a participant, which takes waiting for the reactor.
 */
int DDS_DomainParticipantResources_isWithinListenerI(
    const struct DDS_DomainParticipantResourcesI *resources);

/**
 * @brief Makes a participant that is not enabled.
 * @return null on failure, after one error message; nothing is left behind.
 */
struct DDS_DomainParticipant *
DDS_DomainParticipant_newI(struct DDS_DomainParticipantFactory *factory,
                           const struct DDS_DomainParticipantResourcesI *resources,
                           DDS_DomainId_t domain_id, const struct DDS_DomainParticipantQos *qos,
                           const struct DDS_DomainParticipantListener *listener,
                           DDS_StatusMask mask);

/** The most octets of user data that the participant may have. */
DDS_Long DDS_DomainParticipant_get_participant_user_data_max_lengthI(
    const struct DDS_DomainParticipant *self);
/** The most properties that the participant may have. */
DDS_Long DDS_DomainParticipant_get_participant_property_list_max_lengthI(
    const struct DDS_DomainParticipant *self);
/** The most bytes that the names and values of all its properties may have. */
DDS_Long DDS_DomainParticipant_get_participant_property_string_max_lengthI(
    const struct DDS_DomainParticipant *self);

/**
 * @brief Takes a participant down and frees it. Not on the reactor's thread.
 * @return OK or TIMEOUT: it is gone. Any other code: it still exists; unless its core refused to be
 * deleted when its ports had been released already, it is as it was.
 */
DDS_ReturnCode_t DDS_DomainParticipant_deleteI(struct DDS_DomainParticipant *self);

#ifdef __cplusplus
}
#endif

#endif
