// SPDX-License-Identifier: Apache-2.0
// The manual pages and the shell's completion, made from the commands and options themselves.
#pragma once

#include <string>
#include <vector>

/** The names of the commands, in the order of --help. */
std::vector<std::string> command_names();

/** The page, in man(7), about one of the commands or, without a name, about the program. */
std::string manual_page(const std::string &command);

/** What bash reads in order to complete the program's command lines. */
std::string bash_completion();
