// SPDX-License-Identifier: Apache-2.0
// Findings about the participants of a domain; each function is the `look` of a check.
#pragma once

#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

std::vector<Finding> find_silent_peer(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_refused_participants(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_lease_too_short(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_shared_locator(const Facts &facts, const Wishes &wishes);

} // namespace doctor
