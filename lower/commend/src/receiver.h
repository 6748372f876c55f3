// SPDX-License-Identifier: Apache-2.0
// What becomes of a received datagram.
#ifndef COMMEND_RECEIVER_H
#define COMMEND_RECEIVER_H

#include <array>
#include <atomic>
#include <mutex>
#include <span>

#include "commend/commend_facade.h"
#include "stopwatch.h"
#include "trackedPorts.h"

namespace commend {

/** Thread-safe once it has been opened. */
class Receiver {
public:
    /**
     * @param clock       by which messages are timed; must outlive the receiver, as the next.
     * @param repetitions limits the warnings of what takes long.
     */
    Receiver(const COMMENDFacadeProperty &property, const NUVClock &clock,
             REDARepetitions *repetitions);

    /** Reads what may be wrong in the property. On failure an error has been logged. */
    bool open(const COMMENDReceiverProperty &property);

    void set_listener(const COMMENDMessageListener &listener);

    /** Whether messages to this port are timed. */
    bool tracks(KOLS_Transport_Port_t port) const;

    /** Looks at one datagram and hands it on if it is a message of somebody else. */
    void receive(const NUVNetioMessage &message, bool tracked, REDAWorker *worker);

    void add_statistics(COMMENDFacadeStatistics *out) const;

private:
    static constexpr std::size_t GUID_PREFIX_SIZE = 12;

    void process(const NUVNetioMessage &message, REDAWorker *worker);
    bool is_from_self(std::span<const NUV_UINT8> data) const;
    void hand_on(const NUVNetioMessage &message, REDAWorker *worker);

    REDARepetitions *const repetitions_;
    const std::array<NUV_UINT8, GUID_PREFIX_SIZE> own_prefix_; // as messages carry it
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
