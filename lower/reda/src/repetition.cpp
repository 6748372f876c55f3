// SPDX-License-Identifier: Apache-2.0
// The limit of repetition.
#include "reda/reda_repetition.h"

#include <atomic>

#include "osapi/osapi_ntptime.h"
#include "osapi/osapi_utility.h"

namespace {

constexpr NUV_INT64 QUIET_TIME = 1'000'000'000; // nanoseconds
constexpr int LAST = REDA_REPETITION_KINDS_MAX - 1;

/** The place of a kind, which it keeps from the first time on. */
int find(REDARepetitions *self, const char *kind) {
    for (int i = 0; i < LAST; ++i) {
        const std::atomic_ref<const char *> place(self->_kinds[i]);
        const char *holder = place.load(std::memory_order_relaxed);
        if (holder == nullptr &&
            place.compare_exchange_strong(holder, kind, std::memory_order_relaxed)) {
            return i;
        }
        if (holder == kind) {
            return i;
        }
    }
    return LAST;
}

} // namespace

int REDARepetitions_admits(REDARepetitions *self, const char *kind, REDALeftOut *out) {
    REDARepetition &repetition = self->_each[find(self, kind)];
    const std::atomic_ref<NUV_INT64> quiet_until(repetition._quietUntil);
    const std::atomic_ref<NUV_UINT32> left_out(repetition._leftOut);
    const NUVClock *clock = self->_clock != nullptr ? self->_clock : NUVClock_getMonotonic();
    const NUV_INT64 now = clock->getNanoseconds(clock);
    NUV_INT64 until = quiet_until.load(std::memory_order_relaxed);
    // When the exchange fails another thread prints just now.
    if (now < until ||
        !quiet_until.compare_exchange_strong(until, now + QUIET_TIME, std::memory_order_relaxed)) {
        left_out.fetch_add(1, std::memory_order_relaxed);
        return 0;
    }
    const NUV_UINT32 count = left_out.exchange(0, std::memory_order_relaxed);
    out->text[0] = '\0';
    if (count != 0) {
        NUVOsapiUtility_snprintf(out->text, sizeof out->text,
                                 " (and %u more like it since the last line)", count);
    }
    return 1;
}
