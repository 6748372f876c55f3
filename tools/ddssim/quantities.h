// SPDX-License-Identifier: Apache-2.0
// Times, shares and rates from text, and as text. What is not allowed is a Refusal.
#pragma once

#include <cstdint>
#include <string>

#include "simnet/simnet_trace.h"

namespace ddssim {

/** The longest time that a setting may have. */
constexpr simnet::Time DAY = 86'400 * simnet::SECOND;

template <class Value>
struct Range {
    Value least;
    Value most;

    bool contains(Value value) const {
        return value >= least && value <= most;
    }
    friend bool operator==(const Range &, const Range &) = default;
};

std::int64_t to_count(const std::string &text, Range<std::int64_t> range);
/** "1.5 ms": a number and a unit of ns, us, ms, s, min, h; seconds without one. */
simnet::Time to_time(const std::string &text, Range<simnet::Time> range);
/** "10%", as 0.1. */
double to_share(const std::string &text);
/** A plain number. */
double to_factor(const std::string &text, Range<double> range);
/** "54 Mbit/s" in bits a second; "unlimited" is 0. */
std::uint64_t to_rate(const std::string &text);
/** "yes" or "no". */
bool to_choice(const std::string &text);
/** "3" or "3-7", of what is counted. */
Range<std::int64_t> to_numbers(const std::string &text, Range<std::int64_t> range);

/** Each as the function above of its kind reads it back. */
std::string text_of_time(simnet::Time time);
std::string text_of_share(double share);
std::string text_of_factor(double factor);
std::string text_of_rate(std::uint64_t rate);
std::string text_of_numbers(const Range<std::int64_t> &numbers);

} // namespace ddssim
