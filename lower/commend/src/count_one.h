// SPDX-License-Identifier: Apache-2.0
// Counting what happened, while others may read the counter.
#ifndef COMMEND_COUNT_ONE_H
#define COMMEND_COUNT_ONE_H

#include <atomic>

#include "osapi/osapi_type.h"

namespace commend {

inline void count_one(std::atomic<NUV_UINT64> &counter) {
    counter.fetch_add(1, std::memory_order_relaxed);
}

} // namespace commend

#endif
