// SPDX-License-Identifier: Apache-2.0
/**
 * @file row.h
 * @brief What the table of policies (policies.h) says of a field.
 */
#ifndef QOS_ROW_H
#define QOS_ROW_H

#include "infrastructure/field.h"

namespace dds::qos {

/** As the row says that this record is the value of. */
struct AsWhole {};
constexpr AsWhole AS_WHOLE{};

/** Whether a value may change once the participant has been created. */
struct Change {
    enum Kind {
        ALLOWED,
        REFUSED,                 /**< by DDS_DomainParticipant_set_qos, under this row's name */
        REFUSED_BY_PRESENTATION, /**< by the presentation half, under the policy's name */
        BY_PROPERTY,             /**< as each property's own row says (properties/table.h) */
        BY_FIELD,                /**< as the rows of this record's own fields say */
        WITH_WHOLE,
    } kind;

    constexpr Change(Kind its_kind) : kind(its_kind) {}
    constexpr Change(AsWhole) : kind(WITH_WHOLE) {}
};

constexpr Change CHANGEABLE = Change::ALLOWED;
constexpr Change FIXED = Change::REFUSED;
constexpr Change FIXED_BY_PRESENTATION = Change::REFUSED_BY_PRESENTATION;
constexpr Change CHANGE_BY_PROPERTY = Change::BY_PROPERTY;
constexpr Change CHANGE_BY_FIELD = Change::BY_FIELD;

/** Whether anything acts on a value in this version. */
enum class Effect {
    SOME,
    NONE,     /**< kept and read back; named in a warning when it is given */
    BY_FIELD, /**< as the rows of this record's own fields say */
    WITH_WHOLE,
};

/** What a row says of the use of its value. */
struct Use {
    Effect effect;
    /** Of a value without effect: where the warning names it, counted over all such rows. */
    int place;

    constexpr Use(Effect its_effect, int its_place = 0) : effect(its_effect), place(its_place) {}
    constexpr Use(AsWhole) : Use(Effect::WITH_WHOLE) {}
};

constexpr Use ACTED_ON = Effect::SOME;
constexpr Use USE_BY_FIELD = Effect::BY_FIELD;

/** Nothing acts on the value. @p place is where the warning names it: the next that is free. */
constexpr Use without_effect(int place) {
    return {Effect::NONE, place};
}

/** A row. The types of ranges are in range.h. */
template <typename T, typename M, typename TRange>
struct Row : value::Field<T, M> {
    TRange range;
    Change change;
    Use use;
};

template <typename T, typename M, typename TRange>
constexpr Row<T, M, TRange> row(const char *name, M T::*member, TRange range, Change change,
                                Use use) {
    return {{name, member}, range, change, use};
}

/** A row for a field of Record, under the name that it has in the C interface. */
#define DDS_ROW(field, ...) dds::qos::row(#field, &Record::field, __VA_ARGS__)

} // namespace dds::qos

#endif
