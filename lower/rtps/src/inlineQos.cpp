// SPDX-License-Identifier: Apache-2.0
// What inline QoS says of an instance.
#include "rtps/rtps_inlineQos.h"

#include "parameterList.h"

namespace {

RTPSRefusal read_parameter(const RTPSParameter &parameter, RTPSInlineQos &qos) {
    // Neither depends on the byte order: one is octets, the other always big-endian.
    rtps::Input value(parameter.value, RTPS_BIG_ENDIAN);
    switch (parameter.id) {
    case RTPS_PID_KEY_HASH:
        value.octets(qos.keyHash);
        qos.hasKeyHash = 1;
        break;
    case RTPS_PID_STATUS_INFO:
        value.number(qos.statusInfo);
        break;
    default:
        return parameter.mustUnderstand != 0 ? RTPS_REFUSED_MUST_UNDERSTAND : RTPS_ACCEPTED;
    }
    return value.is_good() ? RTPS_ACCEPTED : RTPS_REFUSED_LENGTH;
}

} // namespace

RTPSRefusal RTPSInlineQos_read(RTPSOctets inlineQos, RTPSByteOrder byteOrder, RTPSInlineQos *out) {
    RTPSParameterListReader reader;
    RTPSParameterListReader_initialize(&reader, inlineQos, byteOrder);
    RTPSInlineQos qos{};
    for (RTPSParameter parameter; RTPSParameterListReader_next(&reader, &parameter) != 0;) {
        const RTPSRefusal refusal = read_parameter(parameter, qos);
        if (refusal != RTPS_ACCEPTED) {
            return refusal;
        }
    }
    if (reader.refusal == RTPS_ACCEPTED) {
        *out = qos;
    }
    return reader.refusal;
}

size_t RTPSInlineQos_write(const RTPSInlineQos *self, RTPSByteOrder byteOrder, NUV_UINT8 *buffer,
                           size_t capacity) {
    RTPSParameterListWriter writer;
    RTPSParameterListWriter_initialize(&writer, buffer, capacity, byteOrder);
    if (self->hasKeyHash != 0) {
        rtps::add_parameter(writer, RTPS_PID_KEY_HASH,
                            [self](rtps::Output &value) { value.octets(self->keyHash); });
    }
    if (self->statusInfo != 0) {
        rtps::add_parameter(writer, RTPS_PID_STATUS_INFO, [self](rtps::Output &value) {
            value.network_number(self->statusInfo);
        });
    }
    return RTPSParameterListWriter_finish(&writer);
}
