// SPDX-License-Identifier: Apache-2.0
// What writers have: HEARTBEAT and HEARTBEAT_FRAG.
#include "layouts.h"
#include "submessage.h"

using namespace rtps;

namespace {

constexpr NUV_UINT8 HEARTBEAT_FINAL_FLAG = 0x02;
constexpr NUV_UINT8 HEARTBEAT_LIVELINESS_FLAG = 0x04;
constexpr NUV_UINT8 HEARTBEAT_GROUP_INFO_FLAG = 0x08;

template <typename Codec, typename Record>
void heartbeat_fields(Codec &codec, Record &record) {
    endpoints(codec, record);
    codec.wide_number(record.firstSN);
    codec.wide_number(record.lastSN);
    codec.number(record.count);
    if (record.hasGroup != 0) {
        codec.wide_number(record.group.currentGSN);
        codec.wide_number(record.group.firstGSN);
        codec.wide_number(record.group.lastGSN);
        codec.octets(record.group.writerSet);
        codec.octets(record.group.secureWriterSet);
    }
}

template <typename Codec, typename Record>
void heartbeat_frag_fields(Codec &codec, Record &record) {
    endpoints(codec, record);
    codec.wide_number(record.writerSN);
    codec.number(record.lastFragmentNum);
    codec.number(record.count);
}

/** An empty range ends before its beginning. */
bool is_range(RTPSSequenceNumber first, RTPSSequenceNumber last) {
    return first >= 1 && last >= first - 1;
}

bool is_valid(const RTPSGroupState &group) {
    return is_range(group.firstGSN, group.lastGSN) && group.currentGSN >= group.firstGSN &&
           group.currentGSN >= group.lastGSN;
}

RTPSRefusal sense_of(const RTPSHeartbeat &record) {
    return is_range(record.firstSN, record.lastSN) &&
                   (record.hasGroup == 0 || is_valid(record.group))
               ? RTPS_ACCEPTED
               : RTPS_REFUSED_SEQUENCE_NUMBER;
}

RTPSRefusal sense_of(const RTPSHeartbeatFrag &record) {
    if (record.writerSN < 1) {
        return RTPS_REFUSED_SEQUENCE_NUMBER;
    }
    return record.lastFragmentNum >= 1 ? RTPS_ACCEPTED : RTPS_REFUSED_FRAGMENT;
}

NUV_UINT8 flags_of(const RTPSHeartbeat &record) {
    return flag_if(record.isFinal, HEARTBEAT_FINAL_FLAG) |
           flag_if(record.isLiveliness, HEARTBEAT_LIVELINESS_FLAG) |
           flag_if(record.hasGroup, HEARTBEAT_GROUP_INFO_FLAG);
}

} // namespace

RTPSRefusal RTPSHeartbeat_read(const RTPSSubmessage *submessage, RTPSHeartbeat *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_HEARTBEAT);
    RTPSHeartbeat record{};
    record.isFinal = has_flag(*submessage, HEARTBEAT_FINAL_FLAG);
    record.isLiveliness = has_flag(*submessage, HEARTBEAT_LIVELINESS_FLAG);
    record.hasGroup = has_flag(*submessage, HEARTBEAT_GROUP_INFO_FLAG);
    heartbeat_fields(body, record);
    return accept(body, record, sense_of(record), out);
}

int RTPSMessageWriter_addHeartbeat(RTPSMessageWriter *self, const RTPSHeartbeat *heartbeat) {
    if (sense_of(*heartbeat) != RTPS_ACCEPTED) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_HEARTBEAT, flags_of(*heartbeat));
    heartbeat_fields(addition.body(), *heartbeat);
    return addition.finish();
}

RTPSRefusal RTPSHeartbeatFrag_read(const RTPSSubmessage *submessage, RTPSHeartbeatFrag *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_HEARTBEAT_FRAG);
    RTPSHeartbeatFrag record{};
    heartbeat_frag_fields(body, record);
    return accept(body, record, sense_of(record), out);
}

int RTPSMessageWriter_addHeartbeatFrag(RTPSMessageWriter *self,
                                       const RTPSHeartbeatFrag *heartbeatFrag) {
    if (sense_of(*heartbeatFrag) != RTPS_ACCEPTED) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_HEARTBEAT_FRAG, 0);
    heartbeat_frag_fields(addition.body(), *heartbeatFrag);
    return addition.finish();
}
