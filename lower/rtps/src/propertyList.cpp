// SPDX-License-Identifier: Apache-2.0
// The properties that a participant announces.
#include "propertyList.h"

#include "text.h"

namespace {

constexpr std::size_t COUNT_SIZE = sizeof(NUV_UINT32);
constexpr std::size_t ALIGNMENT = 4;

RTPSRefusal read_text(rtps::Input &input, RTPSText &out) {
    input.align(ALIGNMENT);
    return rtps::text(input, out);
}

RTPSRefusal read_property(rtps::Input &input, RTPSProperty &out) {
    const RTPSRefusal refusal = read_text(input, out.name);
    return refusal == RTPS_ACCEPTED ? read_text(input, out.value) : refusal;
}

void write_property(rtps::Output &output, const RTPSProperty &property) {
    output.align(ALIGNMENT);
    rtps::text(output, property.name);
    output.align(ALIGNMENT);
    rtps::text(output, property.value);
}

} // namespace

RTPSRefusal RTPSPropertyList_read(RTPSOctets octets, RTPSByteOrder byteOrder,
                                  RTPSPropertyList *out) {
    rtps::Input input(octets, byteOrder);
    NUV_UINT32 count = 0;
    input.number(count);
    RTPSRefusal refusal = input.is_good() ? RTPS_ACCEPTED : RTPS_REFUSED_LENGTH;
    // The first that is not there ends it, whatever the count is.
    for (NUV_UINT32 i = 0; i < count && refusal == RTPS_ACCEPTED; ++i) {
        RTPSProperty property;
        refusal = read_property(input, property);
    }
    if (refusal == RTPS_ACCEPTED) {
        *out = {count, byteOrder, {octets.data, octets.length - input.left()}};
    }
    return refusal;
}

void RTPSPropertyReader_initialize(RTPSPropertyReader *self, const RTPSPropertyList *list) {
    *self = {list->count, *list, COUNT_SIZE};
}

int RTPSPropertyReader_next(RTPSPropertyReader *self, RTPSProperty *out) {
    if (self->left == 0) {
        return 0;
    }
    rtps::Input input(self->list.octets, self->list.byteOrder);
    input.take(self->position);
    RTPSProperty property;
    if (read_property(input, property) != RTPS_ACCEPTED) {
        self->left = 0;
        return 0;
    }
    self->position = self->list.octets.length - input.left();
    --self->left;
    *out = property;
    return 1;
}

void RTPSPropertyWriter_initialize(RTPSPropertyWriter *self, NUV_UINT8 *buffer, size_t capacity,
                                   RTPSByteOrder byteOrder) {
    *self = {buffer, capacity, byteOrder, COUNT_SIZE, 0};
}

void RTPSPropertyWriter_add(RTPSPropertyWriter *self, const RTPSProperty *property) {
    rtps::Output output(std::span(self->buffer, self->capacity), self->byteOrder, self->length);
    write_property(output, *property);
    self->length = output.size();
    ++self->count;
}

size_t RTPSPropertyWriter_finish(RTPSPropertyWriter *self, RTPSPropertyList *out) {
    if (self->length <= self->capacity) {
        rtps::Output output(std::span(self->buffer, self->capacity), self->byteOrder);
        output.number(self->count);
        *out = {self->count, self->byteOrder, {self->buffer, self->length}};
    }
    return self->length;
}

void rtps::property_list(Output &output, const RTPSPropertyList &list) {
    output.number(list.count);
    RTPSPropertyReader reader;
    RTPSPropertyReader_initialize(&reader, &list);
    for (RTPSProperty property; RTPSPropertyReader_next(&reader, &property) != 0;) {
        write_property(output, property);
    }
}
