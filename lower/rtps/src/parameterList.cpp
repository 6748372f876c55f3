// SPDX-License-Identifier: Apache-2.0
// Parameter lists.
#include "parameterList.h"

namespace {

int refuse(RTPSParameterListReader &reader, RTPSRefusal refusal) {
    reader.refusal = refusal;
    reader.rest.length = 0;
    return 0;
}

bool is_parameter_list_encapsulation(NUV_UINT16 encapsulation) {
    return encapsulation == RTPS_ENCAPSULATION_PL_CDR_BE ||
           encapsulation == RTPS_ENCAPSULATION_PL_CDR_LE;
}

} // namespace

void RTPSParameterListReader_initialize(RTPSParameterListReader *self, RTPSOctets list,
                                        RTPSByteOrder byteOrder) {
    *self = {RTPS_ACCEPTED, byteOrder, 0, list};
}

RTPSRefusal RTPSParameterListReader_initializePayload(RTPSParameterListReader *self,
                                                      RTPSOctets payload) {
    // The encapsulation header is in network byte order.
    rtps::Input input(payload, RTPS_BIG_ENDIAN);
    NUV_UINT16 encapsulation = 0;
    NUV_UINT16 options = 0;
    input.number(encapsulation);
    input.number(options);
    RTPSParameterListReader_initialize(
        self, input.take_rest(),
        encapsulation == RTPS_ENCAPSULATION_PL_CDR_LE ? RTPS_LITTLE_ENDIAN : RTPS_BIG_ENDIAN);
    if (!input.is_good() || !is_parameter_list_encapsulation(encapsulation)) {
        refuse(*self, RTPS_REFUSED_ENCAPSULATION);
    }
    return self->refusal;
}

int RTPSParameterListReader_next(RTPSParameterListReader *self, RTPSParameter *out) {
    while (self->refusal == RTPS_ACCEPTED && self->isAtEnd == 0) {
        rtps::Input input(self->rest, self->byteOrder);
        RTPSParameterId id = 0;
        NUV_UINT16 length = 0;
        input.number(id);
        input.number(length);
        if (!input.is_good()) {
            return refuse(*self, RTPS_REFUSED_NO_SENTINEL);
        }
        const auto mustUnderstand = static_cast<NUV_INT32>((id & RTPS_PID_MUST_UNDERSTAND) != 0);
        id &= static_cast<RTPSParameterId>(~RTPS_PID_MUST_UNDERSTAND);
        if (id == RTPS_PID_SENTINEL) {
            // Its length means nothing.
            self->rest = input.take_rest();
            self->isAtEnd = 1;
            return 0;
        }
        const RTPSOctets value = input.take(length);
        if (!input.is_good() || length % 4 != 0) {
            return refuse(*self, RTPS_REFUSED_LENGTH);
        }
        self->rest = input.take_rest();
        if (id != RTPS_PID_PAD) {
            *out = {id, mustUnderstand, value};
            return 1;
        }
    }
    return 0;
}

void RTPSParameterListWriter_initialize(RTPSParameterListWriter *self, NUV_UINT8 *buffer,
                                        size_t capacity, RTPSByteOrder byteOrder) {
    *self = {buffer, capacity, byteOrder, 0};
}

void RTPSParameterListWriter_initializePayload(RTPSParameterListWriter *self, NUV_UINT8 *buffer,
                                               size_t capacity, RTPSByteOrder byteOrder) {
    constexpr NUV_UINT16 OPTIONS = 0;

    RTPSParameterListWriter_initialize(self, buffer, capacity, byteOrder);
    rtps::Output header(std::span(buffer, capacity), RTPS_BIG_ENDIAN);
    header.number(static_cast<NUV_UINT16>(byteOrder == RTPS_LITTLE_ENDIAN
                                              ? RTPS_ENCAPSULATION_PL_CDR_LE
                                              : RTPS_ENCAPSULATION_PL_CDR_BE));
    header.number(OPTIONS);
    self->length = header.size();
}

void RTPSParameterListWriter_add(RTPSParameterListWriter *self, RTPSParameterId id,
                                 RTPSOctets value) {
    rtps::add_parameter(*self, id, [value](rtps::Output &output) { output.octets(value); });
}

size_t RTPSParameterListWriter_finish(RTPSParameterListWriter *self) {
    RTPSParameterListWriter_add(self, RTPS_PID_SENTINEL, {nullptr, 0});
    return self->length;
}

RTPSOctets rtps::take_parameter_list(Input &input, RTPSRefusal &refused) {
    Input ahead = input;
    RTPSParameterListReader reader;
    RTPSParameterListReader_initialize(&reader, ahead.take_rest(), input.order());
    RTPSParameter parameter;
    while (RTPSParameterListReader_next(&reader, &parameter) != 0) {}
    if (reader.refusal != RTPS_ACCEPTED) {
        refused = reader.refusal;
        return input.take(0);
    }
    return input.take(input.left() - reader.rest.length);
}

bool rtps::is_parameter_list(const RTPSOctets &octets, RTPSByteOrder order) {
    Input input(octets, order);
    RTPSRefusal refused = RTPS_ACCEPTED;
    take_parameter_list(input, refused);
    return refused == RTPS_ACCEPTED && input.left() == 0;
}
