// SPDX-License-Identifier: Apache-2.0
#include "figures.h"

#include <algorithm>
#include <iomanip>
#include <utility>

namespace bench {
namespace {

std::vector<Row> &rows() {
    static std::vector<Row> all;
    return all;
}

} // namespace

double Series::percentile(int percent) const {
    if (values_.empty()) {
        return 0;
    }
    std::vector<double> sorted = values_;
    const auto at =
        sorted.begin() +
        static_cast<std::ptrdiff_t>((sorted.size() - 1) * static_cast<std::size_t>(percent) / 100);

    std::nth_element(sorted.begin(), at, sorted.end());
    return *at;
}

void set_row(Row row) {
    for (Row &present : rows()) {
        if (present.what == row.what) {
            present = std::move(row);
            return;
        }
    }
    rows().push_back(std::move(row));
}

void print_rows(std::ostream &out) {
    std::size_t width = 0;

    for (const Row &row : rows()) {
        width = std::max(width, row.what.size());
    }
    out << '\n' << std::fixed << std::setprecision(3);
    for (const Row &row : rows()) {
        out << std::left << std::setw(static_cast<int>(width)) << row.what << std::right
            << std::setw(10) << row.value;
        if (row.allowed) {
            out << ' ' << std::left << std::setw(3) << row.unit << " (";
            if (row.goal) {
                out << "goal " << *row.goal << (row.value <= *row.goal ? " met" : " missed")
                    << ", ";
            }
            out << "allowed " << *row.allowed << ") " << (row.is_met() ? "met" : "MISSED");
        } else if (!row.unit.empty()) {
            out << ' ' << row.unit;
        }
        out << '\n';
    }
    out << std::flush;
}

bool is_every_limit_met() {
    return std::all_of(rows().begin(), rows().end(), [](const Row &row) { return row.is_met(); });
}

} // namespace bench
