// SPDX-License-Identifier: Apache-2.0
// Findings about ports, sockets and what a process may have; each function is the `look` of a
// check.
#pragma once

#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

std::vector<Finding> find_group_port_taken(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_port_not_bound(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_index_blocked(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_no_free_index(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_suspended_process(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_datagrams_lost(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_ephemeral_ports(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_few_descriptors(const Facts &facts, const Wishes &wishes);

} // namespace doctor
