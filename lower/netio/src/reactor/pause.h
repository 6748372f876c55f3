// SPDX-License-Identifier: Apache-2.0
// How long what fails is left alone.
#ifndef NETIO_PAUSE_H
#define NETIO_PAUSE_H

#include <algorithm>

#include "osapi/osapi_type.h"

namespace netio {

/** In nanoseconds, after one of @p pause, or 0 for the first: doubled each time, up to 1 s. */
constexpr NUV_INT64 longer_pause(NUV_INT64 pause) {
    constexpr NUV_INT64 FIRST = 10'000'000;
    constexpr NUV_INT64 LONGEST = 1'000'000'000;
    return pause == 0 ? FIRST : std::min(2 * pause, LONGEST);
}

} // namespace netio

#endif
