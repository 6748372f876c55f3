// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_submessage.h
 * @brief What is in the submessages (DDSI-RTPS 8.3.8, 9.4.5).
 *
 * Each kind has a record, a function that reads it and one that adds it to a message.
 *
 * RTPS<Kind>_read takes a submessage of that kind, writes to @p out on success only, and answers
 * RTPS_ACCEPTED or why not. By the standard what is refused makes the rest of its message invalid.
 * What follows the known parts is passed over: a later minor version may add more.
 *
 * RTPSMessageWriter_add<Kind> returns non-zero on success and 0 when it does not fit, or is nothing
 * that its reader would accept; then the message stays as it was and @p needed of the writer says
 * which of the two it is.
 */
#ifndef RTPS_SUBMESSAGE_H
#define RTPS_SUBMESSAGE_H

#include "rtps/rtps_guid.h"
#include "rtps/rtps_locators.h"
#include "rtps/rtps_message.h"
#include "rtps/rtps_numberSet.h"

#ifdef __cplusplus
extern "C" {
#endif

/** How often something was said: of two, what has the greater count is the newer. */
typedef NUV_INT32 RTPSCount;

/** Which changes a reader has, and which it asks for. */
struct RTPSAckNack {
    NUV_INT32 isFinal; /**< no answer is needed */
    RTPSEntityId readerId;
    RTPSEntityId writerId;
    /**
     * It has all below the base; it asks for those in the set. The base 0 without any bits is
     * accepted as well: it has nothing and asks for nothing, as some begin.
     */
    struct RTPSSequenceNumberSet readerSNState;
    RTPSCount count;
};

enum RTPSRefusal RTPSAckNack_read(const struct RTPSSubmessage *submessage, struct RTPSAckNack *out);
int RTPSMessageWriter_addAckNack(struct RTPSMessageWriter *self, const struct RTPSAckNack *ackNack);

/** Which fragments of a change a reader asks for. */
struct RTPSNackFrag {
    RTPSEntityId readerId;
    RTPSEntityId writerId;
    RTPSSequenceNumber writerSN;
    struct RTPSFragmentNumberSet fragmentNumberState;
    RTPSCount count;
};

enum RTPSRefusal RTPSNackFrag_read(const struct RTPSSubmessage *submessage,
                                   struct RTPSNackFrag *out);
int RTPSMessageWriter_addNackFrag(struct RTPSMessageWriter *self,
                                  const struct RTPSNackFrag *nackFrag);

/** Which changes the writers of a group have. */
struct RTPSGroupState {
    RTPSSequenceNumber currentGSN;
    RTPSSequenceNumber firstGSN;
    RTPSSequenceNumber lastGSN;
    NUV_UINT8 writerSet[4]; /**< digest of the group's writers */
    NUV_UINT8 secureWriterSet[4];
};

/** Which changes a writer has. */
struct RTPSHeartbeat {
    NUV_INT32 isFinal;      /**< no answer is needed */
    NUV_INT32 isLiveliness; /**< the writer's application has said that it lives */
    NUV_INT32 hasGroup;
    RTPSEntityId readerId;
    RTPSEntityId writerId;
    RTPSSequenceNumber firstSN; /**< 1 or more */
    RTPSSequenceNumber lastSN;  /**< firstSN - 1 when there are none */
    RTPSCount count;
    struct RTPSGroupState group; /**< all 0 without @p hasGroup */
};

enum RTPSRefusal RTPSHeartbeat_read(const struct RTPSSubmessage *submessage,
                                    struct RTPSHeartbeat *out);
int RTPSMessageWriter_addHeartbeat(struct RTPSMessageWriter *self,
                                   const struct RTPSHeartbeat *heartbeat);

/** Which fragments of a change a writer has: the first to the last. */
struct RTPSHeartbeatFrag {
    RTPSEntityId readerId;
    RTPSEntityId writerId;
    RTPSSequenceNumber writerSN;
    RTPSFragmentNumber lastFragmentNum;
    RTPSCount count;
};

enum RTPSRefusal RTPSHeartbeatFrag_read(const struct RTPSSubmessage *submessage,
                                        struct RTPSHeartbeatFrag *out);
int RTPSMessageWriter_addHeartbeatFrag(struct RTPSMessageWriter *self,
                                       const struct RTPSHeartbeatFrag *heartbeatFrag);

/** Which changes of a writer are of no concern to a reader. */
struct RTPSGap {
    NUV_INT32 hasGroup;
    NUV_INT32 hasFilteredCount;
    RTPSEntityId readerId;
    RTPSEntityId writerId;
    RTPSSequenceNumber gapStart; /**< those from here to below the base of the list */
    struct RTPSSequenceNumberSet gapList;
    RTPSSequenceNumber gapStartGSN; /**< the same for the writer's group; 0 without @p hasGroup */
    RTPSSequenceNumber gapEndGSN;
    NUV_INT64 filteredCount; /**< how many were left out by filters; 0 without the flag */
};

enum RTPSRefusal RTPSGap_read(const struct RTPSSubmessage *submessage, struct RTPSGap *out);
int RTPSMessageWriter_addGap(struct RTPSMessageWriter *self, const struct RTPSGap *gap);

/** When what follows was said. */
struct RTPSInfoTimestamp {
    struct RTPSTime timestamp; /**< RTPS_TIME_INVALID: what follows has none */
};

enum RTPSRefusal RTPSInfoTimestamp_read(const struct RTPSSubmessage *submessage,
                                        struct RTPSInfoTimestamp *out);
int RTPSMessageWriter_addInfoTimestamp(struct RTPSMessageWriter *self,
                                       const struct RTPSInfoTimestamp *info);

/** Whom what follows comes from. */
struct RTPSInfoSource {
    struct RTPSHeader source;
};

enum RTPSRefusal RTPSInfoSource_read(const struct RTPSSubmessage *submessage,
                                     struct RTPSInfoSource *out);
int RTPSMessageWriter_addInfoSource(struct RTPSMessageWriter *self,
                                    const struct RTPSInfoSource *info);

/** Whom what follows is for; all 0: everybody. */
struct RTPSInfoDestination {
    struct NUVOsapiRtpsGuidPrefix guidPrefix;
};

enum RTPSRefusal RTPSInfoDestination_read(const struct RTPSSubmessage *submessage,
                                          struct RTPSInfoDestination *out);
int RTPSMessageWriter_addInfoDestination(struct RTPSMessageWriter *self,
                                         const struct RTPSInfoDestination *info);

/** Where answers to what follows go; RTPSLocators_add says which locators are left out. */
struct RTPSInfoReply {
    NUV_INT32 hasMulticast;
    struct RTPSLocators unicast;
    struct RTPSLocators multicast; /**< empty without @p hasMulticast */
};

enum RTPSRefusal RTPSInfoReply_read(const struct RTPSSubmessage *submessage,
                                    struct RTPSInfoReply *out);
int RTPSMessageWriter_addInfoReply(struct RTPSMessageWriter *self,
                                   const struct RTPSInfoReply *info);

/** The same with one UDPv4 locator of each kind. LOCATORUDPv4_INVALID is an invalid locator. */
struct RTPSInfoReplyIp4 {
    NUV_INT32 hasMulticast;
    struct NUVNetioLocator unicast;
    struct NUVNetioLocator multicast; /**< invalid without @p hasMulticast */
};

enum RTPSRefusal RTPSInfoReplyIp4_read(const struct RTPSSubmessage *submessage,
                                       struct RTPSInfoReplyIp4 *out);
int RTPSMessageWriter_addInfoReplyIp4(struct RTPSMessageWriter *self,
                                      const struct RTPSInfoReplyIp4 *info);

/** What the payload of a DATA is. */
enum RTPSPayloadKind {
    RTPS_PAYLOAD_NONE = 0,
    RTPS_PAYLOAD_DATA = 1,
    RTPS_PAYLOAD_KEY = 2 /**< the serialized key alone */
};

/** A change of a writer. */
struct RTPSData {
    enum RTPSPayloadKind payloadKind;
    NUV_INT32 isNonStandardPayload;
    RTPSEntityId readerId; /**< RTPS_ENTITYID_UNKNOWN: all readers of this writer */
    RTPSEntityId writerId;
    RTPSSequenceNumber writerSN;
    /** A parameter list with its sentinel, in the submessage's byte order; empty: none. */
    struct RTPSOctets inlineQos;
    /**
     * To the end of the submessage, what it is padded with to a multiple of four included. Empty
     * when there is none.
     */
    struct RTPSOctets payload;
};

enum RTPSRefusal RTPSData_read(const struct RTPSSubmessage *submessage, struct RTPSData *out);
int RTPSMessageWriter_addData(struct RTPSMessageWriter *self, const struct RTPSData *data);

/** Some fragments of a change. */
struct RTPSDataFrag {
    NUV_INT32 isKey; /**< of the serialized key, not of the data */
    NUV_INT32 isNonStandardPayload;
    RTPSEntityId readerId;
    RTPSEntityId writerId;
    RTPSSequenceNumber writerSN;
    RTPSFragmentNumber fragmentStartingNum;
    NUV_UINT16 fragmentsInSubmessage;
    NUV_UINT16 fragmentSize;     /**< octets of each fragment but the last of the sample */
    NUV_UINT32 sampleSize;       /**< octets of all fragments */
    struct RTPSOctets inlineQos; /**< as in a DATA */
    struct RTPSOctets payload;   /**< the fragments, without what they are padded with */
};

enum RTPSRefusal RTPSDataFrag_read(const struct RTPSSubmessage *submessage,
                                   struct RTPSDataFrag *out);
int RTPSMessageWriter_addDataFrag(struct RTPSMessageWriter *self,
                                  const struct RTPSDataFrag *dataFrag);

/** What the header of a message has no place for. It comes right after that header. */
struct RTPSHeaderExtension {
    NUV_INT32 hasMessageLength;
    NUV_INT32 hasSendTimestamp;
    NUV_INT32 hasUExtension4;
    NUV_INT32 hasWExtension8;
    NUV_UINT32 messageLength; /**< octets of the message, its header included */
    struct RTPSTime sendTimestamp;
    NUV_UINT8 uExtension4[4];
    NUV_UINT8 wExtension8[8];
    /**
     * Of the message: none, CRC-32C of 4, CRC-64 of 8 or MD5 of 16 octets. It is not checked here.
     */
    struct RTPSOctets messageChecksum;
    struct RTPSOctets parameters; /**< as inlineQos in a DATA */
};

enum RTPSRefusal RTPSHeaderExtension_read(const struct RTPSSubmessage *submessage,
                                          struct RTPSHeaderExtension *out);
/** One without any part cannot be added: a length of 0 means something else. */
int RTPSMessageWriter_addHeaderExtension(struct RTPSMessageWriter *self,
                                         const struct RTPSHeaderExtension *extension);

/** Adds a PAD of @p size octets, a multiple of four. Nothing in one is to be read. */
int RTPSMessageWriter_addPad(struct RTPSMessageWriter *self, NUV_UINT16 size);

#ifdef __cplusplus
}
#endif

#endif
