// SPDX-License-Identifier: Apache-2.0
// The addresses of a network namespace.
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace host {

/**
 * Those that its interfaces have, but for loopback and link-local ones, from the directory of its
 * tables (net_directory()); as text in the usual way. None of a network that is gone.
 */
std::set<std::string> network_addresses(const std::filesystem::path &net);

} // namespace host
