// SPDX-License-Identifier: Apache-2.0
/**
 * @file seeds.h
 * @brief Runs a scenario from many seeds, and says how to repeat the one that fails.
 */
#pragma once

#include <cstdio>
#include <functional>
#include <optional>

#include "osapi/osapi_type.h"

namespace simulated {

/**
 * How many seeds a scenario is run from, unless the command line or the scenario says otherwise.
 * What a sanitizer looks for shows from a few of them: the share that it has.
 */
#ifdef NUVDDS_SANITIZED
constexpr NUV_UINT64 SHARE_OF_SEEDS = 20;
#else
constexpr NUV_UINT64 SHARE_OF_SEEDS = 1;
#endif
constexpr NUV_UINT64 SEEDS = 200;

/** What the command line says: --seed N, --seeds N, --trace. */
struct Options {
    std::optional<NUV_UINT64> seed; /**< this one alone */
    std::optional<NUV_UINT64> seeds;
    std::FILE *trace = nullptr; /**< where the traces go */
};

Options &options();

/**
 * Calls a scenario with one seed after the other, and ends with the first that fails the test. What
 * it prints then repeats that one alone. One that takes long is run from fewer, @p usual.
 */
void for_each_seed(const std::function<void(NUV_UINT64 seed)> &scenario, NUV_UINT64 usual = SEEDS);

} // namespace simulated
