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

struct Ruleset {
    std::optional<std::string> text; // what "nft list ruleset" shows
    std::string failure;             // why there is none: "there is no program nft"
};

/** Waits half a second at most, whatever the program does. */
Ruleset read_ruleset();

} // namespace doctor
