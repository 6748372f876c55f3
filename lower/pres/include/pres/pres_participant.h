// SPDX-License-Identifier: Apache-2.0
/**
 * @file pres_participant.h
 * @brief The presentation participant: configuration, identity, topics and the way to its facade.
 *
 * Operations that can fail answer non-zero on success; those with a fail-reason parameter write
 * the reason there on failure and leave it alone on success. All operations are thread-safe, but
 * for PRESParticipant_delete, which must be the last.
 */
#ifndef PRES_PARTICIPANT_H
#define PRES_PARTICIPANT_H

#include "commend/commend_facade.h"
#include "netio/event_activeDatabase.h"
#include "pres/pres_participantProperty.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Fail reasons. */
#define PRES_RETCODE_OK 0x020D1000
#define PRES_RETCODE_ERROR 0x020D1001
#define PRES_RETCODE_UNSUPPORTED 0x020D1002
#define PRES_RETCODE_BAD_PARAMETER 0x020D1003
#define PRES_RETCODE_PRECONDITION_NOT_MET 0x020D1004
#define PRES_RETCODE_OUT_OF_RESOURCES 0x020D1005
#define PRES_RETCODE_NOT_ENABLED 0x020D1006
#define PRES_RETCODE_IMMUTABLE_POLICY 0x020D1007
#define PRES_RETCODE_INCONSISTENT_POLICY 0x020D1008
#define PRES_RETCODE_ALREADY_DELETED 0x020D1009
#define PRES_RETCODE_TIMEOUT 0x020D100A
#define PRES_RETCODE_NOT_ALLOWED_BY_SECURITY 0x020D100B

struct PRESParticipant;
struct PRESTopic;

/** A set of status kinds. */
typedef NUV_UINT32 PRESStatusKindMask;
/** A topic was asked for under a name that exists with another type. */
#define PRES_STATUS_KIND_INCONSISTENT_TOPIC 0x1u

/**
 * @brief Told of a participant's statuses, with no lock held. The topic lives at least as long as
 * the call, also when another thread deletes it meanwhile.
 */
struct PRESParticipantListener {
    void (*onInconsistentTopic)(void *param, struct PRESTopic *topic, struct REDAWorker *worker);
    void *param;
};

/**
 * @brief Told before entities of a participant are finalized, with no lock held. By then the
 * participant does not have the entity any more. Callbacks may be null.
 */
struct PRESParticipantEntityFinalizeListener {
    void (*onBeforeTopicFinalize)(void *param, struct PRESTopic *topic, struct REDAWorker *worker);
    void *onBeforeTopicFinalizeParam;
    void (*onBeforeContentFilteredTopicFinalize)(void *param, void *topic,
                                                 struct REDAWorker *worker);
    void *onBeforeContentFilteredTopicFinalizeParam;
    void (*onBeforeFlowControllerFinalize)(void *param, void *flowController,
                                           struct REDAWorker *worker);
    void *onBeforeFlowControllerFinalizeParam;
};

/**
 * @brief Told of what a participant that is announced goes through. Callbacks may be null.
 *
 * The first two are called with the record's area held, so in the order in which it happened; the
 * property is valid during the call. None may call the participant back for what these areas guard.
 */
struct PRESParticipantDiscovery {
    /** Once, when it has become enabled; the property has the locators that were handed over. */
    void (*onEnabled)(void *param, const struct PRESParticipantProperty *property,
                      struct REDAWorker *worker);
    /** After each property that was set while it is enabled. */
    void (*onPropertySet)(void *param, const struct PRESParticipantProperty *property,
                          struct REDAWorker *worker);
    /**
     * Once, when a participant that is enabled is shut down, before anything of it stops, with the
     * table's area held and not the record's. Nothing is called after it.
     */
    void (*onShutdown)(void *param, struct REDAWorker *worker);
    void *param;
};

/** The transports that a participant announces. */
struct PRESSequenceTransportInfo {
    NUV_UINT32 _maximum;
    NUV_UINT32 _length;
    struct NUVNetioTransportInfo *_buffer;
};

/**
 * @brief Makes a presentation participant, not yet enabled.
 *
 * What only announcing on the wire will need (factories, clocks, event database, remoteObjectsEa)
 * is handed over and not kept yet.
 *
 * @param guid          the participant's identity; copied.
 * @param configurator  borrowed, as are the exclusive areas; they must outlive the participant.
 * @param tableEa       around the topics; not null. @p recordEa is entered inside it.
 * @param recordEa      around the property; not null.
 * @param threadListener told of no thread as long as the reactor serves every participant; may be
 *                      null.
 * @param property      deeply copied; its parts may not be longer than its own limits.
 * @param listener      copied; may be null.
 * @param listenerMask  the statuses that the listener wants.
 * @param security      null when security is off; nothing acts on it yet.
 * @return null on failure, after one error message.
 */
struct PRESParticipant *PRESParticipant_new(
    const struct NUVOsapiRtpsGuid *guid, struct NUVNetioConfigurator *configurator,
    struct REDAWorkerFactory *workerFactory, struct NUVEventActiveDatabase *activeDatabase,
    struct NUVClock *clock, struct NUVClock *timestampClock, struct REDAExclusiveArea *tableEa,
    struct REDAExclusiveArea *recordEa, struct REDAExclusiveArea *remoteObjectsEa,
    const struct COMMENDActiveFacadeThreadListener *threadListener,
    const struct PRESParticipantEntityFinalizeListener *finalizeListener,
    const struct PRESParticipantProperty *property, const struct PRESParticipantListener *listener,
    PRESStatusKindMask listenerMask, const struct PRESParticipantSecurity *security,
    struct NUVOsapiThreadFactory *recvThreadFactory,
    struct NUVOsapiThreadFactory *eventThreadFactory,
    struct NUVOsapiThreadFactory *asynchPubThreadFactory, struct REDAWorker *worker);

/**
 * Has @p discovery told from now on; null: nobody. Copied. Not between the calls of its onEnabled
 * and onShutdown.
 */
void PRESParticipant_setDiscovery(struct PRESParticipant *self,
                                  const struct PRESParticipantDiscovery *discovery,
                                  struct REDAWorker *worker);

/**
 * Has discovery told of the property as if it had been set just now; nothing unless it is enabled.
 * With none of the participant's areas held.
 */
void PRESParticipant_repeatToDiscovery(struct PRESParticipant *self, struct REDAWorker *worker);

/**
 * @brief Enables the participant. From now on it has the given locators and transports, which are
 * copied, and takes messages from its facade. Enabling twice changes nothing; a participant that
 * was shut down cannot be enabled.
 * @param enableAllEntities null, or points to non-zero when its topics are to be enabled too.
 */
int PRESParticipant_enable(struct PRESParticipant *self, const int *enableAllEntities,
                           const struct PRESLocatorQosPolicy *defaultUnicastLocator,
                           const struct PRESLocatorQosPolicy *metatrafficUnicastLocator,
                           const struct PRESReducedLocatorQosPolicy *metatrafficMulticastLocator,
                           const struct PRESSequenceTransportInfo *transportInfo,
                           struct REDAWorker *worker);

/** Non-zero once the participant has been enabled and until it is shut down. */
int PRESParticipant_isEnabled(struct PRESParticipant *self, struct REDAWorker *worker);

/** Non-zero when the participant's property has just these locators. */
int PRESParticipant_hasLocators(
    struct PRESParticipant *self, const struct PRESLocatorQosPolicy *defaultUnicastLocator,
    const struct PRESLocatorQosPolicy *metatrafficUnicastLocator,
    const struct PRESReducedLocatorQosPolicy *metatrafficMulticastLocator,
    struct REDAWorker *worker);

/** Number of transports that the participant announces. */
NUV_UINT32 PRESParticipant_getTransportInfoLength(struct PRESParticipant *self,
                                                  struct REDAWorker *worker);

/**
 * @brief Copies the current property out.
 *
 * User data, property list and partition names go into the buffers that @p out has; a part without
 * a buffer is left out (its length becomes 0); a property list needs both of its buffers. Facade
 * strings are not given out: the tracked-ports text becomes null. So do the host names of locators,
 * which are not the participant's to keep.
 *
 * @return non-zero on success; 0 when a buffer is too small: then @p out is left as it was.
 */
int PRESParticipant_getProperty(struct PRESParticipant *self, struct PRESParticipantProperty *out,
                                struct REDAWorker *worker);

/**
 * @brief Replaces the property, deeply copied, wholly or not at all.
 *
 * The facade took its settings at creation: they stay and are what is read back. A requested
 * identity word of 0, or one that is the participant's, keeps that word.
 *
 * @param failReason PRES_RETCODE_IMMUTABLE_POLICY for a change of the domain, the GUID prefix, the
 * requested participant index, the product version, the transports or the resource limits;
 * PRES_RETCODE_INCONSISTENT_POLICY for parts longer than the limits; PRES_RETCODE_OUT_OF_RESOURCES
 * when memory runs out.
 */
int PRESParticipant_setProperty(struct PRESParticipant *self, int *failReason,
                                const struct PRESParticipantProperty *property,
                                struct REDAWorker *worker);

/** Number of properties in the current property list. */
NUV_UINT32 PRESParticipant_getPropertyListLength(struct PRESParticipant *self,
                                                 struct REDAWorker *worker);

/** Copies the identity out. */
void PRESParticipant_getGuid(struct PRESParticipant *self, struct NUVOsapiRtpsGuid *out);

/** The participant's communication facade; never null, owned by the participant. */
struct COMMENDFacade *PRESParticipant_getFacade(struct PRESParticipant *self);

/**
 * @brief Makes a topic, or refuses. In a participant that is enabled and whose property says
 * autoenableCreatedEntities, it is enabled at once.
 * @param failReason PRES_RETCODE_BAD_PARAMETER for an empty name or type,
 * PRES_RETCODE_PRECONDITION_NOT_MET for a name that exists (the listener is told when the type
 * differs), PRES_RETCODE_ALREADY_DELETED after the wake-up for shutdown,
 * PRES_RETCODE_OUT_OF_RESOURCES when memory runs out.
 */
struct PRESTopic *PRESParticipant_createTopic(struct PRESParticipant *self, int *failReason,
                                              const char *name, const char *typeName,
                                              struct REDAWorker *worker);

/**
 * @brief Deletes a topic of this participant, after the finalize listener has been told.
 * @param failReason PRES_RETCODE_BAD_PARAMETER when it is none of them.
 */
int PRESParticipant_deleteTopic(struct PRESParticipant *self, int *failReason,
                                struct PRESTopic *topic, struct REDAWorker *worker);

/** The name of a topic; lives as long as the topic. */
const char *PRESTopic_getName(const struct PRESTopic *self);
/** The name of a topic's type; lives as long as the topic. */
const char *PRESTopic_getTypeName(const struct PRESTopic *self);
/** Non-zero once the topic is enabled. */
int PRESTopic_isEnabled(const struct PRESTopic *self);

/** Non-zero while the participant has a topic. */
int PRESParticipant_hasTopic(struct PRESParticipant *self, struct REDAWorker *worker);

/** Makes ready for shutdown: no new topic from now on. */
int PRESParticipant_preShutdownWakeup(struct PRESParticipant *self, int *failReason,
                                      struct REDAWorker *worker);

/** Stops the participant: it is no longer enabled and hands no message on. It may be repeated. */
int PRESParticipant_shutdown(struct PRESParticipant *self, int *failReason,
                             struct REDAWorker *worker);

/**
 * @brief Frees the participant and its facade with what is still reserved there.
 * @param failReason PRES_RETCODE_PRECONDITION_NOT_MET while it has topics or is enabled;
 * PRES_RETCODE_TIMEOUT when the reactor does not finish with a message of it. The participant stays
 * and can be deleted again.
 */
int PRESParticipant_delete(struct PRESParticipant *self, int *failReason,
                           struct REDAWorker *worker);

#ifdef __cplusplus
}
#endif

#endif
