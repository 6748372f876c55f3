// SPDX-License-Identifier: Apache-2.0
// Arithmetic of NTP times.
#include "osapi/osapi_ntptime.h"

namespace {

constexpr NUV_INT32 INFINITE_SEC = 0x7FFFFFFF;
constexpr NUV_INT64 NANOSECONDS_PER_SECOND = 1'000'000'000;

int compare(NUV_INT64 left, NUV_INT64 right) {
    return left < right ? -1 : static_cast<int>(left > right);
}

} // namespace

int NUVNtpTime_isInfinite(const NUVNtpTime *time) {
    return static_cast<int>(time->sec == INFINITE_SEC);
}

int NUVNtpTime_compare(const NUVNtpTime *left, const NUVNtpTime *right) {
    if (left->sec != right->sec) {
        return compare(left->sec, right->sec);
    }
    // All infinite durations are the same, whatever their fraction.
    return left->sec == INFINITE_SEC ? 0 : compare(left->frac, right->frac);
}

NUVNtpTime NUVNtpTime_fromNanoseconds(NUV_INT64 nanoseconds) {
    if (nanoseconds < 0) {
        return NUV_NTP_TIME_ZERO;
    }
    const NUV_INT64 sec = nanoseconds / NANOSECONDS_PER_SECOND;
    if (sec >= INFINITE_SEC) {
        return NUV_NTP_TIME_INFINITE;
    }
    // The remainder is below 2^30, so the product fits; 999999999 ns do not round up to a second.
    const auto rest = static_cast<NUV_UINT64>(nanoseconds % NANOSECONDS_PER_SECOND);
    const NUV_UINT64 frac = ((rest << 32) + NANOSECONDS_PER_SECOND / 2) / NANOSECONDS_PER_SECOND;
    return {static_cast<NUV_INT32>(sec), static_cast<NUV_UINT32>(frac)};
}

NUV_INT64 NUVNtpTime_toNanoseconds(const NUVNtpTime *time) {
    if (NUVNtpTime_isInfinite(time) != 0) {
        return INT64_MAX;
    }
    const NUV_UINT64 half = NUV_UINT64{1} << 31;
    const NUV_UINT64 rest = (time->frac * NUV_UINT64{NANOSECONDS_PER_SECOND} + half) >> 32;
    return time->sec * NANOSECONDS_PER_SECOND + static_cast<NUV_INT64>(rest);
}
