// SPDX-License-Identifier: Apache-2.0
#include "progress.h"

#include <cstdio>

#include <unistd.h>

namespace ddssim {

namespace {

constexpr auto PAUSE = std::chrono::milliseconds(500);
constexpr int CALLS_BETWEEN_LOOKS = 1'000; // at the clock

double in_seconds(simnet::Time time) {
    return static_cast<double>(time) / simnet::SECOND;
}

} // namespace

ProgressLine::ProgressLine(simnet::Time duration)
    : duration_(duration), is_shown_(isatty(STDERR_FILENO) != 0) {}

void ProgressLine::clear() {
    if (is_there_) {
        (void)std::fputs("\r\x1b[K", stderr);
        (void)std::fflush(stderr);
    }
    is_there_ = false;
}

void ProgressLine::show(std::int64_t seed, const Progress &progress) {
    if (!is_shown_ || ++calls_ < CALLS_BETWEEN_LOOKS) {
        return;
    }
    calls_ = 0;
    if (std::chrono::steady_clock::now() - last_ < PAUSE) {
        return;
    }
    last_ = std::chrono::steady_clock::now();
    is_there_ = true;
    (void)std::fprintf(stderr, "\r\x1b[Kseed %lld: %.3f s", static_cast<long long>(seed),
                       in_seconds(progress.time));
    if (duration_ != 0) {
        (void)std::fprintf(stderr, " of %.3f s", in_seconds(duration_));
    }
    (void)std::fprintf(stderr, " simulated, %.1f %% known", 100 * progress.known);
    (void)std::fflush(stderr);
}

} // namespace ddssim
