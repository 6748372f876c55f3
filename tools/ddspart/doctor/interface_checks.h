// SPDX-License-Identifier: Apache-2.0
// Findings about interfaces; each function is the `look` of a check.
#pragma once

#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

/** Whether somebody is found without multicast: a peer that is named and is not this host. */
bool has_far_peer(const Facts &facts, const Wishes &wishes);

std::vector<Finding> find_no_usable_interface(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_no_such_interface(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_interface_down(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_interface_without_carrier(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_interface_without_address(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_ipv6_off(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_interface_without_multicast(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_network_twice(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_strict_reverse_path(const Facts &facts, const Wishes &wishes);

} // namespace doctor
