// SPDX-License-Identifier: Apache-2.0
// Held ports as rows for people.
#pragma once

#include <optional>
#include <string>

#include "output.h"

/**
 * A row for each, with the titles above and a line for each further process; a line that says so
 * where there are none. No line is longer than @p width, if that is given, as far as table_of can
 * have it.
 */
std::string held_table(const HeldListing &listing, std::optional<std::size_t> width);

/** What there is to say of one in a line, without its end. */
std::string held_line(const HeldPorts &held, bool shows_all_processes);
