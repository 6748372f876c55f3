// SPDX-License-Identifier: Apache-2.0
// Changes and their fragments: DATA and DATA_FRAG.
#include <algorithm>

#include "layouts.h"
#include "parameterList.h"
#include "submessage.h"

using namespace rtps;

namespace {

// Where the two kinds have different flags, the second is that of DATA_FRAG.
constexpr NUV_UINT8 INLINE_QOS_FLAG = 0x02;
constexpr NUV_UINT8 DATA_FLAG = 0x04;
constexpr NUV_UINT8 KEY_FLAG = 0x08;
constexpr NUV_UINT8 NON_STANDARD_PAYLOAD_FLAG = 0x10;
constexpr NUV_UINT8 FRAG_KEY_FLAG = 0x04;
constexpr NUV_UINT8 FRAG_NON_STANDARD_PAYLOAD_FLAG = 0x08;

/** A writer pads a submessage to a multiple of four. */
constexpr std::size_t PADDING_MAX = 3;

template <typename Codec, typename Record>
void change(Codec &codec, Record &record) {
    endpoints(codec, record);
    codec.wide_number(record.writerSN);
}

template <typename Codec, typename Record>
void fragments(Codec &codec, Record &record) {
    change(codec, record);
    codec.number(record.fragmentStartingNum);
    codec.number(record.fragmentsInSubmessage);
    codec.number(record.fragmentSize);
    codec.number(record.sampleSize);
}

void fixed_part(Input &input, RTPSData &data) {
    change(input, data);
}

void fixed_part(Input &input, RTPSDataFrag &frag) {
    fragments(input, frag);
}

/** What precedes the payload. A later minor version may put more in front of the inline QoS. */
template <typename Record>
void read_beginning(Input &body, Record &record, bool has_inline_qos, RTPSRefusal &refused) {
    NUV_UINT16 extra_flags = 0;
    NUV_UINT16 octets_to_inline_qos = 0;
    body.number(extra_flags);
    body.number(octets_to_inline_qos);
    Input fixed(body.take(octets_to_inline_qos), body.order());
    fixed_part(fixed, record);
    if (!fixed.is_good()) {
        refused = RTPS_REFUSED_LENGTH;
    } else if (has_inline_qos) {
        record.inlineQos = take_parameter_list(body, refused);
    }
}

/** What precedes the payload, of which @p fixed_part_of writes all but the offset. */
template <typename FixedPart>
void write_beginning(Output &body, FixedPart fixed_part_of, const RTPSOctets &inline_qos,
                     RTPSByteOrder order) {
    constexpr NUV_UINT16 EXTRA_FLAGS = 0;

    Output measured({}, order);
    fixed_part_of(measured);
    body.number(EXTRA_FLAGS);
    body.number(static_cast<NUV_UINT16>(measured.size()));
    fixed_part_of(body);
    body.octets(inline_qos);
}

/** The octets of these fragments, or 0 when they are none of their sample. */
NUV_UINT64 size_of_fragments(const RTPSDataFrag &frag) {
    const NUV_UINT64 size = frag.fragmentSize;
    const NUV_UINT64 last = NUV_UINT64{frag.fragmentStartingNum} + frag.fragmentsInSubmessage - 1;
    if (frag.fragmentStartingNum == 0 || frag.fragmentsInSubmessage == 0 || size == 0 ||
        size > frag.sampleSize || last > (frag.sampleSize + size - 1) / size) {
        return 0;
    }
    return std::min<NUV_UINT64>(last * size, frag.sampleSize) -
           (frag.fragmentStartingNum - NUV_UINT64{1}) * size;
}

RTPSRefusal sense_of(const RTPSDataFrag &frag) {
    if (frag.writerSN < 1) {
        return RTPS_REFUSED_SEQUENCE_NUMBER;
    }
    const NUV_UINT64 size = size_of_fragments(frag);
    return size != 0 && frag.payload.length == size ? RTPS_ACCEPTED : RTPS_REFUSED_FRAGMENT;
}

bool has_good_inline_qos(const RTPSOctets &inline_qos, RTPSByteOrder order) {
    return inline_qos.length == 0 || is_parameter_list(inline_qos, order);
}

RTPSPayloadKind payload_kind_of(const RTPSSubmessage &submessage) {
    if (has_flag(submessage, DATA_FLAG) != 0) {
        return RTPS_PAYLOAD_DATA;
    }
    return has_flag(submessage, KEY_FLAG) != 0 ? RTPS_PAYLOAD_KEY : RTPS_PAYLOAD_NONE;
}

NUV_UINT8 flags_of(const RTPSData &data) {
    return flag_if(static_cast<NUV_INT32>(data.inlineQos.length != 0), INLINE_QOS_FLAG) |
           flag_if(static_cast<NUV_INT32>(data.payloadKind == RTPS_PAYLOAD_DATA), DATA_FLAG) |
           flag_if(static_cast<NUV_INT32>(data.payloadKind == RTPS_PAYLOAD_KEY), KEY_FLAG) |
           flag_if(data.isNonStandardPayload, NON_STANDARD_PAYLOAD_FLAG);
}

NUV_UINT8 flags_of(const RTPSDataFrag &frag) {
    return flag_if(static_cast<NUV_INT32>(frag.inlineQos.length != 0), INLINE_QOS_FLAG) |
           flag_if(frag.isKey, FRAG_KEY_FLAG) |
           flag_if(frag.isNonStandardPayload, FRAG_NON_STANDARD_PAYLOAD_FLAG);
}

} // namespace

RTPSRefusal RTPSData_read(const RTPSSubmessage *submessage, RTPSData *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_DATA);
    RTPSRefusal sense = RTPS_ACCEPTED;
    RTPSData record{};
    record.payloadKind = payload_kind_of(*submessage);
    record.isNonStandardPayload = has_flag(*submessage, NON_STANDARD_PAYLOAD_FLAG);
    read_beginning(body, record, has_flag(*submessage, INLINE_QOS_FLAG) != 0, sense);
    if (record.payloadKind != RTPS_PAYLOAD_NONE) {
        record.payload = body.take_rest();
    }
    if (sense == RTPS_ACCEPTED && has_flag(*submessage, DATA_FLAG) != 0 &&
        has_flag(*submessage, KEY_FLAG) != 0) {
        sense = RTPS_REFUSED_FLAGS;
    }
    if (sense == RTPS_ACCEPTED && record.writerSN < 1) {
        sense = RTPS_REFUSED_SEQUENCE_NUMBER;
    }
    return accept(body, record, sense, out);
}

int RTPSMessageWriter_addData(RTPSMessageWriter *self, const RTPSData *data) {
    if (data->writerSN < 1 || !has_good_inline_qos(data->inlineQos, self->byteOrder) ||
        (data->payloadKind == RTPS_PAYLOAD_NONE && data->payload.length != 0)) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_DATA, flags_of(*data));
    write_beginning(
        addition.body(), [data](Output &output) { change(output, *data); }, data->inlineQos,
        self->byteOrder);
    addition.body().octets(data->payload);
    return addition.finish();
}

RTPSRefusal RTPSDataFrag_read(const RTPSSubmessage *submessage, RTPSDataFrag *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_DATA_FRAG);
    RTPSRefusal sense = RTPS_ACCEPTED;
    RTPSDataFrag record{};
    record.isKey = has_flag(*submessage, FRAG_KEY_FLAG);
    record.isNonStandardPayload = has_flag(*submessage, FRAG_NON_STANDARD_PAYLOAD_FLAG);
    read_beginning(body, record, has_flag(*submessage, INLINE_QOS_FLAG) != 0, sense);
    record.payload = body.take_rest();
    const NUV_UINT64 size = size_of_fragments(record);
    if (record.payload.length > size && record.payload.length - size <= PADDING_MAX) {
        record.payload.length = static_cast<std::size_t>(size);
    }
    return accept(body, record, sense == RTPS_ACCEPTED ? sense_of(record) : sense, out);
}

int RTPSMessageWriter_addDataFrag(RTPSMessageWriter *self, const RTPSDataFrag *dataFrag) {
    if (sense_of(*dataFrag) != RTPS_ACCEPTED ||
        !has_good_inline_qos(dataFrag->inlineQos, self->byteOrder)) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_DATA_FRAG, flags_of(*dataFrag));
    write_beginning(
        addition.body(), [dataFrag](Output &output) { fragments(output, *dataFrag); },
        dataFrag->inlineQos, self->byteOrder);
    addition.body().octets(dataFrag->payload);
    return addition.finish();
}
