// SPDX-License-Identifier: Apache-2.0
// Points of time.
#include "rtps/rtps_types.h"

namespace {

constexpr NUV_INT64 NANOSECONDS_PER_SECOND = 1'000'000'000;
constexpr RTPSTime INVALID = RTPS_TIME_INVALID;

NUV_UINT64 as_number(const RTPSTime &time) {
    return NUV_UINT64{time.seconds} << 32 | time.fraction;
}

} // namespace

int RTPSTime_isValid(const RTPSTime *time) {
    return static_cast<int>(as_number(*time) != as_number(INVALID));
}

int RTPSTime_compare(const RTPSTime *left, const RTPSTime *right) {
    return static_cast<int>(as_number(*left) > as_number(*right)) -
           static_cast<int>(as_number(*left) < as_number(*right));
}

RTPSTime RTPSTime_fromNanoseconds(NUV_INT64 nanoseconds) {
    const NUV_INT64 seconds = nanoseconds / NANOSECONDS_PER_SECOND;
    if (nanoseconds < 0 || seconds >= INVALID.seconds) {
        return INVALID;
    }
    // The remainder is below 2^30, so the product fits; 999999999 ns do not round up to a second.
    const auto rest = static_cast<NUV_UINT64>(nanoseconds % NANOSECONDS_PER_SECOND);
    const NUV_UINT64 fraction =
        ((rest << 32) + NANOSECONDS_PER_SECOND / 2) / NANOSECONDS_PER_SECOND;
    return {static_cast<NUV_UINT32>(seconds), static_cast<NUV_UINT32>(fraction)};
}
