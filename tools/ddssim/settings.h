// SPDX-License-Identifier: Apache-2.0
// The settings of a scenario, one row each: a key of the file and an option of the command line.
// --help, the manual page and the completion are made from them as well.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "scenario.h"

namespace ddssim {

struct SettingRow {
    const char *key;         // "start_spread"; the option is "--start-spread"
    const char *type;        // what --help calls its value
    const char *text;        // what it is, up to the default
    const char *example;     // a value
    bool is_of_link = false; // an event may change it
    const char *with = "";   // options without which the example would change nothing
};

struct Setting : SettingRow {
    std::function<void(Scenario &, const std::string &)> set; // throws a Refusal
    std::function<std::string(const Scenario &)> get;         // as set takes it

    std::string option() const;
};

const std::vector<Setting> &settings();
/** Null when there is none of that key. */
const Setting *find_setting(const std::string &key);
/** All keys, as "hosts, participants, ...". */
std::string setting_keys();

} // namespace ddssim
