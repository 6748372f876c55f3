// SPDX-License-Identifier: Apache-2.0
// Who has the ports that a participant did not get.
#pragma once

#include <string>

#include "holdings.h"
#include "options.h"

/**
 * The ports of the domain that a participant with these options may have tried, and those of the
 * indices beside them. Throws as port_map.
 */
PortMap ports_to_look_at(const ParticipantOptions &options);

/**
 * Who holds a port of each index that was tried, or else a multicast port without having an index,
 * as "index 0 to 119 tried; 7410 is held by process 812 (talker)". Empty where that is nobody: it
 * has failed for another reason then.
 * @param holdings of ports_to_look_at, in the caller's network.
 */
std::string taken_ports(const ParticipantOptions &options, const Holdings &holdings);
