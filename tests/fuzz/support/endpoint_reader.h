// SPDX-License-Identifier: Apache-2.0
// Another reader of locators and peers: it tries every form that there is.
#pragma once

#include <optional>
#include <string>

#include "netio/netio_locator.h"

namespace fuzz {

/** The locator that a text is, if it is one. */
std::optional<NUVNetioLocator> read_locator(const std::string &text);

/** The host name with its scheme and port that a text is, if it is one. */
std::optional<NUVNetioPeer> read_host(const std::string &text);

/** Whether every field is equal. */
bool is_equal(const NUVNetioLocator &left, const NUVNetioLocator &right);

} // namespace fuzz
