// SPDX-License-Identifier: Apache-2.0
/**
 * @file commend_endpoint.h
 * @brief Who takes the submessages that a facade receives (DDSI-RTPS 8.3.4).
 */
#ifndef COMMEND_ENDPOINT_H
#define COMMEND_ENDPOINT_H

#include "commend/commend_facade.h"
#include "rtps/rtps_submessage.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What a message has said up to one of its submessages; valid during the call. */
struct COMMENDMessageContext {
    const struct NUVNetioMessage *message; /**< as it was received, and where */
    struct RTPSHeader
        source; /**< whom it comes from: its header's, or INFO_SRC's, if that differs */
    enum RTPSByteOrder byteOrder;      /**< of this submessage, so of its inline QoS */
    NUV_INT32 isDirected;              /**< INFO_DST has named this participant */
    struct RTPSTime timestamp;         /**< INFO_TS; RTPS_TIME_INVALID where there is none */
    const struct RTPSInfoReply *reply; /**< where answers go; null: nobody has said anywhere */
};

/**
 * @brief A reader or a writer of a participant.
 *
 * Its calls come on the reactor's thread, one at a time, with nothing locked. A reader is handed
 * DATA, HEARTBEAT and GAP, a writer ACKNACK; submessages of all other kinds are passed over. What
 * is for the reader RTPS_ENTITYID_UNKNOWN goes to each that has a function for it: it may not be of
 * its writer. One that is added within such a call may still get it.
 */
struct COMMENDEndpoint {
    /** RTPS_ENTITYID_UNKNOWN: takes what is for an endpoint that there is not, and nothing else. */
    RTPSEntityId entityId;
    void (*onData)(void *param, const struct COMMENDMessageContext *context,
                   const struct RTPSData *data, struct REDAWorker *worker);
    void (*onHeartbeat)(void *param, const struct COMMENDMessageContext *context,
                        const struct RTPSHeartbeat *heartbeat, struct REDAWorker *worker);
    void (*onGap)(void *param, const struct COMMENDMessageContext *context,
                  const struct RTPSGap *gap, struct REDAWorker *worker);
    void (*onAckNack)(void *param, const struct COMMENDMessageContext *context,
                      const struct RTPSAckNack *ackNack, struct REDAWorker *worker);
    /**
     * A message has been gone through to its end, whomever its submessages were for; the source is
     * that of its header, and the byte order means nothing. Never of the one for
     * RTPS_ENTITYID_UNKNOWN.
     */
    void (*onMessage)(void *param, const struct COMMENDMessageContext *context,
                      struct REDAWorker *worker);
    void *param;
};

/*
 * The functions below are thread-safe and may be called anywhere, within a call of an endpoint as
 * well. An endpoint that is still there when its facade is deleted is called no more.
 */

/** How many endpoints a facade has at the most. */
#define COMMEND_ENDPOINTS_MAX 8

/**
 * @brief Has an endpoint take submessages from now on. As long as a facade has none, messages are
 * not gone through.
 * @param endpoint borrowed, until it has been removed; it stays as it is meanwhile.
 * @return non-zero on success; 0, after one error message, when there are COMMEND_ENDPOINTS_MAX, or
 * one of this entity id.
 */
int COMMENDFacade_addEndpoint(struct COMMENDFacade *self, const struct COMMENDEndpoint *endpoint);

/**
 * @brief Has it take no more; to remove one that is not there is no error. It is not being called
 * then, unless this was called on the reactor's thread, where its call ends by itself. Elsewhere
 * the caller holds no lock that anything called on the reactor's thread takes.
 * @return non-zero on success; 0 when it was still being called after 4 s: it has to stay, and can
 * be removed again. Nothing is logged.
 */
int COMMENDFacade_removeEndpoint(struct COMMENDFacade *self,
                                 const struct COMMENDEndpoint *endpoint);

/** What became of submessages; all counts rise only. */
struct COMMENDInterpreterStatistics {
    NUV_UINT64 handedOn;   /**< submessages, each counted once however many have taken it */
    NUV_UINT64 unwanted;   /**< for no endpoint that there is, or one without a function for it */
    NUV_UINT64 forOthers;  /**< directed at another participant */
    NUV_UINT64 fromSelf;   /**< said by this participant, handed on by somebody else */
    NUV_UINT64 passedOver; /**< of a kind that no endpoint takes, or of another major version */
    /** Messages of which the rest was not read, by the reason. */
    NUV_UINT64 refused[RTPS_REFUSAL_COUNT];
};

/** Copies the counts out. */
void COMMENDFacade_getInterpreterStatistics(struct COMMENDFacade *self,
                                            struct COMMENDInterpreterStatistics *out);

#ifdef __cplusplus
}
#endif

#endif
