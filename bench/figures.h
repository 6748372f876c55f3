// SPDX-License-Identifier: Apache-2.0
/** @file figures.h  What was measured, and the table that closes a run. */
#ifndef BENCH_FIGURES_H
#define BENCH_FIGURES_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace bench {

constexpr double MICROSECONDS = 1e6;
constexpr double MILLISECONDS = 1e3;
constexpr double NANOSECONDS = 1e9;

/** The time in seconds, by a clock that all processes share. */
inline double seconds_now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/** How many seconds @p action takes. */
template <typename Action>
double seconds_of(Action action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/** Samples of one quantity. Medians, because a busy machine disturbs single samples a lot. */
class Series {
public:
    void add(double value) {
        values_.push_back(value);
    }
    double median() const {
        return percentile(50);
    }
    /** The sample that @p percent of all samples don't exceed; 0 when there is none. */
    double percentile(int percent) const;

private:
    std::vector<double> values_;
};

/** A line of the closing table. */
struct Row {
    std::string what;
    double value;
    std::string unit = ""; /**< empty for a ratio */
    std::optional<double> goal =
        std::nullopt; /**< what it ought to be; no failure when it is not */
    std::optional<double> allowed = std::nullopt;

    bool is_met() const {
        return !allowed || value <= *allowed;
    }
};

/** Adds a line, or replaces the one about the same thing. */
void set_row(Row row);

void print_rows(std::ostream &out);

/** Whether no line's value is above what is allowed. */
bool is_every_limit_met();

} // namespace bench

#endif
