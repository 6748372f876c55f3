// SPDX-License-Identifier: Apache-2.0
// Findings about peers; each function is the `look` of a check.
#pragma once

#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

std::vector<Finding> find_nobody_announced_to(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_unresolved_peer(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_changed_peer(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_no_route_to_peer(const Facts &facts, const Wishes &wishes);

} // namespace doctor
