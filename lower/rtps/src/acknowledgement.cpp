// SPDX-License-Identifier: Apache-2.0
// What readers have and ask for: ACKNACK and NACK_FRAG.
#include "layouts.h"
#include "numberSet.h"
#include "submessage.h"

using namespace rtps;

namespace {

constexpr NUV_UINT8 ACKNACK_FINAL_FLAG = 0x02;

template <typename Codec, typename Record>
void ack_nack_fields(Codec &codec, Record &record) {
    endpoints(codec, record);
    number_set(codec, record.readerSNState);
    codec.number(record.count);
}

template <typename Codec, typename Record>
void nack_frag_fields(Codec &codec, Record &record) {
    endpoints(codec, record);
    codec.wide_number(record.writerSN);
    number_set(codec, record.fragmentNumberState);
    codec.number(record.count);
}

RTPSRefusal sense_of(const RTPSAckNack &ackNack) {
    const RTPSSequenceNumberSet &set = ackNack.readerSNState;
    // Some readers begin with what is no set by the standard: they have nothing, and ask for none.
    const bool is_beginning = set.base == 0 && set.numBits == 0;
    return is_beginning || is_valid(set) ? RTPS_ACCEPTED : RTPS_REFUSED_NUMBER_SET;
}

RTPSRefusal sense_of(const RTPSNackFrag &nackFrag) {
    if (nackFrag.writerSN < 1) {
        return RTPS_REFUSED_SEQUENCE_NUMBER;
    }
    return is_valid(nackFrag.fragmentNumberState) ? RTPS_ACCEPTED : RTPS_REFUSED_NUMBER_SET;
}

} // namespace

RTPSRefusal RTPSAckNack_read(const RTPSSubmessage *submessage, RTPSAckNack *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_ACKNACK);
    RTPSAckNack record{};
    record.isFinal = has_flag(*submessage, ACKNACK_FINAL_FLAG);
    ack_nack_fields(body, record);
    return accept(body, record, sense_of(record), out);
}

int RTPSMessageWriter_addAckNack(RTPSMessageWriter *self, const RTPSAckNack *ackNack) {
    if (sense_of(*ackNack) != RTPS_ACCEPTED) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_ACKNACK,
                      flag_if(ackNack->isFinal, ACKNACK_FINAL_FLAG));
    ack_nack_fields(addition.body(), *ackNack);
    return addition.finish();
}

RTPSRefusal RTPSNackFrag_read(const RTPSSubmessage *submessage, RTPSNackFrag *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_NACK_FRAG);
    RTPSNackFrag record{};
    nack_frag_fields(body, record);
    return accept(body, record, sense_of(record), out);
}

int RTPSMessageWriter_addNackFrag(RTPSMessageWriter *self, const RTPSNackFrag *nackFrag) {
    if (sense_of(*nackFrag) != RTPS_ACCEPTED) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_NACK_FRAG, 0);
    nack_frag_fields(addition.body(), *nackFrag);
    return addition.finish();
}
