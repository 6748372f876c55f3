// SPDX-License-Identifier: Apache-2.0
// What becomes of a received datagram.
#ifndef COMMEND_RECEIVER_H
#define COMMEND_RECEIVER_H

#include <array>
#include <atomic>
#include <mutex>

#include "interpreter.h"
#include "stopwatch.h"
#include "trackedPorts.h"

namespace commend {

/** Thread-safe once it has been opened. */
class Receiver {
public:
    /** @param runtime by whose clock messages are timed, and warnings are limited. */
    Receiver(const COMMENDFacadeProperty &property, NUVNetioRuntime *runtime);

    /** Goes through messages, and knows for whom their submessages are. */
    Interpreter interpreter;

    /** Reads what may be wrong in the property. On failure an error has been logged. */
    bool open(const COMMENDReceiverProperty &property);

    void set_listener(const COMMENDMessageListener &listener);

    /** Whether messages to this port are timed. */
    bool tracks(KOLS_Transport_Port_t port) const;

    /** Looks at one datagram and hands it on if it is a message of somebody else. */
    void receive(const NUVNetioMessage &message, bool tracked, REDAWorker *worker);

    void add_statistics(COMMENDFacadeStatistics *out) const;

private:
    void process(const NUVNetioMessage &message, REDAWorker *worker);
    void hand_on(const NUVNetioMessage &message, REDAWorker *worker);

    REDARepetitions *const repetitions_;
    const NUVOsapiRtpsGuidPrefix own_prefix_;
    const Threshold threshold_;
    TrackedPorts tracked_ports_;

    std::atomic<NUV_UINT64> received_{0};
    std::atomic<NUV_UINT64> from_self_{0};
    std::atomic<NUV_UINT64> rejected_{0};

    // The listener that is current, and two more: a record is written anew only while it is neither
    // current nor one whose call is under way. There is one such call at a time, on the reactor's
    // thread.
    std::array<COMMENDMessageListener, 3> listeners_{};
    std::atomic<const COMMENDMessageListener *> current_{&listeners_[0]};
    std::atomic<const COMMENDMessageListener *> called_{nullptr};
    std::mutex mutex_; // one change at a time
};

} // namespace commend

#endif
