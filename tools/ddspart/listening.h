// SPDX-License-Identifier: Apache-2.0
// Participants that only look, for as long as they are asked to.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "options.h"
#include "participant.h"
#include "signals.h"

/** The same, but sending nothing and taking no participant index: it hears who announces itself. */
ParticipantOptions listening_only(ParticipantOptions options);

/** Joins; its index is the last free one that an application's participant would come to. */
std::unique_ptr<Participant> join_at_highest_index(const Factory &factory,
                                                   ParticipantOptions options);

/** Each participant takes some descriptors, and those in many domains more than is usual. */
void take_all_descriptors();

constexpr std::chrono::milliseconds POLLING_PERIOD(50);

/** Waits for the next poll, which is news, or what ends before. */
Event wait_for_poll(std::optional<Moment> end, std::chrono::milliseconds period = POLLING_PERIOD);
