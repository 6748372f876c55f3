// SPDX-License-Identifier: Apache-2.0
// The manual page and the shell's completion, made from the tables of settings and events.
#pragma once

#include <string>

namespace ddssim {

/** The page, in man(7). */
std::string manual_page();

/** What bash reads in order to complete the program's command lines. */
std::string bash_completion();

} // namespace ddssim
