// SPDX-License-Identifier: Apache-2.0
/**
 * @file dds_c_domain.h
 * @brief Domain participants and their factory (DDS 1.4, 2.2.2.2).
 *
 * All operations are thread-safe, with two exceptions: a participant must not be used while or
 * after it is deleted, and DDS_DomainParticipantFactory_finalize_instance must be the last call.
 * An operation that fails says why in the log, at error level; the line nearest to the cause comes
 * first.
 *
 * No operation waits without end: what does not answer is named in one error, and the call returns.
 *
 * Fork: participants belong to the process that made the factory. In a child that was forked, by
 * fork() of the C library, meanwhile every operation is refused with one error
 * (DDS_RETCODE_ILLEGAL_OPERATION, null or -1), and the parent goes on as if nothing had been; the
 * child keeps the parent's receive ports open, though, until it ends or runs another program. So
 * fork, and call daemon(), before the first call of DDS_DomainParticipantFactory_get_instance or
 * after DDS_DomainParticipantFactory_finalize_instance. Closing descriptors that the library has
 * opened takes the participants' ports from them; deleting them still works, but closes whatever
 * has the same numbers by then.
 *
 * Cancellation: a thread that is cancelled (pthread_cancel, deferred) does not end within an
 * operation or a callback, but at the first cancellation point that it comes to outside.
 */
#ifndef DDS_C_DOMAIN_H
#define DDS_C_DOMAIN_H

#include "dds_c/dds_c_api.h"
#include "dds_c/dds_c_builtin.h"
#include "dds_c/dds_c_common.h"
#include "dds_c/dds_c_domainparticipantqos.h"
#include "dds_c/dds_c_locator.h"

DDS_C_API_BEGIN

/** The process's one factory of participants. */
typedef struct DDS_DomainParticipantFactory DDS_DomainParticipantFactory;
/** A participant in one domain. */
typedef struct DDS_DomainParticipant DDS_DomainParticipant;
/** A topic: a name and the name of its type. */
typedef struct DDS_Topic DDS_Topic;

/**
 * @brief Told of a participant's statuses. A callback may be null.
 *
 * Those that say so run on a thread of the middleware's that does nothing but run callbacks, one at
 * a time and with nothing locked, and look up the host names of peers, soon after what they tell
 * of; name servers that do not answer hold them up. They may read the participant, and cannot
 * change it. No participant can be created, enabled or deleted there. One that does not return
 * keeps the others from being called, and its own participant from being deleted.
 */
struct DDS_DomainParticipantListener {
    void *listener_data; /**< handed to every callback */
    /**
     * A topic was asked for under a name that exists with another type
     * (DDS_INCONSISTENT_TOPIC_STATUS). Runs on the thread that asked, inside its call: it may ask
     * the topic for its names, and must not call the participant.
     */
    void (*on_inconsistent_topic)(void *listener_data, DDS_Topic *topic);
    /**
     * The participant's locators changed, because the network did; the mask does not matter. Runs
     * on the thread of callbacks, once for all changes that it has not been told of.
     */
    void (*on_locators_changed)(void *listener_data, DDS_DomainParticipant *participant);
    /**
     * The participant has discovered another one, or that one has changed or is gone; the mask does
     * not matter. Runs on the thread of callbacks, in the order in which that came about. What has
     * not been told of yet is told of as it is by then; one that came and has gone again is not
     * told of any more when hundreds wait to be. It may have the participant ignore the other one.
     * @p data is good until it returns.
     */
    void (*on_participant_discovered)(void *listener_data, DDS_DomainParticipant *participant,
                                      const struct DDS_ParticipantBuiltinTopicData *data,
                                      DDS_DiscoveredParticipantChange change);
};

/** Stands for the factory's default participant QoS. */
#define DDS_PARTICIPANT_QOS_DEFAULT ((const struct DDS_DomainParticipantQos *)NULL)

/** The QoS of the factory. */
struct DDS_DomainParticipantFactoryQos {
    /** Whether participants are created enabled; on by default. */
    struct DDS_EntityFactoryQosPolicy entity_factory;
};

/* ---- Factory -------------------------------------------------------------------------------- */

/**
 * @brief The factory, which is made by the first call.
 *
 * Then, and unless the program is set-user-id, these variables of the environment are read, as far
 * as they are set and not empty. They change defaults only: what a program sets itself stays.
 *
 * NUVDDS_PEERS is the list of initial peers of the default participant QoS, and NUVDDS_INTERFACES
 * its property "dds.transport.allow_interfaces", each joined by commas; NUVDDS_VERBOSITY ("silent",
 * "error", "warning", "status" or "all") is the logger's verbosity. The log has a line of level
 * KOLS_CONFIG_LOG_LEVEL_LOCAL on each that is used.
 *
 * @return null when memory runs out, in a forked child, and, after an error that names the
 * variable, when a value cannot be read.
 */
DDS_DomainParticipantFactory *DDS_DomainParticipantFactory_get_instance(void);

/**
 * @brief Deletes the factory with its thread and memory. The next get_instance makes a new one.
 * @return DDS_RETCODE_OK, also when there is no factory; DDS_RETCODE_PRECONDITION_NOT_MET while
 * participants exist; DDS_RETCODE_TIMEOUT when a thread of the middleware's does not end within 4
 * s, as when its descriptors have been closed: the factory is gone all the same, and what that
 * thread may still use stays; DDS_RETCODE_ILLEGAL_OPERATION in a forked child.
 */
DDS_ReturnCode_t DDS_DomainParticipantFactory_finalize_instance(void);

/** Copies the factory's QoS into @p qos. DDS_RETCODE_OK or DDS_RETCODE_BAD_PARAMETER. */
DDS_ReturnCode_t DDS_DomainParticipantFactory_get_qos(DDS_DomainParticipantFactory *self,
                                                      struct DDS_DomainParticipantFactoryQos *qos);

/**
 * @brief Sets the factory's QoS, for participants created from now on.
 * @return DDS_RETCODE_OK, DDS_RETCODE_BAD_PARAMETER, or DDS_RETCODE_INCONSISTENT_POLICY for a
 * boolean that is neither 0 nor 1.
 */
DDS_ReturnCode_t
DDS_DomainParticipantFactory_set_qos(DDS_DomainParticipantFactory *self,
                                     const struct DDS_DomainParticipantFactoryQos *qos);

/**
 * @brief Copies the default participant QoS into @p qos: the standard's, with what the environment
 * changes of it (DDS_DomainParticipantFactory_get_instance).
 * @param qos initialized; finalized by the caller.
 * @return DDS_RETCODE_OK, DDS_RETCODE_BAD_PARAMETER or DDS_RETCODE_OUT_OF_RESOURCES.
 */
DDS_ReturnCode_t
DDS_DomainParticipantFactory_get_default_participant_qos(DDS_DomainParticipantFactory *self,
                                                         struct DDS_DomainParticipantQos *qos);

/**
 * @brief Creates a participant and, unless the factory's QoS forbids it, enables it.
 *
 * An enabled participant has a participant index and holds the receive ports that go with it on the
 * RTPS well-known ports (DDSI-RTPS 9.6.1). What fails half-way is undone.
 *
 * @param domain_id the domain, 0 or more; the highest depends on the well-known ports (232 with the
 *                  default ones).
 * @param qos       copied; DDS_PARTICIPANT_QOS_DEFAULT for the default.
 * @param listener  copied; may be null.
 * @param mask      the statuses that the listener wants.
 * @return the participant, to be deleted with DDS_DomainParticipantFactory_delete_participant, or
 * null after a line in the log that says why.
 */
DDS_DomainParticipant *DDS_DomainParticipantFactory_create_participant(
    DDS_DomainParticipantFactory *self, DDS_DomainId_t domain_id,
    const struct DDS_DomainParticipantQos *qos,
    const struct DDS_DomainParticipantListener *listener, DDS_StatusMask mask);

/**
 * @brief Deletes a participant; its ports are free when this returns.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER when it is no participant of the factory;
 * DDS_RETCODE_PRECONDITION_NOT_MET while it has topics, and then it is as it was;
 * DDS_RETCODE_ERROR, or another code of why it could not be shut down: then it can be deleted
 * again; DDS_RETCODE_TIMEOUT when a callback of its listener, the search for the addresses of its
 * peers, or a message that is being handed on, does not come to an end (within 4 s, or 40 s): it is
 * shut down, its ports are free, and it can be deleted again; DDS_RETCODE_ILLEGAL_OPERATION within
 * a listener or in a forked child, and then it is as it was.
 */
DDS_ReturnCode_t
DDS_DomainParticipantFactory_delete_participant(DDS_DomainParticipantFactory *self,
                                                DDS_DomainParticipant *participant);

/* ---- Participant ---------------------------------------------------------------------------- */

/**
 * @brief Enables a participant: reserves its index and ports, and enables its topics if its
 * entity_factory policy says so. Enabling twice changes nothing.
 *
 * On a host without any usable address the participant is enabled all the same, and gets its index
 * and locators as soon as an address appears.
 *
 * @return DDS_RETCODE_OK; DDS_RETCODE_ERROR when there is no free index or a port could not be
 * opened; DDS_RETCODE_BAD_PARAMETER; DDS_RETCODE_NO_DATA when the participant may announce no
 * locator at all; DDS_RETCODE_OUT_OF_RESOURCES when memory runs out; DDS_RETCODE_ILLEGAL_OPERATION
 * within a listener. After a failure no port is held.
 */
DDS_ReturnCode_t DDS_DomainParticipant_enable(DDS_DomainParticipant *self);

/**
 * @brief Copies the participant's QoS as it is now into @p qos.
 * @param qos initialized; finalized by the caller.
 * @return DDS_RETCODE_OK; DDS_RETCODE_BAD_PARAMETER; DDS_RETCODE_OUT_OF_RESOURCES when memory runs
 * out; DDS_RETCODE_ERROR. After a failure @p qos may be partly filled.
 */
DDS_ReturnCode_t DDS_DomainParticipant_get_qos(DDS_DomainParticipant *self,
                                               struct DDS_DomainParticipantQos *qos);

/**
 * @brief Changes the participant's QoS, wholly or not at all.
 *
 * user_data, partition, entity_factory, discovery.initial_peers, the lease_duration and
 * announcement_period of discovery_config, and the properties whose names do not begin with "dds."
 * may change; all else is fixed at creation. The words of the identity in wire_protocol may also be
 * 0, which keeps them. Others are told of what they learn by discovery; should memory run out for
 * that the QoS is set all the same, and the log says that they are not told.
 *
 * @return DDS_RETCODE_OK; DDS_RETCODE_IMMUTABLE_POLICY for a policy that is fixed;
 * DDS_RETCODE_INCONSISTENT_POLICY for a value that is not allowed, or that is too long to be
 * announced; DDS_RETCODE_PRECONDITION_NOT_MET after a deletion that has shut the participant down;
 * DDS_RETCODE_BAD_PARAMETER, DDS_RETCODE_OUT_OF_RESOURCES or DDS_RETCODE_ERROR.
 */
DDS_ReturnCode_t DDS_DomainParticipant_set_qos(DDS_DomainParticipant *self,
                                               const struct DDS_DomainParticipantQos *qos);

/**
 * @brief Has the participant's locators follow the host's interfaces now.
 *
 * It happens by itself soon after the interfaces change; this is for who does not want to wait
 * until a burst of changes has settled. What could not be reserved, because somebody had the port
 * or descriptors or memory ran out, is said in the log and tried for again: with the next change of
 * the interfaces, with the next call, and by itself after 1 s, then after longer pauses of up to
 * 30 s, until it is had.
 *
 * @return DDS_RETCODE_OK; DDS_RETCODE_NOT_ENABLED before the participant is enabled;
 * DDS_RETCODE_BAD_PARAMETER; DDS_RETCODE_ILLEGAL_OPERATION within a listener or in a forked child;
 * or why the locators could not be updated.
 */
DDS_ReturnCode_t DDS_DomainParticipant_update_locators(DDS_DomainParticipant *self);

/**
 * @brief The highest index that is tried for a participant whose index is chosen automatically: the
 * last one whose unicast ports stay clear of those of the next domain and below 65535.
 * @return 0 or more, or -1 when the ports leave no index; a line in the log then says why.
 */
DDS_Long DDS_DomainParticipant_get_max_participant_index(
    const struct DDS_RtpsWellKnownPorts_t *rtps_well_known_ports);

/** The domain that the participant is in; -1 for null. */
DDS_DomainId_t DDS_DomainParticipant_get_domain_id(const DDS_DomainParticipant *self);

/** The participant index, 0 or more; -1 before the participant is enabled or has any address. */
DDS_Long DDS_DomainParticipant_get_participant_index(DDS_DomainParticipant *self);

/** Copies the participant's identity out. DDS_RETCODE_OK or DDS_RETCODE_BAD_PARAMETER. */
DDS_ReturnCode_t DDS_DomainParticipant_get_guid(DDS_DomainParticipant *self, DDS_GUID_t *guid);

/**
 * @brief Copies the unicast locators for user traffic into @p locators (initialized); none before
 * the participant is enabled. DDS_RETCODE_OK, _BAD_PARAMETER or _OUT_OF_RESOURCES.
 */
DDS_ReturnCode_t
DDS_DomainParticipant_get_default_unicast_locators(DDS_DomainParticipant *self,
                                                   struct DDS_LocatorSeq *locators);
/** The same for the multicast locators of user traffic. */
DDS_ReturnCode_t
DDS_DomainParticipant_get_default_multicast_locators(DDS_DomainParticipant *self,
                                                     struct DDS_LocatorSeq *locators);
/** The same for the unicast locators of discovery traffic. */
DDS_ReturnCode_t
DDS_DomainParticipant_get_metatraffic_unicast_locators(DDS_DomainParticipant *self,
                                                       struct DDS_LocatorSeq *locators);
/** The same for the multicast locators of discovery traffic. */
DDS_ReturnCode_t
DDS_DomainParticipant_get_metatraffic_multicast_locators(DDS_DomainParticipant *self,
                                                         struct DDS_LocatorSeq *locators);

/* ---- Discovery ------------------------------------------------------------------------------ */

/*
 * A participant takes part in discovery (DDSI-RTPS 8.5.3) from when it is enabled: it announces
 * itself and knows whom it hears. Before that the operations below return DDS_RETCODE_NOT_ENABLED.
 * They may be called within on_participant_discovered and on_locators_changed, except where it says
 * so.
 */

/**
 * @brief Lists the participants that this one knows and does not ignore.
 * @param handles initialized; their order means nothing.
 * @return DDS_RETCODE_OK; DDS_RETCODE_NOT_ENABLED; DDS_RETCODE_BAD_PARAMETER;
 * DDS_RETCODE_OUT_OF_RESOURCES when memory runs out, and then @p handles are as they were;
 * DDS_RETCODE_ILLEGAL_OPERATION in a forked child.
 */
DDS_ReturnCode_t
DDS_DomainParticipant_get_discovered_participants(DDS_DomainParticipant *self,
                                                  struct DDS_InstanceHandleSeq *handles);

/**
 * @brief Copies out what is known of one of them.
 * @param data initialized; finalized by the caller.
 * @return DDS_RETCODE_OK; DDS_RETCODE_PRECONDITION_NOT_MET when @p handle names none that this
 * participant knows; else as DDS_DomainParticipant_get_discovered_participants. After a failure
 * @p data is as it was.
 */
DDS_ReturnCode_t
DDS_DomainParticipant_get_discovered_participant_data(DDS_DomainParticipant *self,
                                                      struct DDS_ParticipantBuiltinTopicData *data,
                                                      const struct DDS_InstanceHandle_t *handle);

/**
 * @brief Has the participant know nothing of another one from now on, known or not; that cannot be
 * taken back.
 * @return as DDS_DomainParticipant_get_discovered_participants; DDS_RETCODE_BAD_PARAMETER also for
 * a handle that can be no participant's.
 */
DDS_ReturnCode_t
DDS_DomainParticipant_ignore_participant(DDS_DomainParticipant *self,
                                         const struct DDS_InstanceHandle_t *handle);

/**
 * @brief Waits until the participant knows @p count others.
 * @param count   0 or more.
 * @param timeout how long at most: 0 or more, and not infinite.
 * @return DDS_RETCODE_OK; DDS_RETCODE_TIMEOUT, which is no error and not logged;
 * DDS_RETCODE_NOT_ENABLED; DDS_RETCODE_BAD_PARAMETER; DDS_RETCODE_ILLEGAL_OPERATION within a
 * listener or in a forked child.
 */
DDS_ReturnCode_t DDS_DomainParticipant_wait_for_participants(DDS_DomainParticipant *self,
                                                             DDS_Long count,
                                                             const struct DDS_Duration_t *timeout);

/**
 * @brief Announces the participant at once, as it does by itself in time for its lease (DDS 1.4
 * 2.2.2.2.1.22). DDS_RETCODE_OK, _NOT_ENABLED, _BAD_PARAMETER, or _ILLEGAL_OPERATION in a forked
 * child.
 */
DDS_ReturnCode_t DDS_DomainParticipant_assert_liveliness(DDS_DomainParticipant *self);

/** Copies out what the participant's discovery has done; returns as the function above. */
DDS_ReturnCode_t
DDS_DomainParticipant_get_discovery_statistics(DDS_DomainParticipant *self,
                                               struct DDS_DiscoveryStatistics *statistics);

/* ---- Topics --------------------------------------------------------------------------------- */

/**
 * @brief Creates a topic.
 * @param name      not empty, and not the name of another topic of this participant.
 * @param type_name not empty.
 * @return the topic, or null after a line in the log that says why.
 */
DDS_Topic *DDS_DomainParticipant_create_topic(DDS_DomainParticipant *self, const char *name,
                                              const char *type_name);

/** Deletes a topic. DDS_RETCODE_OK, or DDS_RETCODE_BAD_PARAMETER when it is none of this one's. */
DDS_ReturnCode_t DDS_DomainParticipant_delete_topic(DDS_DomainParticipant *self, DDS_Topic *topic);

/** The name of a topic; lives as long as the topic. */
const char *DDS_Topic_get_name(const DDS_Topic *self);
/** The name of a topic's type; lives as long as the topic. */
const char *DDS_Topic_get_type_name(const DDS_Topic *self);

DDS_C_API_END

#endif
