// SPDX-License-Identifier: Apache-2.0
// Participants as rows for people: at once, or as they come.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "output.h"

/** What there is to say of a participant, each with its title; nothing of what it does not say. */
std::vector<std::pair<std::string, std::string>> titled_cells(const Description &other);

/** The rows below their titles; a line that says so where there are none. */
std::string list_table(const Listing &listing);

/** Rows that appear one by one, and so in columns of a fixed width that a cell may exceed. */
class RowByRow {
public:
    /** The line of a participant, with the titles before the first one. */
    std::string row(const Sighting &other, WallTime now);

    /** Whether the rows so far read like the table, but for when the participants were heard. */
    bool reads_like(const Listing &listing) const;

private:
    std::vector<std::vector<std::string>> rows_;
};
