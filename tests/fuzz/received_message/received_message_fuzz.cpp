// SPDX-License-Identifier: Apache-2.0
// A datagram as it arrives at a participant's port, and the submessages in it.
#include <algorithm>
#include <array>
#include <numeric>
#include <string_view>

#include "fuzz.h"
#include "receiver.h"
#include "simulated_runtime.h"

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

/** What a message has, by the lengths of its submessages alone. */
struct Contents {
    std::uint64_t entities = 0; // what endpoints take
    std::uint64_t others = 0;   // what says nothing to anybody
    bool has_lie = false;
};

Contents contents_of(std::basic_string_view<std::uint8_t> rest) {
    constexpr std::array<int, 4> ENTITIES = {0x06, 0x07, 0x08, 0x15};
    constexpr std::array<int, 6> TALK = {0x00, 0x09, 0x0C, 0x0D, 0x0E, 0x0F};
    const auto has = [](const auto &kinds, int kind) {
        return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
    };
    Contents contents;
    rest.remove_prefix(20);
    while (!rest.empty()) {
        if (rest.size() < 4) {
            contents.has_lie = true;
            return contents;
        }
        const int kind = rest[0];
        const std::size_t length = (rest[1] & 1) != 0 ? rest[2] + 256u * rest[3] //
                                                      : rest[3] + 256u * rest[2];
        const bool is_to_the_end = length == 0 && kind != 0x01 && kind != 0x09;
        rest.remove_prefix(4);
        contents.has_lie = length > rest.size();
        if (contents.has_lie) {
            return contents;
        }
        contents.entities += has(ENTITIES, kind) ? 1 : 0;
        contents.others += has(ENTITIES, kind) || has(TALK, kind) ? 0 : 1;
        rest.remove_prefix(is_to_the_end ? rest.size() : length);
    }
    return contents;
}

/** Looks whether what it is handed lies within the message. */
class Endpoint {
public:
    Endpoint(commend::Endpoints &endpoints, RTPSEntityId id, const NUVNetioMessage &message)
        : endpoints_(endpoints), message_(message), endpoint_{id,
                                                              handle<RTPSData>,
                                                              handle<RTPSHeartbeat>,
                                                              handle<RTPSGap>,
                                                              handle<RTPSAckNack>,
                                                              nullptr,
                                                              this} {
        fuzz::must(endpoints.add(endpoint_), "there is room for an endpoint");
    }
    ~Endpoint() {
        fuzz::must(endpoints_.remove(endpoint_), "an endpoint that is not called can be removed");
    }
    Endpoint(const Endpoint &) = delete;
    Endpoint &operator=(const Endpoint &) = delete;

    std::uint64_t calls = 0;

private:
    template <typename Record>
    static void handle(void *param, const COMMENDMessageContext *context, const Record *record,
                       REDAWorker * /*worker*/) {
        auto *self = static_cast<Endpoint *>(param);
        fuzz::must(context->message == &self->message_, "an endpoint is handed the message");
        if constexpr (std::is_same_v<Record, RTPSData>) {
            fuzz::must(self->is_within(record->inlineQos) && self->is_within(record->payload),
                       "what is handed on lies within the message");
        }
        ++self->calls;
    }
    bool is_within(const RTPSOctets &octets) const {
        return octets.length == 0 ||
               (octets.data >= message_.data &&
                octets.data + octets.length <= message_.data + message_.length);
    }

    commend::Endpoints &endpoints_;
    const NUVNetioMessage &message_;
    const COMMENDEndpoint endpoint_;
};

void judge(const COMMENDInterpreterStatistics &statistics, const Contents &contents) {
    const std::uint64_t entities =
        statistics.handedOn + statistics.unwanted + statistics.forOthers + statistics.fromSelf;
    const std::uint64_t refused = std::accumulate(std::begin(statistics.refused),
                                                  std::end(statistics.refused), std::uint64_t{0});
    fuzz::must(statistics.refused[RTPS_ACCEPTED] == 0, "nothing is refused for being accepted");
    fuzz::must(refused <= 1, "a message is refused once");
    fuzz::must(refused == 1 || !contents.has_lie, "a length that lies is noticed");
    // What a source of another version says is passed over, whatever it is.
    const std::uint64_t counted = entities + statistics.passedOver;
    fuzz::must(entities <= contents.entities && counted <= contents.entities + contents.others,
               "no submessage is counted that there is not");
    fuzz::must(refused == 1 || counted == contents.entities + contents.others,
               "of what is accepted each submessage is counted once");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Messages messages;
    COMMENDActiveFacadeProperty property = COMMEND_ACTIVE_FACADE_PROPERTY_DEFAULT;
    property.parent.guidPrefix = OWN_PREFIX;
    commend::Receiver receiver(property.parent, fuzz::runtime());
    Delivery delivery;
    receiver.set_listener({deliver, &delivery});

    NUVNetioMessage message{};
    message.data = data;
    message.length = static_cast<NUV_UINT32>(size);
    Endpoint reader(receiver.interpreter.endpoints, RTPS_ENTITYID_SPDP_BUILTIN_PARTICIPANT_DETECTOR,
                    message);
    Endpoint for_all_others(receiver.interpreter.endpoints, RTPS_ENTITYID_UNKNOWN, message);
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
    COMMENDInterpreterStatistics interpreted{};
    receiver.interpreter.copy_statistics(&interpreted);
    fuzz::must(reader.calls + for_all_others.calls == interpreted.handedOn,
               "what is handed on reaches one of two endpoints");
    judge(interpreted, kind == Kind::FROM_OTHERS ? contents_of({data, size}) : Contents());
    fuzz::must(messages.count() == messages.count(NUV_LOG_LEVEL_WARNING) && messages.count() <= 1,
               "whatever arrives, there is one line of it at the most");
    return 0;
}
