// SPDX-License-Identifier: Apache-2.0
// What submessages say of those that follow: when, whom from and whom for.
#include <array>

#include "layouts.h"
#include "submessage.h"

using namespace rtps;

namespace {

constexpr NUV_UINT8 INVALIDATE_FLAG = 0x02;

/** INFO_SRC begins with octets that are not used. */
constexpr std::size_t UNUSED_SIZE = 4;

} // namespace

RTPSRefusal RTPSInfoTimestamp_read(const RTPSSubmessage *submessage, RTPSInfoTimestamp *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_INFO_TS);
    RTPSInfoTimestamp record{RTPS_TIME_INVALID};
    if (has_flag(*submessage, INVALIDATE_FLAG) == 0) {
        time(body, record.timestamp);
    }
    return accept(body, record, RTPS_ACCEPTED, out);
}

int RTPSMessageWriter_addInfoTimestamp(RTPSMessageWriter *self, const RTPSInfoTimestamp *info) {
    const bool is_valid = RTPSTime_isValid(&info->timestamp) != 0;
    Addition addition(*self, RTPS_SUBMESSAGE_INFO_TS, is_valid ? 0 : INVALIDATE_FLAG);
    if (is_valid) {
        time(addition.body(), info->timestamp);
    }
    return addition.finish();
}

RTPSRefusal RTPSInfoSource_read(const RTPSSubmessage *submessage, RTPSInfoSource *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_INFO_SRC);
    RTPSInfoSource record{};
    body.take(UNUSED_SIZE);
    source(body, record.source);
    return accept(body, record, RTPS_ACCEPTED, out);
}

int RTPSMessageWriter_addInfoSource(RTPSMessageWriter *self, const RTPSInfoSource *info) {
    Addition addition(*self, RTPS_SUBMESSAGE_INFO_SRC, 0);
    addition.body().octets(std::array<NUV_UINT8, UNUSED_SIZE>{});
    source(addition.body(), info->source);
    return addition.finish();
}

RTPSRefusal RTPSInfoDestination_read(const RTPSSubmessage *submessage, RTPSInfoDestination *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_INFO_DST);
    RTPSInfoDestination record{};
    guid_prefix(body, record.guidPrefix);
    return accept(body, record, RTPS_ACCEPTED, out);
}

int RTPSMessageWriter_addInfoDestination(RTPSMessageWriter *self, const RTPSInfoDestination *info) {
    Addition addition(*self, RTPS_SUBMESSAGE_INFO_DST, 0);
    guid_prefix(addition.body(), info->guidPrefix);
    return addition.finish();
}

int RTPSMessageWriter_addPad(RTPSMessageWriter *self, NUV_UINT16 size) {
    Addition addition(*self, RTPS_SUBMESSAGE_PAD, 0);
    for (NUV_UINT16 i = 0; i < size; ++i) {
        addition.body().number(NUV_UINT8{0});
    }
    return addition.finish();
}
