// SPDX-License-Identifier: Apache-2.0
// The operations of each sequence type.
#include "infrastructure/builtin_values.h"
#include "infrastructure/dds_log.h"

constexpr NUV_UINT32 LOG_SUBMODULE = DDS_LOG_SUBMODULE_INFRASTRUCTURE;

using dds::value::to_boolean;

namespace {

template <typename TSeq>
using Element = std::remove_pointer_t<decltype(TSeq::_buffer)>;

template <typename TSeq>
bool set_maximum(TSeq &self, DDS_Long maximum) {
    return maximum >= self._length && dds::value::set_maximum(self, maximum);
}

template <typename TSeq>
bool set_length(TSeq &self, DDS_Long length) {
    if (length < 0 || length > self._maximum) {
        return false;
    }
    dds::value::set_length(self, length);
    return true;
}

template <typename TSeq>
bool ensure_length(TSeq &self, DDS_Long length, DDS_Long maximum) {
    if (length < 0 || length > maximum) {
        return false;
    }
    return (length <= self._maximum || set_maximum(self, maximum)) && set_length(self, length);
}

/** A sequence that borrows an array, to copy from. */
template <typename TSeq>
TSeq borrow(Element<TSeq> const *array, DDS_Long length) {
    return {const_cast<Element<TSeq> *>(array), length, length};
}

} // namespace

/* The operations of one sequence type. */
#define DDS_SEQUENCE_IMPLEMENTATION(TSeq)                                                          \
    void TSeq##_initialize(TSeq *self) {                                                           \
        if (!DDSLog_isNull(self)) {                                                                \
            *self = DDS_SEQUENCE_INITIALIZER;                                                      \
        }                                                                                          \
    }                                                                                              \
    void TSeq##_finalize(TSeq *self) {                                                             \
        if (!DDSLog_isNull(self)) {                                                                \
            dds::value::finalize(*self);                                                           \
        }                                                                                          \
    }                                                                                              \
    DDS_Long TSeq##_get_length(const TSeq *self) {                                                 \
        return DDSLog_isNull(self) ? 0 : self->_length;                                            \
    }                                                                                              \
    DDS_Boolean TSeq##_set_length(TSeq *self, DDS_Long length) {                                   \
        return to_boolean(!DDSLog_isNull(self) && set_length(*self, length));                      \
    }                                                                                              \
    DDS_Long TSeq##_get_maximum(const TSeq *self) {                                                \
        return DDSLog_isNull(self) ? 0 : self->_maximum;                                           \
    }                                                                                              \
    DDS_Boolean TSeq##_set_maximum(TSeq *self, DDS_Long maximum) {                                 \
        return to_boolean(!DDSLog_isNull(self) && set_maximum(*self, maximum));                    \
    }                                                                                              \
    DDS_Boolean TSeq##_ensure_length(TSeq *self, DDS_Long length, DDS_Long maximum) {              \
        return to_boolean(!DDSLog_isNull(self) && ensure_length(*self, length, maximum));          \
    }                                                                                              \
    Element<TSeq> TSeq##_get(const TSeq *self, DDS_Long i) {                                       \
        const Element<TSeq> *element = TSeq##_get_reference(self, i);                              \
        return element == nullptr ? Element<TSeq>{} : *element;                                    \
    }                                                                                              \
    Element<TSeq> *TSeq##_get_reference(const TSeq *self, DDS_Long i) {                            \
        if (DDSLog_isNull(self)) {                                                                 \
            return nullptr;                                                                        \
        }                                                                                          \
        if (i < 0 || i >= self->_length) {                                                         \
            DDSLog_precondition("\"i < 0 || i >= self->_length\"");                                \
            return nullptr;                                                                        \
        }                                                                                          \
        return &self->_buffer[i];                                                                  \
    }                                                                                              \
    TSeq *TSeq##_copy(TSeq *self, const TSeq *src) {                                               \
        if (DDSLog_isNull(self) || DDSLog_isNull(src)) {                                           \
            return nullptr;                                                                        \
        }                                                                                          \
        return dds::value::copy(*self, *src) ? self : nullptr;                                     \
    }                                                                                              \
    DDS_Boolean TSeq##_from_array(TSeq *self, Element<TSeq> const *array, DDS_Long length) {       \
        if (DDSLog_isNull(self) || (length > 0 && DDSLog_isNull(array))) {                         \
            return DDS_BOOLEAN_FALSE;                                                              \
        }                                                                                          \
        if (length < 0) {                                                                          \
            DDSLog_precondition("\"length < 0\"");                                                 \
            return DDS_BOOLEAN_FALSE;                                                              \
        }                                                                                          \
        return to_boolean(dds::value::copy(*self, borrow<TSeq>(array, length)));                   \
    }                                                                                              \
    DDS_Boolean TSeq##_is_equal(const TSeq *left, const TSeq *right) {                             \
        return to_boolean(!DDSLog_isNull(left) && !DDSLog_isNull(right) &&                         \
                          dds::value::is_equal(*left, *right));                                    \
    }

DDS_SEQUENCE_IMPLEMENTATION(DDS_StringSeq)
DDS_SEQUENCE_IMPLEMENTATION(DDS_OctetSeq)
DDS_SEQUENCE_IMPLEMENTATION(DDS_LocatorSeq)
DDS_SEQUENCE_IMPLEMENTATION(DDS_TransportUnicastSettingsSeq)
DDS_SEQUENCE_IMPLEMENTATION(DDS_TransportMulticastMappingSeq)
DDS_SEQUENCE_IMPLEMENTATION(DDS_PropertySeq)
DDS_SEQUENCE_IMPLEMENTATION(DDS_InstanceHandleSeq)
