// SPDX-License-Identifier: Apache-2.0
// Names the settings without effect that a QoS gives, by the tables of policies and properties.
#include "qos/unusedSettings.h"

#include "dds_c/dds_c_propertyqospolicyhelper.h"
#include "reda/reda_string.h"

namespace dds::qos {

namespace {

/** What a row says of a use goes for all fields of its value, or each field's row says it. */
template <Settings T>
constexpr bool says_what_is_used(bool is_by_field) {
    return every_row<T>([=](const auto &row) {
        using M = TypeOf<decltype(row)>;
        const bool is_field_by_field = row.use.effect == Effect::BY_FIELD;
        if ((row.use.effect != Effect::WITH_WHOLE) != is_by_field) {
            return false;
        }
        if constexpr (SettingsList<M>) {
            return says_what_is_used<typename ElementOf<M>::Type>(is_field_by_field);
        } else if constexpr (Settings<M>) {
            return says_what_is_used<M>(is_field_by_field);
        } else {
            return !is_field_by_field;
        }
    });
}

static_assert(says_what_is_used<DDS_DomainParticipantQos>(true));

/** How many rows of both tables have this place in the warning. */
constexpr int count_rows_at(int place) {
    int count = 0;
    every_row_within<DDS_DomainParticipantQos>([&](const auto &row) {
        count += row.use.effect == Effect::NONE && row.use.place == place ? 1 : 0;
        return true;
    });
    for (const PropertyRow &row : PROPERTIES) {
        count += row.place == place ? 1 : 0;
    }
    return count;
}

constexpr int PLACES = static_cast<int>(count_unused_settings());

constexpr bool has_one_row_at_each_place() {
    for (int place = 1; place <= PLACES; ++place) {
        if (count_rows_at(place) != 1) {
            return false;
        }
    }
    return true;
}

static_assert(has_one_row_at_each_place());

/** Looks for the setting of a place, given in @p record or below. */
template <Settings T>
bool is_given_within(const T &record, const T &usual, const Path &path, int place, PathText &name) {
    return !every_row<T>([&](const auto &row) {
        using M = TypeOf<decltype(row)>;
        const M &value = record.*row.member;
        const M &usual_value = usual.*row.member;
        const Path field = path.field(row.name);
        if (row.use.effect == Effect::NONE && row.use.place == place) {
            name = field.text();
            return value::is_equal(value, usual_value);
        }
        if constexpr (SettingsList<M>) {
            for (DDS_Long i = 0; i < value._length; ++i) {
                if (is_given_within(value._buffer[i], {}, field, place, name)) {
                    return false;
                }
            }
        } else if constexpr (Settings<M>) {
            return !is_given_within(value, usual_value, field, place, name);
        }
        return true;
    });
}

bool is_given(const char *value, const PropertyRow &row) {
    int boolean = 0;
    NUV_UINT32 number = 0;
    NUVNtpTime duration = NUV_NTP_TIME_INFINITE;

    switch (row.kind) {
    case PropertyRow::Kind::BOOLEAN:
        return REDAString_strToBoolean(value, &boolean) != 0 && boolean != 0;
    case PropertyRow::Kind::NUMBER:
        return REDAString_strToUnsignedLong(value, &number) != 0 && number != row.usual;
    case PropertyRow::Kind::DURATION:
        return REDAString_strToNtpTime(value, &duration) != 0 &&
               NUVNtpTime_isInfinite(&duration) == 0;
    case PropertyRow::Kind::INTEGER:
    case PropertyRow::Kind::TEXT:
        return true;
    }
    return true;
}

} // namespace

UnusedSettings::UnusedSettings(const DDS_DomainParticipantQos &qos) {
    const DDS_DomainParticipantQos usual = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;

    for (int place = 1; place <= PLACES; ++place) {
        PathText name;
        if (is_given_within(qos, usual, Path(), place, name)) {
            append(name.get());
        }
        for (const PropertyRow &row : PROPERTIES) {
            const DDS_Property_t *const property =
                row.place == place
                    ? DDS_PropertyQosPolicyHelper_lookup_property(&qos.property, row.name)
                    : nullptr;
            if (property != nullptr && is_given(property->value, row)) {
                append(row.name);
            }
        }
    }
}

void UnusedSettings::append(std::string_view name) {
    for (const std::string_view part : {std::string_view(length_ > 0 ? ", " : ""), name}) {
        part.copy(text_ + length_, part.size());
        length_ += part.size();
    }
}

} // namespace dds::qos
