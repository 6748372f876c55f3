// SPDX-License-Identifier: Apache-2.0
// What becomes of a received datagram.
#include "receiver.h"

#include "commend_log.h"
#include "count_one.h"

namespace commend {

namespace {

void warn_of_slow_message(REDARepetitions *repetitions, KOLS_Transport_Port_t port,
                          const Seconds &passed, const Seconds &allowed) {
    constexpr const char *LOG_METHOD = "receive";
    COMMEND_WARNING_LIMITED(repetitions,
                            "processing a received message on port %d took %lld.%06lld s, longer "
                            "than %lld.%06lld s",
                            static_cast<int>(port), passed.whole, passed.micros, allowed.whole,
                            allowed.micros);
}

} // namespace

Receiver::Receiver(const COMMENDFacadeProperty &property, NUVNetioRuntime *runtime)
    : interpreter(property, runtime), repetitions_(NUVNetioRuntime_getRepetitions(runtime)),
      own_prefix_(property.guidPrefix),
      threshold_(property.receiver.processMessageTimeBasedLoggingThreshold,
                 *NUVNetioRuntime_getClock(runtime)) {}

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
    RTPSMessageReader reader;
    RTPSHeader header;
    if (RTPSMessageReader_initialize(&reader, {message.data, message.length}, &header) !=
        RTPS_ACCEPTED) {
        count_one(rejected_);
        return;
    }
    count_one(received_);
    if (NUVOsapiRtpsGuidPrefix_isSame(&header.guidPrefix, &own_prefix_) != 0) {
        count_one(from_self_);
        return;
    }
    hand_on(message, worker);
    if (!interpreter.endpoints.is_empty()) {
        interpreter.interpret(message, header, reader, worker);
    }
}

void Receiver::add_statistics(COMMENDFacadeStatistics *out) const {
    out->messagesReceived = received_.load(std::memory_order_relaxed);
    out->messagesFromSelf = from_self_.load(std::memory_order_relaxed);
    out->datagramsRejected = rejected_.load(std::memory_order_relaxed);
}

} // namespace commend
