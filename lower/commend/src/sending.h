// SPDX-License-Identifier: Apache-2.0
// What is counted and timed of whatever a facade sends.
#ifndef COMMEND_SENDING_H
#define COMMEND_SENDING_H

#include <atomic>

#include "netio/netio_runtime.h"
#include "stopwatch.h"

namespace commend {

/** Thread-safe. */
class Sending {
public:
    Sending(NUVNetioRuntime *runtime, const NUVNtpTime &threshold)
        : repetitions_(NUVNetioRuntime_getRepetitions(runtime)),
          threshold_(threshold, *NUVNetioRuntime_getClock(runtime)) {}
    Sending(const Sending &) = delete;
    Sending &operator=(const Sending &) = delete;

    /**
     * Has a message sent to a destination by @p send, which answers how many datagrams of it the
     * network took, as this does. One that takes too long is a warning in the name of @p method.
     */
    template <typename Send>
    NUV_INT32 send(const char *method, const NUVNetioLocator &destination, Send send) {
        const Stopwatch stopwatch(threshold_, true);
        const NUV_INT32 taken = send();
        stopwatch.stop([&](const Seconds &passed, const Seconds &allowed) {
            warn_of_slow_send(method, destination, passed, allowed);
        });
        if (taken != 0) {
            sent_.fetch_add(1, std::memory_order_relaxed);
        }
        return taken;
    }

    /** How many messages the network took so far, each counted for each destination. */
    NUV_UINT64 sent() const {
        return sent_.load(std::memory_order_relaxed);
    }

private:
    void warn_of_slow_send(const char *LOG_METHOD, const NUVNetioLocator &destination,
                           const Seconds &passed, const Seconds &allowed);

    REDARepetitions *const repetitions_;
    const Threshold threshold_;
    std::atomic<NUV_UINT64> sent_{0};
};

} // namespace commend

#endif
