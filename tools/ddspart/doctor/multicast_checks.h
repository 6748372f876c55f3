// SPDX-License-Identifier: Apache-2.0
// Findings about multicast and what a firewall drops; each function is the `look` of a check.
#pragma once

#include <string>
#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

std::vector<Finding> find_no_multicast_route(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_loopback_without_multicast(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_group_not_joined(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_address_not_ready(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_multicast_not_returning(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_ports_filtered(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_ttl_zero(const Facts &facts, const Wishes &wishes);

/** What could not be sent for reasons that are no finding: "traffic to ... over net0: ...". */
std::vector<std::string> unexplained_probes(const Facts &facts);

} // namespace doctor
