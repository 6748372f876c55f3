// SPDX-License-Identifier: Apache-2.0
// The properties of the library that the tool gives or speaks of.
#pragma once

constexpr const char *ALLOW_INTERFACES = "dds.transport.allow_interfaces";
/** Has a participant know those of other domains and tags as well. */
constexpr const char *ACCEPT_MISMATCH = "dds.discovery.accept_mismatch";
/** What it has announced so, others answer; each name ends in a word. */
constexpr const char *QUESTION = "nuvdds.discovery.question.";
constexpr const char *ANSWER = "nuvdds.discovery.answer.";
constexpr const char *ANNOUNCE = "dds.discovery.announce";
constexpr const char *MULTICAST_TTL = "dds.transport.multicast_ttl";
