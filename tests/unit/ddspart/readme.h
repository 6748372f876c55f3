// SPDX-License-Identifier: Apache-2.0
// Tables of the tools that README.md shows.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>

/** Expects a line with the id and the meaning of each check. */
template <class Checks>
void expect_in_readme(const Checks &checks) {
    std::ifstream file(NUVDDS_SOURCE_DIR "/README.md");
    const std::string readme{std::istreambuf_iterator<char>(file), {}};

    for (const auto &check : checks) {
        EXPECT_THAT(readme, testing::HasSubstr("| `" + std::string(check.id) + "` | " +
                                               check.meaning + " |"));
    }
}
