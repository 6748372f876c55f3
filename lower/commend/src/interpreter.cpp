// SPDX-License-Identifier: Apache-2.0
// What a message's submessages are, and whom they are for (DDSI-RTPS 8.3.4).
#include "interpreter.h"

#include <utility>

#include "commend_log.h"
#include "count_one.h"
#include "rtps/rtps_parameterList.h"

namespace commend {

namespace {

constexpr NUV_UINT8 VERSION_MAJOR = 2;
constexpr std::size_t SUBMESSAGE_ALIGNMENT = 4;
constexpr std::size_t SUBMESSAGE_HEADER_SIZE = 4;
constexpr NUVOsapiRtpsGuidPrefix EVERYBODY = {0, 0, 0};

bool is_aligned(const NUVNetioMessage &message, const RTPSSubmessage &submessage) {
    const NUV_UINT8 *const start = submessage.body.data - SUBMESSAGE_HEADER_SIZE;
    return static_cast<std::size_t>(start - message.data) % SUBMESSAGE_ALIGNMENT == 0;
}

} // namespace

/** One message on its way through the interpreter. */
class Interpreter::Walk {
public:
    Walk(Interpreter &interpreter, const NUVNetioMessage &message, const RTPSHeader &header,
         REDAWorker *worker)
        : interpreter_(interpreter),
          worker_(worker), context_{&message,          header, RTPS_BIG_ENDIAN, 0,
                                    RTPS_TIME_INVALID, nullptr} {}

    /** Deals with one submessage. Unless it is accepted the rest of the message is invalid. */
    RTPSRefusal take(const RTPSSubmessage &submessage);
    /** All of them were accepted. */
    void end(const RTPSHeader &header);

private:
    RTPSRefusal take_header_extension(const RTPSSubmessage &submessage);
    RTPSRefusal take_source(const RTPSSubmessage &submessage);
    RTPSRefusal take_destination(const RTPSSubmessage &submessage);
    RTPSRefusal take_timestamp(const RTPSSubmessage &submessage);
    RTPSRefusal take_reply(const RTPSSubmessage &submessage);
    RTPSRefusal take_reply_ip4(const RTPSSubmessage &submessage);
    void note_reply();
    static RTPSRefusal look_through(const RTPSOctets &parameters, RTPSByteOrder order);

    template <typename Record>
    RTPSRefusal pass_over(const RTPSSubmessage &submessage,
                          RTPSRefusal (*read)(const RTPSSubmessage *, Record *));

    template <typename Record>
    using Function = void (*)(void *, const COMMENDMessageContext *, const Record *, REDAWorker *);

    /** Reads what an endpoint takes and hands it on, if it is for this participant. */
    template <typename Record>
    RTPSRefusal
    hand_on(const RTPSSubmessage &submessage, RTPSRefusal (*read)(const RTPSSubmessage *, Record *),
            RTPSEntityId Record::*entity_id, Function<Record> COMMENDEndpoint::*function);

    Interpreter &interpreter_;
    REDAWorker *const worker_;
    COMMENDMessageContext context_;
    RTPSInfoReply
        reply_; // not read before it has been written: it is too large to be emptied each time
    bool is_for_others_ = false;
    bool is_from_self_ = false;
    bool is_foreign_ = false; // of a major version that is not spoken here
    bool is_first_ = true;
};

RTPSRefusal Interpreter::Walk::take(const RTPSSubmessage &submessage) {
    const bool is_first = std::exchange(is_first_, false);
    if (submessage.kind == RTPS_SUBMESSAGE_HEADER_EXTENSION && !is_first) {
        return RTPS_REFUSED_PLACE; // it belongs to the header
    }
    switch (submessage.kind) {
    case RTPS_SUBMESSAGE_HEADER_EXTENSION:
        return take_header_extension(submessage);
    case RTPS_SUBMESSAGE_INFO_SRC:
        return take_source(submessage);
    case RTPS_SUBMESSAGE_INFO_DST:
        return take_destination(submessage);
    case RTPS_SUBMESSAGE_INFO_TS:
        return take_timestamp(submessage);
    case RTPS_SUBMESSAGE_INFO_REPLY:
        return take_reply(submessage);
    case RTPS_SUBMESSAGE_INFO_REPLY_IP4:
        return take_reply_ip4(submessage);
    case RTPS_SUBMESSAGE_DATA:
        return hand_on(submessage, RTPSData_read, &RTPSData::readerId, &COMMENDEndpoint::onData);
    case RTPS_SUBMESSAGE_HEARTBEAT:
        return hand_on(submessage, RTPSHeartbeat_read, &RTPSHeartbeat::readerId,
                       &COMMENDEndpoint::onHeartbeat);
    case RTPS_SUBMESSAGE_GAP:
        return hand_on(submessage, RTPSGap_read, &RTPSGap::readerId, &COMMENDEndpoint::onGap);
    case RTPS_SUBMESSAGE_ACKNACK:
        return hand_on(submessage, RTPSAckNack_read, &RTPSAckNack::writerId,
                       &COMMENDEndpoint::onAckNack);
    case RTPS_SUBMESSAGE_DATA_FRAG:
        return pass_over(submessage, RTPSDataFrag_read);
    case RTPS_SUBMESSAGE_HEARTBEAT_FRAG:
        return pass_over(submessage, RTPSHeartbeatFrag_read);
    case RTPS_SUBMESSAGE_NACK_FRAG:
        return pass_over(submessage, RTPSNackFrag_read);
    default:
        count_one(interpreter_.passed_over_);
        return RTPS_ACCEPTED;
    }
}

/** What nobody takes has to be right all the same. */
template <typename Record>
RTPSRefusal Interpreter::Walk::pass_over(const RTPSSubmessage &submessage,
                                         RTPSRefusal (*read)(const RTPSSubmessage *, Record *)) {
    Record unused;
    const RTPSRefusal refusal = read(&submessage, &unused);
    if (refusal == RTPS_ACCEPTED) {
        count_one(interpreter_.passed_over_);
    }
    return refusal;
}

RTPSRefusal Interpreter::Walk::take_header_extension(const RTPSSubmessage &submessage) {
    RTPSHeaderExtension extension;
    const RTPSRefusal refusal = RTPSHeaderExtension_read(&submessage, &extension);
    if (refusal != RTPS_ACCEPTED) {
        return refusal;
    }
    if (extension.hasMessageLength != 0 && extension.messageLength != context_.message->length) {
        return RTPS_REFUSED_LENGTH; // a part of it is missing, or it is not this message's
    }
    return look_through(extension.parameters, submessage.byteOrder);
}

/** No parameter of a header extension is known. */
RTPSRefusal Interpreter::Walk::look_through(const RTPSOctets &parameters, RTPSByteOrder order) {
    if (parameters.length == 0) {
        return RTPS_ACCEPTED;
    }
    RTPSParameterListReader reader;
    RTPSParameter parameter;
    RTPSParameterListReader_initialize(&reader, parameters, order);
    while (RTPSParameterListReader_next(&reader, &parameter) != 0) {
        if (parameter.mustUnderstand != 0) {
            return RTPS_REFUSED_MUST_UNDERSTAND;
        }
    }
    return reader.refusal;
}

/** What was said of the former source does not hold for the new one (DDSI-RTPS 8.3.8). */
RTPSRefusal Interpreter::Walk::take_source(const RTPSSubmessage &submessage) {
    RTPSInfoSource info;
    const RTPSRefusal refusal = RTPSInfoSource_read(&submessage, &info);
    if (refusal == RTPS_ACCEPTED) {
        context_.source = info.source;
        context_.timestamp = RTPS_TIME_INVALID;
        context_.reply = nullptr;
        is_from_self_ = interpreter_.is_own(info.source.guidPrefix);
        is_foreign_ = info.source.version.major != VERSION_MAJOR;
    }
    return refusal;
}

RTPSRefusal Interpreter::Walk::take_destination(const RTPSSubmessage &submessage) {
    RTPSInfoDestination info;
    const RTPSRefusal refusal = RTPSInfoDestination_read(&submessage, &info);
    if (refusal == RTPS_ACCEPTED) {
        const bool is_for_all = NUVOsapiRtpsGuidPrefix_isSame(&info.guidPrefix, &EVERYBODY) != 0;
        const bool is_for_this = interpreter_.is_own(info.guidPrefix);
        context_.isDirected = is_for_this ? 1 : 0;
        is_for_others_ = !is_for_all && !is_for_this;
    }
    return refusal;
}

RTPSRefusal Interpreter::Walk::take_timestamp(const RTPSSubmessage &submessage) {
    RTPSInfoTimestamp info;
    const RTPSRefusal refusal = RTPSInfoTimestamp_read(&submessage, &info);
    if (refusal == RTPS_ACCEPTED) {
        context_.timestamp = info.timestamp;
    }
    return refusal;
}

RTPSRefusal Interpreter::Walk::take_reply(const RTPSSubmessage &submessage) {
    const RTPSRefusal refusal = RTPSInfoReply_read(&submessage, &reply_);
    if (refusal == RTPS_ACCEPTED) {
        note_reply();
    }
    return refusal;
}

/** One that names nowhere, or nowhere on our networks, says no more than none. */
void Interpreter::Walk::note_reply() {
    context_.reply = reply_.unicast.count + reply_.multicast.count != 0 ? &reply_ : nullptr;
}

RTPSRefusal Interpreter::Walk::take_reply_ip4(const RTPSSubmessage &submessage) {
    RTPSInfoReplyIp4 info;
    const RTPSRefusal refusal = RTPSInfoReplyIp4_read(&submessage, &info);
    if (refusal == RTPS_ACCEPTED) {
        reply_ = {};
        reply_.hasMulticast = info.hasMulticast;
        RTPSLocators_add(&reply_.unicast, &info.unicast, nullptr);
        RTPSLocators_add(&reply_.multicast, &info.multicast, nullptr);
        note_reply();
    }
    return refusal;
}

template <typename Record>
RTPSRefusal Interpreter::Walk::hand_on(const RTPSSubmessage &submessage,
                                       RTPSRefusal (*read)(const RTPSSubmessage *, Record *),
                                       RTPSEntityId Record::*entity_id,
                                       Function<Record> COMMENDEndpoint::*function) {
    Record record;
    const RTPSRefusal refusal = read(&submessage, &record);
    if (refusal != RTPS_ACCEPTED) {
        return refusal;
    }
    if (is_foreign_) {
        count_one(interpreter_.passed_over_);
        return RTPS_ACCEPTED;
    }
    if (is_from_self_ || is_for_others_) {
        count_one(is_from_self_ ? interpreter_.from_self_ : interpreter_.for_others_);
        return RTPS_ACCEPTED;
    }
    context_.byteOrder = submessage.byteOrder;
    // An acknowledgement is of one writer.
    const bool names_nobody =
        submessage.kind == RTPS_SUBMESSAGE_ACKNACK && record.*entity_id == RTPS_ENTITYID_UNKNOWN;
    const bool is_taken =
        !names_nobody &&
        interpreter_.endpoints.call(record.*entity_id, [&](const COMMENDEndpoint &endpoint) {
            const Function<Record> handler = endpoint.*function;
            if (handler != nullptr) {
                handler(endpoint.param, &context_, &record, worker_);
            }
            return handler != nullptr;
        });
    count_one(is_taken ? interpreter_.handed_on_ : interpreter_.unwanted_);
    return RTPS_ACCEPTED;
}

void Interpreter::Walk::end(const RTPSHeader &header) {
    context_.source = header;
    (void)interpreter_.endpoints.call(RTPS_ENTITYID_UNKNOWN, [&](const COMMENDEndpoint &endpoint) {
        if (endpoint.onMessage != nullptr) {
            endpoint.onMessage(endpoint.param, &context_, worker_);
        }
        return true;
    });
}

Interpreter::Interpreter(const COMMENDFacadeProperty &property, NUVNetioRuntime *runtime)
    : endpoints(runtime), own_prefix_(property.guidPrefix),
      enforces_alignment_(property.interpreter.enforceSubmessageAlignment != 0),
      repetitions_(NUVNetioRuntime_getRepetitions(runtime)) {}

void Interpreter::interpret(const NUVNetioMessage &message, const RTPSHeader &header,
                            RTPSMessageReader reader, REDAWorker *worker) {
    Walk walk(*this, message, header, worker);
    RTPSSubmessage submessage;
    while (RTPSMessageReader_next(&reader, &submessage) != 0) {
        const RTPSRefusal refusal = enforces_alignment_ && !is_aligned(message, submessage)
                                        ? RTPS_REFUSED_ALIGNMENT
                                        : walk.take(submessage);
        if (refusal != RTPS_ACCEPTED) {
            note_refusal(message, refusal);
            return;
        }
    }
    if (reader.refusal != RTPS_ACCEPTED) {
        note_refusal(message, reader.refusal);
        return;
    }
    walk.end(header);
}

void Interpreter::note_refusal(const NUVNetioMessage &message, RTPSRefusal reason) {
    constexpr const char *LOG_METHOD = "receive";
    count_one(refused_[reason]);
    COMMEND_WARNING_LIMITED(repetitions_, "a message from %s is not read to its end: it has %s",
                            netio::LocatorText(message.source).get(), RTPSRefusal_toString(reason));
}

void Interpreter::copy_statistics(COMMENDInterpreterStatistics *out) const {
    out->handedOn = handed_on_.load(std::memory_order_relaxed);
    out->unwanted = unwanted_.load(std::memory_order_relaxed);
    out->forOthers = for_others_.load(std::memory_order_relaxed);
    out->fromSelf = from_self_.load(std::memory_order_relaxed);
    out->passedOver = passed_over_.load(std::memory_order_relaxed);
    for (std::size_t i = 0; i < refused_.size(); ++i) {
        out->refused[i] = refused_[i].load(std::memory_order_relaxed);
    }
}

} // namespace commend
