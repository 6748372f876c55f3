// SPDX-License-Identifier: Apache-2.0
// Time as this floor counts it: nanoseconds of the runtime's clock.
#ifndef DISC_UNITS_H
#define DISC_UNITS_H

#include <limits>

#include "osapi/osapi_ntptime.h"

namespace disc {

constexpr NUV_INT64 MILLISECOND = 1'000'000;
constexpr NUV_INT64 SECOND = 1000 * MILLISECOND;
constexpr NUV_INT64 NEVER = std::numeric_limits<NUV_INT64>::max();

/** What passes the end of time is never. */
constexpr NUV_INT64 later(NUV_INT64 now, NUV_INT64 duration) {
    return duration > NEVER - now ? NEVER : now + duration;
}

} // namespace disc

#endif
