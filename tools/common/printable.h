// SPDX-License-Identifier: Apache-2.0
// Texts of others on a terminal.
#pragma once

#include <string>

/** The text in one line: what would break it or steer a terminal is shown as "\x0a". */
std::string printable(const std::string &text);
