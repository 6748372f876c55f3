// SPDX-License-Identifier: Apache-2.0
/**
 * @file value.h
 * @brief Deep values: what a copy, a comparison and a release of any public type do.
 *
 * A value is a number, a string that the library owns, an array of numbers, a sequence of values
 * or a record of values. A record names its fields by a specialization of Fields, a sequence the
 * type of its elements by one of ElementName: those of basic types are in basic_values.h, those of
 * policies in qos/policies.h.
 */
#ifndef INFRASTRUCTURE_VALUE_H
#define INFRASTRUCTURE_VALUE_H

#include <cstring>
#include <tuple>
#include <type_traits>

#include "dds_c/dds_c_string.h"
#include "infrastructure/field.h"
#include "osapi/osapi_heap.h"

namespace dds::value {

/** The element type of a sequence, as the heap reports it: `static constexpr const char *text`. */
template <typename TSeq>
struct ElementName;

/** Names the element type of a sequence. */
#define DDS_ELEMENT(TSeq, T)                                                                       \
    template <>                                                                                    \
    struct ElementName<TSeq> {                                                                     \
        static constexpr const char *text = #T;                                                    \
    }

template <typename T>
concept String = std::is_same_v<T, char *>;

template <typename T>
concept Record = requires {
    Fields<T>::list;
};

template <typename T>
concept Sequence = requires {
    ElementName<T>::text;
};

/** The rows of a record, which are those of all its fields. */
template <Record T>
constexpr const auto &rows_of() {
    static_assert(names_each_field_once<T>(), "each field of a record has one row in its table");
    return Fields<T>::list;
}

/** Calls @p visit with each field. */
template <typename Visitor, Record T>
void each_field(Visitor visit, T &record) {
    std::apply([&](const auto &...row) { (visit(record.*row.member), ...); }, rows_of<T>());
}

/** Calls @p visit with each field of one record and the same field of another, until it is false.
 */
template <typename Visitor, typename T, Record U>
bool every_field(Visitor visit, T &first, const U &second) {
    return std::apply(
        [&](const auto &...row) { return (visit(first.*row.member, second.*row.member) && ...); },
        rows_of<U>());
}

inline DDS_Boolean to_boolean(bool truth) {
    return truth ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

/** Whether a truth value is one of the two that there are; an octet may be any. */
inline bool is_boolean(DDS_Boolean value) {
    return value == DDS_BOOLEAN_FALSE || value == DDS_BOOLEAN_TRUE;
}

template <typename T>
bool is_equal(const T &left, const T &right) {
    if constexpr (String<T>) {
        return left == right ||
               (left != nullptr && right != nullptr && std::strcmp(left, right) == 0);
    } else if constexpr (Sequence<T>) {
        if (left._length != right._length) {
            return false;
        }
        for (DDS_Long i = 0; i < left._length; ++i) {
            if (!is_equal(left._buffer[i], right._buffer[i])) {
                return false;
            }
        }
        return true;
    } else if constexpr (Record<T>) {
        return every_field([](const auto &l, const auto &r) { return is_equal(l, r); }, left,
                           right);
    } else if constexpr (std::is_array_v<T>) {
        return std::memcmp(left, right, sizeof(T)) == 0;
    } else {
        return left == right;
    }
}

/** Frees what @p value owns and leaves null strings and empty sequences. */
template <typename T>
void finalize(T &value) {
    if constexpr (String<T>) {
        DDS_String_free(value);
        value = nullptr;
    } else if constexpr (Sequence<T>) {
        for (DDS_Long i = 0; i < value._length; ++i) {
            finalize(value._buffer[i]);
        }
        NUVOsapiHeap_freeArray(value._buffer);
        value = {};
    } else if constexpr (Record<T>) {
        each_field([](auto &field) { finalize(field); }, value);
    }
}

/** True when a copy of @p src fits into the storage of @p dst. */
template <typename T>
bool fits(const T &dst, const T &src) {
    if constexpr (String<T>) {
        return src == nullptr || (dst != nullptr && std::strlen(src) <= std::strlen(dst));
    } else if constexpr (Sequence<T>) {
        using Element = std::remove_pointer_t<decltype(src._buffer)>;
        if (src._length > dst._maximum) {
            return false;
        }
        for (DDS_Long i = 0; i < src._length; ++i) {
            if (!fits(i < dst._length ? dst._buffer[i] : Element{}, src._buffer[i])) {
                return false;
            }
        }
        return true;
    } else if constexpr (Record<T>) {
        return every_field([](const auto &d, const auto &s) { return fits(d, s); }, dst, src);
    } else {
        return true;
    }
}

/** Copies @p src into the storage of @p dst, where it fits. */
template <typename T>
void assign(T &dst, const T &src) {
    if constexpr (String<T>) {
        if (src == nullptr) {
            finalize(dst);
        } else {
            std::memmove(dst, src, std::strlen(src) + 1);
        }
    } else if constexpr (Sequence<T>) {
        for (DDS_Long i = src._length; i < dst._length; ++i) {
            finalize(dst._buffer[i]);
        }
        for (DDS_Long i = dst._length; i < src._length; ++i) {
            dst._buffer[i] = {};
        }
        for (DDS_Long i = 0; i < src._length; ++i) {
            assign(dst._buffer[i], src._buffer[i]);
        }
        dst._length = src._length;
    } else if constexpr (Record<T>) {
        every_field(
            [](auto &d, const auto &s) {
                assign(d, s);
                return true;
            },
            dst, src);
    } else if constexpr (std::is_array_v<T>) {
        std::memcpy(dst, src, sizeof(T));
    } else {
        dst = src;
    }
}

/** Sets the number of elements that fit, not less than the length. False when memory runs out. */
template <Sequence TSeq>
bool set_maximum(TSeq &sequence, DDS_Long maximum) {
    if (maximum == sequence._maximum) {
        return true;
    }
    if (maximum == 0) {
        finalize(sequence);
        return true;
    }
    if (!NUVOsapiHeap_reallocateMemoryInternal(
            &sequence._buffer, static_cast<size_t>(maximum) * sizeof(*sequence._buffer), -1, 1, 0,
            "NUVOsapiHeap_allocateArray", NUV_OSAPI_HEAP_TAG_ARRAY, ElementName<TSeq>::text)) {
        return false;
    }
    sequence._maximum = maximum;
    return true;
}

/** Sets the number of elements, not more than fit. */
template <Sequence TSeq>
void set_length(TSeq &sequence, DDS_Long length) {
    for (DDS_Long i = length; i < sequence._length; ++i) {
        finalize(sequence._buffer[i]);
    }
    for (DDS_Long i = sequence._length; i < length; ++i) {
        sequence._buffer[i] = {};
    }
    sequence._length = length;
}

/** Appends an element, which the sequence then owns; the storage grows by doubling. */
template <Sequence TSeq, typename T>
bool append(TSeq &sequence, const T &element) {
    constexpr DDS_Long largest = 0x7FFFFFFF;
    if (sequence._length == largest) {
        return false;
    }
    if (sequence._length == sequence._maximum) {
        const DDS_Long doubled = sequence._maximum > largest / 2 ? largest : sequence._maximum * 2;
        if (!set_maximum(sequence, doubled == 0 ? 1 : doubled)) {
            return false;
        }
    }
    sequence._buffer[sequence._length++] = element;
    return true;
}

/** Makes a deep copy in storage that owns nothing. False when memory runs out: it still doesn't. */
template <typename T>
bool duplicate(T &dst, const T &src) {
    if constexpr (String<T>) {
        dst = DDS_String_dup(src);
        return dst != nullptr || src == nullptr;
    } else if constexpr (Sequence<T>) {
        dst = {};
        if (!set_maximum(dst, src._length)) {
            return false;
        }
        for (; dst._length < src._length; ++dst._length) {
            if (!duplicate(dst._buffer[dst._length], src._buffer[dst._length])) {
                finalize(dst);
                return false;
            }
        }
        return true;
    } else if constexpr (Record<T>) {
        dst = {};
        if (!every_field([](auto &d, const auto &s) { return duplicate(d, s); }, dst, src)) {
            finalize(dst);
            return false;
        }
        return true;
    } else {
        assign(dst, src);
        return true;
    }
}

/**
 * Makes @p dst a deep copy of @p src, in the storage that it has when everything fits there. False
 * when memory runs out: then @p dst is as it was.
 */
template <typename T>
bool copy(T &dst, const T &src) {
    if (&dst == &src) {
        return true;
    }
    if (fits(dst, src)) {
        assign(dst, src);
        return true;
    }
    T fresh{};
    if (!duplicate(fresh, src)) {
        return false;
    }
    finalize(dst);
    dst = fresh;
    return true;
}

} // namespace dds::value

#endif
