// SPDX-License-Identifier: Apache-2.0
// What goes to stdout: text for people, or one JSON object per line.
#pragma once

#include <string>
#include <vector>

#include "simulation.h"

namespace ddssim {

/** Each returns its lines, with line ends. */
std::string as_text(const Scenario &scenario, const Result &result);
/** All but its events. */
std::string scenario_as_json(const Scenario &scenario);
/** The scenario and what came of it. */
std::string as_json(const Scenario &scenario, const Result &result);
/** Of several seeds: a line for each, and how far they are apart. */
std::string heading_of_seeds(const Scenario &scenario);
std::string as_line(const Result &result);
std::string as_json_line(const Result &result);
std::string spread_as_text(const std::vector<Result> &results);
std::string spread_as_json(const std::vector<Result> &results);

/** What is in the objects of --json, each beside "version" and "record". */
struct JsonField {
    const char *record;
    const char *name;
    const char *text;
};
const std::vector<JsonField> &json_fields();

/** The values of many runs of something that they may not all have. */
struct Spread {
    std::string name;           // "all_known_seconds"
    std::vector<double> values; // sorted

    /** The least that so many do not exceed. @param share 0: the least; 1: the most */
    double at(double share) const;
};
std::vector<Spread> spreads_of(const std::vector<Result> &results);

} // namespace ddssim
