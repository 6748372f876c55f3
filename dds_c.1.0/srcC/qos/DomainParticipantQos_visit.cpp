// SPDX-License-Identifier: Apache-2.0
// Lists the settings of a QoS for whoever wants to show them, by the table of policies.
#include "dds_c/dds_c_qosvisitor.h"

#include "infrastructure/dds_log.h"
#include "qos/walk.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_DOMAIN;

using namespace dds::qos;

namespace {

/* ---- What a value is, by its type and range -------------------------------------------------- */

template <typename TRange>
DDS_QosValue value_of(DDS_Long value, const TRange & /*range*/) {
    return {DDS_QOS_VALUE_NUMBER, value, nullptr, nullptr, nullptr, nullptr};
}

template <typename TRange>
DDS_QosValue value_of(DDS_UnsignedLong value, const TRange & /*range*/) {
    return {DDS_QOS_VALUE_NUMBER, value, nullptr, nullptr, nullptr, nullptr};
}

DDS_QosValue value_of(DDS_Long value, const Bits &range) {
    return {range.kind, value, nullptr, nullptr, nullptr, nullptr};
}

DDS_QosValue value_of(DDS_UnsignedLong value, const Bits &range) {
    return {range.kind, value, nullptr, nullptr, nullptr, nullptr};
}

template <typename TRange>
DDS_QosValue value_of(DDS_Boolean value, const TRange & /*range*/) {
    return {DDS_QOS_VALUE_BOOLEAN,
            value == DDS_BOOLEAN_FALSE ? 0 : 1,
            nullptr,
            nullptr,
            nullptr,
            nullptr};
}

template <typename TRange>
DDS_QosValue value_of(const DDS_Duration_t &value, const TRange & /*range*/) {
    return {DDS_QOS_VALUE_DURATION, 0, &value, nullptr, nullptr, nullptr};
}

template <typename TRange>
DDS_QosValue value_of(const char *value, const TRange & /*range*/) {
    return {DDS_QOS_VALUE_TEXT, 0, nullptr, value, nullptr, nullptr};
}

template <typename TRange>
DDS_QosValue value_of(const DDS_StringSeq &value, const TRange & /*range*/) {
    return {DDS_QOS_VALUE_TEXTS, 0, nullptr, nullptr, &value, nullptr};
}

template <typename TRange>
DDS_QosValue value_of(const DDS_OctetSeq &value, const TRange & /*range*/) {
    return {DDS_QOS_VALUE_OCTETS, 0, nullptr, nullptr, nullptr, &value};
}

/* ---- The table ------------------------------------------------------------------------------ */

template <Settings T>
void visit_fields(const DDS_QosVisitor &visitor, const T &record) {
    every_row<T>([&](const auto &row) {
        using M = TypeOf<decltype(row)>;
        const auto &value = record.*row.member;
        if constexpr (Settings<M>) {
            visitor.begin_record(visitor.param, row.name);
            visit_fields(visitor, value);
            visitor.end_record(visitor.param);
        } else if constexpr (SettingsList<M>) {
            visitor.begin_list(visitor.param, row.name);
            for (DDS_Long i = 0; i < value._length; ++i) {
                visitor.begin_record(visitor.param, nullptr);
                visit_fields(visitor, value._buffer[i]);
                visitor.end_record(visitor.param);
            }
            visitor.end_list(visitor.param);
        } else {
            const DDS_QosValue shown = value_of(value, row.range);
            visitor.value(visitor.param, row.name, &shown);
        }
        return true;
    });
}

} // namespace

void DDS_DomainParticipantQos_visit(const DDS_DomainParticipantQos *self,
                                    const DDS_QosVisitor *visitor) {
    if (!DDSLog_isNull(self) && !DDSLog_isNull(visitor)) {
        visit_fields(*visitor, *self);
    }
}
