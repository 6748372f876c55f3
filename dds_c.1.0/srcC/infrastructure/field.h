// SPDX-License-Identifier: Apache-2.0
/**
 * @file field.h
 * @brief The fields of a record as rows, and whether the rows name each of them.
 */
#ifndef INFRASTRUCTURE_FIELD_H
#define INFRASTRUCTURE_FIELD_H

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

namespace dds::value {

/**
 * The rows of a record, one for each field: `using Record = T;` and `static constexpr auto list`, a
 * tuple of Field or of what derives from it. The rows have an order of their own.
 */
template <typename T>
struct Fields;

/** One row: a field's name and where it is. */
template <typename T, typename M>
struct Field {
    using Type = M;

    const char *name;
    M T::*member;
};

/** The type of the field that a row is for. */
template <typename TRow>
using TypeOf = typename std::remove_cvref_t<TRow>::Type;

/** A row for a field of Record, under the name that it has in the C interface. */
#define DDS_FIELD(field)                                                                           \
    Field<Record, decltype(Record::field)> {                                                       \
#field, &Record::field                                                                     \
    }

/** Gives a record its rows. */
#define DDS_RECORD(T, ...)                                                                         \
    template <>                                                                                    \
    struct Fields<T> {                                                                             \
        using Record = T;                                                                          \
        static constexpr auto list = std::tuple(__VA_ARGS__);                                      \
    }

/** Stands for the value of any field, to count how many of them a record takes. */
struct AnyValue {
    template <typename T>
    constexpr operator T() const; // never called, so never defined
};

template <typename T, std::size_t... I>
constexpr bool takes_values(std::index_sequence<I...>) {
    return requires {
        T{(static_cast<void>(I), AnyValue{})...};
    };
}

/** How many values make up a record; an array has as many as elements. */
template <typename T, std::size_t COUNT = 1>
constexpr std::size_t count_values() {
    if constexpr (takes_values<T>(std::make_index_sequence<COUNT>{})) {
        return count_values<T, COUNT + 1>();
    } else {
        return COUNT - 1;
    }
}

template <typename T, typename M, typename U>
constexpr bool is_same_field(M T::*left, U T::*right) {
    if constexpr (std::is_same_v<M, U>) {
        return left == right;
    } else {
        return false;
    }
}

template <typename T, typename M>
constexpr std::size_t count_values_of(M T::* /*member*/) {
    return std::is_array_v<M> ? std::extent_v<M> : 1;
}

/** True when the rows of a record name each of its fields once. */
template <typename T>
constexpr bool names_each_field_once() {
    return std::apply(
        [](auto... row) {
            const auto times = [&](auto field) {
                return (static_cast<std::size_t>(is_same_field(field.member, row.member)) + ...);
            };
            return (count_values_of(row.member) + ...) == count_values<T>() &&
                   ((times(row) == 1) && ...);
        },
        Fields<T>::list);
}

} // namespace dds::value

#endif
