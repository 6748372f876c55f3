// SPDX-License-Identifier: Apache-2.0
// How far a run is, on a terminal.
#pragma once

#include <chrono>

#include "simulation.h"

namespace ddssim {

/** A line on stderr that is written anew twice a second, where that is a terminal. */
class ProgressLine {
public:
    /** @param duration how long it goes on; 0: nobody knows */
    explicit ProgressLine(simnet::Time duration);
    ~ProgressLine() {
        clear();
    }
    ProgressLine(const ProgressLine &) = delete;
    ProgressLine &operator=(const ProgressLine &) = delete;

    void show(std::int64_t seed, const Progress &progress);
    /** Takes it away until it is shown again. */
    void clear();

private:
    const simnet::Time duration_;
    const bool is_shown_;
    bool is_there_ = false;
    int calls_ = 0;
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

} // namespace ddssim
