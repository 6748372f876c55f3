// SPDX-License-Identifier: Apache-2.0
// A datagram as it arrives at a participant's port.
#include <algorithm>
#include <array>
#include <string_view>

#include "fuzz.h"
#include "receiver.h"

namespace {

/** What the receiver below takes for its own, word by word and as a message carries it. */
constexpr NUVOsapiRtpsGuidPrefix OWN_PREFIX = {0x01020304, 0x05060708, 0x090A0B0C};
constexpr std::array<std::uint8_t, 12> OWN_OCTETS = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

enum class Kind { REJECTED, FROM_SELF, FROM_OTHERS };

/** "RTPS", version 2.x, a vendor id of two octets and a GUID prefix of twelve (DDSI-RTPS 9.4.4). */
Kind kind_of(std::string_view datagram) {
    if (datagram.size() < 20 || !datagram.starts_with("RTPS\x02")) {
        return Kind::REJECTED;
    }
    const std::string_view prefix = datagram.substr(8, OWN_OCTETS.size());
    const bool is_own =
        std::equal(OWN_OCTETS.begin(), OWN_OCTETS.end(), prefix.begin(),
                   [](std::uint8_t left, char right) { return left == std::uint8_t(right); });
    return is_own ? Kind::FROM_SELF : Kind::FROM_OTHERS;
}

struct Delivery {
    int count = 0;
    const NUVNetioMessage *message = nullptr;
};

void deliver(void *param, const NUVNetioMessage *message, REDAWorker * /*worker*/) {
    auto *delivery = static_cast<Delivery *>(param);
    ++delivery->count;
    delivery->message = message;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    property.parent.guidPrefix = OWN_PREFIX;
    commend::Receiver receiver(property.parent, *NUVClock_getMonotonic(), nullptr);
    Delivery delivery;
    receiver.set_listener({deliver, &delivery});

    NUVNetioMessage message{};
    message.data = data;
    message.length = static_cast<NUV_UINT32>(size);
    receiver.receive(message, false, nullptr);

    const Kind kind = kind_of({reinterpret_cast<const char *>(data), size});
    COMMENDFacadeStatistics statistics{};
    receiver.add_statistics(&statistics);
    fuzz::must(statistics.datagramsRejected == (kind == Kind::REJECTED ? 1 : 0),
               "what is no RTPS message is counted as rejected, and nothing else");
    fuzz::must(statistics.messagesReceived == (kind != Kind::REJECTED ? 1 : 0),
               "every RTPS message is counted as received");
    fuzz::must(statistics.messagesFromSelf == (kind == Kind::FROM_SELF ? 1 : 0),
               "the participant's own messages are counted, and no others");
    fuzz::must(delivery.count == (kind == Kind::FROM_OTHERS ? 1 : 0),
               "a message of others is handed on once, and nothing else");
    fuzz::must(delivery.count == 0 || delivery.message == &message, "it is handed on as it came");
    fuzz::must(messages.count() == 0, "whatever arrives, nothing is said of it");
    return 0;
}
