// SPDX-License-Identifier: Apache-2.0
// Rules for a firewall.
#pragma once

#include <string>

#include "options.h"

/**
 * What nft -f takes to let through the ports of the domains and indices asked for, else of all
 * usable ones. Throws std::runtime_error where these have no valid port.
 */
std::string nft_rules(const PortsOptions &options);
