// SPDX-License-Identifier: Apache-2.0
/**
 * @file simnet_random.h
 * @brief All that is random in a simulated network comes from here, and so from one seed.
 */
#pragma once

#include <random>

#include "osapi/osapi_type.h"

namespace simnet {

/**
 * Numbers that follow from a seed, the same ones with every compiler and C++ library: the standard
 * fixes what the engine gives, but not what its distributions make of that.
 */
class Random {
public:
    explicit Random(NUV_UINT64 seed) : engine_(seed) {}

    NUV_UINT64 bits() {
        return engine_();
    }
    /** From 0 to @p most, both among them. */
    NUV_UINT64 up_to(NUV_UINT64 most) {
        return most == UINT64_MAX ? bits() : bits() % (most + 1);
    }
    /** From @p least to @p most, both among them. */
    NUV_INT64 between(NUV_INT64 least, NUV_INT64 most) {
        return least + static_cast<NUV_INT64>(up_to(static_cast<NUV_UINT64>(most - least)));
    }
    /** At least 0 and less than 1. */
    double unit() {
        return static_cast<double>(bits() >> 11) * 0x1p-53;
    }
    /** True in that share of all cases. Asks for no number where there is nothing to choose. */
    bool happens(double share) {
        return share > 0 && (share >= 1 || unit() < share);
    }

private:
    std::mt19937_64 engine_;
};

} // namespace simnet
