// SPDX-License-Identifier: Apache-2.0
// Participants that only look, for as long as they are asked to.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "held_ports.h"
#include "options.h"
#include "participant.h"
#include "signals.h"

/** The same, but sending nothing and taking no participant index: it hears who announces itself. */
ParticipantOptions listening_only(ParticipantOptions options);

/** Joins; its index is the last free one that an application's participant would come to. */
std::unique_ptr<Participant> join_at_highest_index(const Factory &factory,
                                                   ParticipantOptions options);

/** A port at a numeric address as a peer: "udpv4://127.0.0.1:7412". */
std::string place_at(const std::string &address, DDS_LongLong port);

/** Where the one is asked in the caller's network who holds a port for discovery. */
std::vector<std::string> places_of(const HeldPorts &held);

/**
 * Where those can be asked whether they are participants who hold ports for discovery in the
 * caller's network and have nothing else to show for it: as "udpv4://127.0.0.1:7412".
 */
std::vector<std::string> places_to_ask(const std::vector<HeldPorts> &all);

/**
 * Announces a participant to these places alone, and returns those that have answered. Takes no
 * longer than a participant needs to answer, unless one does not; nobody answers where no
 * participant can be had.
 */
std::vector<Sighting> ask(const Factory &factory, ParticipantOptions options,
                          const std::vector<std::string> &places);

/** Each participant takes some descriptors, and those in many domains more than is usual. */
void take_all_descriptors();

constexpr std::chrono::milliseconds POLLING_PERIOD(50);

/** Waits for the next poll, which is news, or what ends before. */
Event wait_for_poll(std::optional<Moment> end, std::chrono::milliseconds period = POLLING_PERIOD);
