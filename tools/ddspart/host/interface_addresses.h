// SPDX-License-Identifier: Apache-2.0
// The addresses of the caller's network.
#pragma once

#include <set>
#include <string>

namespace host {

/** Of all its interfaces, as "192.0.2.2" or "fd00::2". Throws std::system_error. */
std::set<std::string> interface_addresses();

} // namespace host
