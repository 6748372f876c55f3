// SPDX-License-Identifier: Apache-2.0
// What programs print with --json.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/** The objects of a text that has one in each line. */
inline std::vector<nlohmann::json> parse_lines(const std::string &text) {
    std::vector<nlohmann::json> objects;
    std::istringstream lines(text);

    for (std::string line; std::getline(lines, line);) {
        objects.push_back(nlohmann::json::parse(line));
    }
    return objects;
}
