// SPDX-License-Identifier: Apache-2.0
// The rules of the host's firewall, as far as the caller may read them.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "doctor/facts.h"

namespace doctor {

/**
 * Of rules as "nft list ruleset" shows them those that drop or reject UDP for one of the ports:
 * first the rules that name it, then the chains whose policy drops whatever no rule accepts.
 */
std::vector<FirewallRule> dropping_rules(const std::string &ruleset,
                                         const std::set<unsigned> &ports);

/**
 * What "nft list ruleset" shows; none where the program is not there or the caller has no right to
 * that. Waits half a second at most.
 */
std::optional<std::string> read_ruleset();

} // namespace doctor
