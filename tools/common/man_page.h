// SPDX-License-Identifier: Apache-2.0
// What manual pages, in man(7), and the shell's completion are made of.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/** Text that means nothing but itself to the formatter. */
std::string escaped(std::string_view text);

/** A description as a sentence. */
std::string sentence(std::string text);

/** A description as what follows a name and a dash. */
std::string phrase(std::string text);

/** The options, in the order of --help. */
std::vector<const CLI::Option *> options_of(const CLI::App &app);

bool takes_value(const CLI::Option &option);

/** The section about all options. */
void write_options(std::ostream &page, const CLI::App &app);

/** The names of options that are typed out, as "--domain", each followed by a space. */
std::string long_options(const CLI::App &app);

/** Writes a file; false, after a line on stderr, when that fails. */
bool write_page(const std::string &path, const std::string &text);
