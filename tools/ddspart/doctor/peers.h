// SPDX-License-Identifier: Apache-2.0
// Trials: whether there is a way to each peer.
#pragma once

#include <chrono>
#include <vector>

#include "doctor/facts.h"

namespace doctor {

/**
 * Looks up the names among the peers and asks the kernel for the way to each; nothing is sent to
 * them. Groups are left out. Takes @p most_time at most: a name that has no answer by then has
 * neither addresses nor a failure. Throws std::system_error when threads or sockets run out.
 */
std::vector<PeerTrial> try_peers(const Wishes &wishes, std::chrono::milliseconds most_time);

} // namespace doctor
