// SPDX-License-Identifier: Apache-2.0
/**
 * @file commend_facadeProperty.h
 * @brief The configuration of a participant's communication facade.
 */
#ifndef COMMEND_FACADE_PROPERTY_H
#define COMMEND_FACADE_PROPERTY_H

#include "osapi/osapi_guid.h"
#include "osapi/osapi_ntptime.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A thread participant id: up to 5 characters and the terminator. */
#define COMMEND_THREAD_PARTICIPANT_ID_SIZE 6

struct COMMENDInterpreterProperty {
    NUV_INT32 enforceSubmessageAlignment;
    NUV_INT32 logParticipantDiscoveryMismatch;
    NUV_INT32 isSpdp2;
    NUV_INT32 canDecode;
    NUV_INT32 mustDecodeRtpsMessage;
    NUV_INT32 mustDecodeRtpsBootstrappingMessage;
};

struct COMMENDMessageGeneratorProperty {
    NUV_INT32 gatherSendBufferCountMax;
    NUV_INT32 canEncodeSubmessage;
    NUV_INT32 canEncodeRtpsMessage;
    NUV_INT32 encodedSubmessageMaxOverhead;              /**< bytes */
    NUV_INT32 encodedMessageBaseOverhead;                /**< bytes */
    NUV_INT32 encodedMessageWithPresharedKeyMaxOverhead; /**< bytes */
    NUV_INT32 encodedMessageOverheadPerReceiver;         /**< bytes */
};

struct COMMENDSenderProperty {
    /** Sending that takes longer logs a warning, at most one a second; infinite: never. */
    struct NUVNtpTime sendTimeBasedLoggingThreshold;
};

struct COMMENDReceiverProperty {
    /**
     * Processing a received message that takes longer logs a warning, at most one a second for all
     * facades of the runtime; infinite: never.
     */
    struct NUVNtpTime processMessageTimeBasedLoggingThreshold;
    /**
     * The receive ports for which that is done: numbers and ranges joined by ','
     * ("7410,7412-7420"). Null or empty: every port. Owned by whoever fills the property.
     */
    char *processMessageTimeBasedLoggingExplicitPorts;
};

struct COMMENDJobDispatcherProperty {
    char threadParticipantId[COMMEND_THREAD_PARTICIPANT_ID_SIZE];
    NUV_INT32 executionThreadDestructionTimeout; /**< seconds */
};

struct COMMENDFacadeProperty {
    struct NUVOsapiRtpsGuidPrefix guidPrefix;
    char threadParticipantId[COMMEND_THREAD_PARTICIPANT_ID_SIZE];
    struct COMMENDInterpreterProperty interpreter;
    struct COMMENDMessageGeneratorProperty messageGenerator;
    struct COMMENDSenderProperty sender;
    struct COMMENDReceiverProperty receiver;
    struct COMMENDJobDispatcherProperty jobDispatcher;
};

struct COMMENDActiveEventGeneratorProperty {
    char threadParticipantId[COMMEND_THREAD_PARTICIPANT_ID_SIZE];
};

/** The property of a facade whose work is done by threads of the middleware. */
struct COMMENDActiveFacadeProperty {
    struct COMMENDFacadeProperty parent;
    struct COMMENDActiveEventGeneratorProperty activeEventGenerator;
};

/** How many seconds an execution thread has to end, unless it is set. */
#define COMMEND_EXECUTION_THREAD_DESTRUCTION_TIMEOUT_DEFAULT 10
/** How many buffers one send gathers at the most, unless it is set. */
#define COMMEND_GATHER_SEND_BUFFER_COUNT_MAX_DEFAULT 16

#define COMMEND_FACADE_PROPERTY_DEFAULT                                                            \
    {                                                                                              \
        {0u, 0u, 0u}, {0}, {0, 0, 0, 0, 0, 0},                                                     \
            {COMMEND_GATHER_SEND_BUFFER_COUNT_MAX_DEFAULT, 0, 0, 0, 0, 0, 0},                      \
            {NUV_NTP_TIME_INFINITE}, {NUV_NTP_TIME_INFINITE, NULL}, {                              \
            {0}, COMMEND_EXECUTION_THREAD_DESTRUCTION_TIMEOUT_DEFAULT                              \
        }                                                                                          \
    }

#define COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT                                                     \
    {                                                                                              \
        COMMEND_FACADE_PROPERTY_DEFAULT, {                                                         \
            { 0 }                                                                                  \
        }                                                                                          \
    }

#ifdef __cplusplus
}
#endif

#endif
