// SPDX-License-Identifier: Apache-2.0
// What becomes of a received datagram.
#include "receiver.h"

#include <algorithm>
#include <cstring>

#include "commend_log.h"

namespace commend {

namespace {

// The header of an RTPS message (DDSI-RTPS 9.4.4).
constexpr std::array<NUV_UINT8, 4> PROTOCOL = {'R', 'T', 'P', 'S'};
constexpr std::size_t VERSION_MAJOR_OFFSET = 4; // the minor version and the vendor id follow
constexpr NUV_UINT8 VERSION_MAJOR = 2;
constexpr std::size_t GUID_PREFIX_OFFSET = 8;
constexpr std::size_t HEADER_SIZE = 20;

/** A newer minor version is understood too (DDSI-RTPS 8.3.6.3). */
bool is_rtps_message(std::span<const NUV_UINT8> data) {
    return data.size() >= HEADER_SIZE &&
           std::equal(PROTOCOL.begin(), PROTOCOL.end(), data.begin()) &&
           data[VERSION_MAJOR_OFFSET] == VERSION_MAJOR;
}

std::array<NUV_UINT8, 12> to_network_order(const NUVOsapiRtpsGuidPrefix &prefix) {
    std::array<NUV_UINT8, 12> bytes{};
    std::size_t place = 0;
    for (const NUV_UINT32 word : {prefix.hostId, prefix.appId, prefix.instanceId}) {
        for (const unsigned shift : {24u, 16u, 8u, 0u}) {
            bytes[place++] = static_cast<NUV_UINT8>(word >> shift);
        }
    }
    return bytes;
}

void warn_of_slow_message(REDARepetitions *repetitions, KOLS_Transport_Port_t port,
                          const Seconds &passed, const Seconds &allowed) {
    constexpr const char *LOG_METHOD = "receive";
    COMMEND_WARNING_LIMITED(repetitions,
                            "processing a received message on port %d took %lld.%06lld s, longer "
                            "than %lld.%06lld s",
                            static_cast<int>(port), passed.whole, passed.micros, allowed.whole,
                            allowed.micros);
}

void count_one(std::atomic<NUV_UINT64> &counter) {
    counter.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

Receiver::Receiver(const COMMENDFacadeProperty &property, const NUVClock &clock,
                   REDARepetitions *repetitions)
    : repetitions_(repetitions), own_prefix_(to_network_order(property.guidPrefix)),
      threshold_(property.receiver.processMessageTimeBasedLoggingThreshold, clock) {}

bool Receiver::open(const COMMENDReceiverProperty &property) {
    return tracked_ports_.read(property.processMessageTimeBasedLoggingExplicitPorts);
}

bool Receiver::tracks(KOLS_Transport_Port_t port) const {
    return threshold_.is_on() && tracked_ports_.contains(port);
}

void Receiver::set_listener(const COMMENDMessageListener &listener) {
    const std::lock_guard lock(mutex_);
    const COMMENDMessageListener *const current = current_.load();
    // Asked once, so that one place is left: the caller may go from one to another meanwhile, but
    // looks again before it calls.
    const COMMENDMessageListener *const called = called_.load();
    for (COMMENDMessageListener &place : listeners_) {
        if (&place != current && &place != called) {
            place = listener;
            current_.store(&place);
            return;
        }
    }
}

/** Says whom it is about to call, and looks again whether that is still current. */
void Receiver::hand_on(const NUVNetioMessage &message, REDAWorker *worker) {
    const COMMENDMessageListener *listener = current_.load();
    called_.store(listener);
    while (listener != current_.load()) {
        listener = current_.load();
        called_.store(listener);
    }
    if (listener->onMessage != nullptr) {
        listener->onMessage(listener->param, &message, worker);
    }
    called_.store(nullptr);
}

void Receiver::receive(const NUVNetioMessage &message, bool tracked, REDAWorker *worker) {
    const Stopwatch stopwatch(threshold_, tracked);
    process(message, worker);
    stopwatch.stop([this, &message](const Seconds &passed, const Seconds &allowed) {
        warn_of_slow_message(repetitions_, message.port, passed, allowed);
    });
}

void Receiver::process(const NUVNetioMessage &message, REDAWorker *worker) {
    const std::span<const NUV_UINT8> data(message.data, message.length);
    if (!is_rtps_message(data)) {
        count_one(rejected_);
        return;
    }
    count_one(received_);
    if (is_from_self(data)) {
        count_one(from_self_);
        return;
    }
    hand_on(message, worker);
}

bool Receiver::is_from_self(std::span<const NUV_UINT8> data) const {
    const auto prefix = data.subspan<GUID_PREFIX_OFFSET, GUID_PREFIX_SIZE>();
    return std::equal(prefix.begin(), prefix.end(), own_prefix_.begin());
}

void Receiver::add_statistics(COMMENDFacadeStatistics *out) const {
    out->messagesReceived = received_.load(std::memory_order_relaxed);
    out->messagesFromSelf = from_self_.load(std::memory_order_relaxed);
    out->datagramsRejected = rejected_.load(std::memory_order_relaxed);
}

} // namespace commend
