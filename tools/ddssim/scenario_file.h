// SPDX-License-Identifier: Apache-2.0
// Scenarios as text: YAML, a mapping of settings, with a list of "events".
#pragma once

#include <string>

#include "scenario.h"

namespace ddssim {

/** A key of an event, beside those of the settings of a link. */
struct EventKey {
    const char *key;
    const char *type;
    const char *text;
};
const std::vector<EventKey> &event_keys();

/**
 * Sets what the text says, and leaves the rest. Throws a std::runtime_error that names the place of
 * what is wrong by line and column, and what is allowed.
 * @param name of the text, for that
 */
void read_scenario(const std::string &text, const std::string &name, Scenario &scenario);
/** Of a file; throws a std::system_error where that cannot be read. */
void read_scenario_file(const std::string &path, Scenario &scenario);

/** One event, as "{at: 10 s, do: stop, hosts: 3}". Throws a Refusal. */
Event to_event(const std::string &text);

/** The text that reads back as the same. */
std::string text_of(const Scenario &scenario);

} // namespace ddssim
