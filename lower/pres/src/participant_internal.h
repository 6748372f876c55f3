// SPDX-License-Identifier: Apache-2.0
// The presentation participant as the layer's own files see it.
#ifndef PRES_PARTICIPANT_INTERNAL_H
#define PRES_PARTICIPANT_INTERNAL_H

#include <atomic>

#include "pres/pres_participant.h"
#include "propertyStore.h"
#include "reda/reda_exclusiveArea.h"

struct PRESTopic {
    PRESTopic *next = nullptr; // the participant's, in its tableEa
    char *name = nullptr;
    char *typeName = nullptr;
    std::atomic<bool> isEnabled{false};
    // The list's, and that of each callback that is being told of the topic: so it outlives them.
    std::atomic<int> references{1};
};

/** Enables every topic. The caller is in the participant's tableEa. */
void PRESParticipant_enableTopicsI(struct PRESParticipant *self);

struct PRESParticipant {
    enum class Phase { CREATED, ENABLED, SHUT_DOWN };

    // Set by PRESParticipant_new and then never changed:
    NUVOsapiRtpsGuid guid{};
    PRESParticipantListener listener{};
    PRESStatusKindMask listenerMask = 0;
    PRESParticipantEntityFinalizeListener finalizeListener{};
    COMMENDFacade *facade = nullptr;
    REDAExclusiveArea *tableEa = nullptr;
    REDAExclusiveArea *recordEa = nullptr; // entered inside tableEa, never the other way round

    // In tableEa:
    Phase phase = Phase::CREATED;
    bool takesTopics = true;
    PRESTopic *topics = nullptr;

    // In recordEa:
    PRESPropertyStore property;
    NUVNetioTransportInfo *transportInfo = nullptr;
    NUV_UINT32 transportInfoLength = 0;
    PRESParticipantDiscovery discovery{};
    bool isAnnounced = false; // between the calls of its onEnabled and onShutdown

    // Of the reactor's thread:
    std::atomic<NUV_UINT64> messagesTaken{0};
};

#endif
