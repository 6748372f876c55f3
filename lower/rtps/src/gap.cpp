// SPDX-License-Identifier: Apache-2.0
// What is of no concern to readers: GAP.
#include "layouts.h"
#include "numberSet.h"
#include "submessage.h"

using namespace rtps;

namespace {

constexpr NUV_UINT8 GAP_GROUP_INFO_FLAG = 0x02;
constexpr NUV_UINT8 GAP_FILTERED_COUNT_FLAG = 0x04;

template <typename Codec, typename Record>
void gap_fields(Codec &codec, Record &record) {
    endpoints(codec, record);
    codec.wide_number(record.gapStart);
    number_set(codec, record.gapList);
    if (record.hasGroup != 0) {
        codec.wide_number(record.gapStartGSN);
        codec.wide_number(record.gapEndGSN);
    }
    if (record.hasFilteredCount != 0) {
        codec.wide_number(record.filteredCount);
    }
}

bool has_group(const RTPSGap &record) {
    return record.gapStartGSN >= 1 && record.gapEndGSN >= record.gapStartGSN - 1;
}

RTPSRefusal sense_of(const RTPSGap &record) {
    if (record.gapStart < 1 || (record.hasGroup != 0 && !has_group(record))) {
        return RTPS_REFUSED_SEQUENCE_NUMBER;
    }
    return is_valid(record.gapList) ? RTPS_ACCEPTED : RTPS_REFUSED_NUMBER_SET;
}

} // namespace

RTPSRefusal RTPSGap_read(const RTPSSubmessage *submessage, RTPSGap *out) {
    Input body = body_of(*submessage, RTPS_SUBMESSAGE_GAP);
    RTPSGap record{};
    record.hasGroup = has_flag(*submessage, GAP_GROUP_INFO_FLAG);
    record.hasFilteredCount = has_flag(*submessage, GAP_FILTERED_COUNT_FLAG);
    gap_fields(body, record);
    return accept(body, record, sense_of(record), out);
}

int RTPSMessageWriter_addGap(RTPSMessageWriter *self, const RTPSGap *gap) {
    if (sense_of(*gap) != RTPS_ACCEPTED) {
        return add_nothing(*self);
    }
    const NUV_UINT8 flags = flag_if(gap->hasGroup, GAP_GROUP_INFO_FLAG) |
                            flag_if(gap->hasFilteredCount, GAP_FILTERED_COUNT_FLAG);
    Addition addition(*self, RTPS_SUBMESSAGE_GAP, flags);
    gap_fields(addition.body(), *gap);
    return addition.finish();
}
