// SPDX-License-Identifier: Apache-2.0
// The commands and their options: what is parsed, the manual and the shell's completion are made
// from it.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "options.h"

struct CommandLine {
    CommandLine();
    CommandLine(const CommandLine &) = delete; // the options refer to its members
    CommandLine &operator=(const CommandLine &) = delete;

    CLI::App app;
    RunOptions run;
    ListOptions list;
    WhoOptions who;
    PortsOptions ports;
    DoctorOptions doctor;
    WhyOptions why;
    const CLI::App *run_command = nullptr;
    const CLI::App *list_command = nullptr;
    const CLI::App *who_command = nullptr;
    const CLI::App *doctor_command = nullptr;
    const CLI::App *why_command = nullptr;
    /** Of the options whose values are words: the words. */
    std::map<const CLI::Option *, std::vector<std::string>> words;
    /** Of the commands that may have findings, which is exit code 3: what these are. */
    std::map<const CLI::App *, std::string> findings;
    /** Of those whose findings have names: these, and what each of them means. */
    std::map<const CLI::App *, std::vector<std::pair<std::string, std::string>>> finding_names;
};
