// SPDX-License-Identifier: Apache-2.0
// What the header of a message has no place for.
#include <algorithm>
#include <array>

#include "layouts.h"
#include "parameterList.h"
#include "submessage.h"

using namespace rtps;

namespace {

constexpr NUV_UINT8 LENGTH_FLAG = 0x02;
constexpr NUV_UINT8 TIMESTAMP_FLAG = 0x04;
constexpr NUV_UINT8 U_EXTENSION_FLAG = 0x08;
constexpr NUV_UINT8 W_EXTENSION_FLAG = 0x10;
constexpr unsigned CHECKSUM_SHIFT = 5;
constexpr NUV_UINT8 PARAMETERS_FLAG = 0x80;

/** The octets of a checksum by the two bits in the flags: none, CRC-32C, CRC-64, MD5. */
constexpr std::array<std::size_t, 4> CHECKSUM_SIZES = {0, 4, 8, 16};

/** The kind of a checksum of this size, or that of no size. */
unsigned checksum_kind(std::size_t size) {
    const auto *const place = std::find(CHECKSUM_SIZES.begin(), CHECKSUM_SIZES.end(), size);
    return static_cast<unsigned>(place - CHECKSUM_SIZES.begin());
}

unsigned checksum_kind(const RTPSSubmessage &submessage) {
    return (submessage.flags >> CHECKSUM_SHIFT) % CHECKSUM_SIZES.size();
}

template <typename Codec, typename Record>
void fixed_parts(Codec &codec, Record &record) {
    if (record.hasMessageLength != 0) {
        codec.number(record.messageLength);
    }
    if (record.hasSendTimestamp != 0) {
        time(codec, record.sendTimestamp);
    }
    if (record.hasUExtension4 != 0) {
        codec.octets(record.uExtension4);
    }
    if (record.hasWExtension8 != 0) {
        codec.octets(record.wExtension8);
    }
}

NUV_UINT8 flags_of(const RTPSHeaderExtension &record) {
    return static_cast<NUV_UINT8>(
        flag_if(record.hasMessageLength, LENGTH_FLAG) |
        flag_if(record.hasSendTimestamp, TIMESTAMP_FLAG) |
        flag_if(record.hasUExtension4, U_EXTENSION_FLAG) |
        flag_if(record.hasWExtension8, W_EXTENSION_FLAG) |
        checksum_kind(record.messageChecksum.length) << CHECKSUM_SHIFT |
        flag_if(static_cast<NUV_INT32>(record.parameters.length != 0), PARAMETERS_FLAG));
}

} // namespace

RTPSRefusal RTPSHeaderExtension_read(const RTPSSubmessage *submessage, RTPSHeaderExtension *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_HEADER_EXTENSION);
    RTPSRefusal sense = RTPS_ACCEPTED;
    RTPSHeaderExtension record{};
    record.hasMessageLength = has_flag(*submessage, LENGTH_FLAG);
    record.hasSendTimestamp = has_flag(*submessage, TIMESTAMP_FLAG);
    record.hasUExtension4 = has_flag(*submessage, U_EXTENSION_FLAG);
    record.hasWExtension8 = has_flag(*submessage, W_EXTENSION_FLAG);
    fixed_parts(body, record);
    record.messageChecksum = body.take(CHECKSUM_SIZES[checksum_kind(*submessage)]);
    if (has_flag(*submessage, PARAMETERS_FLAG) != 0 && body.is_good()) {
        record.parameters = take_parameter_list(body, sense);
    }
    return accept(body, record, sense, out);
}

int RTPSMessageWriter_addHeaderExtension(RTPSMessageWriter *self,
                                         const RTPSHeaderExtension *extension) {
    if (checksum_kind(extension->messageChecksum.length) == CHECKSUM_SIZES.size() ||
        (extension->parameters.length != 0 &&
         !is_parameter_list(extension->parameters, self->byteOrder))) {
        return add_nothing(*self);
    }
    Addition addition(*self, RTPS_SUBMESSAGE_HEADER_EXTENSION, flags_of(*extension));
    fixed_parts(addition.body(), *extension);
    addition.body().octets(extension->messageChecksum);
    addition.body().octets(extension->parameters);
    return addition.finish();
}
