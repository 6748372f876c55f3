// SPDX-License-Identifier: Apache-2.0
// What the command line asks for.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "scenario.h"

namespace CLI {
class App;
} // namespace CLI

namespace ddssim {

struct Options {
    Scenario scenario;
    Range<std::int64_t> seeds; // one after the other
    bool has_seeds = false;    // else there is one seed, and the whole report
    std::optional<std::string> pcap;
    bool json = false;
};

/** There is nothing to do: help or the version was asked for, or the command line is wrong. */
struct Answer {
    int exit_code; // 0, 1 or 2
    std::string text;
};

using Command = std::variant<Options, Answer>;

Command parse_command_line(int argc, const char *const *argv);

/** The options themselves, for what is made from them. */
std::shared_ptr<const CLI::App> describe_options();

/** An example of each option: what is typed, and what it asks for. */
struct Example {
    std::string option;
    std::string line;
};
std::vector<Example> examples();

} // namespace ddssim
