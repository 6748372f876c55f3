// SPDX-License-Identifier: Apache-2.0
/**
 * @file disc_remote.h
 * @brief What another participant has announced of itself.
 */
#ifndef DISC_REMOTE_H
#define DISC_REMOTE_H

#include "rtps/rtps_participantData.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief An announcement that was accepted: immutable, counted by its users.
 *
 * It is kept as octets. What an announcement has more of than there is a place for in
 * RTPSParticipantData is not kept.
 */
struct DISCRemote;

/** One more user. */
const struct DISCRemote *DISCRemote_retain(const struct DISCRemote *self);
/** One user less; the last one frees it. Null is accepted. Thread-safe. */
void DISCRemote_release(const struct DISCRemote *self);

/**
 * Reads what was announced; the version and the vendor are those of the announcement, or else of
 * the message that brought it. The views are good as long as the announcement is held.
 */
void DISCRemote_read(const struct DISCRemote *self, struct RTPSParticipantData *out);

/** The participant that announced it. */
const struct NUVOsapiRtpsGuidPrefix *DISCRemote_getPrefix(const struct DISCRemote *self);

/** What is known of a participant besides what it says. */
struct DISCRemoteStatus {
    /** When it was first and last heard, by the wall clock: nanoseconds since 1970. */
    NUV_INT64 firstHeard;
    NUV_INT64 lastHeard;
    /** Where its last announcement came from; invalid for a participant of this process. */
    struct NUVNetioLocator source;
    NUV_INT32 isLocal; /**< it is a participant of this process */
    /**
     * It has said something to the asking participant alone, or by unicast from another host: a
     * sign that it hears it. It may also have its address as a peer.
     */
    NUV_INT32 hasAddressed;
};

#ifdef __cplusplus
}
#endif

#endif
