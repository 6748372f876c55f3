// SPDX-License-Identifier: Apache-2.0
// Messages taken apart into submessages.
#include "rtps/rtps_message.h"

#include <algorithm>
#include <array>

#include "layouts.h"
#include "submessage.h"

namespace {

constexpr std::array<NUV_UINT8, 4> PROTOCOL = {'R', 'T', 'P', 'S'};
constexpr RTPSProtocolVersion OWN_VERSION = RTPS_PROTOCOL_VERSION;

bool has_header(rtps::Input &input, RTPSHeader &header) {
    std::array<NUV_UINT8, PROTOCOL.size()> protocol{};
    input.octets(protocol);
    rtps::source(input, header);
    // A newer minor version is understood too (DDSI-RTPS 8.3.6.3).
    return input.is_good() && protocol == PROTOCOL && header.version.major == OWN_VERSION.major;
}

} // namespace

RTPSRefusal RTPSMessageReader_initialize(RTPSMessageReader *self, RTPSOctets message,
                                         RTPSHeader *header) {
    rtps::Input input(message, RTPS_BIG_ENDIAN);
    RTPSHeader read{};
    if (!has_header(input, read)) {
        *self = {RTPS_REFUSED_NO_MESSAGE, {nullptr, 0}};
        return self->refusal;
    }
    *header = read;
    *self = {RTPS_ACCEPTED, input.take_rest()};
    return self->refusal;
}

int RTPSMessageReader_next(RTPSMessageReader *self, RTPSSubmessage *out) {
    if (self->rest.length == 0) {
        return 0;
    }
    rtps::Input input(self->rest, RTPS_BIG_ENDIAN);
    RTPSSubmessage submessage{};
    input.number(submessage.kind);
    input.number(submessage.flags);
    submessage.byteOrder = rtps::byte_order_of(submessage.flags);
    input = rtps::Input(input.take_rest(), submessage.byteOrder);
    NUV_UINT16 length = 0;
    input.number(length);
    const bool reaches_to_end = length == 0 && !rtps::may_be_empty(submessage.kind);
    submessage.body = input.take(reaches_to_end ? input.left() : length);
    if (!input.is_good()) {
        self->refusal = RTPS_REFUSED_LENGTH;
        self->rest.length = 0;
        return 0;
    }
    self->rest = input.take_rest();
    *out = submessage;
    return 1;
}

int RTPSMessageWriter_initialize(RTPSMessageWriter *self, NUV_UINT8 *buffer, size_t capacity,
                                 RTPSByteOrder byteOrder, const RTPSHeader *header) {
    rtps::Output output(std::span(buffer, capacity), byteOrder);
    if (capacity >= RTPS_HEADER_SIZE) {
        output.octets(PROTOCOL);
        rtps::source(output, *header);
    }
    const bool is_there = output.size() == RTPS_HEADER_SIZE;
    *self = {buffer,        capacity,         byteOrder,
             output.size(), RTPS_HEADER_SIZE, static_cast<NUV_INT32>(!is_there)};
    return static_cast<int>(is_there);
}
