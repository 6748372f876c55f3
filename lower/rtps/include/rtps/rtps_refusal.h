// SPDX-License-Identifier: Apache-2.0
/**
 * @file rtps_refusal.h
 * @brief Why octets are refused.
 */
#ifndef RTPS_REFUSAL_H
#define RTPS_REFUSAL_H

#ifdef __cplusplus
extern "C" {
#endif

/** The answer of what reads octets. The values count up from 0, so that a table can be indexed. */
enum RTPSRefusal {
    RTPS_ACCEPTED = 0,
    RTPS_REFUSED_NO_MESSAGE,      /**< no RTPS message, or one of another major version */
    RTPS_REFUSED_LENGTH,          /**< a length that lies: something ends before it should */
    RTPS_REFUSED_ALIGNMENT,       /**< a submessage that begins where none should */
    RTPS_REFUSED_PLACE,           /**< a submessage where none of its kind belongs */
    RTPS_REFUSED_SEQUENCE_NUMBER, /**< a sequence number, or a range of them, that cannot be */
    RTPS_REFUSED_NUMBER_SET,      /**< a set of sequence or fragment numbers that cannot be */
    RTPS_REFUSED_FRAGMENT,        /**< fragments that are none of their sample */
    RTPS_REFUSED_FLAGS,           /**< flags that exclude each other */
    RTPS_REFUSED_ENCAPSULATION,   /**< a payload that is no parameter list */
    RTPS_REFUSED_NO_SENTINEL,     /**< a parameter list without an end */
    RTPS_REFUSED_MUST_UNDERSTAND, /**< an unknown parameter that must be understood */
    RTPS_REFUSED_TEXT,            /**< a text without its end */
    RTPS_REFUSED_LEASE,           /**< a lease duration of zero or less */
    RTPS_REFUSED_NO_GUID,         /**< a participant without a GUID */
    RTPS_REFUSED_ENTITY_ID,       /**< a GUID that is no participant's */
    RTPS_REFUSED_GUID_PREFIX,     /**< a participant that is not the sender */
    RTPS_REFUSAL_COUNT            /**< how many values there are, RTPS_ACCEPTED among them */
};

/** The reason as a phrase, as "a text without its end"; "nothing" for RTPS_ACCEPTED. Never null. */
const char *RTPSRefusal_toString(enum RTPSRefusal refusal);

#ifdef __cplusplus
}
#endif

#endif
