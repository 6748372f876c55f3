// SPDX-License-Identifier: Apache-2.0
/**
 * @file disc_participant.h
 * @brief Participant discovery (DDSI-RTPS 8.5.3): a participant announces itself, and knows whom it
 * has heard.
 *
 * The participants of one runtime and one domain share a table of the others; each has a view of
 * it: those that it has heard itself, on ports and interfaces of its own. Announcing, leases and
 * answers run on the reactor, which never waits here. All operations are thread-safe, but for
 * DISCParticipant_delete and DISCDiscovery_delete, which must be the last.
 */
#ifndef DISC_PARTICIPANT_H
#define DISC_PARTICIPANT_H

#include "disc/disc_remote.h"
#include "pres/pres_participant.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The tables of all domains of a runtime. */
struct DISCDiscovery;

/** @param runtime borrowed; must outlive it. Null when memory runs out, after one error. */
struct DISCDiscovery *DISCDiscovery_new(struct NUVNetioRuntime *runtime, struct REDAWorker *worker);

/**
 * Deletes it; no participant has it any more. Null is accepted. Waits for whatever looks up the
 * name of a peer just then; when that has not ended after 4 s, what it uses stays, after one error.
 */
void DISCDiscovery_delete(struct DISCDiscovery *self);

/** The lease of a participant, unless it is set. */
#define DISC_LEASE_DURATION_DEFAULT                                                                \
    { 20, 0u }
/** How often a participant announces itself, unless it is set: at most a quarter of the lease. */
#define DISC_ANNOUNCEMENT_PERIOD_DEFAULT                                                           \
    { 4, 0u }
/** How many announcements follow the first one, unless it is set. */
#define DISC_INITIAL_ANNOUNCEMENTS_DEFAULT 5
/** The time between these, unless it is set: 100 ms. */
#define DISC_INITIAL_ANNOUNCEMENT_PERIOD_DEFAULT                                                   \
    { 0, 0x1999999Au }
/** The most participants that one knows, unless it is set. */
#define DISC_REMOTE_PARTICIPANTS_MAX_DEFAULT 4096
/** The highest participant index that a unicast peer without a port is looked for at. */
#define DISC_PEER_INDEX_MAX_DEFAULT 4
/** The most peers of a participant. */
#define DISC_PEERS_MAX 64
/** The most characters of a domain tag. */
#define DISC_DOMAIN_TAG_LENGTH_MAX 255

/** How a participant announces itself and whom it listens to. */
struct DISCParticipantProperty {
    struct NUVNtpTime leaseDuration;             /**< above 0; infinite: it never ends */
    struct NUVNtpTime announcementPeriod;        /**< above 0, a quarter of the lease at most */
    NUV_INT32 initialAnnouncements;              /**< 0 or more */
    struct NUVNtpTime initialAnnouncementPeriod; /**< above 0 */
    const char *domainTag;                       /**< null or empty: none */
    NUV_INT32 remoteParticipantsMax;             /**< 0 or more */
    NUV_INT32 announces;    /**< 0: it listens only, and sends nothing at all */
    NUV_INT32 logsMismatch; /**< non-zero: another domain or tag is said in the log */
    /**
     * Non-zero: it knows participants of other domains and tags as well, those of its own process
     * excepted. They do not know it.
     */
    NUV_INT32 acceptsMismatch;
    NUV_INT32 answers; /**< non-zero: it answers what is asked by DISC_QUESTION_PROPERTY */
    /** Properties that are announced in front of those that propagate. */
    const struct RTPSProperty *ownProperties;
    NUV_UINT32 ownPropertyCount;
    /* Where peers without a port are looked for (DDSI-RTPS 9.6.1). */
    KOLS_Transport_Port_t builtinMulticastPort;
    KOLS_Transport_Port_t builtinUnicastPort; /**< of participant index 0 */
    NUV_INT32 participantIdGain;
    NUV_INT32 peerIndexMax; /**< 0 or more */
};

#define DISC_PARTICIPANT_PROPERTY_DEFAULT                                                          \
    {                                                                                              \
        DISC_LEASE_DURATION_DEFAULT, DISC_ANNOUNCEMENT_PERIOD_DEFAULT,                             \
            DISC_INITIAL_ANNOUNCEMENTS_DEFAULT, DISC_INITIAL_ANNOUNCEMENT_PERIOD_DEFAULT, NULL,    \
            DISC_REMOTE_PARTICIPANTS_MAX_DEFAULT, 1, 0, 0, 1, NULL, 0u, 7400, 7410, 2,             \
            DISC_PEER_INDEX_MAX_DEFAULT                                                            \
    }

/**
 * @brief An announced property whose name begins so asks everybody whom the announcement reaches
 * what has become of somebody in them; the name ends in a word of 16 characters at most.
 *
 * Its value is "guid:01020304.05060708.090a0b0c", "name:" and a participant's name, or "process:"
 * and "812@host". Who answers announces itself to the asker alone, where the question came from,
 * with a property of the other name and the same word: "self", "known", "ignored", "full" when
 * there is no room for anybody, or "unknown". Behind "known" and "ignored" stands the GUID prefix;
 * of one that is known the milliseconds until its lease ends follow, or "infinite", and where what
 * is for it alone goes, as "udpv4://192.0.2.2:7410", if it has such a place. Of several with the
 * name or of the process one that is known is told before one that is ignored, and that before
 * oneself.
 *
 * Four questions of an announcement are answered at most, and by each participant one announcement
 * of each address in 200 ms; none that answers itself, none of a participant of the same process,
 * and none of one that is known which comes from elsewhere. Whoever is forgotten is "unknown", also
 * when it was ignored by the GUID that it has: ask for that.
 */
#define DISC_QUESTION_PROPERTY "nuvdds.discovery.question."
#define DISC_ANSWER_PROPERTY "nuvdds.discovery.answer."

/** What has become of a participant that is known. */
enum DISCChange {
    DISC_CHANGE_CAME = 0,
    DISC_CHANGE_CHANGED, /**< it says something else of itself */
    DISC_CHANGE_LEFT,    /**< it said so */
    DISC_CHANGE_LOST /**< its lease ended, another has its place, or it is ignored from now on */
};

/** Told that there is news to be taken. May be called with locks held, and on the reactor. */
struct DISCParticipantListener {
    void (*onNews)(void *param);
    void *param;
};

struct DISCParticipant;

/**
 * @brief Has a participant take part in discovery from when it is enabled until it is shut down.
 * @param participant borrowed, not yet enabled; must be deleted after this.
 * @param property    deeply copied.
 * @param listener    copied; null when nobody takes news.
 * @return null after one error message.
 */
struct DISCParticipant *DISCParticipant_new(struct DISCDiscovery *discovery,
                                            struct PRESParticipant *participant,
                                            const struct DISCParticipantProperty *property,
                                            const struct DISCParticipantListener *listener,
                                            struct REDAWorker *worker);

/**
 * @brief Deletes it. The presentation participant has been shut down, or was never enabled. Not on
 * one of the runtime's threads. Null is accepted.
 * @return non-zero on success; 0, after one error message, when the reactor did not finish with it
 * within 4 s: it can be deleted again.
 */
int DISCParticipant_delete(struct DISCParticipant *self, struct REDAWorker *worker);

/**
 * @brief Whom to announce to from now on, host names included, which are resolved by the thread of
 * callbacks, anew at each announcement period at the most. Copied.
 * @return non-zero on success; 0, after one error message, when there are more than DISC_PEERS_MAX,
 * or when memory or a thread is missing: then the former peers stay.
 */
int DISCParticipant_setPeers(struct DISCParticipant *self, const struct NUVNetioPeer *peers,
                             NUV_UINT32 count, struct REDAWorker *worker);

/** Changes both, and announces the new lease. They are as in the property. */
void DISCParticipant_setLease(struct DISCParticipant *self, const struct NUVNtpTime *leaseDuration,
                              const struct NUVNtpTime *announcementPeriod,
                              struct REDAWorker *worker);

/** Announces at once, to the peers. */
void DISCParticipant_assertLiveliness(struct DISCParticipant *self, struct REDAWorker *worker);

/**
 * @brief The octets of an announcement with the fullest lists of locators.
 *
 * What has more than DISC_ANNOUNCEMENT_SIZE_MAX cannot be announced at all.
 * RTPS_SIZE_IMPOSSIBLE: a part is too long for any announcement; also when memory runs out.
 */
size_t DISCParticipant_measure(const struct PRESParticipantProperty *property,
                               const struct DISCParticipantProperty *own);

/** As many as go into the largest message of every transport. */
#define DISC_ANNOUNCEMENT_SIZE_MAX 65400

/**
 * @brief Lists those that the participant knows and does not ignore.
 * @param buffer room for @p maximum; the first ones are written when there are more.
 * @return how many there are.
 */
NUV_UINT32 DISCParticipant_listRemotes(struct DISCParticipant *self,
                                       struct NUVOsapiRtpsGuidPrefix *buffer, NUV_UINT32 maximum,
                                       struct REDAWorker *worker);

/**
 * @brief What one of them last announced, retained for the caller.
 * @param status may be null.
 * @return null when the participant does not know it, or ignores it.
 */
const struct DISCRemote *DISCParticipant_findRemote(struct DISCParticipant *self,
                                                    const struct NUVOsapiRtpsGuidPrefix *prefix,
                                                    struct DISCRemoteStatus *status,
                                                    struct REDAWorker *worker);

/**
 * @brief Has the participant know nothing of another one from now on, for as long as both live.
 * @return non-zero on success; 0 when memory runs out.
 */
int DISCParticipant_ignore(struct DISCParticipant *self,
                           const struct NUVOsapiRtpsGuidPrefix *prefix, struct REDAWorker *worker);

/**
 * @brief Waits until the participant knows @p count others, or the time is up. Not on the reactor's
 * thread.
 * @return non-zero when it knows as many.
 */
int DISCParticipant_waitForRemotes(struct DISCParticipant *self, NUV_UINT32 count,
                                   const struct NUVNtpTime *timeout, struct REDAWorker *worker);

/**
 * @brief The oldest news that was not taken yet. Only of one with a listener.
 * @param remoteOut what it is about, retained for the caller: the new data, or the last.
 * @return 0 when there is none.
 */
int DISCParticipant_takeNews(struct DISCParticipant *self, enum DISCChange *changeOut,
                             const struct DISCRemote **remoteOut, struct REDAWorker *worker);

/** Why an announcement that could be read was not taken. */
enum DISCRefusal {
    DISC_REFUSED_DOMAIN_ID = 0,
    DISC_REFUSED_DOMAIN_TAG,
    DISC_REFUSED_STALE,   /**< a lower sequence number, and no newer time */
    DISC_REFUSED_IGNORED, /**< the participant is ignored */
    DISC_REFUSED_FORGED,  /**< from elsewhere, while the participant lives where it was */
    DISC_REFUSED_FULL,    /**< no room for it, or too many of one address */
    DISC_REFUSED_ECHO,    /**< what a participant of this process has said itself */
    DISC_REFUSED_NO_MEMORY,
    DISC_REFUSAL_COUNT
};

/** What a participant's discovery has done; all counts but the first rise only. */
struct DISCStatistics {
    NUV_UINT64 known;                 /**< participants that it knows now */
    NUV_UINT64 announcementsSent;     /**< datagrams with an announcement, or with a leaving */
    NUV_UINT64 announcementsReceived; /**< from others, whatever became of them */
    NUV_UINT64 refused[DISC_REFUSAL_COUNT];
    NUV_UINT64 unreadable[RTPS_REFUSAL_COUNT]; /**< that could not be read, by the reason */
    NUV_UINT64 came;
    NUV_UINT64 changed;
    NUV_UINT64 left;
    NUV_UINT64 lost;           /**< leases that ended, replaced and ignored ones */
    NUV_UINT64 heartbeatsSent; /**< answers to those who ask for endpoints that there are not */
};

void DISCParticipant_getStatistics(struct DISCParticipant *self, struct DISCStatistics *out,
                                   struct REDAWorker *worker);

#ifdef __cplusplus
}
#endif

#endif
