// SPDX-License-Identifier: Apache-2.0
/**
 * @file update_fixture.h
 * @brief A participant of index 3 that holds its ports and whose locators are updated; no sockets.
 *
 * Its ports are 8650 and 8651 for multicast, 8666 and 8667 for unicast (support/
 * scripted_presentation.h). What it is to have after the update is in `multicastAddresses`,
 * `metaAddresses` and `userAddresses`. The property that it reads is `running`, and the one that it
 * is given last is `pushed`.
 */
#pragma once

#include <optional>

#include "domain/DomainParticipant_internal.h"
#include "support/heap_watch.h"
#include "support/running_presentation.h"
#include "support/scripted_presentation.h"

class Update : public support::ScriptedPresentation {
public:
    static constexpr int INDEX = 3;
    static constexpr const char *OPERATION =
        "DDS_DomainParticipantPresentation_update_participant_locatorsI";

    void SetUp() override;
    void TearDown() override;

    /** Has the participant hold the ports of its addresses, and announce them. */
    void start();

    DDS_ReturnCode_t update(int participantIndex = INDEX);

    /** Has the property given back and yet a failure reported. */
    void failFinalize();

    support::HeapWatch heap;
    DDS_DomainParticipant owner{};
    PRESParticipantProperty running = PARTICIPANT_PROPERTY_DEFAULT;
    std::optional<PRESParticipantProperty> pushed;
    std::optional<support::SetupBuffers> setupBuffers;
};

/** The line for a changed list. */
support::Message changeLine(const std::string &list, const std::string &before,
                            const std::string &now);
