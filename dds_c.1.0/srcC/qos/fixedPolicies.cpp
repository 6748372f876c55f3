// SPDX-License-Identifier: Apache-2.0
// Finds what a change of the QoS may not change, by the table of policies.
#include "qos/fixedPolicies.h"

using namespace dds::qos;

namespace {

/** What a row says of a change goes for all fields of its value, or each field's row says it. */
template <Settings T>
constexpr bool says_who_decides(bool is_by_field) {
    return every_row<T>([=](const auto &row) {
        using M = TypeOf<decltype(row)>;
        if ((row.change.kind != Change::WITH_WHOLE) != is_by_field) {
            return false;
        }
        if constexpr (Settings<M>) {
            return says_who_decides<M>(row.change.kind == Change::BY_FIELD);
        } else {
            return row.change.kind != Change::BY_FIELD;
        }
    });
}

static_assert(says_who_decides<DDS_DomainParticipantQos>(true));

template <Settings T>
bool find_change(const T &running, const T &next, const Path &path, PathText &changed) {
    return !every_row<T>([&](const auto &row) {
        const auto &is = running.*row.member;
        const auto &asked = next.*row.member;
        if constexpr (Settings<TypeOf<decltype(row)>>) {
            if (row.change.kind == Change::BY_FIELD) {
                return !find_change(is, asked, path.field(row.name), changed);
            }
        }
        if (row.change.kind == Change::REFUSED && !dds::value::is_equal(is, asked)) {
            changed = path.field(row.name).text();
            return false;
        }
        return true;
    });
}

} // namespace

bool changes_fixed_policy(const DDS_DomainParticipantQos &running,
                          const DDS_DomainParticipantQos &next, PathText &changed) {
    return find_change(running, next, Path(), changed);
}
