// SPDX-License-Identifier: Apache-2.0
/**
 * @file walk.h
 * @brief What the operations that go through the table of policies have in common.
 */
#ifndef QOS_WALK_H
#define QOS_WALK_H

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "qos/policies.h"

namespace dds::qos {

using value::TypeOf;

template <typename M>
struct ElementOf {
    using Type = void;
};

template <value::Sequence M>
struct ElementOf<M> {
    using Type = std::remove_pointer_t<decltype(M::_buffer)>;
};

/** A record whose fields are settings of their own; a duration is one setting. */
template <typename M>
concept Settings = value::Record<M> && !std::is_same_v<M, DDS_Duration_t>;

/** A sequence of such records. */
template <typename M>
concept SettingsList = value::Sequence<M> && Settings<typename ElementOf<M>::Type>;

/** Calls @p visit with the row of each field of a record, until it is false. */
template <Settings T, typename Visitor>
constexpr bool every_row(Visitor visit) {
    return std::apply([&](const auto &...row) { return (visit(row) && ...); }, value::rows_of<T>());
}

/** As every_row, for the fields of @p T, if it has any, and all that are below them. */
template <typename T, typename Visitor>
constexpr bool every_row_within(Visitor visit) {
    if constexpr (SettingsList<T>) {
        return every_row_within<typename ElementOf<T>::Type>(visit);
    } else if constexpr (Settings<T>) {
        return every_row<T>([&](const auto &row) {
            return visit(row) && every_row_within<TypeOf<decltype(row)>>(visit);
        });
    } else {
        return true;
    }
}

/** Room for the longest path, with an index and the terminator. */
template <typename T>
constexpr std::size_t path_size() {
    constexpr std::size_t INDEX_SIZE = sizeof("[2147483647]");
    std::size_t longest = INDEX_SIZE;
    if constexpr (SettingsList<T>) {
        longest = path_size<typename ElementOf<T>::Type>();
    } else if constexpr (Settings<T>) {
        every_row<T>([&](const auto &row) {
            const std::size_t size =
                std::string_view(row.name).size() + 1 + path_size<TypeOf<decltype(row)>>();
            longest = std::max(longest, size);
            return true;
        });
    }
    return longest;
}

/** The name of a setting with those of the settings that it is part of, as "policy.field". */
class PathText {
public:
    const char *get() const {
        return text_;
    }

    void append_field(std::string_view name);
    void append_index(DDS_Long index);

private:
    static constexpr std::size_t SIZE = path_size<DDS_DomainParticipantQos>();

    void append(std::string_view text);

    char text_[SIZE] = {};
    std::size_t length_ = 0;
};

/** Where a setting is in a QoS. */
class Path {
public:
    Path() = default;

    Path field(const char *name) const {
        return {this, name, NO_INDEX};
    }

    Path element(DDS_Long index) const {
        return {this, nullptr, index};
    }

    /** Of the element that the setting is part of. */
    DDS_Long index() const;

    /** "policy.field.part" */
    PathText text() const;

    /** "policy.field[1].part" */
    PathText text_with_index() const;

private:
    static constexpr DDS_Long NO_INDEX = -1;

    Path(const Path *whole, const char *name, DDS_Long index)
        : whole_(whole), name_(name), index_(index) {}

    void append_to(PathText &text, bool with_index) const;

    const Path *whole_ = nullptr;
    const char *name_ = nullptr;
    DDS_Long index_ = NO_INDEX;
};

} // namespace dds::qos

#endif
