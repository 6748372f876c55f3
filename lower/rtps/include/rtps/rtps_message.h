// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_message.h
 * @brief Messages: their header, and the submessages in them one after the other (DDSI-RTPS 8.3.3,
 * 9.4.1, 9.4.4, 9.4.5.1).
 */
#ifndef RTPS_MESSAGE_H
#define RTPS_MESSAGE_H

#include "osapi/osapi_guid.h"
#include "rtps/rtps_refusal.h"
#include "rtps/rtps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define RTPS_HEADER_SIZE 20

/** The header of a message, and what INFO_SRC says instead. */
struct RTPSHeader {
    struct RTPSProtocolVersion version;
    struct RTPSVendorId vendorId;
    struct NUVOsapiRtpsGuidPrefix guidPrefix; /**< of the participant that sends */
};

/** The kinds of submessages. Those from 0x80 on belong to vendors. */
enum RTPSSubmessageKind {
    RTPS_SUBMESSAGE_HEADER_EXTENSION = 0x00,
    RTPS_SUBMESSAGE_PAD = 0x01,
    RTPS_SUBMESSAGE_ACKNACK = 0x06,
    RTPS_SUBMESSAGE_HEARTBEAT = 0x07,
    RTPS_SUBMESSAGE_GAP = 0x08,
    RTPS_SUBMESSAGE_INFO_TS = 0x09,
    RTPS_SUBMESSAGE_INFO_SRC = 0x0C,
    RTPS_SUBMESSAGE_INFO_REPLY_IP4 = 0x0D,
    RTPS_SUBMESSAGE_INFO_DST = 0x0E,
    RTPS_SUBMESSAGE_INFO_REPLY = 0x0F,
    RTPS_SUBMESSAGE_NACK_FRAG = 0x12,
    RTPS_SUBMESSAGE_HEARTBEAT_FRAG = 0x13,
    RTPS_SUBMESSAGE_DATA = 0x15,
    RTPS_SUBMESSAGE_DATA_FRAG = 0x16,
    RTPS_SUBMESSAGE_SEC_BODY = 0x30,
    RTPS_SUBMESSAGE_SEC_PREFIX = 0x31,
    RTPS_SUBMESSAGE_SEC_POSTFIX = 0x32,
    RTPS_SUBMESSAGE_SRTPS_PREFIX = 0x33,
    RTPS_SUBMESSAGE_SRTPS_POSTFIX = 0x34
};

/** A submessage of whatever kind. rtps_submessage.h reads what is in those of a known kind. */
struct RTPSSubmessage {
    NUV_UINT8 kind; /**< an RTPSSubmessageKind, or one that is not known and to be passed over */
    NUV_UINT8 flags;
    enum RTPSByteOrder byteOrder;
    struct RTPSOctets body; /**< what follows the submessage's header */
};

/** Goes through a message, which must stay as it is meanwhile. */
struct RTPSMessageReader {
    enum RTPSRefusal refusal; /**< why the rest was not read; RTPS_ACCEPTED as long as all was */
    struct RTPSOctets rest;
};

/**
 * @brief Reads the header of a message and makes ready to go through its submessages.
 * @param header written on success only.
 * @return RTPS_ACCEPTED, or RTPS_REFUSED_NO_MESSAGE; then there are no submessages.
 */
enum RTPSRefusal RTPSMessageReader_initialize(struct RTPSMessageReader *self,
                                              struct RTPSOctets message, struct RTPSHeader *header);

/**
 * @brief The next submessage, of a kind that is known or not.
 *
 * Where one begins at an octet that is no multiple of four it is read all the same.
 * @return non-zero with a submessage; 0 at the end, and where the rest of the message is invalid:
 * then @p refusal of the reader is RTPS_REFUSED_LENGTH.
 */
int RTPSMessageReader_next(struct RTPSMessageReader *self, struct RTPSSubmessage *out);

/**
 * @brief Puts a message together in room that is lent.
 *
 * rtps_submessage.h has the functions that add submessages. Each adds all or nothing, so that what
 * is there is a message at any time.
 */
struct RTPSMessageWriter {
    NUV_UINT8 *buffer;
    size_t capacity; /**< octets */
    enum RTPSByteOrder byteOrder;
    /** Octets of the message. 0 when there was no room for its header. */
    size_t length;
    /**
     * Octets that there would have to be room for, with what was tried to add last;
     * RTPS_SIZE_IMPOSSIBLE when it can be added to no message, or to none like this.
     */
    size_t needed;
    NUV_INT32 isClosed; /**< its last submessage has no length, so that nothing can follow */
};

/**
 * @brief Begins a message with its header.
 * @param buffer room for @p capacity octets; must stay as long as the writer. May be null if that
 *               is 0.
 * @return non-zero when there was room for it; else the message stays empty.
 */
int RTPSMessageWriter_initialize(struct RTPSMessageWriter *self, NUV_UINT8 *buffer, size_t capacity,
                                 enum RTPSByteOrder byteOrder, const struct RTPSHeader *header);

#ifdef __cplusplus
}
#endif

#endif
