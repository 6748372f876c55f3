// SPDX-License-Identifier: Apache-2.0
/**
 * @file domain_internal.h
 * @brief The presentation half of a domain participant: its record and its operations.
 *
 * The enclosing participant owns the record's storage and serialises the operations on one record.
 * Each runs on the calling thread with that thread's worker; none takes a lock of its own.
 */
#ifndef DOMAIN_INTERNAL_H
#define DOMAIN_INTERNAL_H

#include "dds_c/dds_c_common.h"
#include "dds_c/dds_c_domainparticipantqos.h"
#include "pres/pres_participant.h"

#ifdef __cplusplus
extern "C" {
#endif

struct DDS_DomainParticipant;
struct DDS_DomainParticipantFactory;

/** The most locators that are announced in one list, and the most entryports of one set. */
#define DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX PRES_LOCATOR_LIST_MAX

/** Entryports reserved together: one for each locator of a unicast list. */
struct DDS_DomainParticipantPresentationEntryportSet {
    DDS_Long _count; /**< valid entries, 0 to 16 */
    struct REDAWeakReference _entryportWR[DDS_DOMAIN_PARTICIPANT_LOCATOR_LIST_SIZE_MAX];
};

/** The presentation half of a domain participant. */
struct DDS_DomainParticipantPresentation {
    /** Owned. Set between a successful initialize and a successful finalize. */
    struct PRESParticipant *participant;
    DDS_DomainId_t _domainId;
    char _threadParticipantId[COMMEND_THREAD_PARTICIPANT_ID_SIZE];
    /** Non-zero when the application chose the participant index. */
    NUV_INT32 _participantIndexSpecified;
    /* What can't change after creation, and what the property doesn't carry back. */
    struct DDS_TransportUnicastQosPolicy _cachedTransportUnicastPolicy;
    struct DDS_TransportMulticastMappingQosPolicy _cachedTransportMulticastMappingPolicy;
    struct DDS_DiscoveryQosPolicy cachedDiscoveryPolicy;
    struct DDS_RtpsWellKnownPorts_t cachedWellKnownPorts;
    DDS_RtpsReservedPortKindMask _cachedReservedPortMask;
    /* The announced locators. */
    struct PRESLocatorQosPolicy _cachedDefaultUnicastLocator;
    struct PRESLocatorQosPolicy _cachedMetatrafficUnicastLocator;
    struct PRESReducedLocatorQosPolicy _cachedDefaultMulticastLocator; /**< stays empty */
    struct PRESReducedLocatorQosPolicy _cachedMetatrafficMulticastLocator;
    /**
     * Kept on purpose though nothing here fills or reads it: the listener that the presentation
     * participant gets is the factory's.
     */
    struct PRESParticipantEntityFinalizeListener _entityFinalizeListener;
    /* The reserved receive ports. */
    struct REDAWeakReference _reserveEntryportMetaMulticastWR;
    struct REDAWeakReference _reserveEntryportUserMulticastWR;
    struct DDS_DomainParticipantPresentationEntryportSet _reserveMetaUnicast;
    struct DDS_DomainParticipantPresentationEntryportSet _reserveUserUnicast;
    /** The participant's transports; not owned. */
    struct NUVNetioConfigurator *_configurator;
    /** Non-zero once the ports of a participant index have been reserved. */
    NUV_INT32 _entryportsReserved;
    /** The most locators announced per list, 0 to 16. */
    DDS_Long _maxLocatorListSize;
    /** Non-zero when the locator reachability lease is infinite. */
    NUV_INT32 _isLocatorReachabilityDisabled;
};

/** The exclusive areas that the enclosing participant lends to the presentation participant. */
struct DDS_DomainParticipantConcurrency {
    struct REDAExclusiveArea *tableEa;
    struct REDAExclusiveArea *recordEa;
    struct REDAExclusiveArea *remoteObjectsEa; /**< handed on; null as long as nobody enters it */
};

/** How many bytes the security plugins add to what they protect. */
struct DDS_DomainParticipantTrustPluginsMaxTransformOverheads {
    NUV_INT32 submessage;
    NUV_INT32 messageBase;
    NUV_INT32 presharedKeyMessage;
    NUV_INT32 messagePerReceiver;
};

/* ---- Lifecycle ------------------------------------------------------------------------------ */

/** 1 when the application chose the participant index, else 0. */
DDS_Boolean DDS_DomainParticipantPresentation_is_participant_index_specified(
    const struct DDS_DomainParticipantPresentation *self);

/** 1 once the ports of a participant index have been reserved, else 0. */
DDS_Boolean DDS_DomainParticipantPresentation_are_entryports_reserved(
    const struct DDS_DomainParticipantPresentation *self);

/** The most locators announced per list, 0 to 16. */
DDS_Long DDS_DomainParticipantPresentation_get_max_locator_list_size(
    const struct DDS_DomainParticipantPresentation *self);

/** 1 when the locator reachability lease is infinite, else 0. */
DDS_Boolean DDS_DomainParticipantPresentation_is_locator_reachability_disabled(
    const struct DDS_DomainParticipantPresentation *self);

/**
 * @brief Fills the record from the QoS and creates the presentation participant.
 *
 * A failure before the presentation participant is tried for may return OK: the caller checks
 * `participant`. A failure that returns another code has undone itself, unless it is the property
 * "dds.domain_participant.max_announced_locator_list_size" that is out of range.
 *
 * @param threadParticipantId label for the participant's threads, at most 5 characters.
 * @param listener            may be null.
 * @param security            null when security is off; then the two parameters after it are not
 *                            read.
 * @param worker              the calling thread's; may be null.
 */
DDS_ReturnCode_t DDS_DomainParticipantPresentation_initialize(
    struct DDS_DomainParticipantPresentation *self, struct DDS_DomainParticipantFactory *factory,
    DDS_DomainId_t domain_id, const struct DDS_DomainParticipantQos *qos,
    struct NUVOsapiRtpsGuid *participantGuid, char *threadParticipantId,
    int participant_index_specified, const struct PRESParticipantListener *listener,
    DDS_StatusMask mask, struct NUVEventActiveDatabase *active_db,
    struct DDS_DomainParticipantConcurrency *concurrency, struct NUVClock *clock,
    struct NUVClock *timestamp_clock, struct NUVNetioConfigurator *configurator,
    struct REDAWorkerFactory *worker_factory, const struct PRESParticipantSecurity *security,
    const struct PRESParticipantSecurityTokens *securityTokens,
    struct DDS_DomainParticipantTrustPluginsMaxTransformOverheads *maxTransformOverheads,
    struct NUVOsapiThreadFactory *recv_thread_factory,
    struct NUVOsapiThreadFactory *event_thread_factory,
    struct NUVOsapiThreadFactory *asynch_pub_thread_factory, struct REDAWorker *worker);

/** PRECONDITION_NOT_MET while topics remain. A null record or participant is fine. */
DDS_ReturnCode_t DDS_DomainParticipantPresentation_checkShutdownPrecondition(
    struct DDS_DomainParticipantPresentation *self, struct REDAWorker *worker);

/** Wakes the participant core for shutdown. A null record or participant is fine. */
DDS_ReturnCode_t
DDS_DomainParticipantPresentation_wakeup(struct DDS_DomainParticipantPresentation *self,
                                         struct REDAWorker *worker);

/** Shuts the participant core down; it still exists. A null record or participant is fine. */
DDS_ReturnCode_t
DDS_DomainParticipantPresentation_prefinalize(struct DDS_DomainParticipantPresentation *self,
                                              struct REDAWorker *worker);

/**
 * @brief Deletes the participant core, finalizes the cached policies and zeroes the record.
 * Reserved entryports must have been released. When the core can't be deleted nothing is changed.
 */
DDS_ReturnCode_t
DDS_DomainParticipantPresentation_finalize(struct DDS_DomainParticipantPresentation *self,
                                           struct REDAWorker *worker);

/**
 * @brief Enables the participant with the locators and transports that it has, and logs them.
 *
 * Returns OK without enabling when the transport information can't be allocated.
 *
 * @param qos               the participant's current QoS.
 * @param enableAllEntities handed to the presentation layer.
 * @param worker            not null.
 */
DDS_ReturnCode_t
DDS_DomainParticipantPresentation_enable(struct DDS_DomainParticipantPresentation *self,
                                         struct DDS_DomainParticipantQos *qos,
                                         int *enableAllEntities, struct REDAWorker *worker);

/* ---- QoS ------------------------------------------------------------------------------------ */

/**
 * @brief Turns the QoS into a presentation property, and stamps the record's identity into it.
 *
 * On success the caller frees the array in `dst->parameter.propertyList.data._buffer`; on failure
 * that has been done.
 */
DDS_ReturnCode_t DDS_DomainParticipantPresentation_translate_qos(
    struct DDS_DomainParticipantPresentation *self, struct PRESParticipantProperty *dst,
    const struct DDS_DomainParticipantQos *src, struct NUVOsapiRtpsGuid *participant_guid,
    struct REDAWorker *worker);

/** Keeps what can't change after creation. A failed copy leaves the later ones as they were. */
DDS_ReturnCode_t DDS_DomainParticipantPresentation_cache_irreversible_qos(
    struct DDS_DomainParticipantPresentation *self, const struct DDS_DomainParticipantQos *src);

/**
 * @brief Rebuilds the public QoS of the running participant. On an error it may be partly filled.
 * @param domainParticipant asked for its length limits.
 * @param qos               initialized; filled in place.
 * @param getUserData       non-zero to get user data and the property list too.
 */
DDS_ReturnCode_t
DDS_DomainParticipantPresentation_get_qos(const struct DDS_DomainParticipantPresentation *self,
                                          struct DDS_DomainParticipant *domainParticipant,
                                          struct DDS_DomainParticipantQos *qos, int getUserData,
                                          struct REDAWorker *worker);

/**
 * @brief Applies a QoS to the running participant.
 * @return IMMUTABLE_POLICY, and nothing changed, for another default_unicast or another identity
 * than the running one (0 keeps it); otherwise OK, or what made the presentation layer refuse.
 */
DDS_ReturnCode_t
DDS_DomainParticipantPresentation_set_qos(struct DDS_DomainParticipantPresentation *self,
                                          const struct DDS_DomainParticipantQos *qos,
                                          struct REDAWorker *worker);

/**
 * @brief Reads the time-based logging properties into the participant property, and the one of
 * exclusive areas into the worker's factory.
 * @param worker not null when the exclusive-area timeout is set.
 * @return 1 on success, 0 when memory ran out.
 */
int DDS_DomainParticipantPresentation_setTimeBasedLoggingConfiguration(
    const struct DDS_PropertyQosPolicy *properties,
    struct PRESParticipantProperty *participantProperty, struct REDAWorker *worker);

/* ---- Participant index and entryports ------------------------------------------------------- */

/**
 * @brief The largest participant index for which the port mapping (DDSI-RTPS 9.6.1.1) stays clear
 * of the next domain and of the end of the port range; -1 when the ports are unusable.
 */
DDS_Long DDS_DomainParticipantPresentation_get_max_participant_indexI(
    const struct DDS_RtpsWellKnownPorts_t *rtpsWellKnownPorts);

/** The user-traffic multicast locators: the metatraffic ones on the user multicast port. */
void DDS_DomainParticipantPresentation_calculate_user_multicast_locatorI(
    struct DDS_DomainParticipantPresentation *self,
    struct PRESReducedLocatorQosPolicy *userMulticastLocatorInOut,
    const struct PRESReducedLocatorQosPolicy *metatrafficMulticastLocatorIn);

/** Reserves one entryport; on failure the reference is invalid. What it held is not released. */
DDS_Boolean DDS_DomainParticipantPresentation_reserve_entryportI(
    struct DDS_DomainParticipantPresentation *self, struct REDAWeakReference *entryportWRInOut,
    const struct NUVNetioAliasList *enabledPluginAliasesIn, const struct NUVNetioLocator *locatorIn,
    struct REDAWorker *worker);

/** Releases one entryport when it is held, and makes the reference invalid. */
void DDS_DomainParticipantPresentation_release_entryportI(
    struct DDS_DomainParticipantPresentation *self, struct REDAWeakReference *entryportWR,
    struct REDAWorker *worker);

/** Reserves an entryport for each locator, all or none. The set must be empty. */
DDS_Boolean DDS_DomainParticipantPresentation_reserve_entryport_setI(
    struct DDS_DomainParticipantPresentation *self, struct NUVNetioAliasList *enabledPluginAliases,
    struct PRESLocatorQosPolicy *locators,
    struct DDS_DomainParticipantPresentationEntryportSet *entryportSet, struct REDAWorker *worker);

/** Releases every entryport of a set and empties it. */
void DDS_DomainParticipantPresentation_release_entryport_setI(
    struct DDS_DomainParticipantPresentation *self,
    struct DDS_DomainParticipantPresentationEntryportSet *entryportSet, struct REDAWorker *worker);

/**
 * @brief Finds the participant an index and reserves the receive ports that go with it.
 *
 * After an error the entryports reserved so far may still be held; the caller releases them.
 *
 * @param participantIndex_inout negative to search upwards from 0; on OK the index taken.
 * @return OK, ERROR, or NO_DATA when the participant has no unicast locator at all.
 */
DDS_ReturnCode_t DDS_DomainParticipantPresentation_reserve_participant_index_entryports(
    struct DDS_DomainParticipantPresentation *self, DDS_Long *participantIndex_inout,
    struct REDAWorker *worker);

/** Releases the entryports of discovery traffic. May be repeated. */
void DDS_DomainParticipantPresentation_release_participant_index_meta_entryports(
    struct DDS_DomainParticipantPresentation *self, struct REDAWorker *worker);

/** Releases the entryports of user traffic. May be repeated. */
void DDS_DomainParticipantPresentation_release_participant_index_user_entryports(
    struct DDS_DomainParticipantPresentation *self, struct REDAWorker *worker);

/** Releases all entryports of the participant index. May be repeated. */
void DDS_DomainParticipantPresentation_release_participant_index_entryports(
    struct DDS_DomainParticipantPresentation *self, struct REDAWorker *worker);

/**
 * @brief Waits until no entryport of a transport is active any more: at least 125 ms, at most
 * 37.5 s.
 * @return OK or TIMEOUT.
 */
DDS_ReturnCode_t DDS_DomainParticipantPresentation_wait_for_released_entryports(
    struct DDS_DomainParticipantPresentation *self, const struct REDAWeakReference *transportHandle,
    struct REDAWorker *worker);

/* ---- Locator update ------------------------------------------------------------------------- */

/**
 * @brief Has the locators and entryports follow the transports as they are now.
 *
 * New entryports are reserved before the old ones are released, so that what is in both lists is
 * served without a break. A list whose entryports can't be reserved is announced all the same; the
 * next update tries again.
 *
 * @param participant              asked for its length limits.
 * @param actual_participant_index the index in use.
 */
DDS_ReturnCode_t DDS_DomainParticipantPresentation_update_participant_locatorsI(
    struct DDS_DomainParticipantPresentation *self, struct DDS_DomainParticipant *participant,
    int actual_participant_index, struct REDAWorker *worker);

/* ---- What the enclosing participant needs of the record ------------------------------------- */

/** The lists of locators that a participant announces. */
enum DDS_DomainParticipantPresentationLocatorKindI {
    DDS_DEFAULT_UNICAST_LOCATORS,
    DDS_METATRAFFIC_UNICAST_LOCATORS,
    DDS_DEFAULT_MULTICAST_LOCATORS,
    DDS_METATRAFFIC_MULTICAST_LOCATORS,
};

/** Those that follow the network. */
struct DDS_DomainParticipantPresentationLocatorsI {
    struct PRESLocatorQosPolicy defaultUnicast;
    struct PRESLocatorQosPolicy metatrafficUnicast;
    struct PRESReducedLocatorQosPolicy metatrafficMulticast;
};

/** The multicast reservations of a record. */
struct DDS_DomainParticipantPresentationMulticastEntryportsI {
    struct REDAWeakReference metatraffic;
    struct REDAWeakReference user;
};

/** One of the lists, as long as the record is not changed. */
const struct PRESLocatorQosPolicy *DDS_DomainParticipantPresentation_get_locatorsI(
    const struct DDS_DomainParticipantPresentation *self,
    enum DDS_DomainParticipantPresentationLocatorKindI kind);

/** How many locators of a unicast list, the first ones of it, have an entryport. */
DDS_Long DDS_DomainParticipantPresentation_get_reserved_countI(
    const struct DDS_DomainParticipantPresentation *self,
    enum DDS_DomainParticipantPresentationLocatorKindI kind);

/** Copies the lists that follow the network. */
void DDS_DomainParticipantPresentation_copy_locatorsI(
    const struct DDS_DomainParticipantPresentation *self,
    struct DDS_DomainParticipantPresentationLocatorsI *out);

/** 1 when the lists that follow the network are these, else 0. */
DDS_Boolean DDS_DomainParticipantPresentation_has_locatorsI(
    const struct DDS_DomainParticipantPresentation *self,
    const struct DDS_DomainParticipantPresentationLocatorsI *locators);

/**
 * @brief 1 when the presentation participant announces the record's own lists, and each locator
 * that wants an entryport has one.
 *
 * An update that could not reserve the entryports of a list, or could not push the lists, may have
 * answered OK.
 */
DDS_Boolean DDS_DomainParticipantPresentation_are_locators_servedI(
    const struct DDS_DomainParticipantPresentation *self, struct REDAWorker *worker);

/**
 * @brief Computes the lists that an update would now give a participant of this index. Changes
 * nothing.
 * @return 1, or 0 when they cannot be computed, after the message of whoever could not.
 */
DDS_Boolean DDS_DomainParticipantPresentation_compute_locatorsI(
    struct DDS_DomainParticipantPresentation *self, DDS_Long participantIndex,
    struct DDS_DomainParticipantPresentationLocatorsI *out, struct REDAWorker *worker);

/** Takes the multicast reservations out of the record; the caller releases or puts them back. */
void DDS_DomainParticipantPresentation_take_multicast_entryportsI(
    struct DDS_DomainParticipantPresentation *self,
    struct DDS_DomainParticipantPresentationMulticastEntryportsI *out);

/** Puts multicast reservations into a record that has none; they are the record's from then on. */
void DDS_DomainParticipantPresentation_put_multicast_entryportsI(
    struct DDS_DomainParticipantPresentation *self,
    const struct DDS_DomainParticipantPresentationMulticastEntryportsI *entryports);

/* ---- Locator diagnostics -------------------------------------------------------------------- */

/**
 * @brief Logs the initial peers and the announced locators at local-status level.
 * @return 1, or 0 when an argument is null or a text does not fit.
 */
int DDS_DomainParticipantPresentation_log_peers_and_locators(
    const struct DDS_DomainParticipantPresentation *self, struct REDAWorker *worker);

/** Logs that a locator list changed, at local-status level. */
void DDS_DomainParticipantPresentation_log_locator_change(
    const struct PRESLocatorQosPolicy *locatorList1,
    const struct PRESLocatorQosPolicy *locatorList2, const char *locatorDescription,
    struct REDAWorker *worker);

#ifdef __cplusplus
}
#endif

#endif
