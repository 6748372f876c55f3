// SPDX-License-Identifier: Apache-2.0
// The heap gives the module a property of the participant, and takes it back.
#pragma once

#include <string>

#include "pres/pres_participantProperty.h"

inline const std::string ALLOCATION =
    "NUVOsapiHeap_reallocateMemoryInternal(&pointer, " +
    std::to_string(sizeof(PRESParticipantProperty)) +
    R"(, -1, 0, 0, "NUVOsapiHeap_allocateStructure", 0x4B4F4C41, "struct PRESParticipantProperty"))";
constexpr const char *FREE =
    R"(NUVOsapiHeap_freeMemoryInternal(PRESParticipantProperty#1, 0, "NUVOsapiHeap_freeStructure", 0x4B4F4C41, -1))";
