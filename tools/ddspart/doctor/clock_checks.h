// SPDX-License-Identifier: Apache-2.0
// Findings about the clocks of the host; each function is the `look` of a check.
#pragma once

#include <vector>

#include "doctor/facts.h"
#include "doctor/finding.h"
#include "doctor/wishes.h"

namespace doctor {

std::vector<Finding> find_clock_set(const Facts &facts, const Wishes &wishes);
std::vector<Finding> find_host_asleep(const Facts &facts, const Wishes &wishes);

} // namespace doctor
