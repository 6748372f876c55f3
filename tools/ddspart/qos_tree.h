// SPDX-License-Identifier: Apache-2.0
// A participant's QoS as a tree, which the text and the JSON of the output have in common.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "dds_c/dds_c_domainparticipantqos.h"

/**
 * An object of the policies, each an object of its fields under the names of the C interface.
 * Masks are arrays of words, durations a number of seconds or "infinite", null strings null. User
 * data is its text if it is printable ASCII that does not begin with "0x", and else "0x" and two
 * hexadecimal digits for each octet.
 */
nlohmann::ordered_json qos_tree(const DDS_DomainParticipantQos &qos);

/** A line "policy.field: value" for each field; elements of a list have a line per field too. */
std::string qos_lines(const nlohmann::ordered_json &tree);
