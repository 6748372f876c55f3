// SPDX-License-Identifier: Apache-2.0
/**
 * @file DomainParticipant_internal.h
 * @brief The public participant's record, and what the factory does with it.
 */
#ifndef DOMAIN_PARTICIPANT_INTERNAL_H
#define DOMAIN_PARTICIPANT_INTERNAL_H

#include "dds_c/dds_c_domain.h"
#include "disc/disc_participant.h"
#include "domain/domain_internal.h"
#include "netio/event_activeDatabase.h"
#include "netio/netio_callback.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What a participant borrows from its factory. All of it outlives the participant. */
struct DDS_DomainParticipantResourcesI {
    struct REDAWorkerFactory *workerFactory;
    struct NUVNetioRuntime *runtime;
    struct DISCDiscovery *discovery;
    struct NUVOsapiThreadFactory *recvThreadFactory;
    struct NUVOsapiThreadFactory *eventThreadFactory;
    struct NUVOsapiThreadFactory *asynchPubThreadFactory;
};

/** A unicast port that a participant keeps for itself. */
struct DDS_DomainParticipantKeptPortI {
    KOLS_Transport_ClassId_t transport;
    KOLS_Transport_Port_t port;
    struct REDAWeakReference entryportWR;
};

/** The most ports that are kept: more than two full lists cannot have been in use. */
#define DDS_DOMAIN_PARTICIPANT_KEPT_PORTS_MAX (2 * DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX)

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
    struct DISCParticipant *discovery; /**< null before the participant is whole, and in the end */
    /** The shortest lease that has been announced; infinite before the participant is enabled. */
    struct DDS_Duration_t shortestLease;
    int isEnabled;
    DDS_Long participantIndex; /**< -1 until the participant has one */
    /** The unicast ports of that index once more; see DDS_DomainParticipant_keep_portsI. */
    struct DDS_DomainParticipantKeptPortI keptPorts[DDS_DOMAIN_PARTICIPANT_KEPT_PORTS_MAX];
    DDS_Long keptPortCount;
    /** The pause before the last try for what could not be had, in seconds; 0 when all is had. */
    NUV_INT32 retryPause;

    struct NUVNetioInterfaceListener interfaceListener;
    struct NUVEvent retryEvent;
    struct NUVNetioCallback locatorsCallback;
    struct NUVNetioCallback discoveryCallback;
};

/** Non-zero within a listener and on the reactor's thread: there nobody may wait for either. */
int DDS_DomainParticipantResources_isCallbackThreadI(
    const struct DDS_DomainParticipantResourcesI *resources);

/**
 * @brief Non-zero, after one error message, within a listener and on the reactor's thread: there
 * nobody may create, enable, change or delete a participant, which takes waiting for what the
 * listener itself may hold up.
 * @param LOG_METHOD the operation that this refuses; the message is in its name.
 */
int DDS_DomainParticipantResources_isWithinListenerI(
    const struct DDS_DomainParticipantResourcesI *resources, const char *LOG_METHOD);

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

/**
 * @brief Reserves an index and its ports, the fixed one or one that is searched for. With the
 * participant's lock.
 *
 * A host without any usable address is no failure: the index stays -1, and is reserved when an
 * address appears. After a failure ports may be held: release the index.
 */
DDS_ReturnCode_t DDS_DomainParticipant_reserve_indexI(struct DDS_DomainParticipant *self,
                                                      struct REDAWorker *worker);

/**
 * @brief Reserves each unicast port in use once more, which costs no socket. With the participant's
 * lock.
 *
 * An update gives back what was reserved for locators that are gone. Whoever bound the port of a
 * transport that has just lost its last address would have taken the index; so what is kept stays
 * until the index is released.
 * @return zero when memory ran out; what was kept before then still is.
 */
int DDS_DomainParticipant_keep_portsI(struct DDS_DomainParticipant *self,
                                      struct REDAWorker *worker);

/** Gives back all ports of the index. With the lock. */
void DDS_DomainParticipant_release_indexI(struct DDS_DomainParticipant *self,
                                          struct REDAWorker *worker);

/**
 * Has the participant @p param follow the interfaces of a snapshot; null: as they are now. Without
 * the lock.
 */
void DDS_DomainParticipant_on_interfaces_changedI(void *param,
                                                  const struct NUVNetioInterfaceSnapshot *snapshot,
                                                  struct REDAWorker *worker);

/** Has the participant @p param try again for what it could not have. Without the lock. */
void DDS_DomainParticipant_on_retryI(void *param, struct REDAWorker *worker);

/** Has the participant look again in a moment for what it could not have. Without the lock. */
void DDS_DomainParticipant_try_again_soonI(struct DDS_DomainParticipant *self);

/** Tells the listener of the participant @p param. On the thread of callbacks. */
void DDS_DomainParticipant_on_locators_changedI(void *param, struct REDAWorker *worker);

/**
 * @brief Has a participant take part in discovery from when it is enabled.
 * @return zero, after one error message, when what it announces is too long or memory runs out.
 */
int DDS_DomainParticipant_start_discoveryI(struct DDS_DomainParticipant *self,
                                           struct REDAWorker *worker);

/**
 * @brief Ends that; the presentation half has been shut down, or was never enabled. May be
 * repeated.
 * @return zero, after one error message, when the reactor does not finish with it.
 */
int DDS_DomainParticipant_stop_discoveryI(struct DDS_DomainParticipant *self,
                                          struct REDAWorker *worker);

/**
 * @brief Whether what a QoS has announced goes into an announcement.
 * @return OK; INCONSISTENT_POLICY or OUT_OF_RESOURCES after one error in the name of @p LOG_METHOD.
 */
DDS_ReturnCode_t
DDS_DomainParticipant_check_announcementI(const struct DDS_DomainParticipant *self,
                                          const struct DDS_DomainParticipantQos *qos,
                                          const char *LOG_METHOD);

/** Has the participant announced to other peers. Zero, and nothing changed, after one error. */
int DDS_DomainParticipant_set_peersI(struct DDS_DomainParticipant *self,
                                     const struct DDS_DiscoveryQosPolicy *discovery,
                                     struct REDAWorker *worker);

/** Has the participant announced with another lease, at another period. */
void DDS_DomainParticipant_set_leaseI(struct DDS_DomainParticipant *self,
                                      const struct DDS_DiscoveryConfigQosPolicy *config,
                                      struct REDAWorker *worker);

/** Tells the listener of the participant @p param of one change. On the thread of callbacks. */
void DDS_DomainParticipant_on_discoveredI(void *param, struct REDAWorker *worker);

/**
 * @brief Whether the presentation layer has as many properties as @p qos.
 *
 * The translation of a QoS passes over a property list that it has no memory for. So whoever had
 * one translated looks whether it has arrived.
 */
int DDS_DomainParticipant_has_propertiesI(struct DDS_DomainParticipant *self,
                                          const struct DDS_DomainParticipantQos *qos,
                                          struct REDAWorker *worker);

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
 * @brief Takes a participant down and frees it. Not on one of the runtime's threads.
 * @return OK: it is gone. Any other code: it still exists and can be deleted again. After TIMEOUT,
 * and when its core refused to be deleted, it is shut down and without ports; otherwise it is as it
 * was.
 */
DDS_ReturnCode_t DDS_DomainParticipant_deleteI(struct DDS_DomainParticipant *self);

#ifdef __cplusplus
}
#endif

#endif
