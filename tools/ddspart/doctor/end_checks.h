// SPDX-License-Identifier: Apache-2.0
// Findings about two hosts; each function is the `look` of a check.
#pragma once

#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

std::vector<Finding> find_unicast_lost(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_large_lost(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_address_translated(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_multicast_lost(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_ttl_too_small(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_domains_differ(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_tags_differ(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_participant_out_of_reach(const Facts &facts, const Wishes &wishes);

} // namespace doctor
